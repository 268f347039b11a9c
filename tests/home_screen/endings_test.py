#!/usr/bin/env python3
"""However a session ends, no copy of a phone stays behind, and the status tells how it ended."""

import fcntl
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import termios
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIBRARY = "phone/var/mobile/Library"
SETTINGS = LIBRARY + "/Preferences/org.mernwick.hushlane.plist"
BOOK = LIBRARY + "/AddressBook/AddressBook.sqlitedb"
SIM = "exec hushlane-sim "
WHO = SIM + "who --device phone "
COPY = "expected to write a copy of phone/"

# What a shell is asked to do beside a phone; the status, and how the complaint begins.
COMMANDS = (
    ("exec > >(:); wait $!; " + SIM + "calendar --next 366", -signal.SIGPIPE, ""),
    (WHO + ">&-", 2, "standard output: Bad file descriptor"),
    (WHO + "> /dev/full 2>&-", 2, ""),
    (WHO + "> /dev/full", 2, "standard output: No space left on device"),
    (SIM + "who --device nowhere 2> /dev/full", 3, ""),
    (SIM + "--help > /dev/full", 2, "standard output: "),
    (SIM + "play - <&-", 2, "standard input: Bad file descriptor; expected a scenario"),
    (SIM + "play - < .", 2, "standard input: Is a directory; expected a scenario"),
    (SIM + "shell < .", 2, "standard input: Is a directory; expected a scenario"),
    ("ulimit -f 4; " + WHO, -signal.SIGXFSZ, ""),
    ("trap '' XFSZ; ulimit -f 4; " + WHO, 2, "$HOME/scratch: File too large, " + COPY),
    ("yes dnd on | head -n 300000 > a; ulimit -v 60000; " + SIM + "play a", 2, "play: out of memory"),
    ("ulimit -n 4; " + WHO, 3, SETTINGS + ": Too many open files"),
    ("ulimit -n 5; " + WHO, 2, "$HOME/scratch: Too many open files, " + COPY),
    ("TMPDIR=nowhere " + WHO, 2, "nowhere: No such file or directory; expected a temporary dir"),
    ("TMPDIR=phone/var " + WHO, 2, "$HOME/phone/var: lies inside phone, "),
    (f"mkfifo {BOOK}-wal; " + WHO, 3, BOOK + "-wal: not a regular file"),
    (f"mkdir {BOOK}-journal; " + WHO, 3, BOOK + "-journal: not a regular file"),
    (f"ln -sf gone {SETTINGS}; " + WHO, 3, SETTINGS + ": No such file or directory"),
    (f"mv {LIBRARY} away; ln -s gone {LIBRARY}; " + WHO, 3, SETTINGS + ": No such file"),
    (f"rm -r {LIBRARY}; touch {LIBRARY}; " + WHO, 0, ""),
)
ENDING = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGPIPE,
          signal.SIGSEGV, signal.SIGABRT, signal.SIGUSR1)
SIGNALS = [(number, receiver) for number in ENDING for receiver in ("parent", "worker", "both")]
SIGNALS.append((signal.SIGKILL, "worker"))
MODES = r"\sicanon\s.*\secho\s"  # what stty says of a terminal that no editor has changed
AT_A_PROMPT = (  # whether a line is being edited, what is typed, and what is shown then
    (True, "half a line", "line"), (True, "\x03", r"\^C\r\n.*hushlane> "),
    (True, "schedule 22:00-07:00\r", "07:00.*hushlane> "), (True, "advance 99999d\r", "99999d"),
    (False, "\x03", r"given up\r\n.*hushlane> "), (True, "half\x1a", MODES + ".*hushlane-sim shell"),
    (True, "\x15message +1\r", "(presented|held back)"), (True, "quit\r", "leaves.*hushlane> "),
)


def child_of(process):
    return int(pathlib.Path(f"/proc/{process}/task/{process}/children").read_text(encoding="ascii"))


class EndingsTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory())).resolve()
        self.scratch = self.folder / "scratch"
        os.environ.update(HOME=str(self.folder), TMPDIR=str(self.scratch), TERM="xterm")
        self.scratch.mkdir()
        shutil.copytree(ROOT / "examples/phone", self.folder / "phone")
        (self.folder / BOOK).with_name("Neighbour.sqlitedb").touch()

    def left(self):
        return {path.name for path in self.scratch.iterdir()}

    def session(self):
        """One that waits for its next line, its worker, and its scratch folder."""
        before = self.left()
        session = self.enterContext(subprocess.Popen(
            ["hushlane-sim", "shell", "--device", "phone"], cwd=self.folder, bufsize=0,
            stdin=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True))
        session.stdin.write(b"?\n")
        self.assertIn(b"unknown command", session.stderr.readline())
        [folder] = self.left() - before
        self.assertEqual([path.name for path in (self.scratch / folder).rglob("*.sqlitedb*")],
                         [pathlib.Path(BOOK).name])
        return session, child_of(session.pid), folder

    def wait_until_unused(self, folder):
        opened = os.open(self.scratch / folder, os.O_RDONLY)
        fcntl.flock(opened, fcntl.LOCK_EX)
        os.close(opened)

    def test_commands(self):
        for command, status, complaint in COMMANDS:
            with self.subTest(command):
                self.setUp()
                result = subprocess.run(["bash", "-c", command], cwd=self.folder, check=False,
                                        stdin=subprocess.DEVNULL, capture_output=True, text=True)
                self.assertEqual(result.returncode, status, result.stderr)
                beginning = os.path.expandvars(complaint)
                self.assertEqual(result.stderr[:len(beginning)], beginning)
                self.assertEqual(self.left(), set())

    def test_signals(self):
        for number, receiver in SIGNALS:
            with self.subTest(f"{number.name} to {receiver}"):
                session, worker, _ = self.session()
                ids = {"parent": session.pid, "worker": worker, "both": -session.pid}
                os.kill(ids[receiver], number)
                self.assertEqual(session.wait(20), -number)
                self.assertEqual(self.left(), set())

    def test_the_worker_alone_goes_on_to_its_end(self):
        session, _, folder = self.session()
        session.kill()
        session.stdin.close()
        self.wait_until_unused(folder)
        self.assertEqual(self.left(), set())

    def test_the_next_start_removes_what_was_left_and_nothing_else(self):
        used = self.session()[2]
        killed, _, abandoned = self.session()
        os.killpg(killed.pid, signal.SIGKILL)
        self.wait_until_unused(abandoned)
        others = {"hushlane-scratch-" + name for name in ("public", "filled", "linked")}
        for name, mode in (("public", 0o755), ("filled", 0o700)):
            (self.scratch / f"hushlane-scratch-{name}/var").mkdir(parents=True)
            (self.scratch / f"hushlane-scratch-{name}").chmod(mode)
        (self.scratch / "hushlane-scratch-filled/mine").touch()
        (self.scratch / "hushlane-scratch-linked").symlink_to(self.folder / "phone")
        self.assertEqual(self.left(), others | {used, abandoned})
        subprocess.run(["hushlane-sim", "who"], stdout=subprocess.DEVNULL, check=True)
        self.assertEqual(self.left(), others | {used})

    def test_at_a_prompt(self):
        process, terminal = pty.fork()
        if process == 0:
            os.execlp("bash", "bash", "-c", "cd; set -m; hushlane-sim shell; stty -a; fg; set +m; "
                      "hushlane-sim shell; echo status $?; stty -a")
        for editing, keys, shown in AT_A_PROMPT:
            while bool(termios.tcgetattr(terminal)[3] & termios.ICANON) == editing:
                time.sleep(0.01)
            os.write(terminal, keys.encode())
            self.await_text(terminal, shown)
        os.kill(child_of(child_of(process)), signal.SIGSEGV)
        self.await_text(terminal, f"status {128 + signal.SIGSEGV}.*" + MODES)
        os.waitpid(process, 0)
        self.assertEqual(self.left(), set())

    def await_text(self, terminal, expected):
        shown = ""
        while not re.search(expected, shown, flags=re.S):
            ready, _, _ = select.select([terminal], [], [], 20)
            self.assertTrue(ready, f"no {expected!r} in {shown!r}")
            shown += os.read(terminal, 4096).decode()


if __name__ == "__main__":
    os.environ["PATH"] = sys.argv.pop(1) + os.pathsep + os.environ["PATH"]
    unittest.main()
