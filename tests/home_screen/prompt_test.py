#!/usr/bin/python3
"""At a prompt Ctrl-C gives up the line or the question and Ctrl-Z stops the session for a while; and
however it ends, the terminal is as it was before."""

import os
import pathlib
import pty
import re
import select
import signal
import sys
import tempfile
import termios
import time
import unittest

MODES = r"\sicanon\s.*\secho\s"  # what stty says of a terminal that no editor has changed
AT_A_PROMPT = (  # whether a line is being edited, what is typed, and what is shown then
    (True, "half a line", "line"), (True, "\x03", r"\^C\r\n.*hushlane> "),
    (True, "schedule 22:00-07:00\r", "07:00.*hushlane> "), (True, "advance 99999d\r", "99999d"),
    (False, "\x03", r"given up\r\n.*hushlane> "), (True, "half\x1a", MODES + ".*hushlane-sim shell"),
    (True, "\x15message +1\r", "(presented|held back)"), (True, "quit\r", "leaves.*hushlane> "),
)



def child_of(process):
    return int(pathlib.Path(f"/proc/{process}/task/{process}/children").read_text(encoding="ascii"))


class PromptTest(unittest.TestCase):
    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        os.environ.update(HOME=self.folder, TMPDIR=self.folder, TERM="xterm")

    def test_at_a_prompt(self):
        process, terminal = pty.fork()
        if process == 0:
            os.execlp("bash", "bash", "-c", "cd; set -m; hushlane-sim shell; stty -a; fg; set +m; "
                      "hushlane-sim shell; echo status $?; stty -a")
        for editing, keys, shown in AT_A_PROMPT:
            while bool(termios.tcgetattr(terminal)[3] & termios.ICANON) == editing:
                time.sleep(0.01)
            os.write(terminal, keys.encode())
            self.await_text(terminal, shown)
        os.kill(child_of(child_of(process)), signal.SIGSEGV)
        self.await_text(terminal, f"status {128 + signal.SIGSEGV}.*" + MODES)
        os.waitpid(process, 0)
        self.assertEqual(os.listdir(self.folder), [".local"])  # where the history is kept

    def await_text(self, terminal, expected):
        shown = ""
        while not re.search(expected, shown, flags=re.S):
            ready, _, _ = select.select([terminal], [], [], 20)
            self.assertTrue(ready, f"no {expected!r} in {shown!r}")
            shown += os.read(terminal, 4096).decode()


if __name__ == "__main__":
    os.environ["PATH"] = sys.argv.pop(1) + os.pathsep + os.environ["PATH"]
    unittest.main()
