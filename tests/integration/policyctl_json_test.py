"""policyctl_json_test.py --bin DIRECTORY --schema FILE: with --json every command
of policyctl prints one document that fits the schema, whatever becomes of it.

Runs a finder, a chassis and a policyd of its own.
"""

import argparse
import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import time

import jsonschema

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
from patience import PATIENCE_S

SMALL_SWITCH = {
    "interfaces": [{"name": "eth-0/1/1"}, {"name": "eth-0/1/2"}], "vlans": [10, 20], "cards": [17]}
EDGE = """\
cos flag on
cos schedule algorithm 2 weights 12 8 4 1
cos mapping 0 queue 2
time-range night 22 6 on 0 0
acl 10 type 0 description "edge in"
  rule 1 permit src-ip 10.0.0.0/8 dst-port 80 description "web"
  rule 2 deny 13 "http" description "no \\xff UTF-8"
acl 11 type 1
interface eth-0/1/1
  cos-value 3
  filter acl 10 rule 1
  remark acl 10 rule 1 dscp 46
vlan 10
  filter acl 10 rule 2
"""
FAULTY = "acl 10 typ 0\nacl 4294967296 type 0\n\x01\xff\n"
# They talk to a person or to a shell.
WITHOUT_JSON = {"shell", "completion", "help", "manual"}


class Switch:
    def __init__(self, options, folder):
        self.bin, self.folder = pathlib.Path(options.bin), folder
        self.schema = json.loads(pathlib.Path(options.schema).read_text(encoding="utf-8"))
        os.environ.pop("XRL_COOKIE_FILE", None)  # the caller's, of another switch
        self.environment = {**os.environ, "POLICYCTL_STATE_DIR": str(folder / "state")}
        self.processes = []
        self.tried = set()
        self.problems = []
        (folder / "switch.json").write_text(json.dumps(SMALL_SWITCH))
        self.finder = self.start("finder", "-p", "0", stdout=subprocess.PIPE)
        listening = self.finder.stdout.readline().decode()
        self.place = re.search(r"127\.0\.0\.1:\d+", listening).group()
        self.start("chassis", "-F", self.place, str(folder / "switch.json"))
        self.policyd = self.start("policyd", "-F", self.place)

    def start(self, program, *arguments, stdout=subprocess.DEVNULL):
        process = subprocess.Popen([self.bin / program, *arguments], stdout=stdout,
                                   stderr=subprocess.DEVNULL, env=self.environment)
        self.processes.append(process)
        return process

    def end(self):
        for process in self.processes:
            process.kill()
            process.wait()

    def run(self, *arguments, place=None, **environment):
        patience = () if "--timeout" in arguments else ("--timeout", str(PATIENCE_S))
        return subprocess.run(
            [self.bin / "policyctl", "-F", place or self.place, *patience, *arguments], check=False,
            stdin=subprocess.DEVNULL, capture_output=True, timeout=PATIENCE_S,
            env={**self.environment, **environment})

    def file(self, name, text):
        path = self.folder / name
        path.write_bytes(text.encode("latin-1"))
        return str(path)

    def validate(self, what, document, kind):
        of_kind = {"$ref": f"#/definitions/{kind}", "definitions": self.schema["definitions"]}
        for schema in (self.schema, of_kind):
            for error in jsonschema.Draft7Validator(schema).iter_errors(document):
                self.problems.append(f"{what}: no {kind}: {error.message}\n{document}")

    # `kind` of document and exit `status` of these arguments. The document.
    def prints(self, kind, status, *arguments, **how):
        what = " ".join(arguments)
        self.tried.add(arguments[0])
        ended = self.run("--json", *arguments, **how)
        if ended.returncode != status:
            self.problems.append(f"{what}: status {ended.returncode}, not {status}\n"
                                 + ended.stdout.decode() + ended.stderr.decode())
        if ended.stderr:
            self.problems.append(f"{what}: also prints\n{ended.stderr.decode()}")
        try:
            document = json.loads(ended.stdout)
        except ValueError as error:
            self.problems.append(f"{what}: no JSON: {error}\n{ended.stdout.decode()}")
            return None
        self.validate(what, document, kind)
        if "status" in document and document["status"] != status:
            self.problems.append(f"{what}: tells of status {document['status']}, not {status}")
        return document

    def expect(self, what, found, expected):
        if found != expected:
            self.problems.append(f"{what}: {found!r}, not {expected!r}")

    def until_it_is_whole(self):
        deadline = time.monotonic() + PATIENCE_S
        wanted = self.file("whole.conf", "interface eth-0/1/1\ninterface eth-0/1/2\nvlan 10\nvlan 20\n")
        while self.run("plan", wanted).returncode != 0:
            assert time.monotonic() < deadline, "policyd does not know the switch"
            time.sleep(0.02)


