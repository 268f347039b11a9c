#!/usr/bin/env python3
"""The library in the phone's file format behaves as the one that all other tests load: the same
program, with another loader, gives the same bytes for the demo and for every example."""

import pathlib
import plistlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "script"), str(ROOT / "package")]
sys.dont_write_bytecode = True

import build  # noqa: E402

EXAMPLES = sorted((ROOT / "examples").glob("*.scenario"))
RUNS = [["demo"]] + [["play", str(path), option] for path in EXAMPLES
                     for option in ("--trace", "--json")]
SETTINGS = {"allowedMessageGroup": -100, "schedulerWeekday_7": False}
START_UP_CALLS = set("""
    objc_autoreleasePoolPush objc_autoreleasePoolPop objc_getClass MSHookMessageEx NSLog
    CFPreferencesCopyKeyList CFPreferencesCopyMultiple CFNotificationCenterGetDarwinNotifyCenter
    CFNotificationCenterAddObserver alloc init initWithUTF8String: stringWithFormat: objectForKey:
    class_respondsToSelector intValue boolValue numberWithInt: addObject:""".split())


def outcome(program, library, run):
    result = subprocess.run([BIN / program, "--library", library, *run], capture_output=True,
                            check=False)
    return result.returncode, result.stdout, result.stderr


class SameCodeTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.directory.cleanup)
        cls.dylib = pathlib.Path(cls.directory.name) / "Hushlane.dylib"
        cls.dylib.write_bytes(build.dylib(ROOT, "x86_64"))

    def test_same_bytes(self):
        for run in RUNS:
            with self.subTest(" ".join(run)):
                expected = outcome("hushlane-sim", LIBRARY, run)
                self.assertTrue(expected[1])
                self.assertEqual(outcome("hushlane-sim-mach-o", self.dylib, run), expected)

    def test_start_up_calls_what_it_needs_alone(self):
        phone = self.dylib.parent
        preferences = phone / "var/mobile/Library/Preferences/org.mernwick.hushlane.plist"
        preferences.parent.mkdir(parents=True)
        used = set()
        for settings in ({}, SETTINGS):
            preferences.write_bytes(plistlib.dumps(settings))
            expected = outcome("start-up-trace", LIBRARY, [phone])
            self.assertEqual(outcome("start-up-trace-mach-o", self.dylib, [phone]), expected)
            calls = [line.split() for line in expected[1].decode().splitlines()]
            used |= {call[-1] if call[0] == "message" else call[0] for call in calls}
        self.assertEqual(used, START_UP_CALLS)

    def test_only_the_phones_format_is_loaded(self):
        status, _, complaint = outcome("hushlane-sim-mach-o", LIBRARY, ["demo"])
        self.assertNotEqual(status, 0)
        self.assertIn(b"is no Mach-O library", complaint)


if __name__ == "__main__":
    BIN = pathlib.Path(sys.argv.pop())  # where the programs are
    LIBRARY = BIN / "libhushlane.so"
    unittest.main()
