#!/usr/bin/python3
"""The library changes no file, opens no connection and starts no thread or program.

Every system call of the demo's evening is recorded with its stack. Those that the phone makes on
the library's behalf have the library on the stack: all of them must be harmless. The phone's own
show that the record would have caught others. And no instruction of the library enters the kernel
past the platform's functions."""

import re
import subprocess
import sys
import tempfile

SKIPPED = 77  # what ctest takes for "not run"

OPENING = {"open", "openat", "openat2", "creat"}
CHANGING = OPENING | {
    "mkdir", "mkdirat", "rename", "renameat", "renameat2", "unlink", "unlinkat", "rmdir", "link",
    "linkat", "symlink", "symlinkat", "truncate", "ftruncate", "chmod", "fchmodat", "mknodat",
    "clone", "clone3", "fork", "vfork", "execve", "socket", "connect", "kill", "ptrace",
}
WRITING = re.compile(r"O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|O_APPEND")
ENTERING_KERNEL = re.compile(r"\S+:\t(?:syscall|sysenter|int\s+\$0x80|svc)\b")


def recorded_calls(program):
    """(text of the call, its stack) for each call in CHANGING."""
    with tempfile.NamedTemporaryFile("r", suffix=".strace") as record:
        names = ",".join("?" + name for name in sorted(CHANGING))
        run = subprocess.run(
            ["strace", "-f", "-k", "-e", f"trace={names}", "-e", "signal=none",
             "-o", record.name, program, "demo"],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, check=False)
        text = record.read()
    if run.returncode != 0 and "ptrace" in run.stderr:
        print(f"skipped: {run.stderr.strip()}")
        sys.exit(SKIPPED)
    run.check_returncode()
    return re.findall(r"^\d+ +(.*)\n((?: > .*\n)*)", text, flags=re.M)


def changes_something(call):
    name = call.split("(")[0]
    return name in CHANGING and not (name in OPENING and not WRITING.search(call))


def complaints(program, library):
    calls = recorded_calls(program)
    ours = [call for call, stack in calls if "libhushlane" in stack]
    others = [call for call, stack in calls if call not in ours]
    for call in ours:
        if changes_something(call):
            yield f"on the library's behalf: {call}"
    if not ours:
        yield "no call was seen on the library's behalf, so the stacks tell nothing"
    for what in ("O_CREAT", "rename", "clone", "execve"):
        if not any(what in call and changes_something(call) for call in others):
            yield f"the phone's own {what} went unseen, so the record tells nothing"
    code = subprocess.run(["objdump", "--disassemble", "--no-show-raw-insn", library],
                          capture_output=True, text=True, check=True).stdout
    if ".text" not in code:
        yield f"{library}: no code to look at"
    for line in ENTERING_KERNEL.findall(code):
        yield f"{library} enters the kernel itself: {line}"
    print(f"{len(ours)} calls on the library's behalf, {len(others)} others")


if __name__ == "__main__":
    sys.exit("\n".join(complaints(*sys.argv[1:])) or 0)
