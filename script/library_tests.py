"""The test programs that load the library, and how to run one with another build of it."""

import os
import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/gcc"
# They hold no tests, or test what lies below or above the library.
OTHERS = {"support", "simulator", "home_screen", "examples"}


def programs():
    folders = {path.parent.name for path in (ROOT / "tests").glob("*/*_test.cpp")} - OTHERS
    return [BUILD / "bin" / f"{folder}-tests" for folder in sorted(folders)]


def build():
    for command in (["cmake", "--preset", "gcc", "--log-level=WARNING"],
                    ["cmake", "--build", "--preset", "gcc",
                     "--target", *(program.name for program in programs())]):
        subprocess.run(command, cwd=ROOT, check=True, stdout=subprocess.DEVNULL)


def run(program, library, arguments=(), folder=None, seconds=None):
    """Whether all tests pass; not within so many seconds is no. `folder` takes temporary files."""
    environment = {**os.environ, "HUSHLANE_LIBRARY": str(library)}
    if folder is not None:
        environment["TMPDIR"] = str(folder)
    try:
        return subprocess.run([program, *arguments], check=False, env=environment, timeout=seconds,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0
    except subprocess.TimeoutExpired:
        return False


def listed(path):
    """The entries of a list that is kept by hand: each one line, reasons indented below it."""
    lines = path.read_text(encoding="utf-8").splitlines() if path.exists() else []
    return {line for line in lines if line and not line[0].isspace() and line[0] != "#"}
