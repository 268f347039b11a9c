#!/usr/bin/python3
"""Whatever a phone's files are, and however a session ends: it ends soon, in little memory, with the
status and the complaint that are promised, changes none of the files, and leaves no copy behind."""

import fcntl
import os
import pathlib
import resource
import shutil
import signal
import sqlite3
import struct
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
LIBRARY = "phone/var/mobile/Library"
BOOK = LIBRARY + "/AddressBook/AddressBook.sqlitedb"
SETTINGS = LIBRARY + "/Preferences/org.mernwick.hushlane.plist"
FAVOURITES = LIBRARY + "/Preferences/com.apple.mobilephone.speeddial.plist"
SCHEDULE = LIBRARY + "/BulletinBoard/BehaviorOverrides.plist"
MOST_MEMORY, LONGEST = 512 << 20, 10
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

# The file, how it is made, and what the complaint says behind the file's name; None where it is read
# as it should be.
FILES = (
    (SETTINGS, xml(b'<array x=">">' * 100_000), "a quote that is not closed inside of <...>"),
    (SETTINGS, xml(b'<?x "?>' + b"<array>" * 100_000), "a quote that is not closed"),
    (SETTINGS, xml(b"<array>" * 100_000), "nested more than 512 levels deep"),
    (FAVOURITES, xml(b"<array>" + b"<true/>" * 200_000 + b"</array>"), "more than 100000 objects"),
    (FAVOURITES, xml(b"<string>" + b"&lt;" * 900_000 + b"</string>"), "more than 100000 character"),
    (FAVOURITES, unfolding(60), "more than 100000 objects; expected a property list of favourites"),
    (FAVOURITES, lambda path: os.truncate(path, 2 << 30), "larger than 4 MiB"),
    (SCHEDULE, content(b"bplist00"), "truncated, expected a property list"),
    (BOOK, damaged_tree, ""),
    (BOOK, sql(NUMBERS, "INSERT INTO ABMultiValue (record_id, property, value) SELECT 1, 3, 1 FROM n"
               ";"), "it has rows without end; expected an address book, an SQLite database"),
    (BOOK, sql("UPDATE ABMultiValue SET value = hex(zeroblob(2000000));"), "string or blob too big"),
    (BOOK, sql("ALTER TABLE ABPerson RENAME TO P; CREATE VIEW ABPerson AS SELECT * FROM P;"),
     "an SQLite database, but no address book; expected a table ABPerson"),
    (BOOK, unfinished, None),
    (BOOK, lambda path: pathlib.Path(f"{path}-journal").write_bytes(
        b"\xd9\xd5\x05\xf9\x20\xa1\x63\xd7" * 2), "names another journal"),
)

# ---- Other circumstances -------------------------------------------------------------------------

SIM = "exec hushlane-sim "
WHO = SIM + "who --device phone "
COPY = "expected to write a copy of phone/"

# What a shell is asked to do beside a phone; the status, and how the complaint begins.
COMMANDS = (
    ("exec > >(:); wait $!; " + SIM + "calendar --next 366", -signal.SIGPIPE, ""),
    (WHO + ">&-", 2, "standard output: Bad file descriptor"),
    (WHO + "> /dev/full 2>&-", 2, ""),
    (WHO + "> /dev/full", 2, "standard output: No space left on device"),
    (SIM + "who --device nowhere 2> /dev/full", 3, ""),
    (SIM + "--help > /dev/full", 2, "standard output: "),
    (SIM + "play - <&-", 2, "standard input: Bad file descriptor; expected a scenario"),
    (SIM + "play - < .", 2, "standard input: Is a directory; expected a scenario"),
    (SIM + "shell < .", 2, "standard input: Is a directory; expected a scenario"),
    ("ulimit -f 4; " + WHO, -signal.SIGXFSZ, ""),
    ("trap '' XFSZ; ulimit -f 4; " + WHO, 2, "$HOME/scratch: File too large, " + COPY),
    ("yes dnd on | head -n 300000 > a; ulimit -v 60000; " + SIM + "play a", 2, "play: out of memory"),
    ("ulimit -n 4; " + WHO, 3, SETTINGS + ": Too many open files"),
    ("ulimit -n 5; " + WHO, 2, "$HOME/scratch: Too many open files, " + COPY),
    ("TMPDIR=nowhere " + WHO, 2, "nowhere: No such file or directory; expected a temporary dir"),
    ("TMPDIR=phone/var " + WHO, 2, "$HOME/phone/var: lies inside phone, "),
    (f"mkfifo {BOOK}-wal; " + WHO, 3, BOOK + "-wal: not a regular file"),
    (f"mkdir {BOOK}-journal; " + WHO, 3, BOOK + "-journal: not a regular file"),
    (f"ln -sf gone {SETTINGS}; " + WHO, 3, SETTINGS + ": No such file or directory"),
    (f"mv {LIBRARY} away; ln -s gone {LIBRARY}; " + WHO, 3, SETTINGS + ": No such file"),
    (f"rm {BOOK}; mkfifo {BOOK}; " + WHO, 3, BOOK + ": not a regular file"),
    (f"ln -sf /dev/zero {SCHEDULE}; " + WHO, 3, SCHEDULE + ": not a regular file"),
    (f"rm {FAVOURITES}; python3 -c 'import socket; "
     f"socket.socket(socket.AF_UNIX).bind(\"{FAVOURITES}\")'; " + WHO, 3,
     FAVOURITES + ": not a regular file"),
    (f"rm -r {LIBRARY}; touch {LIBRARY}; " + WHO, 3, "phone: none of a phone's files is in it, "),
    (f"rm -r {LIBRARY}/BulletinBoard; touch {LIBRARY}/BulletinBoard; " + WHO, 0, ""),
)
ENDING = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGPIPE,
          signal.SIGSEGV, signal.SIGABRT, signal.SIGUSR1)
