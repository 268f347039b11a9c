"""Counts what the library costs: its own instructions and its platform calls, which repeat exactly,
and, as the one time, its slowest decisions.

Prints the table. With --write, puts it into docs/performance.md as well. With --check, leaves out
the time, and fails when a figure is out of reach."""

import argparse
import os
import pathlib
import statistics
import sys
import tempfile
from collections import Counter

from tools import interface, program_cost, project
from tools.project import ROOT

BUILD = ROOT / "build/gcc"
DOCUMENT = ROOT / "docs/performance.md"
BEGIN, END = "<!-- written by script/bench --write: begin -->", "<!-- end -->"

# Of a decision of each kind: the most instructions, and whether the original is all that it calls.
DECISIONS = {
    "other": ("gate, type other than 1", 30, True),
    "message": ("gate, message, Do Not Disturb off", 38, True),
    "nobody": ("gate, message held back, nobody", 42, False),
    "everyone": ("the same, everyone", 50, False),
    "favourites": ("the same, favourites", 80, False),
    "contacts": ("the same, contacts", 80, False),
    "address": ("the same, a group: an address that is nobody's", 115, False),
}
MOST_FOR_NUMBER = 16
# What these took when every message was a look-up and a call.
WEEKDAY_BEFORE, MEMBER_BEFORE, START_UP_BEFORE = 165, 459, 3371

# ---- What the rules call for ---------------------------------------------------------------------

WEEKDAY = Counter({
    "original": 1,
    # the weekday of the moment, as a number, and whether it is on the list
    "NSCalendar currentCalendar": 1, "NSCalendar components:fromDate:": 1,
    "NSDateComponents weekday": 1, "NSNumber numberWithInt:": 1,
    "NSMutableArray containsObject:": 1,
})

# A member with two numbers and one address.
MEMBER = Counter({
    # an autorelease scope of its own
    "objc_autoreleasePoolPush": 1, "objc_autoreleasePoolPop": 1,
    # its ID
    "ABRecordGetRecordID": 1, "NSNumber numberWithInt:": 1,
    # its numbers and its addresses
    "ABRecordCopyValue": 2,
    # each number by its index, reduced to its digits
    "ABMultiValueGetCount": 1, "ABMultiValueCopyValueAtIndex": 2,
    "NSString componentsSeparatedByCharactersInSet:": 2, "NSArray componentsJoinedByString:": 2,
    # the addresses; walking a list takes a call for its end
    "ABMultiValueCopyArrayOfAllValues": 1, "NSArray countByEnumeratingWithState:objects:count:": 2,
    # the ID, the two numbers and the address each into their list
    "NSMutableArray addObject:": 4,
})

START_UP = Counter(interface.start_up_calls())

# A group of 10,000: IDs, two numbers and an address each, in three lists. Besides these the
# weekdays, the preferences with their one value, the time, and the constants.
LIVE = Counter({"NSNumber": 10_000 + 1,
                "NSString": 30_000 + START_UP["NSString initWithUTF8String:"],
                "NSMutableArray": 4, "NSDictionary": 1, "NSDate": 1})

# ---- Running -------------------------------------------------------------------------------------


class Row:
    def __init__(self, what, measured, reach, reached):
        self.what = what
        self.reached = reached
        self.cells = (what, measured, reach, "yes" if reached else "**no**")


def run(*command, **environment):
    return project.run(*command, env=os.environ | environment)


# ---- Instructions and calls ----------------------------------------------------------------------


class Cost:
    """The library's own instructions, and its calls out of itself by the object file called."""

    def __init__(self, dump):
        self.name = ""
        self.instructions = 0
        self.calls = Counter()
        caller = called = ""
        of_a_call = False  # the line after a call gives what was spent in there
        for line in dump.splitlines():
            key, _, value = line.partition("=")
            if line.startswith("desc: Trigger:"):
                self.name = line.rpartition(": ")[2]
            elif key == "ob":
                caller = called = pathlib.Path(value).name
            elif key == "cob":
                called = pathlib.Path(value).name
            elif key == "calls":
                if caller == "libhushlane.so" != called:
                    self.calls[called] += int(value.split()[0])
                called, of_a_call = caller, True
            elif line[:1].isdigit():
                if caller == "libhushlane.so" and not of_a_call:
                    self.instructions += int(line.split()[1])
                of_a_call = False
        if self.instructions == 0:
            sys.exit(f"bench: callgrind counts no instruction of the library: {self.name}")


