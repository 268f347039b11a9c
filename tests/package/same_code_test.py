#!/usr/bin/python3
"""The library in the phone's file format behaves as the one that all other tests load: the same
program gives the same bytes for the demo and for every example."""

import collections
import os
import pathlib
import plistlib
import shutil
import sqlite3
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT))
sys.dont_write_bytecode = True

from package import build, verify  # noqa: E402
from tools import interface, plays, project  # noqa: E402

# To the one member of the examples' second group.
MORE_VALUES = """INSERT INTO ABMultiValue (record_id, property, value)
                 VALUES (3, 3, '+49 170 0163'), (3, 4, 'ines@falk.example')"""


def outcome(program, library, run):
    return plays.outcome(BIN / program, "--library", library, *run)


def operation(call):
    """The name alone: "NSDate init" of a message, "NSLog" of a function with its details."""
    return call.removeprefix("message ") if call.startswith("message ") else call.split()[0]


class SameCodeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.directory.cleanup)
        cls.dylib = pathlib.Path(cls.directory.name) / "Hushlane.dylib"
        cls.dylib.write_bytes(build.dylib(ROOT, "x86_64"))

    def test_same_bytes(self):
        for run in plays.RUNS:
            with self.subTest(" ".join(run)):
                expected = outcome("hushlane-sim", LIBRARY, run)
                self.assertTrue(expected[1])
                self.assertEqual(outcome("hushlane-sim", self.dylib, run), expected)

    def test_the_settings_page_in_the_package_reaches_the_library(self):
        files = verify.Package(build.package(ROOT)).files
        description, pane = (self.dylib.with_name(name) for name in ("Root.plist", "Pane"))
        description.write_bytes(files[build.BUNDLE + description.name])
        pane.write_bytes(build.pane(ROOT, "x86_64", ()))
        told = project.run(BIN / "settings_pane-tests", env=os.environ | {
            "HUSHLANE_LIBRARY": str(self.dylib), "HUSHLANE_PANE": str(pane),
            "HUSHLANE_DESCRIPTION": str(description)})
        self.assertIn("AGroupChosenByNameGetsThrough (", told)

    def start_up_calls(self, settings):
        """Which must be the same in both formats; threads may mix them, when there are any."""
        phone = pathlib.Path(self.directory.name) / "phone"
        shutil.copytree(ROOT / "examples/phone", phone, dirs_exist_ok=True)
        with sqlite3.connect(phone / "var/mobile/Library/AddressBook/AddressBook.sqlitedb") as book:
            book.execute(MORE_VALUES)
        preferences = phone / "var/mobile/Library/Preferences/org.mernwick.hushlane.plist"
        preferences.write_bytes(plistlib.dumps(settings))
        calls, others = (outcome("start-up-trace", library, [phone])[1].decode().splitlines()
                         for library in (LIBRARY, self.dylib))
        sort = sorted if settings.get("allowedMessageGroup", 0) > 0 else list
        self.assertEqual(sort(others), sort(calls))
        return collections.Counter(map(operation, calls))

    def test_start_up_makes_the_same_calls_and_with_a_group_what_it_needs_alone(self):
        for settings in {}, {"allowedMessageGroup": -100, "schedulerWeekday_7": False}:
            self.assertTrue(self.start_up_calls(settings))
        self.assertEqual(self.start_up_calls({"allowedMessageGroup": 2}),
                         interface.start_up_calls())

    def test_other_files_are_refused(self):
        other, library = self.dylib.with_name("other.dylib"), self.dylib.read_bytes()
        for contents, words in ((b"", "expected the library as an ELF or a 64-bit Mach-O file"),
                                (library[:4] + b"\0" + library[5:], "for this processor"),
                                (library[:1000], "is cut short")):
            with self.subTest(words):
                other.write_bytes(contents)
                status, _, complaint = outcome("hushlane-sim", other, ["demo"])
                self.assertEqual(status, 2)
                self.assertRegex(complaint.decode(), f"{other}: .*{words}")


if __name__ == "__main__":
    BIN = pathlib.Path(sys.argv.pop())  # where the programs are
    LIBRARY = BIN / "libhushlane.so"
    unittest.main()
