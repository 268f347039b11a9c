#!/usr/bin/python3
"""Each answer as JSON is one object of its schema in docs/schema, in ASCII alone."""

import json
import pathlib
import subprocess
import sys
import unittest

import jsonschema

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCENARIO = 'dnd on\ncontact "名\\t" phone 1\nmessage 1\nexpect presented\nexpect "held back"\n'
# The schema, the question, and what must be in its answer, found by keys and positions.
QUESTIONS = (
    ("explain", ("explain", "+15550100163", "--dnd"), (("changes", 0, "value"), -100)),
    ("explain", ("explain", "\udcff\u202e", "--dnd"), (("answer",), "held back")),
    ("who", ("who", "--dnd"), (("people", 3, "entries", 0, "sender"), "+442070100142")),
    ("who", ("who", "--dnd"), (("sharedTails", 0, "people", 1, "id"), 4)),
    ("calendar", ("calendar", "--next", "2"), (("days", 1, "minutes", "on"), 540)),
    ("groups", ("groups",), (("groups", 1), {"id": 2, "name": "Clinic", "members": 1, "numbers": 1,
                                             "addresses": 0})),
    ("digits", ("digits",), (("rows", 3, "lost"), [{"id": 4, "name": "Tomas Reyes"}])),
)


def run(*arguments, **options):
    return subprocess.run([PROGRAM, *arguments, "--json", "--device", ROOT / "examples/phone"],
                          check=False, capture_output=True, **options).stdout.decode("ascii")


def check(name, value):
    schema = json.loads((ROOT / f"docs/schema/{name}.json").read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    jsonschema.validate(value, schema, jsonschema.Draft202012Validator)


class JsonTest(unittest.TestCase):
    def test_answers(self):
        for name, question, (path, expected) in QUESTIONS:
            with self.subTest(question):
                answer = json.loads(run(*question))
                check(name, answer)
                for step in path:
                    answer = answer[step]
                self.assertEqual(answer, expected)

    def test_outcomes(self):
        outcomes = [json.loads(line) for line in run("play", "-", input=SCENARIO.encode()).splitlines()]
        for outcome in outcomes:
            check("outcome", outcome)
        self.assertEqual([outcome.get("asExpected") for outcome in outcomes[-2:]], [False, True])


if __name__ == "__main__":
    PROGRAM = sys.argv.pop()
    unittest.main()
