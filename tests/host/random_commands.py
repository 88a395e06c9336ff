#!/usr/bin/env python3
"""Gives pcsim random commands: right ones, wrong ones, and bytes that are neither.

    random_commands.py PCSIM FILES [--door prompt|pipe|socket] [--seed N] [--commands N]

FILES is a folder of files for the verbs that load some. The forms come from pcsim's own help, so a
new verb is tried as soon as it is there. Whatever is typed at the prompt, pcsim must answer and go
on; it must take 'quit' at the end. Through a pipe each line of output must be an object of JSON, and
each command have its own. At the socket each has its answer, and an error says what is wrong. Under
sanitizers every error of memory fails the run. The seed is printed; with it the same commands are
given again."""

import argparse
import json
import os
import pty
import random
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "doors"))
from rpc import Failed, Socket  # pylint: disable=wrong-import-position

# They end the run, take real time, or read what this test does not give them.
# A block that is not ended would take the rest.
LEFT_OUT = ("quit", "exit", "shutdown", "time run", "include", "repeat")
NUMBERS = ["0", "1", "2", "3", "7", "9", "10", "11", "32", "99", "256", "4094", "4095", "65535",
           "-1", "4294967295", "4294967296", "99999999999999999999", "x", "0x10", "0xffffffff"]
FEW = ["1", "2", "3", "4", "10", "20"]
ADDRESSES = ["10.0.0.1", "10.0.0.2", "10.1.2.3", "0.0.0.0", "255.255.255.255", "fe80::1", "::",
             "2001:db8::1", "*", "1.2.3", "300.1.1.1"]
GROUPS = ["225.0.0.1", "225.0.0.2", "239.1.1.1", "10.0.0.1", "*", "224.0.0.0"]
ARGUMENTS = {
    "port": ["1:1", "1:2", "1:3", "2:1", "2:2", "3:1", "9:1", "0:1", "1:0", "1:99", "11:1",
             "1:257", "1", "a:b", "1:1:1"],
    "ports": ["1:1", "1:2", "2:1", "all", "1:1-2", "1:1,2:2", "1:2-1", "9:1-3", "1:1-99999", "1:1,",
              "1:1-", "-", "a-b"],
    "vlans": ["10", "20", "10-12", "10,20", "all", "4090-4099", "0-1", "12-10", "1,", "x"],
    "trunks": ["1", "2", "1-3", "1,5", "all", "127-129", "x"],
    "slots": ["1", "2", "all", "1-3", "1,9", "x", "3-1"],
    "fans": ["0", "1", "0-2", "all", "0-9", "x"],
    "mac": ["00:11:22:33:44:55", "00:11:22:33:44:56", "0011.2233.4457", "ff:ff:ff:ff:ff:ff",
            "00:11:22:33:44", "zz"],
    "address": ADDRESSES, "gateway": ADDRESSES, "group": GROUPS, "source": ADDRESSES,
    "prefix": ["10.0.0.0/8", "0.0.0.0/0", "10.0.0.1/32", "1.2.3.0/24", "2001:db8::/32", "::/0",
               "10.0.0.1/8", "10.0.0.0/255.0.255.0", "1/40", "x"],
    "ms": ["0", "1", "100", "1000", "20000"],
    "name": ["web", "a", "b", "dynamic", "x" * 40],
    "text...": ["hi", '"a b"', "'"],
    "what...": ['event "x"', "show ports -- 1:1.link is up", "fdb stats -- used at-least 0",
                "show ports -- bogus is 1", "show ports"],
    "type": ["PCSimC2", "PCSimC256", "PCSimMGT", "PCSimStack", "nope", "x" * 16],
    "component": ["Sys", "Card", "Port", "VLAN", "FDB", "trace", "x"],
    "count": ["0", "1", "10", "x"], "sources": ["0", "1", "2", "3"], "each": ["0", "1", "2"],
    "vr": ["0", "1", "2", "3", "4", "99"],
    "operation": ["fdb.add", "pcSimPCFamFdbAddEntry", "pcSimIPv4AclAdd", "pcSimCardPowerEnable",
                  "pcSimHalIpv4McHwCacheAdd", "pcSimPCFamIPv4FibAddEntry", "nope"],
}


def forms_of(pcsim):
    listed = subprocess.run([pcsim, "-x", "help"], capture_output=True, text=True, check=True)
    forms = re.findall(r"^  (\S.*?)(?:   +\S.*)?$", listed.stdout, re.MULTILINE)
    return [form for form in forms if not form.startswith(LEFT_OUT)]


def argument(chance, name, files):
    if name == "file":
        return chance.choice(files)
    return chance.choice(ARGUMENTS.get(name) or chance.choice([FEW, NUMBERS]))


def filled(chance, form, files):
    """A command of that form, now and then spoilt."""
    text = re.sub(r"\[([^\[\]]*)\]\.\.\.",
                  lambda found: " ".join([found[1]] * chance.randint(0, 3)), form)
    text = re.sub(r"\[([^\[\]]*)\]", lambda found: chance.choice([found[1], ""]), text)
    text = re.sub(r"\S+\|\S+", lambda found: chance.choice(found[0].split("|")), text)
    text = re.sub(r"<([^>]*)>", lambda found: argument(chance, found[1], files), text)
    spoil = chance.random()
    if spoil < 0.05:
        words = text.split()
        chance.shuffle(words)
        text = " ".join(words)
    elif spoil < 0.08:
        text = text[:chance.randint(0, len(text))]
    elif spoil < 0.10:
        text += chance.choice([' "', " --json", " \u00ff\u0101", " x" * 200, " $name", " ${", "$"])
    return text


