"""What people quote: processor time and memory of a pcsim from its start to its end."""
from __future__ import annotations

import os
import statistics
import subprocess
import sys
import tempfile
from collections.abc import Callable
from pathlib import Path

Figure = tuple[float, str]  # with its unit
ROUNDS = 3


def cost(program: Path, *arguments: str) -> tuple[float, float]:
    """(processor time in ms, most memory in MB) of one run."""
    command = [program, "--quiet", "--stopped", *arguments]
    # pylint: disable-next=consider-using-with  # wait4 tells of this one alone
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"bench/all: {' '.join(map(str, command))} ended with status {process.returncode}")
    return 1000 * (usage.ru_utime + usage.ru_stime), usage.ru_maxrss / 1000


def commands(*lines: str) -> list[str]:
    """The options that run these lines."""
    return [word for line in lines for word in ("-x", line)]


def starts(program: Path) -> dict[str, Figure]:
    """What a start costs, and a day."""
    def milliseconds(rounds: int, *arguments: str) -> Figure:
        return statistics.median(cost(program, *arguments)[0] for _ in range(rounds)), "ms"

    echo = commands("echo x")
    return {
        "a boot": milliseconds(21, *echo),
        "a boot with a lab of 12 cabled ports": milliseconds(11, "--lab", "12", *echo),
        "a day in stopped time, 16 cabled ports": milliseconds(
            ROUNDS, "--shape", "chassis", "--lab", "16", *commands("time warp 86400000"))}


def tables(program: Path, ipv4: Path, ipv6: Path | None) -> dict[str, Figure]:
    """What full tables of routes cost."""
    load = [f"route load {ipv4} via 10.0.0.1 vlan 5"]
    both = [*load, *([f"route load {ipv6} via fe80::1 vlan 5"] if ipv6 else [])]
    with tempfile.TemporaryDirectory() as folder:
        saved = Path(folder, "routes")
        lines = {
            "boot": [], "load": load, "dump": [*load, "route dump"], "both": both,
            "save": [*both, f"route save {saved}"], "show": [*both, "show running"],
            "again": [f"route load {saved}"]}
        runs = [{name: cost(program, *commands(*line)) for name, line in lines.items()}
                for _ in range(ROUNDS)]

    def median(figure: Callable[[dict[str, tuple[float, float]]], float]) -> float:
        return statistics.median(map(figure, runs))

    found = {
        "the IPv4 table, loaded from a file of prefixes":
            (median(lambda run: run["load"][0] - run["boot"][0]), "ms"),
        "the same, dumped": (median(lambda run: run["dump"][0] - run["load"][0]), "ms"),
        "the same, memory": (median(lambda run: run["load"][1]), "MB")}
    if ipv6:
        found |= {
            "the tables of both families, loaded from files of prefixes":
                (median(lambda run: run["both"][0] - run["boot"][0]), "ms"),
            "both, saved": (median(lambda run: run["save"][0] - run["both"][0]), "ms"),
            "both, loaded from what was saved, with a next hop in each line":
                (median(lambda run: run["again"][0] - run["boot"][0]), "ms"),
            "both, shown by `show running`":
                (median(lambda run: run["show"][0] - run["both"][0]), "ms"),
            "both, shown and saved":
                (median(lambda run: run["show"][0] + run["save"][0] - 2 * run["both"][0]), "ms")}
    return found
