"""Runs random commands on random, damaged and huge phones, with little memory, few files and signals
at random moments. Whatever happens, the status and the complaint are as promised, the user's
directory stays as it was, and no scratch phone is left behind.

A run that breaks a promise is shown with its number, and --only NUMBER repeats it alone."""

import argparse
import collections
import contextlib
import hashlib
import os
import pathlib
import plistlib
import random
import resource
import shlex
import shutil
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time

from tools import project

LONGEST = 60  # seconds: more than any answer about these phones takes, on a busy machine
MOST_MEMORY = 1 << 30

LIBRARY = pathlib.Path("var/mobile/Library")
ADDRESS_BOOK = LIBRARY / "AddressBook/AddressBook.sqlitedb"
SETTINGS = LIBRARY / "Preferences/org.mernwick.hushlane.plist"
FAVOURITES = LIBRARY / "Preferences/com.apple.mobilephone.speeddial.plist"
SCHEDULE = LIBRARY / "BulletinBoard/BehaviorOverrides.plist"
FILES = (ADDRESS_BOOK, SETTINGS, FAVOURITES, SCHEDULE)
BESIDE = ("-wal", "-journal", "-shm")

# ---- Phones --------------------------------------------------------------------------------------


def number(chance):
    return chance.choice(("+1 (555) {:03}-{:04}", "+49 170 {1:04}{0:03}", "0{:03} {:04}")).format(
        chance.randrange(1000), chance.randrange(10000))


def make_phone(chance, directory):
    """A phone of anything from nobody to some thousands, and the group with most of them chosen."""
    shutil.copytree(project.ROOT / "examples/phone", directory)
    people = chance.choice((0, 3, 30, 300, 3000))
    database = sqlite3.connect(directory / ADDRESS_BOOK)
    for person in range(1000, 1000 + people):
        name = chance.choice(("Ada", "", "名前", "\u202ereversed", "e\u0301", "\x1b[31m", "a\nb"))
        database.execute("INSERT INTO ABPerson (ROWID, First) VALUES (?, ?)", (person, name))
        for kind, value in ((3, number(chance)), (3, chance.choice(("", "x", None, 7, b"\xff"))),
                            (4, f"p{person}@example.org")):
            database.execute("INSERT INTO ABMultiValue (record_id, property, value)"
                             " VALUES (?, ?, ?)", (person, kind, value))
        database.execute("INSERT INTO ABGroupMembers (group_id, member_type, member_id)"
                         " VALUES (1, 0, ?)", (person,))
    database.commit()
    database.close()
    favourites = [{"Value": number(chance)} for _ in range(chance.choice((0, 1, 500)))]
    (directory / FAVOURITES).write_bytes(plistlib.dumps(favourites))
    settings = {"allowedMessageGroup": chance.choice((-400, -300, -200, -100, 1, 1, 2, 99)),
                "maxNumOfDigitsToCompare": chance.choice((-1, 0, 5, 7, 15, 10**6))}
    (directory / SETTINGS).write_bytes(plistlib.dumps(settings))


def replaced_by(make):
    def damage(_, path):
        path.unlink(missing_ok=True)
        make(path)
    return damage


def bind_socket(path):
    with contextlib.closing(socket.socket(socket.AF_UNIX)) as bound, working_in(path.parent):
        bound.bind(path.name)


@contextlib.contextmanager
def working_in(directory):
    before = os.getcwd()
    os.chdir(directory)
    try:
        yield
    finally:
        os.chdir(before)


def flip_bytes(chance, path):
    content = bytearray(path.read_bytes() if path.is_file() else b"")
    for _ in range(chance.choice((1, 10, 1000))):
        if content:
            content[chance.randrange(len(content))] = chance.randrange(256)
    path.write_bytes(content)


def truncate(chance, path):
    if path.is_file():
        os.truncate(path, chance.randrange(path.stat().st_size + 1))


def put_beside(chance, path):
    pathlib.Path(f"{path}{chance.choice(BESIDE)}").write_bytes(chance.randbytes(5000))


def xml(content):
    return f'<?xml version="1.0"?><plist version="1.0">{content}</plist>'.encode()


BOMBS = (
    xml("<array>" * 100_000), xml('<array x=">">' * 100_000), xml('<?x "?>' * 10_000),
    xml("<dict>" + "<key>k</key><true/>" * 300_000 + "</dict>"), xml("&lt;" * 300_000),
    xml("<array>" + "<true/>" * 1_500_000 + "</array>"), b"bplist00" + b"\xff" * 100, b"",
    b"SQLite format 3\0" + b"\xff" * 8192)

