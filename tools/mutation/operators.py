"""The changes that can be made in a source."""

import dataclasses
import re

from tools.project import ROOT


@dataclasses.dataclass(frozen=True)
class Mutant:
    file: str
    original: str
    start: int
    end: int
    text: str  # stands in place of [start, end)
    line: int
    what: str

    def changed(self):
        return self.original[:self.start] + self.text + self.original[self.end:]


TOKEN = re.compile(r"""
    (?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:\\\n|[^\n])*|\s+)
  | (?P<string>"(?:\\.|[^"\\])*")
  | (?P<character>'(?:\\.|[^'\\])*')
  | (?P<number>\d[\w.]*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator>->|::|==|!=|<=|>=|&&|\|\||\+\+|--|[+\-*/%&|^]=|\.\.\.|.)
""", re.X | re.S | re.M)

OPPOSITE = {"==": "!=", "!=": "==", "<=": "<", ">=": ">", "<": "<=", ">": ">=",
            "&&": "||", "||": "&&", "true": "false", "false": "true",
            "adopt": "retain", "retain": "adopt", "++": "--"}
OPENERS = {"(": ")", "[": "]", "{": "}"}


class Source:
    """The tokens of one file, without comments and preprocessor lines, and the changes to it."""

    def __init__(self, file):
        self.file = file
        self.text = (ROOT / file).read_text(encoding="utf-8")
        self.tokens = [m for m in TOKEN.finditer(self.text) if m.lastgroup != "skip"]
        self.match = {}  # from each opening token to its closing one
        stack = []
        for i, token in enumerate(self.tokens):
            if token.group() in OPENERS:
                stack.append(i)
            elif token.group() in OPENERS.values() and stack:
                self.match[stack.pop()] = i

    def word(self, i):
        return self.tokens[i].group() if 0 <= i < len(self.tokens) else ""

    def piece(self, first, last):
        """From token `first` up to, without, token `last`."""
        return self.text[self.tokens[first].start():self.tokens[last - 1].end()]

    def starts_line(self, i):
        return i < len(self.tokens) and \
            not self.text[:self.tokens[i].start()].rpartition("\n")[2].strip()

    def mutant(self, first, last, text, what):
        start, end = self.tokens[first].start(), self.tokens[last - 1].end()
        line = self.text.count("\n", 0, start) + 1
        return Mutant(self.file, self.text, start, end, text, line, " ".join(what.split()))

    def until(self, i, ends):
        """The first token from `i` on, brackets passed over, that is one of `ends`."""
        while i < len(self.tokens) and self.word(i) not in ends:
            i = self.match.get(i, i) + 1
        return i

    def parts(self, opener):
        """The (first, last) of each part of a bracketed, comma-separated list."""
        parts, i, close = [], opener + 1, self.match[opener]
        while i < close:
            end = min(self.until(i, ","), close)
            parts.append((i, end))
            i = end + 1
        return parts

    def conditions(self):
        for i in range(len(self.tokens)):
            if self.word(i) in ("if", "while") and self.word(i + 1) == "(":
                yield i + 2, self.match[i + 1]
            elif self.word(i) == "for" and self.word(i + 1) == "(":
                first = self.until(i + 2, ";:)") + 1
                if self.word(first - 1) == ";":
                    yield first, self.until(first, ";")

    def negated_conditions(self):
        for first, last in self.conditions():
            condition = self.piece(first, last)
            yield self.mutant(first, last, f"!({condition})", f"negated ({condition})")

    def swapped_branches(self):
        for i in range(len(self.tokens)):
            if self.word(i) != "?":
                continue
            colon = self.until(i + 1, ":")
            end = self.until(colon + 1, (";", ",", ")"))
            one, other = self.piece(i + 1, colon), self.piece(colon + 1, end)
            yield self.mutant(i + 1, end, f"({other}) : ({one})", f"swapped '{one}' and '{other}'")

    def opposites(self):
        for i, token in enumerate(self.tokens):
            old = token.group()
            spaced = self.text[token.start() - 1] == " " and self.text[token.end()] in " \n"
            if old in ("<", ">", "&&") and not spaced:
                continue  # a template's bracket, a reference
            if old in ("adopt", "retain") and self.word(i + 1) != "(":
                continue
            if old == "!" and not spaced:
                end = self.text.find("\n", token.start())
                behind = self.text[token.start():end]
                yield self.mutant(i, i + 1, "", f"removed the ! of '{behind}'")
            elif old in OPPOSITE:
                around = self.text[:token.start()].rpartition("\n")[2].lstrip()
                behind = self.text[token.end():].partition("\n")[0]
                yield self.mutant(i, i + 1, OPPOSITE[old],
                                  f"{old} became {OPPOSITE[old]} in '{around}{old}{behind}'")

    def shifted_constants(self):
        for i, token in enumerate(self.tokens):
            old = token.group()
            if token.lastgroup == "string" and self.word(i - 1) not in ("extern", "include"):
                yield self.mutant(i, i + 1, old[:-1] + '~"', f"lengthened {old}")
            elif token.lastgroup == "number" and re.fullmatch(r"[\d.]+", old):
                number = float(old) if "." in old else int(old)
                around = self.text[:token.start()].rpartition("\n")[2].lstrip()
                for shifted in {number + 1, max(number - 1, 0)} - {number}:
                    yield self.mutant(i, i + 1, str(shifted), f"{old} became {shifted} "
                                                              f"behind '{around}'")

    def dropped_statements(self):
        for i in range(len(self.tokens)):
            if self.word(i) in (";", "{", "}", ":") and self.starts_line(i + 1):
                end = self.until(i + 1, (";", "{", "}"))
                statement = self.piece(i + 1, end) if end > i + 1 else ""
                if self.word(end) == ";" and statement and not re.match(
                        r"(return|using|namespace|extern|case|else|friend|static_assert)\b",
                        statement):
                    yield self.mutant(i + 1, end + 1, ";", f"dropped '{statement}'")

    def swapped_neighbours(self):
        for opener in self.match:
            parts = self.parts(opener)
            for (a, b), (c, d) in zip(parts, parts[1:]):
                if a == b or c == d:
                    continue
                one, other = self.piece(a, b), self.piece(c, d)
                between = self.text[self.tokens[b - 1].end():self.tokens[c].start()]
                yield self.mutant(a, d, other + between + one, f"swapped '{one}' and '{other}'")
        for i in range(1, len(self.tokens) - 1):
            if self.word(i) in ("-", "<", ">") and self.text[self.tokens[i].end()] == " " \
                    and self.text[self.tokens[i].start() - 1] == " ":
                one, other = self.word(i - 1), self.word(i + 1)
                yield self.mutant(i - 1, i + 2, f"{other} {self.word(i)} {one}",
                                  f"swapped the operands of '{one} {self.word(i)} {other}'")

    def swapped_cases(self):
        cases = [i + 1 for i in range(len(self.tokens))
                 if self.word(i) == "case" and self.word(i + 2) == ":"]
        for a, c in zip(cases, cases[1:]):
            one, other = self.word(a), self.word(c)
            between = self.text[self.tokens[a].end():self.tokens[c].start()]
            yield self.mutant(a, c + 1, other + between + one,
                              f"swapped the cases {one} and {other}")

    def replaced_returns(self):
        for i in range(len(self.tokens)):
            if self.word(i) != "return" or self.word(i + 1) == ";":
                continue
            end = self.until(i + 1, ";")
            value = self.piece(i + 1, end)
            if value != "{}":
                yield self.mutant(i + 1, end, "{}", f"returned nothing instead of '{value}'")
            if value not in ("{}", "true", "false"):
                yield self.mutant(i + 1, end, f"!({value})", f"returned the opposite of '{value}'")

    def mutants(self):
        seen = set()
        for kind in (self.negated_conditions, self.swapped_branches, self.opposites,
                     self.shifted_constants, self.dropped_statements, self.swapped_neighbours,
                     self.swapped_cases, self.replaced_returns):
            for mutant in kind():
                changed = (mutant.start, mutant.end, mutant.text)
                if changed not in seen:
                    seen.add(changed)
                    yield mutant