def count():
    """The cost of each operation, and of some the platform calls by name."""
    with tempfile.TemporaryDirectory(prefix="bench-") as directory:
        calls = {}
        for line in run("valgrind", "-q", "--tool=callgrind", "--instr-atstart=no",
                        "--compress-strings=no", "--compress-pos=no",
                        f"--callgrind-out-file={directory}/dump",
                        BUILD / "bin/bench-counts").splitlines():
            operation, _, call = line.partition(" ")
            calls.setdefault(operation, Counter())[call] += 1
        costs = [Cost(path.read_text(encoding="utf-8"))
                 for path in pathlib.Path(directory).glob("dump.*")]
    return {cost.name: cost for cost in costs}, calls


def decision_rows(costs):
    for name, (title, most, original_alone) in DECISIONS.items():
        cost = costs[name]
        # The original stands in the measuring program itself.
        fits = not original_alone or cost.calls == {"bench-counts": 1}
        yield Row(title, f"{cost.instructions} instructions, calls: {cost.calls.total()}",
                  f"at most {most}" + ", one call, the original" * original_alone,
                  cost.instructions <= most and fits)


def slope(costs, name, size):
    """Of one more element, between lists of this size and of twice the size: instructions, calls."""
    less, more = costs[f"{name}-{size}"], costs[f"{name}-{2 * size}"]
    return ((more.instructions - less.instructions) / size,
            (more.calls.total() - less.calls.total()) / size)


def growth_row(title, near, far):
    return Row(title, f"{far[0]:g} instructions, calls: {far[1]:g}",
               f"within 1 % of {near[0]:g}, that from 1,000 to 2,000; calls: {near[1]:g}",
               abs(far[0] / near[0] - 1) <= 0.01 and far[1] == near[1])


def differences(found, wanted):
    return [f"{name} {found[name]:g} instead of {wanted[name]}"
            for name in sorted(found.keys() | wanted.keys()) if found[name] != wanted[name]]


def named_row(title, instructions, share, before, calls, wanted):
    """A row of an operation of which each call is known by name."""
    wrong = differences(calls, wanted)
    return Row(title, f"{instructions:g} instructions, named calls: "
               + "; ".join([f"{calls.total():g}", *wrong]),
               f"at most {share * before:g} (before: {before}); exactly the {wanted.total()} calls",
               instructions <= share * before and not wrong)


def exact_rows():
    costs, calls = count()
    yield from decision_rows(costs)
    number, far_number = (slope(costs, "scan", size) for size in (1_000, 50_000))
    yield Row("each further cached number", f"{number[0]:g} instructions, calls: {number[1]:g}",
              f"at most {MOST_FOR_NUMBER}, one call",
              number[0] <= MOST_FOR_NUMBER and number[1] == 1)
    yield named_row("weekday query", costs["weekday"].instructions, 0.8, WEEKDAY_BEFORE,
                    calls["weekday"], WEEKDAY)
    member, far_member = (slope(costs, "load", size) for size in (1_000, 50_000))
    more = calls["load-2000"] - calls["load-1000"]
    yield named_row("settings load, each further member", member[0], 0.8, MEMBER_BEFORE,
                    Counter({name: times / 1_000 for name, times in more.items()}), MEMBER)
    yield named_row("start-up, a group of one member", costs["start-up"].instructions, 1,
                    START_UP_BEFORE, calls["start-up"], START_UP)
    yield growth_row("load, a member from 50,000 to 100,000", member, far_member)
    yield growth_row("scan, a number from 50,000 to 100,000", number, far_number)


