#!/usr/bin/env python3
"""Measures what switches cost that just stand there, and prints it as a table.

    measure.py [--counts N,N] [--idle SECONDS] [--json]

Starts stacks of 12 and chassis of 16 cabled ports, each a pcsim of its own in real time, 50 and 200
at once without an argument; lets them poll their links, and adds up the processor time and the
memory that they take. Memory is their share: a page that ten processes have counts a tenth.
"""
import argparse
import json
import os
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT))

from bench.report.machine import Machine  # noqa: E402  (it stands in the tree)

PROGRAM = ROOT / "build" / "i386" / "pcsim"
PORTS = {"stack": 12, "chassis": 16}
START_S = 300.0
SETTLE_S = 3.0


def processor_seconds(process):
    """What it has had so far, in user and in system mode."""
    return int(Path(f"/proc/{process.pid}/schedstat").read_text().split()[0]) / 1e9


def megabytes(process):
    """Its share of the memory that it has."""
    for line in Path(f"/proc/{process.pid}/smaps_rollup").read_text().splitlines():
        if line.startswith("Pss:"):
            return int(line.split()[1]) / 1000
    raise SystemExit("measure.py: the kernel doesn't tell how much memory a process has")


def wait_until_up(processes, folder):
    """Each has its socket once it has booted."""
    end = time.monotonic() + START_S
    while len(list(folder.glob("**/*.sock"))) < len(processes):
        if time.monotonic() > end:
            raise SystemExit(f"measure.py: not all of {len(processes)} are up after {START_S:.0f} s")
        for process in processes:
            if process.poll() is not None:
                raise SystemExit(f"measure.py: a pcsim has ended with status {process.returncode}; "
                                 "expected it to stay (labs need root or user namespaces)")
        time.sleep(0.05)


def measure(shape, count, idle):
    """One row of the table."""
    with tempfile.TemporaryDirectory() as folder:
        environment = {**os.environ, "XDG_RUNTIME_DIR": folder}
        processes = [subprocess.Popen(
            [PROGRAM, "--shape", shape, "--lab", str(PORTS[shape]), "--quiet", "--serve",
             "--name", f"fleet{number}"], env=environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL) for number in range(count)]
        try:
            wait_until_up(processes, Path(folder))
            boot = sum(map(processor_seconds, processes)) / count
            time.sleep(SETTLE_S)
            before, start = sum(map(processor_seconds, processes)), time.monotonic()
            time.sleep(idle)
            taken = sum(map(processor_seconds, processes)) - before
            share = taken / (time.monotonic() - start)
            memory = sum(map(megabytes, processes)) / count
        finally:
            for process in processes:
                process.terminate()
            for process in processes:
                process.wait()
    return {"shape": shape, "ports": PORTS[shape], "switches": count, "processor": 100 * share,
            "memory": memory, "boot": 1000 * boot}


def main():
    """Prints the table."""
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--counts", default="50,200")
    parser.add_argument("--idle", type=float, default=10.0)
    parser.add_argument("--json", action="store_true")
    given = parser.parse_args()
    machine = Machine()
    rows = [measure(shape, int(count), given.idle)
            for shape in PORTS for count in given.counts.split(",")]
    if given.json:
        print(json.dumps(rows))
        return
    print("| switches | ports each | % of a core | MB each | boot and lab, ms of processor |\n"
          "|---|---|---|---|---|")
    for row in rows:
        print(f"| {row['switches']} {row['shape']} | {row['ports']} | {row['processor']:.1f} | "
              f"{row['memory']:.1f} | {row['boot']:.0f} |")
    print(f"\n{machine.text()}")


if __name__ == "__main__":
    main()