def try_reading(switch):
    edge, faulty = switch.file("edge.conf", EDGE), switch.file("faulty.conf", FAULTY)
    switch.prints("configuration", 0, "show")
    document = switch.prints("faults", 0, "check", edge)
    switch.expect("check", document["faults"], [])
    switch.prints("faults", 65, "check", faulty)
    switch.prints("failure", 65, "check", "/no/such/file")
    switch.prints("plan", 2, "plan", edge)
    switch.prints("plan", 2, "plan", "--prune", edge)
    switch.prints("faults", 65, "plan", faulty)
    switch.prints("faults", 65, "plan", switch.file("strange.conf", "interface eth-9/9/9\n"))
    switch.prints("plan", 2, "diff", "/dev/null", edge)
    switch.prints("plan", 0, "diff", edge, edge)
    switch.prints("faults", 65, "diff", faulty, faulty)


def try_changing(switch):
    edge = str(switch.folder / "edge.conf")
    document = switch.prints("report", 0, "apply", edge)
    switch.expect("apply", document["counts"]["added"], 8)
    switch.prints("plan", 0, "plan", edge)
    document = switch.prints("configuration", 0, "show", "acl", "10", "rule", "2")
    switch.expect("show", document["acls"][0]["rules"][0]["fields"],
                  [{"number": 13, "value": "http"}])
    switch.expect("show", document["acls"][0]["rules"][0]["description"],
                  {"base16": "6e6f20ff205554462d38"})
    for what in ("cos", "time-ranges", "acls", "interfaces", "vlans"):
        switch.prints("configuration", 0, "show", what)
    switch.prints("failure", 1, "show", "acl", "12")
    switch.prints("failure", 64, "show", "acl", "x")
    switch.prints("report", 0, "dscp-queue", "46", "5")
    switch.prints("uses", 0, "who-uses", "acl", "10")
    switch.prints("uses", 1, "delete", "acl", "10", "rule", "1")
    switch.prints("failure", 1, "delete", "acl", "12")
    switch.prints("failure", 64, "delete", "alc", "10")
    switch.prints("report", 0, "apply", "--confirm", "30",
                  switch.file("other.conf", "cos flag off\n"))
    switch.prints("failure", 1, "delete", "acl", "11")
    document = switch.prints("report", 0, "status")
    switch.expect("status", "waits for its confirmation" in document["outcome"], True)
    switch.prints("report", 0, "confirm")
    switch.prints("failure", 1, "confirm")
    switch.prints("report", 0, "recover")
    switch.prints("report", 0, "delete", "--cascade", "acl", "10", "rule", "1")


def try_keeping(switch):
    switch.prints("saved", 0, "save", str(switch.folder / "saved.conf"))
    document = switch.prints("saved", 0, "save", "-")
    switch.expect("save", document["text"],
                  (switch.folder / "saved.conf").read_text(encoding="utf-8"))
    switch.prints("failure", 1, "save", "/no/such/folder/file")
    switch.prints("checkpoint", 0, "checkpoint", "by \xe9 test")
    switch.prints("checkpoints", 0, "checkpoints")
    switch.prints("plan", 2, "diff", "checkpoint:2", "switch")
    switch.prints("report", 0, "rollback", "2")
    switch.prints("failure", 1, "rollback", "99")
    switch.prints("failure", 1, "apply", switch.file("flag.conf", "cos flag off\n"),
                  POLICYCTL_STATE_DIR="/proc/nowhere")


