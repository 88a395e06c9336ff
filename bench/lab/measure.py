#!/usr/bin/python3
"""Measures what a large lab costs, and prints it.

    measure.py [SWITCHES] [--ports N] [--idle SECONDS]

A leaf-spine fabric, half of it leaves, with a cable at every port: the time until it is up and
until it has gone, the memory of a switch, what idling takes of one core, and a storm: every leaf
disables all its ports, and each spine has to tell of every one of them. 200 switches without an
argument; a tenth of that does for a look.
"""
import argparse
import json
import subprocess
import sys
import tempfile
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
PYTHON = HERE.parents[1] / "python"
sys.path[:0] = [str(PYTHON), str(HERE.parents[1])]

import pcsim  # noqa: E402  (it stands in the tree)
from bench.report.machine import Machine  # noqa: E402

NAME = "measured"


def lab(*arguments):
    """What a command of the lab prints."""
    return subprocess.run([sys.executable, PYTHON / "pcsim_lab", *arguments], check=True,
                          stdout=subprocess.PIPE, text=True).stdout


def timed(work):
    """(seconds, what it returns)."""
    begin = time.monotonic()
    found = work()
    return time.monotonic() - begin, found


def processor_s(keeper):
    """The seconds of processor time that all processes of the lab have had, the keeper with them."""
    space = (Path("/proc") / str(keeper) / "ns" / "pid_for_children").stat().st_ino
    total = 0
    for process in Path("/proc").iterdir():
        try:
            if process.name.isdigit() and (process / "ns" / "pid").stat().st_ino == space:
                total += int((process / "schedstat").read_text().split()[0])
        except OSError:
            continue
    return total / 1e9


def keeper():
    """The process that keeps the lab."""
    return json.loads((pcsim.run_folder() / "labs" / NAME / "keeper.json").read_text())["pid"]


def idle(seconds):
    """Per cent of one core, of everything and of the keeper alone."""
    kept = Path("/proc") / str(keeper()) / "schedstat"
    before, own = processor_s(keeper()), int(kept.read_text().split()[0])
    begin = time.monotonic()
    time.sleep(seconds)
    took = time.monotonic() - begin
    return ((processor_s(keeper()) - before) / took * 100,
            (int(kept.read_text().split()[0]) - own) / 1e9 / took * 100)


def downs(switch):
    """How many ports a switch has told to have lost their link."""
    return sum(event.text.endswith("link down")
               for event in switch.events(sources=["port"], since=0, follow=False))


def storm(count, ports, patience=20):
    """(seconds until all ports are disabled, until the last event was there, events missing)."""
    leaves = [pcsim.connect(f"{NAME}.leaf{number + 1}") for number in range(count)]
    spines = [pcsim.connect(f"{NAME}.spine{number + 1}") for number in range(count)]
    begin = time.monotonic()
    for leaf in leaves:
        leaf.run(f"port 1:1-{ports} disable")
    told = time.monotonic() - begin
    missing = count * ports
    while missing and time.monotonic() - begin < patience:
        time.sleep(0.1)
        missing = count * ports - sum(map(downs, spines))
    took = time.monotonic() - begin
    for switch in leaves + spines:
        switch.close()
    return told, took, missing


def main():
    """Prints the table."""
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("switches", type=int, nargs="?", default=200)
    parser.add_argument("--ports", type=int, default=8)
    parser.add_argument("--idle", type=float, default=15)
    given = parser.parse_args()
    half = given.switches // 2
    machine = Machine()
    with tempfile.TemporaryDirectory() as folder:
        file = Path(folder) / "lab.yml"
        with file.open("w") as target:
            subprocess.run([sys.executable, HERE / "leaf_spine.py", str(half), str(half), "--ports",
                            str(given.ports), "--uplinks", str(given.ports), "--name", NAME],
                           check=True, stdout=target)
        up, _ = timed(lambda: lab("up", "--quiet", str(file)))
    try:
        show, data = timed(lambda: json.loads(lab("show", NAME, "--json")))
        everything, kept = idle(given.idle)
        told, took, missing = storm(half, given.ports)
        measured = processor_s(keeper())
    finally:
        down, _ = timed(lambda: lab("down", NAME))
    nodes = data["nodes"]
    print(f"{len(nodes)} switches, {len(data['links'])} cables")
    for what, value in (
            ("up", f"{up:.1f} s"), ("show", f"{show:.2f} s"), ("down", f"{down:.1f} s"),
            ("private memory of a switch",
             f"{sum(node['private_kib'] for node in nodes) / len(nodes):.0f} KiB"),
            ("idle, all", f"{everything:.1f} % of a core"),
            ("idle, keeper", f"{kept:.2f} % of a core"),
            ("storm: all ports of the leaves disabled in", f"{told:.2f} s"),
            ("storm: last event of the spines after", f"{took:.2f} s"),
            ("storm: events that are missing", missing)):
        print(f"  {what:44} {value}")
    print(f"\n{machine.text(measured)}")
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main())
