"""Prints how many lines and branches of the library the tests run, and which they don't. Fails for
one that is not in docs/unreached.txt. A template counts as what stands in the source: once,
whatever it is made for."""

import argparse
import collections
import json
import os
import sys

from tools import library_tests, project
from tools.project import ROOT


def run_tests():
    """Gives the library, with the counts in a file beside it."""
    programs = library_tests.build()
    folder = project.build("coverage", "hushlane")
    for counts in folder.glob("*.profraw"):
        counts.unlink()
    # Each time the library is unloaded, its counts are added to those in the file.
    os.environ["LLVM_PROFILE_FILE"] = str(folder / "%m.profraw")
    library = folder / "bin/libhushlane.so"
    for program in programs:
        if not library_tests.run(program, library):
            sys.exit(f"{program.name} fails")
    project.run("llvm-profdata", "merge", "-o", library.with_suffix(".counts"),
                *folder.glob("*.profraw"))
    return library


def export(library, form):
    return project.run("llvm-cov", "export", f"-format={form}", "-instr-profile",
                       library.with_suffix(".counts"), library)


def relative(path):
    return os.path.relpath(path, ROOT)


def lines(library):
    """How often each (file, line) ran."""
    counts = collections.Counter()
    for record in export(library, "lcov").splitlines():
        kind, _, rest = record.partition(":")
        if kind == "SF":
            file = relative(rest)
        elif kind == "DA":
            line, count = rest.split(",")[:2]
            counts[file, int(line)] += int(count)
    return counts


def branches(library):
    """How often each (file, line, column, outcome) was taken."""
    counts = collections.Counter()
    for file in json.loads(export(library, "text"))["data"][0]["files"]:
        for line, column, _, _, true, false, *_ in file["branches"]:
            for outcome, count in (("true", true), ("false", false)):
                counts[relative(file["filename"]), line, column, outcome] += count
    return counts


def main():
    argparse.ArgumentParser(description=__doc__).parse_args()
    project.set_up()
    library = run_tests()
    unreached = project.Findings("docs/unreached.txt")
    for kind, counts in (("lines", lines(library)), ("branches", branches(library))):
        for (file, line, *where), count in sorted(counts.items()):
            if count == 0:
                text = (ROOT / file).read_text(encoding="utf-8").splitlines()[line - 1].strip()
                unreached.add(f"{file}: {text}",
                              f"{file}:{line}: never {where[-1] if where else 'run'}: {text}")
        reached = sum(count > 0 for count in counts.values())
        print(f"{kind}: {reached} of {len(counts)}, {100 * reached / len(counts):.1f} %")
    unreached.exit()
