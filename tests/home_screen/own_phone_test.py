#!/usr/bin/env python3
"""The program takes a phone as people have it, writes nothing into it, and makes new ones."""

import hashlib
import os
import pathlib
import plistlib
import shutil
import subprocess
import sys
import tempfile
import unittest

EXAMPLE = pathlib.Path(__file__).resolve().parents[2] / "examples/phone"
LIBRARY = "var/mobile/Library"
SETTINGS = "Preferences/org.mernwick.hushlane.plist"
FAVOURITES = "Preferences/com.apple.mobilephone.speeddial.plist"
ADDRESS_BOOK = "AddressBook/AddressBook.sqlitedb"
SCHEDULE = "BulletinBoard/BehaviorOverrides.plist"
FILES = {SETTINGS, FAVOURITES, ADDRESS_BOOK, SCHEDULE}
AT = ["--at", "2026-11-21T20:00", "--time-zone", "Etc/UTC"]
QUESTIONS = (["who", "--dnd", *AT], ["calendar", "--next", "3", *AT],
             ["explain", "+15550100163", "--dnd", *AT])


def state_of(folder):
    """Every path with its mode, time and content."""
    return {path: (path.lstat().st_mode, path.lstat().st_mtime_ns, path.is_file() and path.read_bytes())
            for path in folder.rglob("*")}


class OwnPhoneTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))

    def run_program(self, *arguments, text="", status=0):
        """What it prints; when something is wrong, its complaint, and nothing is printed."""
        result = subprocess.run([PROGRAM, *arguments], input=text, capture_output=True, text=True,
                                cwd=self.folder, check=False)
        self.assertEqual(status, result.returncode, (arguments, result.stderr))
        self.assertEqual("", result.stdout if status else result.stderr, arguments)
        return result.stderr if status else result.stdout

    def answers(self, device):
        return [self.run_program(*question, "--device", device) for question in QUESTIONS]

    def put(self, file, place):
        (self.folder / place).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(EXAMPLE / LIBRARY / file, self.folder / place)

    def put_phone(self, place):
        for file in FILES:
            self.put(file, f"{place}/{file}")

    def put_backup(self, place, files=FILES, flat=False, **manifest):
        (self.folder / place).mkdir(parents=True)
        (self.folder / place / ("Manifest.mbdb" if flat else "Manifest.db")).touch()
        (self.folder / place / "Manifest.plist").write_bytes(plistlib.dumps(manifest))
        for file in files:
            name = hashlib.sha1(f"HomeDomain-Library/{file}".encode()).hexdigest()
            self.put(file, f"{place}/{name}" if flat else f"{place}/{name[:2]}/{name}")

    def test_every_form_of_a_phone_gives_the_same_answers_and_stays_as_it_is(self):
        for place in ("root/" + LIBRARY, "var/mobile/Library", "mobile/Library", "library",
                      "private/private/" + LIBRARY):
            self.put_phone(place)
        os.makedirs(self.folder / "private" / LIBRARY / "Preferences")  # it merely exists
        self.put_backup("two letters", IsEncrypted=False)
        self.put_backup("flat", flat=True)
        before = state_of(self.folder)
        for place in os.listdir(self.folder):
            self.assertEqual(self.answers(EXAMPLE), self.answers(place), place)
        self.assertEqual(before, state_of(self.folder))

    def test_what_a_backup_lacks_is_unknown(self):
        for lacking, who, calendar, explanation in (
                (SETTINGS, " unknown, not in this backup ", "Suppressed unknown,", " through unknown "),
                (FAVOURITES, "", "", "Not in this backup: the favourites"),
                (ADDRESS_BOOK, "Not in this backup: the address book", "", " number unknown not in "),
                (SCHEDULE, "Not in this backup: the schedule", "Schedule unknown,", "")):
            self.put_backup(lacking, FILES - {lacking})
            for part, text in zip((who, calendar, explanation), self.answers(lacking)):
                self.assertIn(part, " ".join(text.split()), lacking)
            stored = self.run_program("calendar", "--device", lacking, "--schedule", "off")
            self.assertIn("none stored", stored)
        command = [PROGRAM, "settings", "--device", SETTINGS, "--mode", "nobody", "-o", "it"]
        result = subprocess.run(command, cwd=self.folder, capture_output=True, text=True, check=True)
        self.assertTrue(result.stderr.startswith("it: holds only what was set here; "), result.stderr)

    def test_what_is_no_phone_is_refused_with_the_nearest_that_is(self):
        self.put_backup("backups/phone")
        self.put_backup("locked", IsEncrypted=True)
        self.put_backup("bare", files=())
        self.put_phone("deep/1/2/phone/" + LIBRARY)
        os.makedirs(self.folder / "empty")
        (self.folder / "empty/link").symlink_to("../deep")
        for given, begins, ends in (
                ("backups", ": none of a phone's files is in it, ", "; try backups/phone"),
                ("deep", ": none of a phone's files is in it, ", "; try deep/1/2/phone"),
                (f"deep/1/2/phone/{LIBRARY}/AddressBook", ": none ", "/deep/1/2/phone/" + LIBRARY),
                ("empty", ": none of a phone's files is in it, ", SCHEDULE),
                ("bare", ": a backup with none of a phone's files, ", SCHEDULE),
                ("locked", ": an encrypted backup, ", "back the phone up again"),
                ("nowhere", ": does not exist, ", "expected a phone's directory")):
            complaint = self.run_program("who", "--device", given, status=3)
            self.assertTrue(complaint.startswith(given + begins), complaint)
            self.assertTrue(complaint.endswith(ends + "\n"), complaint)

    def test_a_chosen_schedule_stands_in_for_the_stored_one(self):
        self.put_phone("phone")
        (self.folder / "phone" / SCHEDULE).write_bytes(b"damaged")
        for chosen, shown in (("12:00-13:00", "12:00-13:00"), ("off", "none stored"),
                              ("12:00-13:00,20:00-21:00", "12:00-13:00, 20:00-21:00")):
            calendar = self.run_program("calendar", "--device", "phone", "--schedule", chosen)
            self.assertIn(f"\nSchedule   {shown}\n", calendar)
        noon = "clock 2026-11-22 12:30\nmessage +15550100163\nexpect \"held back\"\n"
        for command in (["play", "-"], ["shell"]):
            self.run_program(*command, "--schedule", "12:00-13:00", text=noon)
        self.run_program("who", "--schedule", "off,12:00-13:00", status=2)

    def test_a_new_phone_appears_whole_or_not_at_all(self):
        self.put_phone("phone")
        (self.folder / "empty").mkdir()
        before = state_of(self.folder)
        for status, folder, scenario in ((2, "made", "mesage\n"), (1, "made", "groups\nexpect 1\n"),
                                         (2, "phone", ""), (2, "phone/" + SETTINGS, "")):
            self.run_program("new", folder, "-", text=scenario, status=status)
        for command in ("save phone/AddressBook/new", "save"):
            self.run_program("shell", "--device", "phone", text=command, status=2)
        self.assertEqual(before, state_of(self.folder))

        for folder in ("empty", "made"):
            self.run_program("new", folder)
            self.assertEqual(self.answers(EXAMPLE), self.answers(folder))
        self.run_program("new", "nobody", "-")
        self.assertIn("The address book is empty", self.answers("nobody")[0])
        self.run_program("shell", "--device", "made", text="contact \"Ada Reed\"\nsave \"a b\"\n")
        self.assertIn("Ada Reed", self.answers("a b")[0])
        self.assertEqual(["var"], os.listdir(self.folder / "a b"))


if __name__ == "__main__":
    PROGRAM = sys.argv.pop()
    unittest.main()
