"""Plays the packaged library, the very bytes, on an emulated arm64 processor.

The simulated phone and the home screen are built for arm64 Linux with Debian's cross compiler; the
Mach-O loader beside it maps the library. What they print must equal the desk build's output.
"""

import concurrent.futures
import os
import pathlib
import shutil
import subprocess
import tempfile

import build

# What the simulated phone links, for the other processor; apt resolves nothing, so all are named.
FOREIGN_PACKAGES = ("libplist3", "libsqlite3-0", "libdate-tz3", "libfmt9", "libedit2", "libtinfo6",
                    "libbsd0", "libmd0")
LINKED = ("libplist-2.0.so.3", "libsqlite3.so.0", "libdate-tz.so.3", "libfmt.so.9", "libedit.so.2")
LOADER = ("package/mach_o_image.cpp", "package/mach_o_library.cpp",
          "package/arm64_variadics.cpp")
# The headers in use fit every processor: they come from this machine, after the cross compiler's own.
FLAGS = ("-std=c++20", "-O1", "-fPIC", "-w", "-I.", "-Ibuild/gcc/generated", "-idirafter",
         "/usr/include")


def foreign_libraries(out):
    """Unpacks the packages below `out`, without a change to what this machine has installed."""
    for folder in ("state/lists/partial", "cache/archives/partial"):
        (out / folder).mkdir(parents=True)
    (out / "status").touch()
    options = [word for name, value in (
        ("APT::Architecture", "arm64"), ("APT::Architectures", "arm64"),
        ("Dir::State", out / "state"), ("Dir::State::status", out / "status"),
        ("Dir::Cache", out / "cache"), ("APT::Sandbox::User", "")) for word in ("-o", f"{name}={value}")]
    build.run("apt-get", *options, "update")
    build.run("apt-get", *options, "download", *FOREIGN_PACKAGES, cwd=out)
    for package in out.glob("*.deb"):
        build.run("dpkg-deb", "--extract", package, out / "root")
    return [out / "root/usr/lib/aarch64-linux-gnu", out / "root/lib/aarch64-linux-gnu"]


def home_screen(root, out, library_folders):
    """The program for arm64."""
    phone = sorted(root.glob("simulator/**/*.cpp"))
    sources = [*root.glob("home_screen/*.cpp"), *(root / name for name in LOADER)]

    def compiled(source):
        target = out / (str(source.relative_to(root)).replace("/", "-") + ".o")
        build.run("aarch64-linux-gnu-g++", *FLAGS, f'-DHUSHLANE_VERSION="{build.version(root)}"',
                  "-c", source, "-o", target, cwd=root)
        return target

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        phone_objects, objects = [list(pool.map(compiled, each)) for each in (phone, sources)]
    program, simulator = out / "hushlane-sim", out / "libsimulator.so"
    linked = [*(library_folders[0] / name for name in LINKED),
              *(f"-Wl,-rpath-link,{folder}" for folder in library_folders)]
    build.run("aarch64-linux-gnu-g++", "-shared", "-Wl,-Bsymbolic-functions", "-o", simulator,
              *phone_objects, *linked)
    # Exports what it puts before the simulator's own.
    build.run("aarch64-linux-gnu-g++", "-rdynamic", "-o", program, *objects, simulator, *linked,
              "-Wl,-rpath,$ORIGIN")
    return program


def outcome(command, run):
    result = subprocess.run([*command, *run], capture_output=True, check=False)
    return result.returncode, result.stdout, result.stderr


def complaints(root, library):
    for name, package in (("qemu-aarch64", "qemu-user"),
                          ("aarch64-linux-gnu-g++", "g++-aarch64-linux-gnu")):
        if not shutil.which(name):
            raise build.BuildError(f"{name} is missing; Debian's package {package} has it")
    build.run("cmake", "--preset", "gcc", cwd=root)
    build.run("cmake", "--build", "--preset", "gcc", "--target", "hushlane-sim", cwd=root)
    desk = root / "build/gcc/bin"
    with tempfile.TemporaryDirectory() as directory:
        out = pathlib.Path(directory)
        folders = foreign_libraries(out)
        program = home_screen(root, out, folders)
        dylib = out / pathlib.PurePath(build.DYLIB).name
        dylib.write_bytes(library)
        phone = ("qemu-aarch64", "-L", "/usr/aarch64-linux-gnu", "-E",
                 f"LD_LIBRARY_PATH={folders[0]}:{folders[1]}", program, "--library", dylib)
        for run in [["demo"]] + [["play", str(path), option]
                                 for path in sorted((root / "examples").glob("*.scenario"))
                                 for option in ("--trace", "--json")]:
            expected = outcome([desk / "hushlane-sim", "--library", desk / "libhushlane.so"], run)
            found = outcome(phone, run)
            if not expected[1] or found != expected:
                yield f"'{' '.join(run)}' differs: {found[2].decode(errors='replace')[:200]}"
