"""Plays the packaged library, the very bytes, on an emulated arm64 processor.

The simulated phone and the home screen are built for arm64 Linux with Debian's cross compiler, and
load the library in its own file format. What they print must equal the desk build's output. The
simulated phone's way of sending messages is tested there as well.
"""

import concurrent.futures
import os
import pathlib
import shutil
import tempfile

from package import build
from tools import project
from tools.plays import RUNS, outcome

# What the simulated phone links, for the other processor; apt resolves nothing, so all are named.
FOREIGN_PACKAGES = ("libplist3", "libsqlite3-0", "libdate-tz3", "libfmt9", "libedit2", "libtinfo6",
                    "libbsd0", "libmd0", "libgtest-dev")
LINKED = ("libplist-2.0.so.3", "libsqlite3.so.0", "libdate-tz.so.3", "libfmt.so.9", "libedit.so.2")
BRIDGE = "package/arm64_variadics.cpp"
# The headers in use fit every processor: they come from this machine, after the cross compiler's own.
FLAGS = ("-std=c++20", "-O1", "-fPIC", "-w", "-I.", "-Iinclude", "-idirafter", "/usr/include")


def foreign_libraries(out):
    """Unpacks the packages below `out`, without a change to what this machine has installed."""
    for folder in ("state/lists/partial", "cache/archives/partial"):
        (out / folder).mkdir(parents=True)
    (out / "status").touch()
    options = [word for name, value in (
        ("APT::Architecture", "arm64"), ("APT::Architectures", "arm64"),
        ("Dir::State", out / "state"), ("Dir::State::status", out / "status"),
        ("Dir::Cache", out / "cache"), ("APT::Sandbox::User", "")) for word in ("-o", f"{name}={value}")]
    project.run("apt-get", *options, "update")
    project.run("apt-get", *options, "download", *FOREIGN_PACKAGES, cwd=out)
    for package in out.glob("*.deb"):
        project.run("dpkg-deb", "--extract", package, out / "root")
    return [out / "root/usr/lib/aarch64-linux-gnu", out / "root/lib/aarch64-linux-gnu"]


def home_screen(root, out, linked_folders, generated):
    """The program for arm64."""
    phone = sorted(root.glob("simulator/**/*.cpp"))
    sources = [*root.glob("home_screen/**/*.cpp"), root / BRIDGE]

    def compiled(source):
        target = out / (str(source.relative_to(root)).replace("/", "-") + ".o")
        project.run("aarch64-linux-gnu-g++", *FLAGS, f"-I{generated}",
                  f'-DHUSHLANE_VERSION="{build.version(root)}"',
                    '-DHUSHLANE_LIBRARIES_FROM_PROGRAMS="."', "-c", source, "-o", target, cwd=root)
        return target

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        phone_objects, objects = [list(pool.map(compiled, each)) for each in (phone, sources)]
    program, simulator = out / "hushlane-sim", out / "libsimulator.so"
    linked = [*(linked_folders[0] / name for name in LINKED),
              *(f"-Wl,-rpath-link,{folder}" for folder in linked_folders)]
    # The program puts its bridge before some of the simulator's functions, for the library alone: the
    # simulator goes on calling its own.
    project.run("aarch64-linux-gnu-g++", "-shared", "-Wl,-Bsymbolic-functions", "-o", simulator,
              *phone_objects, *linked)
    project.run("aarch64-linux-gnu-g++", "-rdynamic", "-o", program, *objects, simulator, *linked,
              "-Wl,-rpath,$ORIGIN")
    return program


def message_test(root, out, linked_folders):
    """How the simulated phone sends messages is written for each processor, so it is tested on each."""
    program, folder = out / "message-test", linked_folders[0]
    project.run("aarch64-linux-gnu-g++", *FLAGS, root / "tests/simulator/message_send_test.cpp", "-o",
              program, out / "libsimulator.so", folder / "libgtest.a", folder / "libgtest_main.a",
              *(f"-Wl,-rpath-link,{each}" for each in linked_folders), "-Wl,-rpath,$ORIGIN",
              cwd=root)
    return program


def complaints(root, library):
    for name, package in (("qemu-aarch64", "qemu-user"),
                          ("aarch64-linux-gnu-g++", "g++-aarch64-linux-gnu")):
        if not shutil.which(name):
            raise project.CommandFailed(f"{name} is missing; Debian's package {package} has it")
    desk = project.build("gcc", "hushlane-sim")
    with tempfile.TemporaryDirectory() as directory:
        out = pathlib.Path(directory)
        folders = foreign_libraries(out)
        program = home_screen(root, out, folders, desk / "generated")
        dylib = out / pathlib.PurePath(build.DYLIB).name
        dylib.write_bytes(library)
        processor = ("qemu-aarch64", "-L", "/usr/aarch64-linux-gnu", "-E",
                     f"LD_LIBRARY_PATH={folders[0]}:{folders[1]}")
        status, output, _ = outcome(*processor, message_test(root, out, folders))
        if status != 0:
            yield output.decode(errors="replace")
        for run in RUNS:
            expected = outcome(desk / "bin/hushlane-sim", *run)
            found = outcome(*processor, program, "--library", dylib, *run)
            if not expected[1] or found != expected:
                yield f"'{' '.join(run)}' differs: {found[2].decode(errors='replace')[:200]}"
