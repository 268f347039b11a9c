"""The test programs that load the library, and how to run one with another build of it."""

import os
import subprocess

from tools import project

FOLDERS = [folder for folder in (*project.LIBRARY_FOLDERS, "faults")
           if any((project.ROOT / "tests" / folder).glob("*_test.cpp"))]


def build():
    """Gives the programs, after building them."""
    names = [f"{folder}-tests" for folder in FOLDERS]
    folder = project.build("gcc", *names)
    return [folder / "bin" / name for name in names]


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
