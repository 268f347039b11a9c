"""Where the project's things stand, and how its parts are built."""

import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIBRARY_FOLDERS = tuple((ROOT / "package/library_folders.txt").read_text(encoding="utf-8").split())


class CommandFailed(SystemExit):
    """Ends this program with what the command said, unless somebody catches it."""


def run(*command, **options):
    """What a command prints. Raises CommandFailed when its status is not 0."""
    words = [str(word) for word in command]
    result = subprocess.run(words, capture_output=True, text=True, check=False, **options)
    if result.returncode != 0:
        raise CommandFailed(f"{' '.join(words)}\n{result.stdout}{result.stderr}")
    return result.stdout


def set_up():
    """Installs what is missing."""
    subprocess.run([ROOT / "script/setup"], check=True)


def build(preset, *targets):
    """Builds targets as the preset says; gives the folder of the build."""
    run("cmake", "--preset", preset, "--log-level=WARNING", cwd=ROOT)
    run("cmake", "--build", "--preset", preset, "--target", *targets, cwd=ROOT)
    return ROOT / "build" / preset


def listed(path):
    """The entries of a list that is kept by hand: each one line, reasons indented below it."""
    lines = (ROOT / path).read_text(encoding="utf-8").splitlines()
    return [line for line in lines if line and not line[0].isspace() and line[0] != "#"]


class Findings:
    """Prints what a run finds, and knows what is expected: the entries of a list kept by hand."""

    def __init__(self, path):
        self.path, self.known, self.unknown = path, listed(path), 0

    def add(self, entry, text):
        self.unknown += entry not in self.known
        print(text + "  (known)" * (entry in self.known), flush=True)

    def exit(self):
        sys.exit(f"{self.unknown} of these are not in {self.path}" if self.unknown else 0)


def report(results):
    """Prints pairs of a title and its complaints; gives whether there are any of these."""
    failed = False
    for title, complaints in results:
        complaints = list(complaints)
        print(f"  {'FAILED' if complaints else 'ok':6}  {title}", *complaints, sep="\n          ",
              flush=True)
        failed = failed or bool(complaints)
    return failed