# ---- What is alive, what grows -------------------------------------------------------------------


def inventory_rows():
    kinds = {}
    # What each thread keeps at hand would count as in use.
    for line in run(BUILD / "bin/bench-inventory",
                    GLIBC_TUNABLES="glibc.malloc.tcache_count=0").splitlines():
        kind, number, *name = line.split(maxsplit=2)
        kinds.setdefault(kind, Counter())["".join(name)] = int(number)
    live, grown = kinds["live"], kinds.get("grown", Counter())
    wrong = differences(live, LIVE)
    yield Row("live objects for 10,000 members", "; ".join([f"{live.total():,}", *wrong]),
              f"exactly the {LIVE.total():,}", not wrong)
    per_reload = round(kinds["grown-bytes"][""] / 10_000, 2) + 0.0  # no negative zero
    yield Row("growth over 10,000 reloads",
              f"{grown.total()} objects, {per_reload:+.2f} bytes a reload", "none",
              not grown and per_reload <= 0)


# ---- The program ---------------------------------------------------------------------------------


def program_rows():
    for name, (few, many), (with_few, with_many) in program_cost.growth(BUILD / "bin/hushlane-sim"):
        ratio = with_many / with_few
        yield Row(f"`who`, {name}: each contact of {few:,}, and of {many:,}",
                  f"{with_few:,.0f} and {with_many:,.0f} instructions, {ratio:.2f} times",
                  f"at most {program_cost.MOST_GROWTH} times", ratio <= program_cost.MOST_GROWTH)


# ---- The one time --------------------------------------------------------------------------------


def percentile_row():
    """Of the slowest decision but one in a thousand: the median of the runs."""
    kinds = {"quiet": [], "reloading": []}
    for line in run(BUILD / "bin/bench-percentile").splitlines():
        kind, *figures = line.split()
        kinds[kind].append([float(figure) for figure in figures])
    slowest, slowest_yes, _ = map(statistics.median, zip(*kinds["reloading"]))
    quiet = statistics.median(figures[0] for figures in kinds["quiet"])
    waits = sum(figures[2] for figures in kinds["reloading"])
    return Row("99.9th percentile of the gate while settings reload",
               f"{slowest / 1e3:.2f} µs, {slowest / quiet:.2f} times the quiet one; "
               f"{slowest_yes / 1e3:.1f} µs of those that found the list full; waits: {waits:.0f}",
               "at most 3 times; no wait",
               slowest <= 3 * quiet and waits == 0)


# ---- The table -----------------------------------------------------------------------------------


def table(rows):
    lines = ["| What | Measured | Reach | Reached |", "|---|---|---|---|"]
    return "\n".join(lines + ["| " + " | ".join(row.cells) + " |" for row in rows]) + "\n"


def write(text):
    document = DOCUMENT.read_text(encoding="utf-8")
    before, rest = document.split(BEGIN)
    _, after = rest.split(END)
    DOCUMENT.write_text(f"{before}{BEGIN}\n{text}{END}{after}", encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    choice = parser.add_mutually_exclusive_group()
    choice.add_argument("--check", action="store_true", help="all but the time; fail out of reach")
    choice.add_argument("--write", action="store_true", help="into docs/performance.md as well")
    options = parser.parse_args()
    project.set_up()
    project.build("gcc", "bench", "hushlane-sim")
    exact = list(exact_rows())
    rows = [*exact, *inventory_rows(), *program_rows()]
    if not options.check:
        rows.append(percentile_row())
    text = table(rows)
    print(text, end="")
    if options.write:
        write(text)
    missed = [row.what for row in rows if not row.reached]
    if options.check and missed:
        sys.exit("bench: out of reach: " + "; ".join(missed))
    stale = [line for line in table(exact).splitlines() if line not in DOCUMENT.read_text("utf-8")]
    if options.check and stale:
        sys.exit("bench: not in docs/performance.md, which script/bench --write mends:\n"
                 + "\n".join(stale))
