"""Draws the icons of the settings pane from their one drawing, in the sizes that phones show. They
are kept with the sources, so that a package does not depend on who draws: with --check, nothing is
written, and an icon that is not as it would be drawn is named."""

import argparse
import subprocess
import sys

from tools import project
from tools.project import ROOT

DRAWING = ROOT / "settings_pane/icon.svg"
SIZES = {"icon.png": 29, "icon@2x.png": 58, "icon@3x.png": 87}


def drawn(size):
    return subprocess.run(["rsvg-convert", f"--width={size}", f"--height={size}", DRAWING],
                          check=True, capture_output=True).stdout


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--check", action="store_true", help="write nothing, compare")
    check = parser.parse_args().check
    project.set_up()
    for name, size in SIZES.items():
        icon = DRAWING.with_name(name)
        if not check:
            icon.write_bytes(drawn(size))
        elif icon.read_bytes() != drawn(size):
            sys.exit(f"{icon.relative_to(ROOT)} is not as {DRAWING.name} draws it: script/icons")
