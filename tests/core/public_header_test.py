#!/usr/bin/env python3
"""The public header binds the library: where it gives a name another type, the source that defines
the name does not compile, with either compiler. And a C program that is built with it works."""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT))
sys.dont_write_bytecode = True

from tools.project import LIBRARY_FOLDERS  # noqa: E402

HEADER = (ROOT / "include/hushlane/hushlane.h").read_text(encoding="utf-8")
SOURCES = [path for folder in LIBRARY_FOLDERS
           for path in sorted((ROOT / folder).glob("*.cpp"))]
ANOTHER = {"int64_t": "int32_t", "bool": "char", "HushlaneObject": "void*", "long": "int"}
TYPE = r"(?<!\w)(?:" + "|".join(map(re.escape, ANOTHER)) + r")(?!\w)"
DECLARATION = r"^(?:extern |typedef (?!\w+ HushlaneObject|struct )|bool |HushlaneObject )[^{};]*\b(\w+)(?:\)?\([^;]*\))?;"


def wrong_headers():
    """For each type in each declaration: the declared name, and the header with another type."""
    for declaration in re.finditer(DECLARATION, HEADER, flags=re.M):
        for found in re.finditer(TYPE, declaration.group()):
            start, end = (declaration.start() + at for at in found.span())
            yield declaration.group(1), HEADER[:start] + ANOTHER[found.group()] + HEADER[end:]


def source_of(name):
    if name.startswith("Hushlane"):
        return ROOT / "core/extension_state.cpp"
    [source] = [path for path in SOURCES if re.search(
        rf"^[\w\"() ]+\b{name}(\(.*\) {{| = .*;)$", path.read_text(encoding="utf-8"), flags=re.M)]
    return source


class PublicHeaderTest(unittest.TestCase):
    def compiles(self, compiler, header, source):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "hushlane/hushlane.h"
            path.parent.mkdir()
            path.write_text(header, encoding="utf-8")
            command = [compiler, "-std=c++20", "-fsyntax-only", "-w", f"-I{folder}", f"-I{ROOT}",
                       source]
            return subprocess.run(command, capture_output=True, check=False).returncode == 0

    def test_another_type_does_not_compile(self):
        wrong = list(wrong_headers())
        names = {name for name, _ in wrong}
        self.assertLessEqual({"isDNDActive", "ctorTime", "loadABGroups", "HushlaneLoadABGroups",
                              "shouldSchedulerBeSuppressed"}, names)
        for compiler in ("g++", "clang++"):
            for source in {source_of(name) for name in names}:
                self.assertTrue(self.compiles(compiler, HEADER, source))
            for name, header in wrong:
                with self.subTest(name, compiler=compiler):
                    self.assertFalse(self.compiles(compiler, header, source_of(name)))

    def test_objects_are_objects_in_objective_c(self):
        text = '#include "hushlane/hushlane.h"\nid groups(void) { return loadABGroups(); }\n'
        for language in ("objective-c", "objective-c++"):
            for counting in ("-fobjc-arc", "-fno-objc-arc"):
                command = ["clang", "-x", language, counting, "-fobjc-runtime=macosx", "-Werror",
                           f"-I{ROOT}/include", "-fsyntax-only", "-"]
                result = subprocess.run(command, input=text, capture_output=True, text=True, check=False)
                self.assertEqual(result.stderr, "", command)

    def test_the_c_program_finds_its_way(self):
        for number, answer in (("+442070100142", "a member"), ("+15550100163", "no member")):
            result = subprocess.run([PROGRAM, LIBRARY, number], capture_output=True, text=True,
                                    check=True)
            self.assertEqual(result.stdout, "group 1 of 2, last 7 digits\n"
                             f"{number}: {answer}\nschedule: left out today, left out on 1 weekdays\n")


if __name__ == "__main__":
    LIBRARY = sys.argv.pop()
    PROGRAM = sys.argv.pop()
    unittest.main()
