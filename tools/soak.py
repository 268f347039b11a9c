"""Asks the library on four threads while its settings are loaded without pause: for 100 million
decisions and 100,000 loads, unless told otherwise."""

import argparse
import os
import re
import sys
import tempfile
import time

from tools import project

# What each variant of the library lacks in platform/published.cpp.
VARIANTS = {"unchanged": "",
            "without-announcement": r".*__atomic_fetch_(add|sub)\(&readers_.*\n",
            "frees-at-once": r".*__atomic_load_n\(&readers_(?s:.*?)\n  }.*\n"}


def variant(build, name, lacks, folder):
    text = (project.ROOT / "platform/published.cpp").read_text(encoding="utf-8")
    if lacks and not re.search(lacks, text):
        sys.exit(f"soak: {name}: nothing to take out")
    objects = (path for path in (build / "CMakeFiles/hushlane.dir").rglob("*.o")
               if not path.name.startswith("published."))
    library = f"{folder}/{name}.so"
    project.run("clang++", f"@{project.ROOT}/package/library_flags.txt", "-std=c++20", "-O2", "-g",
                "-fPIC", "-fsanitize=address,undefined", "-fno-sanitize-recover=all", "-lsimulator",
                "-fno-omit-frame-pointer", f"-I{project.ROOT}", "-nostartfiles", "-o", library,
                *objects, f"-L{build}/bin", "-shared", "-xc++", "-", input=re.sub(lacks, "", text))
    return library


def run(build, library, seconds, folder):
    return project.run(build / "bin/soak", "--library", library, "--seconds", seconds, "--root",
                       tempfile.mkdtemp(dir=folder))


def prove(folder):
    build = project.build("asan", "soak")
    for name, lacks in VARIANTS.items():
        library = variant(build, name, lacks, folder)
        start = time.monotonic()
        try:
            said = run(build, library, 120 if lacks else 10, folder).splitlines()[-1]
            if lacks:
                sys.exit(f"soak: {name}: 120 s without a fault being seen")
        except project.CommandFailed as failure:
            why = re.search("^.*(ERROR: |fatal: |soak: ).*", str(failure), re.MULTILINE)
            if not lacks or not why:
                sys.exit(f"soak: {name}: not caught, but failed: {failure}")
            said = f"caught after {time.monotonic() - start:.0f} s: {why[0]}"
        print(f"soak: {name}: {said}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("preset", nargs="?", default="gcc", help="the build: tsan, asan ...")
    choice = parser.add_mutually_exclusive_group()
    choice.add_argument("--seconds", type=int, default=0, help="how long a shorter run takes")
    choice.add_argument("--prove", action="store_true", help="show that a broken library fails")
    options = parser.parse_args()
    # In memory where that can be: the loads read real files, as fast as they can be had.
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory(prefix="soak-", dir=memory) as folder:
        if options.prove:
            prove(folder)
        else:
            build = project.build(options.preset, "soak")
            print(run(build, build / "bin/libhushlane.so", options.seconds, folder), end="")
