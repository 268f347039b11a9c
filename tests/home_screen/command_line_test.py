#!/usr/bin/env python3
"""The command line of hushlane-sim, as built and as installed: its examples run as they are shown, a
mistake is answered with what may have been meant, and a what-if answers as the phone would with the
settings that it writes."""

import os
import pathlib
import plistlib
import shlex
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
PHONE = "--device examples/phone "
NIGHT = PHONE + "--at 2026-11-22T01:00 --time-zone Etc/UTC "

MISTAKES = [
    ("whoo", "no command whoo; did you mean who?"),
    ("help cal", "no command cal; did you mean calendar?"),
    ("who --devcie x", "who: no option --devcie; did you mean --device?"),
    ("--device x who", "--device belongs behind the command"),
    ("who extra", 'who: "extra" is a word too many'),
    ("demo --color alway", "demo: --color: alway is no choice; did you mean always?"),
    ("who --time-zone Europe/Berln", "Berln is no time zone; did you mean Europe/Berlin?"),
    ("who --set maxDigits=1", "maxDigits is no setting; expected allowedMessageGroup, maxNumOf"),
    ("who --set schedulerWeekday_8=true", "is no setting; did you mean schedulerWeekday_7?"),
    ("who --set schedulerWeekday_1=flase", "flase is neither true nor false; did you mean false?"),
    ("who --mode favorites", "who: --mode: favorites is no mode; did you mean favourites?"),
    ("who --mode group=Famly " + PHONE, "has no group Famly; did you mean group=Family?"),
    ("who --mode group=9 " + PHONE, "the phone has no group 9; it has Family (1), Clinic (2)"),
    ("who --set allowedMessageGroup=3 " + PHONE, "3 is neither a mode nor a group of the phone; did"),
    ("settings -o .", "file; expected"), ("settings -o nowhere/x", "nowhere/x: No such file"),
    ("settings -o examples/phone/x " + PHONE, "examples/phone/x: lies inside examples/phone, "),
]
# Options, TZ, and how the first line of `who` begins; NOW is the machine's time.
MOMENTS = [
    ("", "Europe/Berlin", "Sat 2026-11-21 20:00, Etc/UTC: Do Not Disturb off"),
    ("--at 2026-11-22", "Europe/Berlin", "Sun 2026-11-22 00:00, Etc/UTC:"),
    ("--at 23:30:15 --time-zone Asia/Tokyo", "Etc/UTC", "Sun 2026-11-22 23:30, Asia/Tokyo:"),
    ("--at now", "Europe/Berlin", "NOW, Europe/Berlin:"),
    (PHONE, ":Asia/Tokyo", "NOW, Asia/Tokyo:"),
    (PHONE + "--time-zone Europe/Berlin", "Asia/Tokyo", "NOW, Europe/Berlin:"),
    (PHONE + "--at '2026-11-22 01:00'", "Asia/Tokyo", "Sun 2026-11-22 01:00, Asia/Tokyo: "
     "Do Not Disturb on, let through: group Family"),
    (PHONE + "--at 2026-11-22T01:00:00 --mode group=2", "", "Sun 2026-11-22 01:00, Etc/UTC: "
     "Do Not Disturb on, let through: group Clinic"),
]
COLOURS = [("", "xterm", True), ("", "dumb", False), ("NO_COLOR=1", "xterm", False),
           ("NO_COLOR=1", "xterm --color always", True), ("", "xterm --color never", False)]


class CommandLineTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)
        (self.folder / "examples").symlink_to(ROOT / "examples")
        self.programs = PROGRAM.parent

    def shell(self, command, zone="Etc/UTC"):
        path = f"{self.programs}:{os.environ['PATH']}"
        environment = {"PATH": path, "TZ": zone, "HOME": str(self.folder), "LANG": "C.UTF-8"}
        return subprocess.run(["bash", "-c", command], cwd=self.folder, env=environment, text=True,
                              stdin=subprocess.DEVNULL, capture_output=True, check=False)

    def answer(self, arguments, **kept):
        result = self.shell("hushlane-sim " + arguments, **kept)
        self.assertEqual((result.returncode, result.stderr), (0, ""), arguments)
        return result.stdout

    def test_examples_end_every_help_and_run(self):
        listed = self.answer("help").split("Subcommands:\n")[1].split("\n\n")[0].splitlines()
        for command in ["", *(line.split()[0] for line in listed)]:
            shown = self.answer(f"{command} --help")
            self.assertEqual(self.answer(f"help {command}"), shown)
            told, examples = shown.split("\nExamples:\n")
            examples = examples.splitlines()
            self.assertLessEqual(max(map(len, told.splitlines())), 80)
            self.assertEqual(len(examples), 2, command)
            for example in examples:
                result = self.shell(example)
                self.assertEqual((result.returncode, result.stderr), (0, ""), example)

    def test_mistakes(self):
        for arguments, complaint in MISTAKES:
            with self.subTest(arguments):
                result = self.shell("hushlane-sim " + arguments)
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertRegex(result.stderr, r"\A[^\n]+\n\Z")
                self.assertIn(complaint, result.stderr)
        self.assertEqual([path.name for path in self.folder.iterdir()], ["examples"])

    def test_moments(self):
        for options, zone, line in MOMENTS:
            with self.subTest(options):
                told = self.answer("who " + options, zone=zone).splitlines()[0]
                name = line.split(",")[1].strip(" :")
                now = self.shell("date '+%a %F %R'", zone=name).stdout.strip()
                self.assertTrue(told.startswith(line.replace("NOW", now)), f"{told} at {now}")
        result = self.shell("hushlane-sim who " + PHONE, zone="CET-1CEST")
        self.assertRegex(result.stderr, r"\Athe machine's time zone has no name .*\n\Z")
        night = 'Ask about the night with --at "2026-11-22 00:00", or with --dnd.'
        self.assertIn(night, self.answer("who --time-zone Etc/UTC --at 2026-11-21 " + PHONE))

    def test_written_settings_are_what_was_asked(self):
        change = "--set maxNumOfDigitsToCompare=9 --set schedulerWeekday_7=true --mode group=Clinic"
        written = self.folder / "org.mernwick.hushlane.plist"
        written.write_text("before", encoding="utf-8")
        written.chmod(0o640)
        self.answer(f"settings {PHONE} {change} -o {written.name}")
        self.assertEqual(written.stat().st_mode & 0o777, 0o640)
        content = written.read_bytes()
        self.assertEqual(plistlib.loads(content, fmt=plistlib.FMT_BINARY), {
            "allowedMessageGroup": 2, "maxNumOfDigitsToCompare": 9, "schedulerWeekday_7": True})
        asked = self.answer(f"who {NIGHT} {change}")
        self.assertNotEqual(asked, self.answer(f"who {NIGHT}"))
        self.shell("cp -r examples/phone own; cp *.plist own/var/mobile/Library/Preferences")
        self.assertEqual(self.answer(f"who {NIGHT.replace('examples/phone', 'own')}"), asked)
        self.assertEqual(self.shell(f"hushlane-sim settings {PHONE} {change} -o - | cmp - *.plist"
                                    ).stdout, "")
        result = self.shell("ulimit -f 0; hushlane-sim settings -o org.mernwick.hushlane.plist")
        self.assertNotEqual(result.returncode, 0)
        self.assertEqual(written.read_bytes(), content)

    def test_warnings(self):
        (self.folder / "it").write_text("set allowedMessageGruop 1\npost reloadsetings\n"
                                        "post reloadsettings\nunset allowedMessageGroup\n", "utf-8")
        result = self.shell("hushlane-sim play it")
        self.assertEqual(result.returncode, 0)
        self.assertEqual(result.stderr.splitlines(), [
            'it:1: warning: nothing reads the preference "allowedMessageGruop"; did you mean '
            'allowedMessageGroup?',
            'it:2: warning: nobody observes "reloadsetings"; did you mean reloadsettings?',
            'it:4: warning: "unset allowedMessageGroup" is never loaded; "post reloadsettings" '
            'would do that'])

    def test_colours(self):
        for setting, rest, coloured in COLOURS:
            command = f"{setting} TERM={rest.split()[0]} hushlane-sim demo {rest.partition(' ')[2]}"
            shown = self.shell(f"script --quiet --command {shlex.quote(command)} /dev/null").stdout
            self.assertEqual("\x1b[32m" in shown, coloured, command)

    def test_installed(self):
        subprocess.run(["cmake", "--install", BUILD, "--prefix", self.folder / "first"],
                       stdout=subprocess.DEVNULL, check=True)
        prefix = (self.folder / "first").rename(self.folder / "second")  # nothing knows its place
        (self.folder / "examples").unlink()
        (self.folder / "examples").symlink_to(prefix / "share/doc/hushlane/examples")
        expected = self.answer(f"who {NIGHT}")
        self.programs = prefix / "bin"
        self.assertEqual(self.answer(f"who {NIGHT}"), expected)
        manual = (prefix / "share/man/man1/hushlane-sim.1").read_text(encoding="utf-8")
        self.assertIn("\n\\fB\\-\\-time\\-zone\\fR \\fIZONE\\fR\n", manual)
        self.assertTrue((prefix / "include/hushlane/hushlane.h").is_file())
        for line, words in (("calen", ["calendar"]), ("who --dev", ["--device"]),
                            ("help vers", ["version"]), ("who --mode fav", ["favourites"]),
                            ("who --set max", ["maxNumOfDigitsToCompare="]),
                            ("play examples/ev", ["examples/evening.scenario"])):
            result = self.shell(
                "compopt() { :; }; . second/share/bash-completion/completions/hushlane-sim; "
                f"COMP_WORDS=(hushlane-sim {line}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1)); "
                '_hushlane_sim; printf "%s\\n" "${COMPREPLY[@]}"')
            self.assertEqual((result.stdout.split(), result.stderr), (words, ""), line)


if __name__ == "__main__":
    BUILD = sys.argv.pop()
    PROGRAM = pathlib.Path(sys.argv.pop())
    unittest.main()
