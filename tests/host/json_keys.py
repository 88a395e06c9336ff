#!/usr/bin/env python3
"""docs/console/json.md: what each show command answers, keys beside titles, as pcsim tells it.

    json_keys.py PCSIM FILES PAGE [--update]

FILES is a folder of files for the verbs that load some. Without --update the page is compared."""

import argparse
import difflib
import json
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time
from pathlib import Path

OPTIONS = ["--lab", "4", "--stopped", "--quiet", "--serve", "--name", "keys"]
# So that there is something to show.
SETUP = ["vlan create 1-2", "vlan 1 add 1:1", "vlan 2 add 1:2",
         "fdb add 00:11:22:33:44:55 vlan 1 port 1:1",
         "neighbor add 10.0.0.1 vlan 1 mac 00:11:22:33:44:66 port 1:1",
         "route add 10.1.0.0/16 via 10.0.0.1 vlan 1", "acl load web web.acl",
         "acl bind web vlan 1 port 1:1 slot 0", "mcast add 225.0.0.1 10.0.0.9 iif 1 oif 2 1:2",
         "checkpoint first", "fault cardPortRestart count 1 returns -1",
         "memory on"]
# What stands for the values of forms.
VALUES = {"port": "1:1", "ports": "1:1", "slot": "1", "slots": "1", "vlan": "1", "iif": "1",
          "mac": "00:11:22:33:44:55", "group": "225.0.0.1", "source": "10.0.0.9",
          "prefix": "10.1.0.0/16", "address": "10.1.0.1", "device": "1", "type": "PCSimStack",
          "operation": "cardPortRestart", "word": "ports", "what...": "show ports",
          "command...": "show ports", "checkpoint": "first", "other": "first", "file": "saved",
          "name": "first", "algorithm": "1", "component": "Sys"}
# Values that are another's in one form.
FORMS = {
    "show acl <name>": "show acl web", "acl load <name> <file>": "acl load web web.acl",
    "acl diff <name> <file>": "acl diff web web.acl",
    "acl refresh <name> <file>": "acl refresh web web.acl",
    "acl counters <name> vlan <vlan> port <port> slot 0|1":
        "acl counters web vlan 1 port 1:1 slot 0",
    "fdb load <file>": "fdb load addresses", "fdb save <file>": "fdb save saved",
    "mcast load <file>": "mcast load groups.txt iif 1",
    "route load <file>": "route load routes", "route save <file>": "route save saved",
    "mcast save <file>": "mcast save saved",
    "load <file>": "load state",
}
LOADED = {"addresses": "00:11:22:33:44:57 1 1:1", "routes": "10.2.0.0/16",
          "state": "vlan create 3"}
# Their keys are the names of what is asked for.
LEFT_OUT = {
    "call <operation>": "results by name, see [calls](calls.md)",
    "call <operation> <values...>": "the same",
}
HEAD = """# Keys and titles

What each show command answers with `--json`, beside the titles that its text has for it. The page
is made by `tests/host/json_keys.py`, which asks pcsim: `keys COMMAND` tells the same of any
one, as `expect` wants it behind `--`.

`ports[].link` is the key `link` of each object in the array `ports`: for `expect` it is
`ports.ROW.link`, or `ROW.link`, with the row's first value in place of `ROW`. A load that passes
over lines adds the array `badLines`, with `line` and `problem`.
"""


class Instance:
    """pcsim behind its socket."""

    def __init__(self, pcsim, work):
        environment = dict(os.environ, PCSIM_RUN_DIR=work)
        self.process = subprocess.Popen([pcsim, *OPTIONS], cwd=work, env=environment)
        self.socket = socket.socket(socket.AF_UNIX)
        path = Path(work) / "keys.sock"
        for _ in range(200):
            if path.exists():
                break
            time.sleep(0.1)
        self.socket.connect(str(path))
        self.socket.settimeout(60)
        self.answers = self.socket.makefile("r", encoding="utf-8")

    def ask(self, method, **parameters):
        """The result, or the error's message as a text."""
        request = {"jsonrpc": "2.0", "id": 1, "method": method, "params": parameters}
        self.socket.sendall(json.dumps(request).encode() + b"\n")
        answer = json.loads(self.answers.readline())
        return answer["result"] if "result" in answer else answer["error"]["message"]

    def run(self, line):
        """The data that a line answers."""
        answer = self.ask("run", line=line)
        if isinstance(answer, str):
            sys.exit(f"'{line}' failed: {answer}")
        return answer["data"]

    def end(self):
        """Whatever it does, it ends."""
        self.process.terminate()
        try:
            self.process.wait(20)
        except subprocess.TimeoutExpired:
            self.process.kill()


def plain(form):
    """Without what may be left out; the first word of a choice."""
    while "[" in form:
        form = re.sub(r" ?\[[^\[\]]*\](\.\.\.)?", "", form)
    return form


def example(form):
    """A command of that form."""
    if form in FORMS:
        return FORMS[form]

    def value(found):
        if found[1] not in VALUES:
            sys.exit(f"'{form}' needs a value for <{found[1]}>; expected one in {__file__}")
        return VALUES[found[1]]

    text = re.sub(r"<([^>]*)>", value, form)
    return re.sub(r"(\S+?)\|\S+", r"\1", text)


def listed(keys):
    """The keys as a table; empty when there are none."""
    rows = [row for row in keys if not row["value"].endswith(".count")]
    if not rows:
        return ""
    return "\n| key | title |\n|---|---|\n" + "".join(
        f"| `{row['value'].replace('.ROW.', '[].')}` | {row['title']} |\n" for row in rows)


def page(instance):
    """The whole page."""
    # Several forms of options are one form without them.
    shows = {plain(verb["usage"]): verb
             for verb in reversed(instance.ask("describe")["verbs"]) if verb["show"]}
    for line in SETUP:
        instance.run(line)
    text = HEAD
    first = {}  # verb with these keys
    for form, verb in sorted(shows.items()):
        text += f"\n## `{verb['usage']}`\n\n{verb['help'][0].upper()}{verb['help'][1:]}"
        if form in LEFT_OUT:
            text += f": {LEFT_OUT[form]}.\n"
            continue
        table = listed(instance.run(f"keys {example(form)}")["keys"])
        same = first.setdefault(table, verb["usage"]) if table else verb["usage"]
        text += ".\n" + table if same == verb["usage"] else f": as `{same}`.\n"
    return text


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("pcsim")
    parser.add_argument("files", type=Path)
    parser.add_argument("page", type=Path)
    parser.add_argument("--update", action="store_true")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory() as work:
        for file in arguments.files.iterdir():
            shutil.copy(file, work)
        for name, line in LOADED.items():
            (Path(work) / name).write_text(line + "\n", encoding="utf-8")
        instance = Instance(Path(arguments.pcsim).resolve(), work)
        try:
            text = page(instance)
        finally:
            instance.end()
    if arguments.update:
        arguments.page.write_text(text, encoding="utf-8")
        return 0
    old = arguments.page.read_text(encoding="utf-8") if arguments.page.exists() else ""
    for line in difflib.unified_diff(old.splitlines(), text.splitlines(), str(arguments.page),
                                     "pcsim", lineterm=""):
        print(line)
    if old != text:
        print(f"the page is not what pcsim tells; make it anew with --update: {__file__}")
    return 0 if old == text else 1


if __name__ == "__main__":
    sys.exit(main())
