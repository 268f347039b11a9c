"""The names on the two sides of the library, as its headers declare them."""

import re

from tools.project import ROOT, listed

# What the compilers emit on their own, and what a spinning writer may call; no header names these.
RUNTIME_NAMES = frozenset({
    "memcpy", "memmove", "memset", "memcmp", "bzero", "sched_yield",
    "__stack_chk_fail", "__stack_chk_guard",
    "_Unwind_Resume", "__gxx_personality_v0", "__cxa_begin_catch", "__cxa_end_catch",
    "_ZSt9terminatev",
})


def declared_names(header, text):
    """The functions and variables that a C header, or the extern "C" part of a C++ one, declares."""
    text = re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.S)
    # What only the 32-bit slice takes is in no library that is checked.
    text = re.sub(r"^#if defined\(__arm__\)$.*?^#endif$", "", text, flags=re.M | re.S)
    text = re.sub(r"^[ \t]*#(?:\\\n|.)*", "", text, flags=re.M)
    block = re.search(r'extern\s+"C"\s*\{(.*)\}', text, flags=re.S)
    names = set()
    for statement in (block.group(1) if block else text).split(";"):
        statement = re.sub(r"__attribute__\s*\(\(.*?\)\)\s*(?=\w)", "", " ".join(statement.split()))
        if not statement or re.match(r"typedef\b|(using|struct|enum)\b[^()]*$", statement):
            continue
        found = re.search(r"(\w+) ?(?:\(.*\)(?: noexcept)?|\[\w*\])?$", statement)
        if not found or "{" in statement:
            raise ValueError(f"{header}: cannot read the declaration '{statement}'")
        names.add(found.group(1))
    return frozenset(names)


def read_names(path):
    return declared_names(path, (ROOT / path).read_text(encoding="utf-8"))


def public_names():
    return read_names("include/hushlane/hushlane.h")


def platform_names():
    return read_names("platform/abi.hpp")


def pane_names():
    return read_names("settings_pane/group_choice.hpp")


def pane_platform_names():
    """What the settings pane takes besides."""
    return read_names("settings_pane/abi.hpp")


def start_up_calls():
    """How often the library calls each operation while it is loaded."""
    counts_and_names = (line.split(" ", 1) for line in listed("tests/start_up_calls.txt"))
    return {name: int(count) for count, name in counts_and_names}
