"""policyctl shell, at a terminal and without one."""

import sys
import unittest

import pexpect
from control_plane import ControlPlane

BIN = sys.argv.pop()
RULES = """acl 10 type 0 description "edge"
  rule 1 permit src-ip 10.0.0.0/8 description "web"
  rule 2 deny
interface eth-0/3/1
  filter acl 10 rule 1
"""


class OnASwitch(unittest.TestCase):
    def setUp(self):
        self.plane = ControlPlane(BIN)
        self.addCleanup(self.plane.end)
        self.assertEqual(self.plane.run("apply", "-", stdin=RULES).returncode, 0)


class Terminal(OnASwitch):
    def setUp(self):
        super().setUp()
        self.open()

    def open(self):
        self.shell = self.plane.spawn(self.plane.bin / "policyctl",
                                      ["-F", self.plane.finder, "shell"])
        self.addCleanup(self.shell.close, True)
        self.prompt()

    def prompt(self, place=""):
        self.shell.expect_exact(f"policyctl{place}> ")

    def line(self, text, place=""):
        """Types a line; what was printed before the next prompt."""
        self.shell.send(text + "\r")
        self.shell.expect_exact("\n")
        self.prompt(place)
        return self.shell.before.replace("\r", "")

    def test_prompt_tells_what_is_open_and_that_something_was_edited(self):
        self.line("acl 10", " acl 10")
        self.line("rule 3 permit vlan 7", " acl 10*")
        self.line("exit", "*")
        self.line("interface lag1", " interface lag1*")
        self.line("top", "*")
        self.line("rollback")

    def test_tab_completes_words_live_names_and_fields(self):
        # The terminal is told to add what is missing, not the whole word.
        self.shell.send("inter\t")
        self.shell.expect_exact("face ")
        self.shell.send("e\t")
        self.shell.expect_exact("th-0/3/")
        self.shell.send("\t")
        self.shell.expect_exact("eth-0/3/2\r\n")
        self.shell.expect_exact("interface eth-0/3/")
        self.shell.send("1\t\r")
        self.prompt(" interface eth-0/3/1")
        self.line("acl 10", " acl 10")
        self.shell.send("rule 5 permit dst-p\t")
        self.shell.expect_exact("ort ")
        self.shell.send("\t")
        self.shell.expect_exact("for example")
        self.shell.send("80\r")
        self.prompt(" acl 10*")
        self.assertIn("rule 5 permit dst-port 80", self.line("show acl 10 rule 5", " acl 10*"))

    def test_question_mark_tells_what_may_follow(self):
        self.shell.send("cos mapping 1 queue ?")
        self.shell.expect_exact("QUEUE  0..7; egress queue")
        self.shell.expect_exact("cos mapping 1 queue ")
        self.shell.send("7\r")
        self.prompt("*")

    def test_question_mark_within_quotes_is_a_character(self):
        self.line('acl 12 type 0 description "why?"', " acl 12*")
        self.assertIn('description "why?"', self.line("show acl 12", " acl 12*"))

    def test_compare_and_commit_change_the_switch(self):
        self.line("acl 10", " acl 10")
        self.line("rule 3 permit vlan 7", " acl 10*")
        self.line("delete rule 2", " acl 10*")
        compared = self.line("compare", " acl 10*")
        self.assertIn("+   rule 3 permit vlan 7", compared.replace("\x1b[32m", ""))
        self.assertIn("1 added, 0 changed, 1 removed; 2 requests.", compared)
        self.assertNotIn("rule 3", self.plane.shown())
        self.assertIn("The change is made.", self.line("commit", " acl 10"))
        self.assertIn("  rule 1 permit src-ip 10.0.0.0/8 description \"web\"\n"
                      "  rule 3 permit vlan 7\n", self.plane.shown("acl", "10"))

    def test_commit_keeps_what_others_changed_meanwhile(self):
        self.line("acl 10", " acl 10")
        self.line("rule 3 permit vlan 7", " acl 10*")
        self.assertEqual(self.plane.run("apply", "-", stdin="cos flag on\n").returncode, 0)
        self.line("commit", " acl 10")
        self.assertIn("rule 3 permit vlan 7", self.plane.shown("acl", "10"))
        self.assertIn("cos flag on", self.plane.shown("cos"))

    def test_commit_refuses_and_names_what_others_changed_too(self):
        self.line("acl 10", " acl 10")
        self.line("rule 2 deny vlan 7", " acl 10*")
        self.assertEqual(self.plane.run("delete", "acl", "10", "rule", "2").returncode, 0)
        self.assertIn("somebody else changed this since the candidate was started: acl 10 rule 2. "
                      "Nothing was changed.",
                      " ".join(self.line("commit", " acl 10*").split()))
        self.assertNotIn("rule 2", self.plane.shown())
        self.assertIn("The candidate is what the switch is.", self.line("rollback"))

    def test_update_carries_edits_over_and_keeps_what_others_made(self):
        for text in "acl 10", "rule 2 permit vlan 2", "rule 3 permit vlan 3", "top":
            self.line(text, "*" if text == "top" else
                      " acl 10" if text == "acl 10" else " acl 10*")
        self.plane.run("apply", "-", stdin="acl 10 type 0\n  rule 2 permit vlan 22\n"
                                           "  rule 4 permit vlan 4\n")
        self.assertIn("rule 2", self.line("commit", "*"))
        self.assertEqual(self.line("update", "*"),
                         "The candidate is what the switch is, with your edits.\n"
                         "Left as somebody else made it: acl 10 rule 2.\n")
        self.assertIn("1 added, 0 changed, 0 removed", self.line("compare", "*"))
        self.assertIn("The change is made.", self.line("commit"))
        for rule in "rule 2 permit vlan 22", "rule 3 permit vlan 3", "rule 4 permit vlan 4":
            self.assertIn(rule, self.plane.shown())

    def test_commit_that_is_not_confirmed_is_undone(self):
        self.line("cos flag on", "*")
        self.assertIn("It is undone within 60 s", self.line("commit confirm 60"))
        self.assertIn("cos flag on", self.plane.shown("cos"))
        self.line("recover")
        self.assertIn("cos flag off", self.plane.shown("cos"))

    def test_confirmed_commit_stays(self):
        self.line("cos flag on", "*")
        self.line("commit confirm 60")
        self.assertIn("is kept", self.line("confirm"))
        self.assertIn("There is nothing to recover.", self.line("recover"))
        self.assertIn("cos flag on", self.plane.shown("cos"))

    def test_rollback_to_a_checkpoint_is_a_candidate_first(self):
        self.line("cos flag on", "*")
        self.line("commit")
        self.line("rollback 1", "*")
        self.assertIn("cos flag on", self.plane.shown("cos"))
        self.assertIn("cos flag off", self.line("show cos", "*"))
        self.line("commit")
        self.assertIn("cos flag off", self.plane.shown("cos"))

    def test_faults_show_the_place_and_what_was_meant(self):
        self.line("acl 10", " acl 10")
        printed = self.line("rule 4 permit srcip 10.0.0.0/8", " acl 10")
        self.assertIn("line:2:15: 'srcip' is no field of a rule.", printed)
        self.assertIn("                ^~~~~", printed)
        self.assertIn("Is 'src-ip' meant?", printed)

    def test_save_and_load(self):
        self.line("acl 10", " acl 10")
        self.line("rule 3 permit vlan 7", " acl 10*")
        self.assertIn("Saved to edge.conf.", self.line("save edge.conf", " acl 10*"))
        self.line("rollback")
        self.assertIn("Loaded edge.conf.", self.line("load edge.conf", "*"))
        self.assertIn("rule 3 permit vlan 7", self.line("show acl 10", "*"))
        self.assertIn("has no faults", self.line("check", "*"))

    def test_who_uses_tells_of_the_candidate(self):
        self.line("vlan 20", " vlan 20")
        self.line("filter acl 10 rule 2", " vlan 20*")
        self.assertIn("vlan 20\n  filter acl 10 rule 2\n",
                      self.line("who-uses acl 10 rule 2", " vlan 20*"))

    def test_quit_warns_of_edits_once(self):
        self.line("cos flag on", "*")
        self.assertIn("not committed", self.line("quit", "*"))
        self.assertIn("cos flag on", self.line("show cos", "*"))
        self.assertIn("not committed", self.line("quit", "*"))
        self.shell.send("quit\r")
        self.shell.expect(pexpect.EOF)

    def test_end_of_input_leaves(self):
        self.shell.send("\x04")
        self.shell.expect(pexpect.EOF)

    def test_interrupt_gives_the_line_up(self):
        self.shell.send("cos fla")
        self.shell.expect_exact("cos fla")
        self.shell.send("\x03")
        self.prompt()
        self.line("cos flag on", "*")

    def test_history_is_kept_from_one_shell_to_the_next(self):
        self.line("show acl 10 rule 2")
        self.shell.send("quit\r")
        self.shell.expect(pexpect.EOF)
        self.open()
        self.shell.send("\x1b[A\x1b[A")
        self.shell.expect_exact("show acl 10 rule 2")
        self.shell.send("\r")
        self.shell.expect_exact("rule 2 deny")
        self.prompt()

    def test_daemon_that_was_started_anew_is_noticed(self):
        self.line("cos flag on", "*")
        self.plane.processes[2].kill()
        self.plane.processes[2].wait()
        self.plane.start_quietly("policyd", "-F", self.plane.finder)
        self.plane.await_request("get_port_cos_value?ifname:txt=lag1")
        self.assertIn("policyd was started anew", self.line("commit", "*"))