def try_importing(switch):
    examples = pathlib.Path(__file__).parents[2] / "examples"
    for kind, file in (("classbench", "classbench-acl1-1k.rules"),
                       ("openconfig-acl", "sources/acl-tree.json"),
                       ("flat-config", "sources/config-flat.json")):
        document = switch.prints("import", 0, "import", kind, str(examples / file))
        output = switch.folder / "imported.conf"
        switch.prints("import", 0, "import", kind, str(examples / file), "-o", str(output))
        switch.expect("import -o", output.read_text(encoding="utf-8"), document["text"])
    switch.prints("faults", 65, "import", "flat-config", str(switch.folder / "edge.conf"))
    switch.prints("failure", 64, "import", "flatconfig", "/dev/null")


def try_watching(switch):
    switch.tried.add("watch")
    watch = switch.start("policyctl", "-F", switch.place, "--json", "watch", "--interval", "0.01",
                         "--count", "2", stdout=subprocess.PIPE)
    lines = [watch.stdout.readline()]
    switch.run("apply", switch.file("two.conf", "acl 77 type 0\n  rule 1 deny protocol 17\n"))
    lines += watch.stdout.readlines()
    switch.expect("watch", watch.wait(PATIENCE_S), 0)
    documents = [json.loads(line) for line in lines]
    switch.validate("watch", documents[0], "watch_event")
    for document in documents[1:]:
        switch.validate("watch", document, "watched_change")
    switch.expect("watch", [(d["change"], d["below"], d["after"]) for d in documents[1:]],
                  [("added", "", "acl 77 type 0"),
                   ("added", "acl 77 type 0", "rule 1 deny protocol 17")])


def try_wrong_command_lines(switch):
    for arguments in (["shwo"], ["show", "--tetx"], ["plan"], ["plan", "--prune"], ["show", "acsl"],
                      ["rollback", "x"], ["dscp-queue", "64", "0"], ["--timeout", "x", "show"],
                      ["apply", "--confirm", "0", "x"], ["watch", "--interval", "-1"]):
        switch.prints("failure", 64, *arguments)
    switch.tried -= {"shwo", "--timeout"}


def try_what_cannot_be_reached(switch):
    # What is under way when a daemon dies is told in a report.
    commands = [["show"], ["plan", "/dev/null"], ["apply", "/dev/null"], ["save", "-"],
                ["checkpoint"], ["status"], ["who-uses", "acl", "10"], ["delete", "acl", "10"],
                ["dscp-queue", "1", "1"], ["watch"]]
    for process in (switch.policyd, switch.finder):
        process.send_signal(signal.SIGSTOP)
        for command in commands:
            switch.prints("failure", 75, "--timeout", "0.2", *command)
        process.send_signal(signal.SIGCONT)
    switch.policyd.kill()
    switch.policyd.wait()
    for command in commands:
        switch.prints("failure", 69, *command)
    for command in commands:
        switch.prints("failure", 69, *command, place="127.0.0.1:1")
    switch.tried.discard("--timeout")


def commands_of(switch):
    listed = switch.run("--help").stdout.decode()
    return set(re.findall(r"^  ([a-z][a-z-]*) ", listed, re.MULTILINE)) - WITHOUT_JSON


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("--bin", required=True)
    arguments.add_argument("--schema", required=True)
    options = arguments.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        switch = Switch(options, pathlib.Path(folder))
        try:
            jsonschema.Draft7Validator.check_schema(switch.schema)
            switch.until_it_is_whole()
            try_reading(switch)
            try_changing(switch)
            try_keeping(switch)
            try_importing(switch)
            try_watching(switch)
            try_wrong_command_lines(switch)
            try_what_cannot_be_reached(switch)
            switch.expect("commands that were tried", switch.tried, commands_of(switch))
        finally:
            switch.end()
    for problem in switch.problems:
        print(problem, file=sys.stderr)
    return 1 if switch.problems else 0


if __name__ == "__main__":
    sys.exit(main())
