#!/usr/bin/env python3
"""Calls every operation of every table by hand.

    call_all.py PCSIM [--seed N] [--random N]

With nothing said, with null for every pointer, with a value for everything, and with random values:
pcsim answers each call, as often as it is made, and works as before afterwards. What there is to
call, and what it takes, pcsim tells itself. Under sanitizers every error of memory fails the run.
The seed is printed; with it the same calls are made again."""

import argparse
import json
import os
import random
import re
import subprocess
import sys
import tempfile
from pathlib import Path

from random_commands import typed_at_prompt

VALUES = (
    (r"a port, ", ["1:1", "1:2", "trunk:1", "9:1", "0xffffffff", "0"]),
    (r".*or vlan:ID", ["vlan:10", "0", "4096", "7"]),
    (r"on, off", ["on", "off", "7"]),
    (r"an IPv4 address", ["10.1.2.3", "0.0.0.0", "255.255.255.255", "239.1.1.1"]),
    (r"a mask", ["255.255.255.0", "0.0.0.0", "255.0.255.0"]),
    (r"an IPv6 address", ["2001:db8::1", "::"]),
    (r"a MAC address", ["02:00:00:00:00:01", "ff:ff:ff:ff:ff:ff"]),
    (r"a text", ["PCSimC2", "x", "PSUCTRL"]),
    (r"a number of 8 bits", ["1", "0", "255"]),
    (r"a number of 16 bits", ["1", "0", "10", "65535"]),
    (r"a number of 32 bits", ["1", "0", "10", "100", "0xffffffff", "-1"]),
    (r"0x and at most", ["0x01", "0x0102"]),
    (r"an address, ", ["10.1.2.3", "2001:db8::1"]),
)
RECORDS = {"HalPif": ["1:1", "1:2"], "HalVlanIf": ["10"], "HalVpif": ["10/1:1"]}
# Calls by hand leave what nobody gives back: handles, tables, the rules of a refresh that stores none.
UNCLAIMED = ("createHandle", "pcSimPCFamFdbInit", "allocateTaken")
# What calls by hand take away is given back before the next one.
RESTORED = ("call moduleIoctl argument 0xffffffff", "call moduleIoctl request 1 argument 15",
            "call moduleIoctl request 2 argument 30", "time warp 20000")
PREPARED = ("time warp 15000", "vlan create 10", "vlan 10 add 1:1", "vlan 10 add 1:2")
# After all that, the host still does its work.
WORKS = ("time warp 30000", "vlan create 20", "fdb add 02:00:00:00:00:99 vlan 10 port 1:1",
         "expect fdb stats -- entries at-least 1", "fdb flush", "time warp 1000",
         "neighbor add 10.9.9.9 vlan 10 mac 02:00:00:00:00:09 port 1:1",
         "route add 40.0.0.0/8 via 10.9.9.9 vlan 10", "route del 40.0.0.0/8", "route dump",
         "mcast dump", "show ports", "show fdb", "show cards", "show fans",
         "show handles", "echo all works")


def reports(pcsim, options, shows):
    """The reports of show commands, in one run."""
    asked = [word for show in shows for word in ("-x", f"{show} --json")]
    text = subprocess.run([pcsim, *options, *asked], capture_output=True, text=True,
                          check=True).stdout
    decoder, at, found = json.JSONDecoder(), text.index("{"), []
    while at >= 0:
        report, at = decoder.raw_decode(text, at)
        found.append(report)
        at = text.find("{", at)
    return found


