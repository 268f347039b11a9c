"""What every build of the program plays alike: the demo and the examples."""

import subprocess

from tools.project import ROOT

RUNS = [["demo"]] + [["play", str(path), option]
                     for path in sorted((ROOT / "examples").glob("*.scenario"))
                     for option in ("--trace", "--json")]


def outcome(*command):
    result = subprocess.run(command, capture_output=True, check=False)
    return result.returncode, result.stdout, result.stderr
