"""Asks whether the tests would notice: makes one change at a time in the library's sources, builds
the library, and runs the test programs with it. Prints each change that no test noticed. Fails when
one of these is not among the known survivors in docs/survivors.txt."""

import argparse
import collections
import concurrent.futures
import json
import pathlib
import random
import sys
import tempfile
import threading

from tools import library_tests, project
from tools.mutation.operators import Source
from tools.mutation.tool_chain import Copy, ToolChain, library_files

JOBS = 2
SLOW_TEST = 0.5  # seconds; slower ones run after all others
VERDICTS = {"noticed": "noticed", "survived": "survived", "same code": "compiled to the same code",
            "does not build": "did not build"}


class Tests:
    """The test programs, with how long each of their tests takes with the library as it is."""

    def __init__(self, programs, library, scratch):
        self.slow, self.seconds = {}, {}
        for program in programs:
            report = scratch / "report.json"
            if not library_tests.run(program, library, [f"--gtest_output=json:{report}"], scratch):
                sys.exit(f"{program.name} fails with the library as it is")
            suites = json.loads(report.read_text(encoding="utf-8"))["testsuites"]
            times = {f"{suite['name']}.{test['name']}": float(test["time"].rstrip("s"))
                     for suite in suites for test in suite["testsuite"]}
            self.slow[program] = [name for name, time in times.items() if time > SLOW_TEST]
            self.seconds[program] = sum(times.values())

    def notice(self, mutant, library, scratch):
        """Whether any test fails. The quick ones first, and first those of the mutant's folder."""
        own = mutant.file.split("/", 1)[0] + "-tests"
        programs = sorted(self.slow, key=lambda p: (p.name != own, self.seconds[p]))
        quick = [(p, ["--gtest_filter=-" + ":".join(self.slow[p])]) for p in programs]
        slow = [(p, ["--gtest_filter=" + ":".join(self.slow[p])]) for p in programs if self.slow[p]]
        return not all(library_tests.run(program, library, ["--gtest_fail_fast", *arguments],
                                         scratch, 20 + 5 * self.seconds[program])
                       for program, arguments in quick + slow)


def verdict(mutant, copy, tests):
    if untestable := copy.build(mutant.file, mutant.changed()):
        return untestable
    return "noticed" if tests.notice(mutant, copy.library, copy.scratch) else "survived"


class Run:
    def __init__(self, mutants, limit):
        self.waiting = iter(mutants)
        self.limit = limit  # of mutants that are put to the tests
        self.lock = threading.Lock()
        self.counts = collections.Counter()
        self.survivors = project.Findings("docs/survivors.txt")

    def is_full(self):
        return self.counts["noticed"] + self.counts["survived"] >= self.limit

    def next(self):
        with self.lock:
            return None if self.is_full() else next(self.waiting, None)

    def record(self, mutant, found):
        with self.lock:
            if found in ("noticed", "survived") and self.is_full():
                return
            self.counts[found] += 1
            if found == "survived":
                self.survivors.add(f"{mutant.file}: {mutant.what}",
                                   f"{mutant.file}:{mutant.line}: {mutant.what}")

    def work(self, copy, tests):
        while (mutant := self.next()) is not None:
            self.record(mutant, verdict(mutant, copy, tests))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--sample", type=int, metavar="M", help="only so many, chosen at random")
    parser.add_argument("--seed", type=int, default=1, help="of the sample; 1 unless given")
    parser.add_argument("paths", nargs="*", help="only files that begin like this")
    options = parser.parse_args()

    programs = library_tests.build()
    tool_chain = ToolChain(project.build("gcc", "hushlane"))
    mutants = [mutant for file in library_files() if file.startswith(tuple(options.paths or [""]))
               for mutant in Source(file).mutants()]
    if options.sample is not None:
        random.Random(options.seed).shuffle(mutants)
    run = Run(mutants, options.sample if options.sample is not None else len(mutants))

    with tempfile.TemporaryDirectory(prefix="hushlane-mutate-") as directory:
        folder = pathlib.Path(directory)
        copies = [Copy(folder / str(i), tool_chain) for i in range(JOBS)]
        tests = Tests(programs, copies[0].library, folder)
        with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
            for done in [pool.submit(run.work, copy, tests) for copy in copies]:
                done.result()

    counts = ", ".join(f"{run.counts[found]} {name}" for found, name in VERDICTS.items())
    print(f"{run.counts.total()} changes: {counts}")
    run.survivors.exit()