class Operation:
    """What can be said of one operation's calls."""

    def __init__(self, name, report):
        self.name = name
        self.values = [value for value in report["values"] if value["takes"] != "null"]
        self.pointers = [value["name"].replace("[]", "[0]") for value in report["values"]
                         if "*" in value["type"]]

    def call(self, chance=None):
        """A call with all values; some of them when they are random."""
        said, records = [], []
        for value in self.values:
            name, kind = value["name"], re.sub(r"const |\*", "", value["type"])
            if any(name.startswith(record + ".") for record in records):
                continue
            choices = self.choices(kind, value["takes"], chance)
            if not choices or (chance and chance.random() < 0.3):
                continue
            if kind in RECORDS:
                records.append(name)
            index = str(chance.choice([0, 0, 1, 3]) if chance else 0)
            text = chance.choice(choices) if chance else self.plain(name, choices)
            said.append(f"{name.replace('[]', '[' + index + ']')} {text}")
        return f"call {self.name} {' '.join(said)}".strip()

    @staticmethod
    def choices(kind, takes, chance):
        """What can be written for a value of that kind."""
        if chance and (kept := re.match(r"a kept (\w+)", takes)):
            return [f"{kept[1]}#{number}" for number in (1, 2, 3)]
        return RECORDS.get(kind, []) or next(
            (texts for form, texts in VALUES if re.match(form, takes)), [])

    @staticmethod
    def plain(name, choices):
        """A value that leaves others what they need: no list is longer than what is said of it."""
        return "1" if re.search(r"count", name, re.IGNORECASE) else choices[0]

    def without(self, value):
        """Values that exclude each other can't all be in one call."""
        self.values = [other for other in self.values if not other["name"].startswith(value)]
        return self


def operations_of(pcsim, options):
    listed = reports(pcsim, options, ["show operations"])[0]["operations"]
    offered = [row["word"] for row in listed if row["state"] == "there"]
    described = reports(pcsim, options, [f"show operation {word}" for word in offered])
    operations = [Operation(word, report) for word, report in zip(offered, described)]
    for operation in operations:
        if operation.name == "system.moduleIoctl":
            operation.without("argument.")
    return operations, [row["word"] for row in listed if row["state"] == "null"]


def checked(pcsim, options, title, calls, may_fail):
    """Makes the calls at a prompt, and then looks whether all works."""
    lines = list(PREPARED)
    for call in calls:
        lines.append(call)
        if "moduleIoctl" in call:
            lines += RESTORED
    with tempfile.TemporaryDirectory() as work:
        status, said = typed_at_prompt(pcsim, options, [*lines, *WORKS], work)
    answers = len(re.findall(r"^Call of ", said, re.MULTILINE))
    errors = re.findall(r"^error: .*$", said, re.MULTILINE)
    restored = 3 * sum("moduleIoctl" in call for call in calls)
    print(f"{' '.join(options)}, {title}: {len(calls)} calls, {answers - restored} answers, "
          f"{len(errors)} refusals, exit status {status}")
    works = "\nall works\n" in said and "runtime error" not in said
    if status == 0 and works and (may_fail or not errors):
        return True
    print("\n".join(errors[:20]), said[-3000:], sep="\n")
    return False


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("pcsim")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 32))
    parser.add_argument("--random", type=int, default=400)
    arguments = parser.parse_args()
    chance = random.Random(arguments.seed)
    print(f"seed {arguments.seed}")
    pcsim = Path(arguments.pcsim).resolve()
    with tempfile.NamedTemporaryFile("w", suffix=".supp") as known:
        known.write("".join(f"leak:{place}\n" for place in UNCLAIMED))
        known.flush()
        os.environ["LSAN_OPTIONS"] = f"suppressions={known.name}:print_suppressions=0"
        good = all_called(pcsim, chance, arguments.random)
    return 0 if good else 1


def all_called(pcsim, chance, count):
    good = True
    for shape in ("stack", "chassis"):
        options = ["--shape", shape, "--lab", "3", "--stopped", "--quiet"]
        operations, nulls = operations_of(pcsim, options)
        for title, calls, may_fail in (
                ("zeros", [f"call {one.name}" for one in operations], False),
                ("values", [one.call() for one in operations], False),
                ("nulls", [f"call {one.name} {pointer} null" for one in operations
                           for pointer in one.pointers], True),
                ("words that are null", [f"call {word}" for word in nulls], True),
                ("random", [chance.choice(operations).call(chance)
                            for _ in range(count)], True)):
            good = checked(pcsim, options, title, calls, may_fail) and good
    return good


if __name__ == "__main__":
    sys.exit(main())
