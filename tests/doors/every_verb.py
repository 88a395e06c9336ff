#!/usr/bin/env python3
"""Every verb answers the same behind every door: -x, -f with JSON, the prompt, the socket, Python.

    every_verb.py PCSIM

verb_lines.py has a line for each verb; a verb without one is a failure, and so is a line without
its verb. Each door has an instance of its own, on which all lines run in their order.
"""
import contextlib
import json
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

from doors import COLUMNS, Client, Prompt, pcsim
from rpc import Failed, Socket
from verb_lines import BLOCK, BLOCK_TEXT, ENDINGS, FILES, LINES, VARYING

OPTIONS = ["--lab", "4", "--shape", "chassis", "--stopped", "--quiet"]
PROGRAM = str(Path(sys.argv[1]).resolve())
failures = []


def check(good, what):
    """Notes what isn't so."""
    if not good:
        failures.append(what)
    return good


@contextlib.contextmanager
def own_folder():
    """Lines read and write files: each door has its own."""
    before = os.getcwd()
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        for name, text in FILES.items():
            Path(name).write_text(text, encoding="utf-8")
        try:
            yield
        finally:
            os.chdir(before)


def instance():
    """A switch for a door that needs one that runs."""
    return pcsim.Switch(shape="chassis", stopped=True, program=PROGRAM)


def pattern_of(usage):
    """A pattern of the lines that a verb takes, and how many words of it are given."""
    pattern = ""
    for part in re.findall(r"\[|\](?:\.\.\.)?|<[^>]*>|[^\s\[\]<>]+", usage):
        if part.startswith("<"):
            pattern += " .+" if part.endswith("...>") else ' (?:"[^"]*"|\\S+)'
        else:
            pattern += {"[": "(?:", "]": ")?", "]...": ")*"}.get(
                part, f" (?:{'|'.join(map(re.escape, part.split('|')))})")
    return re.compile(pattern), len(re.sub(r"\[.*|<[^>]*>", "", usage).split())


def usages(switch):
    """Every verb has a line, and every line a verb: the one of whose words it has the most."""
    there = [verb["usage"] for verb in switch.describe()["verbs"]]
    check(there, "describe lists no verbs")
    patterns = [(usage, *pattern_of(usage)) for usage in there]
    reached = set()
    for line in [*LINES, *BLOCK, *(line for line, *_ in ENDINGS)]:
        fitting = [(words, usage) for usage, pattern, words in patterns
                   if pattern.fullmatch(f" {line}")]
        check(fitting, f"verb_lines.py has '{line}', but no verb takes it")
        most = max(fitting, default=(0, ""))[0]
        reached |= {usage for words, usage in fitting if words == most}
    for usage in there:
        check(usage in reached, f"'{usage}' has no line in verb_lines.py")
    return len(there)


def answers(door):
    """What the door answers to each line: (text, data), or why it has failed."""
    told = []
    for line in LINES:
        try:
            told.append(door.run(line))
        except Failed as problem:
            told.append(problem)
    return told


def through_execute():
    """-x, one behind the other in one run; marks tell the answers apart."""
    steps = [word for number, line in enumerate(LINES)
             for word in ("-x", line, "-x", f"echo @@{number}@@")]
    done = subprocess.run([PROGRAM, *OPTIONS, *steps], capture_output=True, text=True, timeout=120,
                          check=False)
    check(done.returncode == 0, f"-x ended with {done.returncode}: {done.stderr.strip()}")
    rest, told = done.stdout, []
    for number in range(len(LINES)):
        text, _, rest = rest.partition(f"@@{number}@@\n")
        told.append((text, None))
    return told


def through_script():
    """-f, in JSON."""
    Path("lines.pcsim").write_text("\n".join(LINES), encoding="utf-8")
    done = subprocess.run([PROGRAM, *OPTIONS, "--json=lines", "-f", "lines.pcsim"],
                          capture_output=True, text=True, timeout=120, check=False)
    check(done.returncode == 0, f"-f ended with {done.returncode}: {done.stderr.strip()}")
    ran = [json.loads(line) for line in done.stdout.splitlines()]
    told = {each["command"]: (each.get("text"), each["data"]) for each in ran if "data" in each}
    return [told.get(line, Failed("it was not run")) for line in LINES]


def steady(line, text):
    """The text without what differs from run to run, and without blank lines around it: between
    answers doors leave some."""
    for begin, pattern in VARYING:
        if line.startswith(begin):
            text = pattern.sub("~", text)
    return text.strip("\n")


def same_text(line, got, right):
    """Whether a door prints what the socket does. A terminal folds what is wider than it: then all
    words have to be there."""
    got, right = steady(line, got), steady(line, right)
    if any(len(each) > COLUMNS for each in right.split("\n")):
        return not {word for word in right.split() if word.strip("-")} - set(got.split())
    return got == right


