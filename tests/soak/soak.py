#!/usr/bin/python3
"""Weeks of a switch's life in stopped time, and every simulated hour all that it shows against a model.

What happens is churn of all kinds and faults; the model is a naive one, and the library's memory is
held against it block by block."""
import argparse
import json
import os
import random
import sys
import tempfile
import time
from collections import Counter
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "python"))
import pcsim  # pylint: disable=wrong-import-position

import activities  # pylint: disable=wrong-import-position
import checks  # pylint: disable=wrong-import-position
from model import Model, OPERATIONAL  # pylint: disable=wrong-import-position

HOUR_S = 3600
PATIENCE_S = 120
INTERFACES = 4
# Cards of the chassis report each step late.
OPTIONS = {"stack": [], "chassis": ["--remote-io"]}
RESIDENT_SLACK = 256 * 4096  # bytes, beside what the library keeps for ever: tables still fill
EVENTS = 20000  # that pcsim keeps
EVENT_BYTES = 450  # of one in the log, and of its row while all are shown
ACLS = {
    "web.acl": "rule web permit proto tcp to 10.1.0.0/16 dport 80 count 1\n"
               "rule tls permit proto tcp to 10.1.0.0/16 dport 443 count 5\nrule rest deny\n",
    "open.acl": "rule all permit\n",
    "few.acl": "rule a deny proto udp from 10.0.0.0/8 sport 5-9 count 2\nrule b permit\n",
}