DAMAGE = {
    "bytes flipped": flip_bytes, "truncated": truncate, "something beside": put_beside,
    "missing": lambda _, path: path.unlink(missing_ok=True),
    "a bomb": lambda chance, path: path.write_bytes(chance.choice(BOMBS)),
    "noise": lambda chance, path: path.write_bytes(chance.randbytes(chance.randrange(100_000))),
    "two sparse gigabytes": lambda _, path: os.truncate(path, 2 << 30),
    "a folder": replaced_by(pathlib.Path.mkdir), "a FIFO": replaced_by(os.mkfifo),
    "a dangling link": replaced_by(lambda path: path.symlink_to("nowhere")),
    "a link to itself": replaced_by(lambda path: path.symlink_to(path.name)),
    "a device": replaced_by(lambda path: path.symlink_to("/dev/zero")),
    "a socket": replaced_by(bind_socket),
}


def content_of(path):
    mode = path.lstat().st_mode
    if path.is_symlink():
        return mode, os.readlink(path)
    large = path.is_file() and path.stat().st_size > 1 << 26
    return mode, path.is_file() and not large and hashlib.sha256(path.read_bytes()).hexdigest()


def snapshot(directory):
    return {str(path): (*content_of(path), path.lstat().st_size, path.lstat().st_mtime_ns)
            for path in [directory, *directory.rglob("*")]}

# ---- Commands ------------------------------------------------------------------------------------

WORDS = ("contact", "group", "set", "unset", "clear", "post", "reloadsettings", "dnd", "on", "off",
         "message", "+15550100142", "mara@quill.example", "", '"', "\\", "#", "expect", "presented",
         "allowedMessageGroup", "1", "-400", "99999999999999999999", "advance", "2h", "schedule",
         "22:00-07:00", "active", "2026-11-22", "01:00", "state", "groups", "matcher", "interval",
         "suppressed", "debug", "access", "denied", "favourite", "phone", "\xff", "help", "exit")
SENDERS = ("+15550100142", "mara@quill.example", "", " ", "Mara", "0" * 5000, "\u202e", "-5")


def lines(chance):
    """A scenario: usual lines for the most part, and lines of random words."""
    usual = ("dnd on", "message +15550100142", "post reloadsettings", "set allowedMessageGroup -400",
             "state", "groups", "advance 8h", "contact A phone 123 email a@b", "group G A")
    return "\n".join(chance.choice(usual) if chance.random() < 0.8 else
                     " ".join(chance.choices(WORDS, k=chance.randrange(5)))
                     for _ in range(chance.choice((0, 3, 30, 1000))))


def make_command(chance, directory):
    device = [] if chance.random() < 0.1 else ["--device", str(directory)]
    command, needs_input = chance.choice((
        (["demo"], False), (["who", "--dnd"], False), (["who"], False), (["calendar"], False),
        (["calendar", "--next", chance.choice(("1", "366", "0", "x"))], False),
        (["explain", chance.choice(SENDERS), "--dnd"], False),
        (["explain", "--json", chance.choice(SENDERS)], False),
        (["play", "-"], True), (["play", "-", "--json"], True), (["play", "-", "--trace"], True),
        (["shell"], True), (["nonsense"], False), ([], False)))
    at = ["--at", chance.choice(("2026-11-22 01:00", "2026-03-29 02:30", "nonsense"))]
    if command[:1] in (["who"], ["explain"]) and chance.random() < 0.3:
        command = [*command, *at]
    takes_device = command[:1] not in ([], ["demo"], ["nonsense"])
    return command + (device if takes_device else []), lines(chance) if needs_input else ""

# ---- Endings -------------------------------------------------------------------------------------

SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGSEGV,
           signal.SIGABRT, signal.SIGKILL)


def limits(chance):
    """What the program has to do with, and the same in words."""
    name, kind, most = chance.choice((
        *(("", None, 0),) * 6, ("little memory", resource.RLIMIT_AS, chance.randrange(30, 200) << 20),
        ("few files", resource.RLIMIT_NOFILE, chance.randrange(8, 20)),
        ("small files", resource.RLIMIT_FSIZE, chance.randrange(0, 200_000))))

    def limit():
        resource.setrlimit(resource.RLIMIT_AS, (MOST_MEMORY, MOST_MEMORY))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if kind is not None:
            resource.setrlimit(kind, (most, most))
    return name, limit


def children(process):
    try:
        listed = pathlib.Path(f"/proc/{process}/task/{process}/children").read_text("ascii")
    except OSError:
        return []
    return [int(child) for child in listed.split()]