SIGNALS = [(number, receiver) for number in ENDING for receiver in ("parent", "worker", "both")]
SIGNALS.append((signal.SIGKILL, "worker"))

def child_of(process):
    return int(pathlib.Path(f"/proc/{process}/task/{process}/children").read_text(encoding="ascii"))


def limited():
    resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def states(folder):
    return {path: (path.lstat().st_size, path.lstat().st_mtime_ns) for path in folder.rglob("*")}


class HostileTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory())).resolve()
        self.scratch = self.folder / "scratch"
        os.environ.update(HOME=str(self.folder), TMPDIR=str(self.scratch), TERM="xterm")
        self.scratch.mkdir()
        shutil.copytree(ROOT / "examples/phone", self.folder / "phone")
        (self.folder / BOOK).with_name("Neighbour.sqlitedb").touch()

    def left(self):
        return {path.name for path in self.scratch.iterdir()}

    def session(self):
        """One that waits for its next line, its worker, and its scratch folder."""
        before = self.left()
        session = self.enterContext(subprocess.Popen(
            ["hushlane-sim", "shell", "--device", "phone"], cwd=self.folder, bufsize=0,
            stdin=subprocess.PIPE, stderr=subprocess.PIPE, start_new_session=True))
        session.stdin.write(b"?\n")
        self.assertIn(b"unknown command", session.stderr.readline())
        [folder] = self.left() - before
        self.assertEqual([path.name for path in (self.scratch / folder).rglob("*.sqlitedb*")],
                         [pathlib.Path(BOOK).name])
        return session, child_of(session.pid), folder

    def wait_until_unused(self, folder):
        opened = os.open(self.scratch / folder, os.O_RDONLY)
        fcntl.flock(opened, fcntl.LOCK_EX)
        os.close(opened)

    def test_files(self):
        for name, make, complaint in FILES:
            with self.subTest(f"{name}: {complaint}"):
                self.setUp()
                make(self.folder / name)
                before = states(self.folder / "phone")
                result = subprocess.run(
                    ["hushlane-sim", "who", "--device", "phone"], capture_output=True, text=True,
                    check=False, timeout=LONGEST, preexec_fn=limited, cwd=self.folder)
                self.assertEqual(result.returncode, 0 if complaint is None else 3, result.stderr)
                self.assertIn("Mara Quill" if complaint is None else complaint,
                              result.stderr if complaint is not None else result.stdout)
                self.assertTrue(complaint is None or result.stderr.startswith(name))
                self.assertEqual(states(self.folder / "phone"), before)
                self.assertEqual(self.left(), set())

    def test_commands(self):
        for command, status, complaint in COMMANDS:
            with self.subTest(command):
                self.setUp()
                result = subprocess.run(["bash", "-c", command], cwd=self.folder, check=False,
                                        stdin=subprocess.DEVNULL, capture_output=True, text=True)
                self.assertEqual(result.returncode, status, result.stderr)
                beginning = os.path.expandvars(complaint)
                self.assertEqual(result.stderr[:len(beginning)], beginning)
                self.assertEqual(self.left(), set())

    def test_signals(self):
        for number, receiver in SIGNALS:
            with self.subTest(f"{number.name} to {receiver}"):
                session, worker, _ = self.session()
                ids = {"parent": session.pid, "worker": worker, "both": -session.pid}
                os.kill(ids[receiver], number)
                self.assertEqual(session.wait(20), -number)
                self.assertEqual(self.left(), set())

    def test_the_worker_alone_goes_on_to_its_end(self):
        session, _, folder = self.session()
        session.kill()
        session.stdin.close()
        self.wait_until_unused(folder)
        self.assertEqual(self.left(), set())

    def test_the_next_start_removes_what_was_left_and_nothing_else(self):
        used = self.session()[2]
        killed, _, abandoned = self.session()
        os.killpg(killed.pid, signal.SIGKILL)
        self.wait_until_unused(abandoned)
        others = {"hushlane-scratch-" + name for name in ("public", "filled", "linked")}
        for name, mode in (("public", 0o755), ("filled", 0o700)):
            (self.scratch / f"hushlane-scratch-{name}/var").mkdir(parents=True)
            (self.scratch / f"hushlane-scratch-{name}").chmod(mode)
        (self.scratch / "hushlane-scratch-filled/mine").touch()
        (self.scratch / "hushlane-scratch-linked").symlink_to(self.folder / "phone")
        self.assertEqual(self.left(), others | {used, abandoned})
        subprocess.run(["hushlane-sim", "who"], stdout=subprocess.DEVNULL, check=True)
        self.assertEqual(self.left(), others | {used})


if __name__ == "__main__":
    os.environ["PATH"] = sys.argv.pop(1) + os.pathsep + os.environ["PATH"]
    unittest.main()
