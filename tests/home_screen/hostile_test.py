#!/usr/bin/python3
"""Whatever the files of a phone are, the program answers or refuses: soon, in little memory, with
the status and the complaint that are promised, and without a change to any of them."""

import os
import pathlib
import plistlib
import resource
import shutil
import socket
import sqlite3
import struct
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BOOK = "AddressBook/AddressBook.sqlitedb"
SETTINGS = "Preferences/org.mernwick.hushlane.plist"
FAVOURITES = "Preferences/com.apple.mobilephone.speeddial.plist"
SCHEDULE = "BulletinBoard/BehaviorOverrides.plist"
LEAST_MEMORY, LONGEST = 512 << 20, 20

# ---- How a file comes to be what it is -----------------------------------------------------------


def content(data):
    return lambda path: path.write_bytes(data)


def xml(inside):
    return content(b'<?xml version="1.0"?><plist version="1.0">' + inside + b"</plist>")


def unfolding(levels):
    """A binary list of arrays, each of which holds the next one twice."""
    objects = [b"\xa2" + struct.pack(">2H", i + 1, i + 1) for i in range(levels)] + [b"\x09"]
    offsets = [8 + sum(map(len, objects[:i])) for i in range(len(objects))]
    table = struct.pack(f">{len(offsets)}H", *offsets)
    return content(b"bplist00" + b"".join(objects) + table + bytes(6) + b"\2\2"
                   + struct.pack(">3Q", len(objects), 0, 8 + sum(map(len, objects))))


def instead(make):
    def replace(path):
        path.unlink()
        make(path)
    return replace


def bound(path):
    with socket.socket(socket.AF_UNIX) as name:
        name.bind(str(path))


def sql(*statements):
    def change(path):
        book = sqlite3.connect(path)
        book.executescript("BEGIN;" + "".join(statements) + "COMMIT;")
        book.close()
    return change


def unfinished(path):
    """A writer's transaction is half written and its journal hot: everybody has lost the name."""
    book = sqlite3.connect(path, isolation_level=None)
    book.execute("PRAGMA cache_size = 1")
    book.execute("BEGIN")
    book.execute("UPDATE ABPerson SET First = hex(zeroblob(3000)), Last = NULL")
    copies = {name: pathlib.Path(name).read_bytes() for name in (path, f"{path}-journal")}
    book.close()
    for name, data in copies.items():
        pathlib.Path(name).write_bytes(data)


def damaged_tree(path):
    """Each page of the largest table names the others again: rows without end."""
    sql("WITH RECURSIVE n(i) AS (SELECT 100 UNION ALL SELECT i + 1 FROM n WHERE i < 60000)"
        "INSERT INTO ABMultiValue (record_id, property, value) SELECT i, 3, i FROM n;")(path)
    with path.open("r+b") as file:
        data = bytearray(file.read())
        size = struct.unpack_from(">H", data, 16)[0]
        for page in range(0, len(data), size):
            if data[page] == 5:  # within: its children become its neighbours
                for cell in range(struct.unpack_from(">H", data, page + 3)[0]):
                    at = page + struct.unpack_from(">H", data, page + 12 + 2 * cell)[0]
                    data[at:at + 4] = struct.pack(">I", page // size + 1)
        file.seek(0)
        file.write(data)


NUMBERS = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1100000)"
WHO, ASK = ("who", "--dnd"), ("explain", "+15550100142", "--dnd")
LIST = "expected a property list of favourites"
DATABASE = "expected an address book, an SQLite database"

# The file, how it is made, the question, the status, and what the complaint says after the file's
# name; with status 0, what the answer holds.
FILES = (
    (SETTINGS, xml(b'<array x=">">' * 100_000), WHO, 3, "a quote that is not closed inside of <...>"),
    (SETTINGS, xml(b'<?x "?>' + b"<array>" * 100_000), WHO, 3, "a quote that is not closed"),
    (SETTINGS, xml(b"<array>" * 100_000), WHO, 3, "nested more than 512 levels deep"),
    (FAVOURITES, xml(b"<array>" + b"<true/>" * 300_000 + b"</array>"), ASK, 3, "more than 200000"),
    (FAVOURITES, xml(b"<string>" + b"&lt;" * 900_000 + b"</string>"), ASK, 3, "more than 100000 char"),
    (FAVOURITES, unfolding(60), ASK, 3, "more than 200000 objects; " + LIST),
    (FAVOURITES, lambda path: os.truncate(path, 2 << 30), ASK, 3, "larger than 4 MiB; " + LIST),
    (SCHEDULE, content(b"bplist00"), ("calendar",), 3, "truncated, expected a property list"),
    (BOOK, damaged_tree, WHO, 3, ""),
    (BOOK, sql(NUMBERS, "INSERT INTO ABMultiValue (record_id, property, value) SELECT 1, 3, 1 FROM n"
               ";"), WHO, 3, "it has rows without end; " + DATABASE),
    (BOOK, sql("UPDATE ABMultiValue SET value = hex(zeroblob(2000000));"), WHO, 3, "string or blob"),
    (BOOK, sql("ALTER TABLE ABPerson RENAME TO P; CREATE VIEW ABPerson AS SELECT * FROM P;"), WHO, 3,
     "an SQLite database, but no address book; expected a table ABPerson"),
    (BOOK, unfinished, WHO, 0, "Mara Quill"),
    (BOOK, lambda path: pathlib.Path(f"{path}-journal").write_bytes(
        b"\xd9\xd5\x05\xf9\x20\xa1\x63\xd7" * 2), WHO, 3, "names another journal; expected"),
    *((file, instead(make), WHO, 3, text) for file in (BOOK, SETTINGS, FAVOURITES, SCHEDULE)
      for make, text in ((lambda path: path.symlink_to("nowhere"), ""), (os.mkfifo, ""), (bound, ""),
                         (lambda path: path.symlink_to("/dev/zero"), ""), (pathlib.Path.mkdir, ""))),
)


def limited():
    resource.setrlimit(resource.RLIMIT_AS, (LEAST_MEMORY, LEAST_MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def states(folder):
    return {path: (path.lstat().st_size, path.lstat().st_mtime_ns) for path in folder.rglob("*")}


class HostileTest(unittest.TestCase):
    def test_files(self):
        for number, (name, make, question, status, text) in enumerate(FILES):
            with self.subTest(f"{number}: {name}: {text}"), tempfile.TemporaryDirectory() as folder:
                phone, scratch = pathlib.Path(folder) / "phone", pathlib.Path(folder) / "scratch"
                shutil.copytree(ROOT / "examples/phone", phone)
                scratch.mkdir()
                file = phone / "var/mobile/Library" / name
                make(file)
                before = states(phone)
                result = subprocess.run(
                    [PROGRAM, *question, "--device", phone], capture_output=True, text=True,
                    check=False, timeout=LONGEST, stdin=subprocess.DEVNULL, preexec_fn=limited,
                    env=os.environ | {"TMPDIR": str(scratch)})
                self.assertEqual(result.returncode, status, result.stderr)
                if status == 3:
                    self.assertTrue(result.stderr.startswith(str(file)), result.stderr)
                self.assertIn(text, result.stderr if status else result.stdout)
                self.assertEqual(states(phone), before)
                self.assertEqual(list(scratch.iterdir()), [])


if __name__ == "__main__":
    PROGRAM = sys.argv.pop()
    unittest.main()