def send(chance, process, sent):
    """To all of it, as a terminal does, or to one of its processes."""
    if chance.random() < 0.5:
        os.killpg(process.pid, sent)
        return "all of it"
    target = chance.choice([process.pid, *children(process.pid)])
    os.kill(target, sent)
    return "the first process" if target == process.pid else "the worker"


class Run:
    """One command on one phone, from its number alone."""

    def __init__(self, program, seed, index, folder):
        self.chance = random.Random(f"{seed}/{index}")
        self.index, self.program = index, program
        self.directory, self.scratch = folder / "phone", folder / "scratch"
        self.scratch.mkdir()
        make_phone(self.chance, self.directory)
        self.damage = []
        for path in self.chance.sample(FILES, self.chance.choice((0, 0, 1, 1, 2))):
            what = self.chance.choice(sorted(DAMAGE))
            DAMAGE[what](self.chance, self.directory / path)
            self.damage.append(f"{path.name}: {what}")
        self.arguments, self.input = make_command(self.chance, self.directory)
        self.limit_name, self.limit = limits(self.chance)
        self.signal = self.chance.choice((None, None, self.chance.choice(SIGNALS)))
        self.ending = self.limit_name or "undisturbed"

    def start(self, arguments, **options):
        return subprocess.Popen([self.program, *arguments], start_new_session=True,
                                env=os.environ | {"TMPDIR": str(self.scratch), "TERM": "dumb"},
                                stderr=subprocess.PIPE, **options)

    def play(self):
        """What of the promises did not hold."""
        before = snapshot(self.directory)
        output = self.chance.choice((subprocess.DEVNULL,) * 3 + (open("/dev/full", "wb"),))
        process = self.start(self.arguments, stdin=subprocess.PIPE, stdout=output,
                             preexec_fn=self.limit)
        if self.signal:
            time.sleep(self.chance.expovariate(10))
            with contextlib.suppress(ProcessLookupError):
                self.ending = f"{self.signal.name} to {send(self.chance, process, self.signal)}"
        try:
            self.complaint = process.communicate(
                self.input.encode("utf-8", "surrogateescape"), LONGEST)[1].decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            yield f"took more than {LONGEST} s"
            return
        self.status = process.returncode
        yield from self.wrong_ending()
        if snapshot(self.directory) != before:
            yield "the user's directory has changed"
        yield from self.left_behind()

    def wrong_ending(self):
        if self.status < 0:
            expected = {self.signal, signal.SIGXFSZ if self.limit_name == "small files" else None}
            if -self.status not in expected:
                yield f"ended by {signal.Signals(-self.status).name}"
        elif self.status not in (0, 1, 2, 3):
            yield f"ended with status {self.status}"
        elif self.status != 0 and not self.complaint.strip():
            yield f"ended with status {self.status} and no complaint"
        elif self.status == 3 and not self.complaint.splitlines()[-1].startswith("/"):
            yield "a complaint about a file that does not begin with it"

    def left_behind(self):
        """After a SIGKILL the next start removes what is left."""
        if self.signal == signal.SIGKILL:
            deadline = time.monotonic() + 5  # a worker that lost its parent may still be at it
            while any(self.scratch.iterdir()) and time.monotonic() < deadline:
                self.start(["calendar"], stdout=subprocess.DEVNULL).communicate()
        if left := [path.name for path in self.scratch.iterdir()]:
            yield f"left behind: {' '.join(left)}"

    def __str__(self):
        damage = ", ".join(self.damage) or "phone undamaged"
        return (f"run {self.index}: hushlane-sim {shlex.join(self.arguments)} ({damage}; "
                f"{self.ending})")


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("seconds", type=int, nargs="?", default=60, help="how long; 60 unless told")
    parser.add_argument("--seed", default="1", help="another seed makes other runs")
    parser.add_argument("--only", type=int, metavar="NUMBER", help="this one run")
    options = parser.parse_args()
    program = project.build("gcc", "hushlane-sim", "hushlane") / "bin/hushlane-sim"
    numbers = iter(range(10**9)) if options.only is None else iter([options.only])
    end = time.monotonic() + options.seconds
    endings, broken = collections.Counter(), 0
    for index in numbers:
        with tempfile.TemporaryDirectory(prefix="torture-") as folder:
            run = Run(program, options.seed, index, pathlib.Path(folder))
            for what in run.play():
                broken += 1
                print(f"torture: {what}: {run}", *run.complaint.splitlines()[:2], sep="\n  ",
                      flush=True)
        endings[run.ending] += 1
        if time.monotonic() > end:
            break
    for ending, times in sorted(endings.items()):
        print(f"{times:6} {ending}")
    print(f"torture: {endings.total()} runs, {broken} broken promises")
    sys.exit(broken > 0)
