#!/usr/bin/env python3
"""Completion in real shells: what is typed, with Tab, becomes what it should.

    completion.py SHELL MANUALS PROGRAMS

SHELL is bash or zsh, MANUALS the folder that tools/make-manuals has filled, PROGRAMS that of the
built programs."""

import os
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "tools" / "manuals"))
import completion  # pylint: disable=wrong-import-position

SKIPPED = 77
# What is typed before Tab; what the line is then, or what is offered.
CASES = (
    ("pcsim --sha", "pcsim --shape "),
    ("pcsim --shape ch", "pcsim --shape chassis "),
    ("pcsim --report jun", "pcsim --report junit "),
    ("pcsim -f scr", "pcsim -f script.pcsim "),
    ("pcsim --plan scr", "pcsim --plan script.pcsim "),
    ("pcsim-nics --po", "pcsim-nics --ports "),
    ("pcsim-probe cov", "pcsim-probe coverage "),
    ("pcsim-probe replay --lib", "pcsim-probe replay --library "),
    ("pcsim-probe replay scr", "pcsim-probe replay script.pcsim "),
    ("pcsim-probe sweep --jo", "pcsim-probe sweep --jobs "),
    ("pcsim-probe --fl", "pcsim-probe --flight "),
    ("pcsim --st", "pcsim --stopped "),
    ("pcsim-lab sho", "pcsim-lab show "),
    ("pcsim-lab up scr", "pcsim-lab up script.pcsim "),
    ("pcsim-lab capture --co", "pcsim-lab capture --count "),
    ("pcsim-web --re", "pcsim-web --read-only "),
    ("pcsim-campaign scr", "pcsim-campaign script.pcsim "),
    ("pcsim-campaign --faults scr", "pcsim-campaign --faults script.pcsim "),
    ("pcsim-campaign --shapes ch", "pcsim-campaign --shapes chassis "),
    ("pcsim-campaign script.pcsim --fail", "pcsim-campaign script.pcsim --fail-fast "),
)
SEVERAL = (("pcsim --", ("--execute", "--help", "--json", "--keep-going", "--lab")),
           ("pcsim-lab ", ("capture", "disconnect", "down", "graph")),
           ("pcsim-probe ", ("coverage", "minimise", "post-mortem", "replay")),
           ("pcsim --shape ", ("chassis", "stack")))
# Of a program that asks living switches. The test has one of its own, which tells what it is asked.
PCSIMCTL = {"name": "pcsimctl", "options": [
    {"name": "json", "letter": "", "value": "", "help": "Answer in JSON", "takes": "nothing",
     "choices": []}]}
ANSWERS = """#!/bin/sh
case "$*" in
--names) echo spine-1; echo leaf-7 ;;
'leaf-7 --complete show po') echo ports; echo port ;;
'leaf-7 --complete ') echo show ;;
esac
"""
ASKED = (("pcsimctl le", "pcsimctl leaf-7 "), ("pcsimctl leaf-7 show po", "pcsimctl leaf-7 show port"),
         ("pcsimctl leaf-7 ", "pcsimctl leaf-7 show "), ("pcsimctl --js", "pcsimctl --json "))


class Shell:
    """A shell at a terminal."""

    def __init__(self, command, setup, folder):
        environment = {"PATH": os.environ["PATH"], "HOME": str(folder), "TERM": "dumb",
                       "PS1": "$ ", "LC_ALL": "C"}
        self.terminal, inside = pty.openpty()
        self.process = subprocess.Popen(command, stdin=inside, stdout=inside, stderr=inside,
                                        env=environment, cwd=folder, start_new_session=True)
        os.close(inside)
        self.send(setup + "\necho rea''dy\n")
        self.until(lambda said: re.search(r"^ready\r?$", said, re.MULTILINE))

    def send(self, text):
        os.write(self.terminal, text.encode())

    def until(self, seen, seconds=10):
        """What the shell says until it is what is waited for, or the time is over."""
        said, end = "", time.monotonic() + seconds
        while time.monotonic() < end and not seen(said):
            if select.select([self.terminal], [], [], 0.1)[0]:
                said += os.read(self.terminal, 65536).decode(errors="replace")
                said = re.sub(r"\x1b\[[0-9;?]*[A-Za-z]|\x07|.\x08", "", said)
        return said

    def end(self):
        self.process.kill()
        self.process.wait()
        os.close(self.terminal)


def shells(shell, manuals, programs):
    path = f"PATH={programs}:$PATH"
    if shell == "bash":
        files = " ".join(f". '{file}';" for file in sorted((manuals / "bash").iterdir()))
        return (["bash", "--norc", "--noprofile", "-i"],
                f"{path}; bind 'set show-all-if-ambiguous on'; bind 'set page-completions off'; "
                f"bind 'set enable-bracketed-paste off'; {files}")
    return (["zsh", "-f", "-i"],
            f"{path}; PS1='$ '; unsetopt prompt_sp; setopt auto_list list_ambiguous; "
            f"fpath=('{manuals}/zsh' $fpath); autoload -U compinit; compinit -u -D; LISTMAX=1000")


def tried(shell, typed, holds):
    """Types, and drops the line again. What was said instead of what should be."""
    shell.send(typed + "\t")
    said = shell.until(holds)
    shell.send("\x15\n")
    shell.until(lambda more: more.endswith("$ "))
    return None if holds(said) else said


def own_program(folder, shell):
    """Puts the test's own pcsimctl where it is found; what the shell has to be told."""
    program = folder / "own" / "pcsimctl"
    program.parent.mkdir()
    program.write_text(ANSWERS)
    program.chmod(0o755)
    made = completion.bash if shell == "bash" else completion.zsh
    (folder / "own" / "_pcsimctl").write_text(made(PCSIMCTL, {}))
    told = ". own/_pcsimctl" if shell == "bash" else \
        "fpath=($PWD/own $fpath); compinit -u -D; compdef _pcsimctl pcsimctl"
    return f"\nPATH=$PWD/own:$PATH; {told}"


def main():
    shell, manuals, programs = sys.argv[1], Path(sys.argv[2]).resolve(), Path(sys.argv[3]).resolve()
    if shutil.which(shell) is None:
        print(f"skipped: there is no {shell}")
        return SKIPPED
    command, setup = shells(shell, manuals, programs)
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        (Path(folder) / "script.pcsim").touch()
        setup += own_program(Path(folder), shell)
        cases = [(typed, lambda said, line=line: line in said) for typed, line in CASES + ASKED]
        cases += [(typed, lambda said, offers=offers: all(offer in said for offer in offers))
                  for typed, offers in SEVERAL]
        terminal = Shell(command, setup, folder)
        for typed, holds in cases:
            if said := tried(terminal, typed, holds):
                failures += 1
                print(f"FAILED: '{typed}' became {said!r}")
        terminal.end()
    print(f"{shell}: {len(cases)} cases, {failures} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
