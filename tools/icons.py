"""Draws the icons of the settings pane from their one drawing, in the sizes that phones show. They
are kept with the sources, so that equal sources give equal packages whoever draws."""

import argparse
import subprocess

from tools import project
from tools.project import ROOT

DRAWING = ROOT / "settings_pane/icon.svg"
SIZES = {"icon.png": 29, "icon@2x.png": 58, "icon@3x.png": 87}


def drawn(size):
    return subprocess.run(["rsvg-convert", f"--width={size}", f"--height={size}", DRAWING],
                          check=True, capture_output=True).stdout


def main():
    argparse.ArgumentParser(description=__doc__).parse_args()
    project.set_up()
    for name, size in SIZES.items():
        DRAWING.with_name(name).write_bytes(drawn(size))