class Soak:  # pylint: disable=too-many-instance-attributes
    """One switch, its model, and how far they are."""

    def __init__(self, switch, shape, seed, folder):
        self.switch, self.shape, self.seed, self.folder = switch, shape, seed, folder
        self.chance = random.Random(seed)
        self.now_s = 0
        self.operations, self.faults = Counter(), Counter()
        self.last_lines = []
        self.hours, self.memory, self.process = 0, {}, {}
        self.model, self.boot, self.timers = None, {}, []
        self.acl_files, self.plain_ports, self.trunk_ports = {}, [], []

    def begin(self):
        """Lets it boot, and notes what is there before anything happens."""
        self.warp(60)
        cards = {row["slot"]: row for row in self.ask("show cards")["cards"]}
        ports = self.ask("show ports")["ports"]
        slots = Counter(int(row["port"].split(":")[0]) for row in ports)
        interfaces = {row["port"]: int(row["interface"][3:]) for row in ports
                      if row["link"] == "up"}
        self.model = Model(dict(slots), interfaces)
        self.demand(len(interfaces) == INTERFACES and
                    all(cards[slot]["state"] == OPERATIONAL for slot in slots),
                    f"it has not come up: {cards}, {ports}")
        self.model.fans, self.model.supplies = set(range(4)), set(range(1, 5))
        for kind, units in (("fans", 0b1111), ("power", 0b11110)):
            self.run(f"module {kind} {units}")
        self.warp(6)
        names = [row["port"] for row in ports]
        self.plain_ports, self.trunk_ports = names[:-1], names[-1:]
        blocks = checks.blocks_by_room(self.ask("show memory"))
        self.boot = {key: count for key, count in blocks.items() if key != ("rest", 4)}
        self.timers = checks.timers_of(self.ask)
        self.measure_rules()

    def measure_rules(self):
        """Which block of rules each file becomes; it is the host that makes it."""
        for name, text in ACLS.items():
            Path(self.folder, name).write_text(text, encoding="ascii")
            self.run(f"acl load measured {name}")
            blocks = checks.blocks_by_room(self.ask("show memory"))
            sizes = [size for room, size in blocks if room == "acl" and size != 80]
            counters = self.ask("show acl")["lists"][0]["counters"]
            self.demand(len(sizes) == 1, f"{name} has become {sizes}")
            self.acl_files[name] = (sizes[0], counters)
            self.run("acl delete measured")

    # --- what activities use -----------------------------------------------------------------------

    def ask(self, line):
        """What a line answers."""
        return self.switch.run(line).data

    def run(self, line, may_fail=False):
        """Runs a line, which counts."""
        self.operations[" ".join(word for word in line.split()[:2] if word.isalpha())] += 1
        self.last_lines = [*self.last_lines[-19:], f"{self.now_s:>8} {line}"]
        if line.startswith("fault "):
            self.faults[line.split()[1]] += 1
        try:
            return self.switch.run(line).data
        except pcsim.CommandFailed:
            if not may_fail:
                raise
            return None

    def warp(self, seconds):
        """Lets time pass."""
        self.switch.run(f"time warp {seconds * 1000}")
        self.now_s += seconds
        if self.model is not None:
            self.model.pass_time(self.now_s)

    def refused(self, fault, line):
        """A line that must fail because of a fault."""
        self.run(f"fault {fault} count 1")
        try:
            self.run(line)
        except pcsim.CommandFailed:
            pass
        else:
            self.demand(False, f"'{line}' has succeeded in spite of fault {fault}")
        self.clear_faults(1)

    def clear_faults(self, hits=None):
        """No faults any more; those that there were have met so many calls."""
        met = [row["hits"] for row in self.ask("show faults")["faults"]]
        self.demand(hits is None or met == [hits], f"the fault has met {met} calls, not {hits}")
        self.run("fault-clear")

    def card_state(self, slot):
        """A card's state."""
        return {row["slot"]: row["state"] for row in self.ask("show cards")["cards"]}[slot]

    def neighbor(self):
        """An address and its VLAN; each address has one."""
        vlan = self.pick(activities.VLANS)
        return f"10.{vlan}.0.{self.chance.randrange(1, 9)}", vlan

    def pick(self, things):
        """One of them."""
        return self.chance.choice(list(things))

    @staticmethod
    def demand(good, what):
        """Raises unless it is so."""
        if not good:
            raise checks.Wrong(what)

    # --- hours -------------------------------------------------------------------------------------

    def hour(self, factor):
        """All that happens in an hour, and what is looked at behind it."""
        planned = []
        for activity, rate in activities.RATES.items():
            planned += [activity] * int(rate * factor + self.chance.random())
        self.chance.shuffle(planned)
        end = (self.hours + 1) * HOUR_S
        for left, activity in zip(range(len(planned), 0, -1), planned):
            activity(self)
            self.operations["activities"] += 1
            self.warp(max(1, min((end - self.now_s) // left, self.chance.randrange(1, 61))))
        self.warp(max(2, end - self.now_s))
        self.hours += 1
        self.check()

    def check(self, more_blocks=0):
        """Tables, memory, and the process."""
        checks.check_tables(self.model, self.ask)
        boot = dict(self.boot)
        if more_blocks:
            boot["rest", 16384] += more_blocks
        sums = checks.check_memory(self.model, self.ask, boot)
        checks.same("timers", self.timers, checks.timers_of(self.ask))
        checks.same("tasks", [], checks.tasks_of(self.ask))
        process = checks.process_of(self.switch.status().pid)
        self.memory.setdefault("first", sums)
        self.memory["last"] = sums
        self.check_process(process)

    def check_process(self, process):
        """Descriptors and threads are as ever, and after a day resident memory, too, but for events,
        which fill their log: how much is resident when it is full is how much it stays."""
        kept = sum(size * count for size, count in self.model.retired.items())
        events = self.ask("show events limit 1")["events"][-1]["number"] + 1
        now = process | {"kept": kept, "events": min(events, EVENTS)}
        first = self.process.setdefault("first", now)
        self.process["last"] = now
        for what in ("descriptors", "threads"):
            checks.same(what, first[what], now[what])
        if self.hours == 24:
            self.process["day"] = now
        if self.hours >= 24 and events >= EVENTS:
            self.process.setdefault("full", now | {"hour": self.hours})
        if self.hours > 24:
            before = self.process.get("full", self.process["day"])
            # What the library keeps for ever is in the allocator's granules, at most half as much more.
            allowed = before["resident"] + RESIDENT_SLACK + (kept - before["kept"]) * 2 + \
                (now["events"] - before["events"]) * EVENT_BYTES
            self.demand(now["resident"] <= allowed,
                        f"{now['resident']} bytes are resident, {allowed} at most were expected")

    def report(self):
        """What has been seen."""
        return {"shape": self.shape, "seed": self.seed, "simulatedHours": self.hours,
                "operations": dict(sorted(self.operations.items())),
                "faults": dict(sorted(self.faults.items())), "memory": self.memory,
                "keptForEver": {str(size): count for size, count in self.model.retired.items()},
                "process": self.process} if self.model else {"shape": self.shape}


def soaked(shape, seed, arguments, seconds):
    """Runs one shape; how far it came, and what was wrong."""
    wrong = []
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        Path("plan").write_text("memory on\n", encoding="ascii")
        switch = pcsim.Switch(ports=INTERFACES, shape=shape, stopped=True, timeout=PATIENCE_S,
                              options=["--plan", "plan", *OPTIONS[shape]])
        soak = Soak(switch, shape, seed, folder)
        try:
            with switch:
                wrong += lived(soak, arguments, seconds)
        except pcsim.Error as problem:  # it has not ended well
            wrong.append(problem)
        os.chdir("/")
    return soak, wrong


def lived(soak, arguments, seconds):
    """Hour for hour; what was wrong."""
    started = time.monotonic()
    try:
        soak.begin()
        while soak.hours < arguments.hours and time.monotonic() - started < seconds:
            soak.hour(arguments.rate)
            if soak.hours % 24 == 0:
                print(progress(soak, started), flush=True)
        soak.check(arguments.expect_blocks)
    except (checks.Wrong, pcsim.Error) as problem:
        return [problem]
    finally:
        if soak.hours % 24 != 0:
            print(progress(soak, started), flush=True)
    return []


def progress(soak, started):
    """A line of how far it is."""
    last = soak.memory.get("last", {})
    return (f"{soak.shape}: {soak.hours} h simulated in {time.monotonic() - started:.0f} s, "
            f"{soak.operations.total()} operations, {sum(soak.faults.values())} faults, "
            f"{last.get('blocks')} blocks, {last.get('bytes')} bytes, "
            f"{soak.process.get('last', {}).get('resident', 0) // 1024} KiB resident")


def main():
    """The exit status."""
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--minutes", type=float, default=10, help="of real time, at most; 10 without it")
    parser.add_argument("--hours", type=int, default=168,
                        help="of simulated time for each shape, at most; 168 without it")
    parser.add_argument("--shape", choices=("stack", "chassis"), action="append",
                        help="this one alone; without it both have half of the minutes each")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 32),
                        help="of what happens; another one each time without it")
    parser.add_argument("--rate", type=float, default=1, help="how often things happen; usually 1")
    parser.add_argument("--report", type=Path, metavar="FILE", help="what was done and kept, as JSON")
    parser.add_argument("--expect-blocks", type=int, default=0, metavar="N",
                        help="expect so many blocks more than the model says: it must fail then")
    arguments = parser.parse_args()
    arguments.report = arguments.report and arguments.report.resolve()
    print(f"seed {arguments.seed}", flush=True)
    shapes, reports, status = arguments.shape or ["stack", "chassis"], [], 0
    for shape in shapes:
        soak, wrong = soaked(shape, arguments.seed, arguments,
                             arguments.minutes * 60 / len(shapes))
        reports.append(soak.report() | ({"wrong": [str(each) for each in wrong]} if wrong else {}))
        if wrong:
            print("\n".join(["the last lines were:", *soak.last_lines]))
            print(f"FAILED after {soak.hours} h: {'; '.join(map(str, wrong))}\nrepeat with: tests/soak/run "
                  f"--shape {shape} --seed {arguments.seed} --rate {arguments.rate:g} "
                  f"--hours {soak.hours + 1} --minutes 60",
                  flush=True)
            status = 1
    if arguments.report:
        arguments.report.write_text(json.dumps(reports, indent=1) + "\n", encoding="utf-8")
    return status


if __name__ == "__main__":
    sys.exit(main())
