"""Completion of policyctl's command line by the real shells, installed as a package would."""

import re
import socket
import subprocess
import sys
import tempfile
import unittest

from control_plane import PATIENCE_S, ControlPlane

BUILD = sys.argv.pop()
BIN = sys.argv.pop()
RULES = """acl 10 type 0 description "edge"
  rule 1 permit vlan 7
time-range night 22 6 on 0 0
"""


# Prints its arguments so that they can be told apart.
WORDS = "words() { printf '<%s>' \"$@\" end; echo; }"


class Completion(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.usr = cls.folder.name + "/usr"
        subprocess.run(["cmake", "--install", BUILD, "--component", "tools", "--prefix", cls.usr],
                       check=True, capture_output=True)
        cls.plane = ControlPlane(BIN)
        cls.addClassCleanup(cls.plane.end)
        assert cls.plane.run("apply", "-", stdin=RULES).returncode == 0
        (cls.plane.folder / "edge.conf").write_text(RULES, encoding="utf-8")

    def start(self, command, words, environment, ready):
        shell = self.plane.spawn(command, words, dict(environment, PS1="", PROMPT=""))
        self.addCleanup(shell.close, True)
        for line in ready:
            shell.sendline(line)
        shell.sendline("echo rea''dy")
        shell.expect_exact("ready\r\n")
        return shell

    def completes(self, shell, typed, completed):
        """TAB makes of `typed` a line whose words the shell then prints."""
        shell.send(f"policyctl --timeout 60 -F {self.plane.finder} {typed}\t\x01words \r")
        shell.expect_exact("<policyctl><--timeout><60><-F>")
        shell.expect_exact("<end>")
        self.assertEqual(re.findall("<(.*?)>", shell.before)[1:], completed.split())

    def hold(self, shell):
        self.completes(shell, "recov", "recover")
        self.completes(shell, "apply --pr", "apply --prune")
        self.completes(shell, "show interf", "show interface")
        self.completes(shell, "show interface eth-0/3/2", "show interface eth-0/3/2")
        self.completes(shell, "show interface la", "show interface lag1")
        self.completes(shell, "who-uses acl 1", "who-uses acl 10")
        self.completes(shell, "delete acl 10 ru", "delete acl 10 rule")
        self.completes(shell, "delete time-range n", "delete time-range night")
        self.completes(shell, "show vlan 3", "show vlan 30")
        self.completes(shell, "apply ed", "apply edge.conf")
        self.completes(shell, "completion z", "completion zsh")
        self.completes(shell, "help exit", "help exit-statuses")
        self.completes(shell, "import classb", "import classbench")

    def start_bash(self):
        data = f"{self.usr}/share:/usr/local/share:/usr/share"
        return self.start("bash", ["--norc", "--noprofile", "-i"], {"XDG_DATA_DIRS": data},
                          ["bind 'set enable-bracketed-paste off'", WORDS,
                           "source /usr/share/bash-completion/bash_completion"])

    def test_bash(self):
        self.hold(self.start_bash())

    def test_bash_keeps_names_with_a_colon_together(self):
        self.assertEqual(self.plane.run("checkpoint", "first").returncode, 0)
        shell = self.start_bash()
        self.completes(shell, "diff checkpoint:2", "diff checkpoint:2")
        self.completes(shell, "diff checkpo", "diff checkpoint:")

    def test_zsh(self):
        functions = f"{self.usr}/share/zsh/vendor-completions"
        self.hold(self.start("zsh", ["-f", "-i"], {},
                             [f"fpath=({functions} $fpath)", "unset zle_bracketed_paste", WORDS,
                              "autoload -U compinit && compinit -u -D"]))

    def test_zsh_of_debian_looks_where_the_package_puts_it(self):
        path = subprocess.run(["zsh", "-f", "-c", "print -l $fpath"], check=True,
                              capture_output=True, text=True).stdout.split()
        self.assertIn("/usr/share/zsh/vendor-completions", path)
        self.assertIn("/usr/local/share/zsh/site-functions", path)

    def test_fish(self):
        shell = self.start("fish", ["--private"],
                           {"XDG_DATA_DIRS": f"{self.usr}/share:/usr/share",
                            "fish_greeting": ""},
                           ["function fish_prompt; end",
                            "function words; printf '<%s>' $argv end; echo; end"])
        self.hold(shell)


class Offers(unittest.TestCase):
    def test_silence_when_the_switch_is_not_there(self):
        done = subprocess.run([BIN + "/policyctl", "complete", "--", "-F", "127.0.0.1:1", "show",
                               "acl", ""], capture_output=True, check=False, text=True)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def test_silence_when_the_switch_does_not_answer(self):
        with socket.create_server(("127.0.0.1", 0)) as mute:
            done = subprocess.run([BIN + "/policyctl", "complete", "--", "-F",
                                   f"127.0.0.1:{mute.getsockname()[1]}", "delete", "acl", ""],
                                  capture_output=True, check=False, text=True, timeout=PATIENCE_S)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def test_hidden_commands_are_not_offered(self):
        done = subprocess.run([BIN + "/policyctl", "complete", "--", ""], capture_output=True,
                              check=True, text=True)
        offered = [line.split("\t")[0] for line in done.stdout.splitlines()]
        self.assertIn("apply", offered)
        for hidden in "guard", "complete", "manual":
            self.assertNotIn(hidden, offered)


if __name__ == "__main__":
    unittest.main(verbosity=2)
