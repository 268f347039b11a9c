"""Builds the library from a copy of its sources, in which one file at a time is changed."""

import json
import pathlib
import shutil
import subprocess
import sys

from tools import project
from tools.project import LIBRARY_FOLDERS, ROOT

DECLARATIONS_ONLY = {"platform/abi.hpp"}


def library_files():
    for folder in LIBRARY_FOLDERS:
        for path in sorted((ROOT / folder).glob("*.[ch]pp")):
            name = path.relative_to(ROOT).as_posix()
            if name not in DECLARATIONS_ONLY:
                yield name


def including(header):
    """The library's source files that include the header, by whatever detour."""
    texts = {file: (ROOT / file).read_text(encoding="utf-8") for file in library_files()}
    found, grown = {header}, True
    while grown:
        more = {file for file, text in texts.items()
                if any(f'"{known}"' in text for known in found)} | found
        found, grown = more, more != found
    return sorted(file for file in found if file.endswith(".cpp"))


class ToolChain:
    """The library's own compile and link commands, taken over from the build."""

    def __init__(self, build):
        self.build = build
        entries = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
        drop = {"-Werror", f"-I{ROOT}", f"-I{ROOT}/include"}
        self.compile_words = {}
        for entry in entries:
            if "hushlane.dir" in entry["command"]:
                words = entry["command"].split()
                words = words[words.index(next(w for w in words if "++" in w)):words.index("-o")]
                file = pathlib.Path(entry["file"]).relative_to(ROOT).as_posix()
                self.compile_words[file] = ["-w" if w.startswith("-g") else w
                                            for w in words if w not in drop]
        link = project.run("ninja", "-C", build, "-t", "commands", "bin/libhushlane.so")
        words = link.splitlines()[-1].split()
        self.link_words = [w.replace('"\\$ORIGIN"', "$ORIGIN") for w in words[2:-2]
                           if not w.endswith(".o") and not w.startswith("-g")]

    def compile(self, tree, file, target):
        command = [*self.compile_words[file], f"-I{tree}", f"-I{tree}/include", "-o", target,
                   "-c", tree / file]
        return subprocess.run(command, capture_output=True, check=False).returncode == 0

    def link(self, objects, target):
        at = self.link_words.index("-o") + 1
        words = [*self.link_words[:at], target, *objects, *self.link_words[at + 1:]]
        return subprocess.run(words, cwd=self.build, capture_output=True,
                              check=False).returncode == 0


class Copy:
    """The sources and the library that is built from them, in a folder of their own."""

    def __init__(self, folder, tool_chain):
        self.tool_chain = tool_chain
        self.tree, self.objects, self.scratch = folder / "tree", folder / "objects", folder / "tmp"
        self.library = folder / "libhushlane.so"
        for name in (*LIBRARY_FOLDERS, "include"):
            shutil.copytree(ROOT / name, self.tree / name)
            (self.objects / name).mkdir(parents=True)
        for file in tool_chain.compile_words:
            if not tool_chain.compile(self.tree, file, self.objects / (file + ".o")):
                sys.exit(f"{file} does not compile")
        if not self._link({}):
            sys.exit("the library does not link")

    def _link(self, replaced):
        objects = [replaced.get(file, self.objects / (file + ".o"))
                   for file in self.tool_chain.compile_words]
        return self.tool_chain.link(objects, self.library)

    def build(self, file, text):
        """Builds the library with this text of the file. Gives why there is nothing to test."""
        unchanged = (self.tree / file).read_text(encoding="utf-8")
        (self.tree / file).write_text(text, encoding="utf-8")
        shutil.rmtree(self.scratch, ignore_errors=True)
        self.scratch.mkdir()
        try:
            return self._build_including(file)
        finally:
            (self.tree / file).write_text(unchanged, encoding="utf-8")

    def _build_including(self, changed):
        replaced = {}
        for file in including(changed):
            target = self.scratch / (file.replace("/", "_") + ".o")
            if not self.tool_chain.compile(self.tree, file, target):
                return "does not build"
            if target.read_bytes() != (self.objects / (file + ".o")).read_bytes():
                replaced[file] = target
        if not replaced:
            return "same code"
        return None if self._link(replaced) else "does not build"