def compare(name, told, wanted, with_data):
    """A door's answers against those of the socket."""
    for line, got, right in zip(LINES, told, wanted, strict=True):
        if isinstance(right, Failed):
            check(isinstance(got, Failed), f"{name}: '{line}' is done, but fails at the socket")
        elif check(not isinstance(got, Failed), f"{name}: '{line}' fails: {got}"):
            text, data = got
            check(text is None or same_text(line, text, right[0]),
                  f"{name}: '{line}' prints\n{text}instead of\n{right[0]}")
            check(not with_data or steady(line, json.dumps(data)) ==
                  steady(line, json.dumps(right[1])),
                  f"{name}: '{line}' answers {data} instead of {right[1]}")


def through_all_doors():
    """The lines, door by door."""
    with own_folder(), instance() as switch:
        verbs = usages(switch)
        wanted = answers(Socket(pcsim.socket_of(switch.name)))
    for line, answer in zip(LINES, wanted, strict=True):
        check(not isinstance(answer, Failed), f"the socket: '{line}' fails: {answer}")
    with own_folder(), instance() as switch:
        compare("Python", answers(Client(switch.name)), wanted, with_data=True)
    with own_folder():
        compare("-f", through_script(), wanted, with_data=True)
    with own_folder():
        compare("-x", through_execute(), wanted, with_data=False)
    with own_folder():
        door = Prompt([PROGRAM, *OPTIONS])
        compare("the prompt", answers(door), wanted, with_data=False)
        door.close()
    return verbs


def ends_at_program(line, status):
    """-x, -f and the prompt: whatever ends, pcsim does."""
    Path("end.pcsim").write_text(line, encoding="utf-8")
    for option, value in (("-x", line), ("-f", "end.pcsim")):
        done = subprocess.run([PROGRAM, *OPTIONS, option, value], timeout=60, check=False)
        check(done.returncode == status, f"{option}: '{line}' ends with {done.returncode}")
    door = Prompt([PROGRAM, *OPTIONS])
    ended = door.close(line)
    check(ended == status, f"the prompt: '{line}' ends with {ended}")


def ends_at_socket(name, door_of, line, what, status):
    """The socket and Python: the session ends, or the instance, or nothing."""
    switch = pcsim.Switch(shape="chassis", stopped=True, program=PROGRAM)
    switch.start()
    door = door_of(switch.name)
    with contextlib.suppress(Failed, pcsim.ConnectionLost):
        door.run(line)
    try:
        door.run("echo on")
        check(what == "nothing", f"{name}: '{line}' ends nothing")
    except (Failed, OSError):
        check(what != "nothing", f"{name}: '{line}' ends the session")
    door.close()
    if what == "instance":
        with contextlib.suppress(pcsim.ConnectionLost):
            switch.run("echo gone")
            check(False, f"{name}: '{line}' leaves the instance")
        try:
            switch.close()
            ended = 0
        except pcsim.ConnectionLost as problem:
            ended = int(str(problem).partition("with status ")[2].partition(";")[0])
        check(ended == status, f"{name}: '{line}' ends with {ended}")
    else:
        check(switch.run("echo on").text == "on\n", f"{name}: '{line}' ends the instance")
        switch.close()


def endings():
    """What ends something ends the same at all doors."""
    for line, what, status in ENDINGS:
        with own_folder():
            if what != "nothing":
                ends_at_program(line, status)
            ends_at_socket("the socket", lambda name: Socket(pcsim.socket_of(name)), line, what,
                           status)
            ends_at_socket("Python", Client, line, what, status)


def blocks():
    """Lines that belong together run when the last is there."""
    def together(name, texts):
        text = "".join(texts)
        check(text == BLOCK_TEXT, f"{name}: {BLOCK} print {text!r}")
    with instance() as switch:
        door = Socket(pcsim.socket_of(switch.name))
        together("the socket", [door.run(line)[0] for line in BLOCK])
        together("Python", [switch.run(line).text for line in BLOCK])
    steps = [word for line in BLOCK for word in ("-x", line)]
    script = "\n".join(BLOCK)
    for name, options, given in (("-x", steps, None), ("-f", ["-f", "-"], script)):
        together(name, subprocess.run([PROGRAM, *OPTIONS, *options], input=given, text=True,
                                      stdout=subprocess.PIPE, timeout=60, check=False).stdout)
    with own_folder():
        door = Prompt([PROGRAM, *OPTIONS])
        said = door.run("\n".join(BLOCK))[0]
        check(f"\n{BLOCK_TEXT}" in said, f"the prompt: {BLOCK} print {said!r}")
        door.close()


count = through_all_doors()
blocks()
endings()
for failure in failures:
    print("FAILED:", failure)
print(f"{len(LINES)} lines of {count} verbs behind 5 doors, {len(failures)} failures")
sys.exit(1 if failures else 0)