def commands(chance, pcsim, files, count):
    forms = forms_of(pcsim)
    for _ in range(count):
        yield filled(chance, chance.choice(forms), files)
        if chance.random() < 0.05:
            yield "time warp 3000"
        if chance.random() < 0.02:
            yield from ("repeat 2", filled(chance, chance.choice(forms), files), "end")


def typed(pcsim, options, lines, work):
    """Types the lines; returns what is wrong with that."""
    return ended(*typed_at_prompt(pcsim, options, lines, work))


def typed_at_prompt(pcsim, options, lines, work):
    """Types the lines; returns the status and what was said."""
    terminal, inside = pty.openpty()
    home = dict(os.environ, HOME=work, TERM="dumb")
    with open(Path(work) / "said", "w+b") as said:
        with subprocess.Popen([pcsim, *options], stdin=inside, stdout=said,
                              stderr=subprocess.STDOUT, env=home, cwd=work) as process:
            os.close(inside)

            def type_all():
                try:
                    for line in [*lines, "quit"]:
                        os.write(terminal, line.encode() + b"\n")
                except OSError:
                    pass  # it has ended before; the exit status tells

            threading.Thread(target=type_all, daemon=True).start()
            # What the terminal echoes has to be taken from it.
            threading.Thread(target=lambda: drained(terminal), daemon=True).start()
            try:
                status = process.wait(timeout=100)
            except subprocess.TimeoutExpired:
                process.kill()
                status = "no end within 100 s"
        return status, text_of(said)


def text_of(said):
    said.seek(0)
    return said.read().decode(errors="replace")


def ended(status, text):
    """What is wrong with a status, or with what was said."""
    wrong = status != 0 or "runtime error" in text
    return f"exit status {status}: {text[-4000:]}" if wrong else ""


def piped(pcsim, options, lines, work):
    """Runs the lines as standard input, all of them; returns what is wrong with the answer."""
    done = subprocess.run([pcsim, *options, "--json=lines", "--keep-going"], cwd=work, timeout=100,
                          input="\n".join([*lines, "echo the end", "quit 0"]).encode(),
                          capture_output=True, check=False)
    if done.returncode != 0:
        return f"exit status {done.returncode}: {done.stderr[-3000:]}"
    try:
        told = [json.loads(line) for line in done.stdout.decode().splitlines()]
    except ValueError as error:
        return f"no JSON: {error}"
    ran = [one["command"] for one in told if "command" in one]
    if ran[-2:] != ["echo the end", "quit 0"]:
        return f"the last were {ran[-2:]}"
    missing = set(line for line in lines if line.strip()) - set(ran)
    return f"never told: {missing}" if missing else ""


def asked(pcsim, options, lines, work):
    """Asks for the lines over the socket; returns what is wrong with the answers."""
    home = dict(os.environ, HOME=work, PCSIM_RUN_DIR=work)
    with open(Path(work) / "said", "w+b") as said:
        with subprocess.Popen([pcsim, *options, "--name", "asked"], stdin=subprocess.PIPE,
                              stdout=said, stderr=said, env=home, cwd=work) as process:
            try:
                wrong = answered(Path(work) / "asked.sock", lines)
                process.stdin.close()
                status = process.wait(timeout=100)
            except (Failed, OSError, subprocess.TimeoutExpired) as problem:
                process.kill()
                wrong, status = str(problem), process.wait()
        return wrong or ended(status, text_of(said))


def answered(path, lines):
    """What is wrong with the answer to one of the lines."""
    for _ in range(1000):
        if path.exists():
            break
        time.sleep(0.01)
    door = Socket(path)
    for line in lines:
        answer = door.ask("run", line=line)
        error = answer.get("error")
        right = (error["code"] in (1, 2, 3, 4) and error["message"] if error is not None
                 else isinstance(answer["result"]["text"], str))
        if not right:
            return f"{line!r} was answered with {answer}"
    door.close()
    return ""


def drained(terminal):
    try:
        while os.read(terminal, 4096):
            pass
    except OSError:
        pass


DOORS = {"prompt": typed, "pipe": piped, "socket": asked}


def given(door, pcsim, options, lines, originals):
    """Gives the lines at a door, with copies of the files: some verbs write such. What is wrong."""
    with tempfile.TemporaryDirectory() as work:
        for file in originals:
            shutil.copy(file, work)
        return DOORS[door](pcsim, options, lines, work)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("pcsim")
    parser.add_argument("files", type=Path)
    parser.add_argument("--door", choices=DOORS, action="append", help="all without it")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 32))
    parser.add_argument("--commands", type=int, default=400)
    arguments = parser.parse_args()
    chance = random.Random(arguments.seed)
    pcsim = Path(arguments.pcsim).resolve()
    originals = sorted(arguments.files.iterdir())
    files = [*(file.name for file in originals), "nope/nope", ".", "/dev/null"]
    for shape in ("stack", "chassis"):
        options = ["--shape", shape, "--stopped", "--quiet", *chance.choice([[], ["--remote-io"]])]
        for door in arguments.door or DOORS:
            lines = list(commands(chance, pcsim, files, arguments.commands))
            wrong = given(door, pcsim, options, lines, originals)
            print(f"seed {arguments.seed}, {' '.join(options)}, {door}: {len(lines)} commands, "
                  f"{wrong or 'all answered'}")
            if wrong:
                return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