class Text(OnASwitch):
    def shell(self, text):
        return self.plane.run("shell", stdin=text)

    def test_lines_are_taken_as_they_come(self):
        done = self.shell("acl 10\nrule 3 deny vlan 4\n\n# a comment\ncommit\n")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("rule 3 deny vlan 4", self.plane.shown())

    def test_first_wrong_line_ends_it_and_nothing_is_committed(self):
        done = self.shell("cos flag on\ncos flga on\ncommit\n")
        self.assertEqual(done.returncode, 65)
        self.assertIn("line:2:5: 'flga' is not expected here.", done.stderr)
        self.assertIn("cos flag off", self.plane.shown("cos"))

    def test_edits_that_are_left_are_told_of(self):
        for text in "cos flag on\n", "cos flag on\nquit\n":
            done = self.shell(text)
            self.assertEqual(done.returncode, 1)
            self.assertEqual(done.stderr, "What was edited is not committed. End with 'commit', "
                                          "or with 'rollback' to give it up.\n")

    def test_advice_is_for_who_is_in_the_shell(self):
        self.assertEqual(self.shell("rollback 99\n").stderr,
                         "policyctl: there is no checkpoint 99, only 1.\n  See 'checkpoints'.\n")
        self.assertEqual(self.shell("show acl 11\n").stderr,
                         "policyctl: there is no acl 11 here.\n"
                         "  Is '10' meant? See 'show acls'.\n")
        self.assertIn("  The fields are listed by 'help fields'.\n",
                      self.shell("acl 10\nrule 7 permit 100 x\n").stderr)
        self.assertIn("  Add the rule, or leave this out.\n",
                      self.shell("vlan 20\nfilter acl 7 rule 1\n").stderr)

    def test_help_tells_about_each_command(self):
        self.assertEqual(self.shell("help commit\n").stdout,
                         "  commit [confirm SECONDS]  make the switch the candidate; with 'confirm' "
                         "it undoes itself unless confirmed in time\n")
        both = self.shell("help acl\n").stdout
        self.assertIn("open what exists", both)
        self.assertIn("acl ACL type TYPE [description TEXT]", both)
        for line in self.shell("help\n").stdout.splitlines():
            if not line.startswith("  "):
                continue
            word = line.split()[0]
            done = self.shell(f"help {word}\n")
            self.assertEqual((done.returncode, done.stderr), (0, ""), word)
            self.assertIn(f"  {word}", done.stdout)

    def test_every_form_of_every_command_has_help(self):
        done = self.shell("help\n")
        for command in "compare", "commit [confirm SECONDS]", "delete acl ACL rule RULE", "load FILE":
            self.assertIn(command, done.stdout)
        self.assertIn("egress queue", self.shell("help cos mapping\n").stdout)
        self.assertEqual(self.shell("help nothing\n").returncode, 64)


if __name__ == "__main__":
    unittest.main(verbosity=2)
