"""Counts how the work of the program grows with the phone: the instructions of `who`, on top of the
library's own, for each contact."""

import concurrent.futures
import os
import pathlib
import plistlib
import shutil
import sqlite3
import sys
import tempfile

from tools import project

LIBRARY = pathlib.Path("var/mobile/Library")
CONTACTS = 2_000, 20_000
# The library looks through the whole group for every sender, which takes the longest by far: so the
# group is counted at a tenth of the size.
GROUP_CONTACTS = 200, 2_000
GROUP = 1
MODES = {"everyone": -100, "nobody": -200, "favourites": -300, "contacts": -400, "a group": GROUP}
MOST_GROWTH = 1.2
FEWEST = 10_000  # no contact can be asked about in less


def make_phone(directory, contacts, mode):
    """Everybody has a number and an address, is a favourite and a member of the group."""
    shutil.copytree(project.ROOT / "examples/phone", directory)
    numbers = [f"+1 (555) {digits // 10_000:03}-{digits % 10_000:04}" for digits in (
        (person * 7_654_321 + 9_012_345) % 10_000_000 for person in range(contacts))]
    book = sqlite3.connect(directory / LIBRARY / "AddressBook/AddressBook.sqlitedb")
    for table in ("ABPerson", "ABMultiValue", "ABGroupMembers"):
        book.execute(f"DELETE FROM {table}")
    people = range(1, contacts + 1)
    book.executemany("INSERT INTO ABPerson (ROWID, First) VALUES (?, 'Member')",
                     ((person,) for person in people))
    book.executemany("INSERT INTO ABMultiValue (record_id, property, value) VALUES (?, ?, ?)", (
        value for person, number in zip(people, numbers)
        for value in ((person, 3, number), (person, 4, f"member{person}@example.org"))))
    book.executemany("INSERT INTO ABGroupMembers (group_id, member_type, member_id)"
                     " VALUES (?, 0, ?)", ((GROUP, person) for person in people))
    book.commit()
    book.close()
    for name, content in (("com.apple.mobilephone.speeddial", [{"Value": each} for each in numbers]),
                          ("org.mernwick.hushlane", {"allowedMessageGroup": mode})):
        (directory / LIBRARY / f"Preferences/{name}.plist").write_bytes(plistlib.dumps(content))


def outside_the_scan(dump):
    """All instructions but the library's and those of the messages that it sends in its scan."""
    total = taken = 0
    inside = of_a_message = of_a_call = False
    for line in dump:
        key, _, value = line.partition("=")
        if key == "ob":
            inside = pathlib.Path(value.strip()).name == "libhushlane.so"
        elif key == "cfn":
            of_a_message = value.strip() == "objc_msgSend"
        elif key == "calls":
            of_a_call = True
        elif line[:1].isdigit():
            cost = int(line.split()[1])
            if not of_a_call:
                total += cost
                taken += cost if inside else 0
            elif inside and of_a_message:
                taken += cost
            of_a_call = of_a_message = False
    return total - taken


def instructions(program, contacts, mode):
    with tempfile.TemporaryDirectory(prefix="bench-") as directory:
        phone = pathlib.Path(directory) / "phone"
        make_phone(phone, contacts, mode)
        project.run("valgrind", "-q", "--tool=callgrind", "--compress-strings=no",
                    "--compress-pos=no", f"--callgrind-out-file={directory}/dump.%p", program,
                    "who", "--dnd", "--device", phone)
        # One of the program that waits, one of its worker.
        return sum(outside_the_scan(dump.read_text(encoding="utf-8").splitlines())
                   for dump in pathlib.Path(directory).glob("dump.*"))


def growth(program):
    """For each mode: its name, the two numbers of contacts, and how many instructions each contact
    takes, without those of a phone that has none."""
    sizes = {mode: GROUP_CONTACTS if mode == GROUP else CONTACTS for mode in MODES.values()}
    cases = [(size, mode) for mode in sizes for size in (0, *sizes[mode])]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        counted = dict(zip(cases, pool.map(lambda case: instructions(program, *case), cases)))
    for name, mode in MODES.items():
        each = [(counted[size, mode] - counted[0, mode]) / size for size in sizes[mode]]
        if min(each) < FEWEST:
            sys.exit(f"bench: who, {name}: the answers are not among what is counted: {each}")
        yield name, sizes[mode], each
