#!/usr/bin/python3
"""The commands explain themselves, and the checks refuse what they are there to refuse."""

import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT))
sys.dont_write_bytecode = True

from tools import icons, includes, interface  # noqa: E402

# What must be said of an include: of nothing, when it is as it should be.
INCLUDES = (
    ("core/hook_table.cpp", '"schedule/weekday_suppression.hpp"', None),
    ("core/hook_table.cpp", '"core/extension_state.hpp"', None),
    ("core/extension_state.cpp", '"hushlane/hushlane.h"', None),
    ("core/extension_state.cpp", '"settings/load_settings.hpp"', "may not include"),
    ("simulator/runtime/object.cpp", '"simulator/device.hpp"', "may not include"),
    ("simulator/device.cpp", '"platform/ref.hpp"', "may not include"),
    ("home_screen/main.cpp", '"platform/abi.hpp"', "may not include"),
    ("core/hook_table.cpp", '"hook_table.hpp"', "is no path from the root"),
    ("core/hook_table.cpp", "<string>", "is no freestanding C header"),
    ("core/hook_table.cpp", "<stdint.h>", None),
    ("include/hushlane/hushlane.h", "<stdbool.h>", None),
    ("simulator/device.cpp", "<string>", None),
)


class ToolsTest(unittest.TestCase):
    def test_every_command_explains_itself(self):
        for command in sorted((ROOT / "script").glob("[!_]*")):
            with self.subTest(command.name):
                help_text = subprocess.run([command, "--help"], check=True, capture_output=True,
                                           text=True, cwd="/").stdout
                self.assertIn(command.name, help_text.split("usage: ")[1])

    def test_the_icons_are_as_they_are_drawn(self):
        for name, size in icons.SIZES.items():
            kept = icons.DRAWING.with_name(name).read_bytes()
            self.assertTrue(kept == icons.drawn(size), f"draw {name} again: script/icons")

    def test_includes(self):
        for name, target, complaint in INCLUDES:
            with self.subTest(f"{name} includes {target}"):
                found = list(includes.complaints(name, f"// One.\n#include {target}\n"))
                self.assertEqual(len(found), complaint is not None, found)
                if complaint:
                    self.assertRegex(found[0], f"^{name}:2: .*{complaint}")

    def test_declarations_are_read(self):
        text = ("#define X(a) \\\n  b(a);\nstruct c;\ntypedef struct c* d;\n"
                "int e(void (*call)(int), char f);")
        self.assertEqual(interface.declared_names("some.h", text), {"e"})
        with self.assertRaises(ValueError):
            interface.declared_names("some.h", "int a() { return 1; }")

    def test_the_program_and_the_readme_know_what_the_library_has(self):
        read, session, readme, tests = ((ROOT / path).read_text(encoding="utf-8") for path in (
            "settings/load_settings.cpp", "home_screen/session/session.hpp", "README.md",
            "tests/settings/load_settings_test.cpp"))
        for name in interface.public_names():
            self.assertTrue(f"row({name})" in session, f"session.hpp lacks {name}")
        listed = re.search(r"settingsKeys\[\] = {(.*?)}", session, flags=re.S).group(1)
        keys = set(re.findall(r'constantString<"(\w+?)(?:%d)?">', read))
        self.assertEqual(keys, set(re.findall(r'"(\w+?)[1-7]?"', listed)))
        for key in keys:
            self.assertTrue(key in readme, f"README.md does not name {key}")
            self.assertTrue(key in tests, f"tests/settings/load_settings_test.cpp leaves {key} out")


if __name__ == "__main__":
    unittest.main()
