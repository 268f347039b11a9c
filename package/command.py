"""Builds the phone package in build/package/. With --verify, checks it as well: its contents, that
the library compiles for the 32-bit phones too, and that a second build, from a copy of the sources
in another directory, gives the same bytes. With --emulate, plays the packaged library on an
emulated arm64 processor."""

import argparse
import pathlib
import shutil
import sys
import tempfile

from package import build, emulation
from tools import project
from tools.project import ROOT

SOURCES = (*project.LIBRARY_FOLDERS, "settings_pane", "include", "package", "CMakeLists.txt",
           "LICENSE")


def rebuilt_elsewhere():
    with tempfile.TemporaryDirectory(prefix="hushlane-copy-") as directory:
        copy = pathlib.Path(directory)
        for name in SOURCES:
            place = shutil.copytree if (ROOT / name).is_dir() else shutil.copy
            place(ROOT / name, copy / name)
        return build.package(copy)


def compiles_for_armv7():
    with tempfile.TemporaryDirectory() as directory:
        try:
            sources = {*build.library_sources(ROOT), *build.pane_sources(ROOT), build.PANE_CLASS}
            build.compile_slice(ROOT, "armv7", pathlib.Path(directory), sorted(sources))
        except project.CommandFailed as error:
            return [str(error)]
        return []


def checks(package):
    from package import verify  # by a module of Debian's, which the set-up may just have installed
    yield from verify.verify(package, ROOT)
    same = rebuilt_elsewhere() == package
    yield ("a build in another directory gives the same bytes",
           [] if same else ["its bytes differ"])
    yield "compiles for armv7 (objects only; this linker has no such target)", compiles_for_armv7()


def emulated(package):
    from package import verify
    library = verify.Package(package).files[build.DYLIB]
    yield ("plays as the desk build does, on an emulated arm64 processor",
           list(emulation.complaints(ROOT, library)))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--verify", action="store_true", help="check the built package as well")
    parser.add_argument("--emulate", action="store_true",
                        help="play the built package's library, too (takes minutes)")
    options = parser.parse_args()
    project.set_up()
    package = build.package(ROOT)
    target = ROOT / "build/package" / build.file_name(ROOT)
    target.parent.mkdir(parents=True, exist_ok=True)
    target.write_bytes(package)
    print(f"built {target.relative_to(ROOT)}, {len(package)} bytes", flush=True)
    if options.verify and project.report(checks(package)):
        sys.exit("the package is refused")
    if options.emulate and project.report(emulated(package)):
        sys.exit("the library behaves differently")
