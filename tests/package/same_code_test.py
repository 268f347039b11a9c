#!/usr/bin/env python3
"""The library in the phone's file format behaves as the one that all other tests load: the same
program, with another loader, gives the same bytes for the demo and for every example."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "script"), str(ROOT / "package")]
sys.dont_write_bytecode = True

import build  # noqa: E402

USAGE = "usage: same_code_test.py HUSHLANE_SIM LIBRARY HUSHLANE_SIM_MACH_O"
EXAMPLES = sorted((ROOT / "examples").glob("*.scenario"))
RUNS = [["demo"]] + [["play", str(path), option] for path in EXAMPLES
                     for option in ("--trace", "--json")]


def outcome(program, library, run):
    result = subprocess.run([program, "--library", library, *run], capture_output=True, check=False)
    return result.returncode, result.stdout, result.stderr


class SameCodeTest(unittest.TestCase):
    program = library = mach_o_program = None

    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.directory.cleanup)
        cls.dylib = pathlib.Path(cls.directory.name) / "Hushlane.dylib"
        cls.dylib.write_bytes(build.dylib(ROOT, "x86_64"))

    def test_same_bytes(self):
        for run in RUNS:
            with self.subTest(" ".join(run)):
                expected = outcome(self.program, self.library, run)
                self.assertTrue(expected[1])
                self.assertEqual(outcome(self.mach_o_program, self.dylib, run), expected)

    def test_a_changed_library_shows(self):
        changed = self.dylib.with_name("Changed.dylib")
        changed.write_bytes(self.dylib.read_bytes().replace(b"HL: starting...", b"HL: Starting..."))
        run = ["play", str(ROOT / "examples/evening.scenario"), "--json"]
        self.assertIn(b"HL: Starting...", outcome(self.mach_o_program, changed, run)[1])

    def test_only_the_phones_format_is_loaded(self):
        status, _, complaint = outcome(self.mach_o_program, self.library, ["demo"])
        self.assertNotEqual(status, 0)
        self.assertIn(b"is no Mach-O library", complaint)


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(USAGE)
    SameCodeTest.mach_o_program = sys.argv.pop()
    SameCodeTest.library = sys.argv.pop()
    SameCodeTest.program = sys.argv.pop()
    unittest.main()
