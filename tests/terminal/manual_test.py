"""The manual page as the formatters take it, and every example that it and help show."""

import os
import re
import shlex
import subprocess
import sys
import unittest

from control_plane import ControlPlane

BUILD = sys.argv.pop()
BIN = sys.argv.pop()
PAGE = BUILD + "/tools/policyctl/policyctl.1"


def example_lines():
    """The command lines below EXAMPLES, and the example configuration."""
    text = subprocess.run([BIN + "/policyctl", "manual"], check=True, capture_output=True,
                          text=True).stdout
    examples = text[text.index(".SH EXAMPLES"):].replace("\\-", "-").replace("\\(aq", "'")
    lines = re.findall(r"^\.B (policyctl .*)$", examples, re.MULTILINE)
    configuration = examples[examples.index(".nf\n") + 4:examples.index(".fi")]
    return lines, configuration


class Manual(unittest.TestCase):
    def test_formatters_find_nothing_wrong(self):
        lint = subprocess.run(["mandoc", "-T", "lint", PAGE], capture_output=True, text=True,
                              check=False)
        self.assertEqual((lint.returncode, lint.stdout), (0, ""))
        man = subprocess.run(["man", "--warnings", "-l", "-Tutf8", "-Z", PAGE],
                             capture_output=True, text=True, check=False,
                             env=dict(os.environ, LC_ALL="C.UTF-8", MANROFFSEQ=""))
        self.assertEqual((man.returncode, man.stderr), (0, ""))

    def test_every_command_has_help(self):
        listed = subprocess.run([BIN + "/policyctl", "complete", "--", ""], capture_output=True,
                                check=True, text=True).stdout
        for line in listed.splitlines():
            command = line.split("\t")[0]
            done = subprocess.run([BIN + "/policyctl", "help", command], capture_output=True,
                                  check=True, text=True)
            self.assertIn(f"Usage: policyctl {command}", done.stdout)

    def test_every_example_is_carried_out(self):
        lines, configuration = example_lines()
        self.assertGreater(len(lines), 10)
        plane = ControlPlane(BIN)
        self.addCleanup(plane.end)
        (plane.folder / "edge.conf").write_text(configuration, encoding="utf-8")
        differ = {"plan", "diff"}
        for line in lines:
            words = shlex.split(line)[1:]
            done = plane.run(*words)
            command = next(word for word in words if not word.startswith("-"))
            with self.subTest(line):
                self.assertEqual((done.returncode, done.stderr),
                                 (2 if command in differ else 0, ""))


if __name__ == "__main__":
    unittest.main(verbosity=2)
