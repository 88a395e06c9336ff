"""Runs of pcsim in which one call fails, and what is to be said of how they end.

A run never ends by a signal that the platform's contract doesn't name, never hangs and leaves nothing
behind. It goes on, or ends with one line that says why and a status that isn't 0.
"""
import os
import re
import signal
import subprocess
import tempfile
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path
from typing import Iterator, Sequence

HERE = Path(__file__).resolve().parent
TOUR = HERE.parents[1] / "host" / "tour"
PROGRAM = Path(os.environ.get("PCSIM", HERE.parents[1] / "build" / "i386" / "pcsim")).resolve()
KINDS = ("malloc", "open", "read", "write", "socket", "ioctl")
TIMEOUT_S = 120

FILES = {
    "macs.txt": "02:00:00:00:01:01 10 1:1\n02:00:00:00:01:02 30 1:2 static\n",
    "routes.txt": "10.1.0.0/16\n10.2.0.0/16\n10.3.3.0/24\n2001:db8:1::/48\n2001:db8:2::/48\n",
    "groups.txt": "239.2.0.1:8000\n239.2.0.2:5140 10.9.9.9\n",
    "web.acl": "rule web permit proto tcp to 10.1.0.0/16 dport 80 count 1\nrule rest deny\n",
    "state.txt": "vlan create 40\nvlan 40 add 1:3\nport 1:4 disable\n",
}


@dataclass(frozen=True)
class Scenario:
    """What pcsim does: its options."""
    name: str
    options: tuple[str, ...]


SCENARIOS = {scenario.name: scenario for scenario in (
    Scenario("boot", ("--stopped", "-x", "show slots")),
    Scenario("lab", ("--lab", "4", "--stopped", "-x", "time warp 2000", "-x", "show ports")),
    Scenario("loads", ("--lab", "4", "--stopped", "--quiet", "-D", "files=.", "-D", "out=.",
                       "-f", str(HERE / "loads.pcsim"))),
    Scenario("chassis", ("--shape", "chassis", "--remote-io", "--stopped", "--lab", "16", "--quiet",
                         "--echo", "-f", str(TOUR / "chassis.pcsim"))),
    Scenario("tour", ("--lab", "4", "--quiet", "--echo", "-f", str(TOUR / "stack.pcsim"))),
)}


@dataclass(frozen=True)
class Stop:
    """A stop that the platform's contract names."""
    signal: signal.Signals
    says: str
    scenarios: tuple[str, ...]
    why: str


STOPS = (
    Stop(signal.SIGABRT, r'pcSimIPv4McDb\.c:\d+: \w+: Assertion "\w+" failed', ("loads",),
         "the multicast database needs memory for its nodes"),
    Stop(signal.SIGILL, "", ("loads",), "a next hop needs an adjacency"),
)


@dataclass(frozen=True)
class Failure:
    """The call that fails: the n-th of its kind, once or from then on for ever."""
    kind: str
    number: int
    ever: bool

    def __str__(self) -> str:
        return f"{self.kind} {self.number}" + (" ever" if self.ever else "")


@dataclass(frozen=True)
class Outcome:
    """How a run has ended."""
    status: int | None  # None: it hung
    output: str
    said: str
    counts: dict[str, int]  # calls of each kind, and whether one has failed; none after a crash
    left: list[str]  # files that nobody has removed


def run(scenario: Scenario, failure: Failure | None = None) -> Outcome:
    """Runs a scenario in a folder of its own."""
    with tempfile.TemporaryDirectory() as name:
        folder = Path(name)
        for file, text in FILES.items():
            (folder / file).write_text(text)
        (folder / "run").mkdir()
        counts = folder / "counts"
        environment = dict(os.environ, LD_PRELOAD=str(PROGRAM.with_name("libpcsim_failing.so")),
                           PCSIM_FAIL=str(failure or ""), PCSIM_FAIL_COUNTS=str(counts),
                           PCSIM_RUN_DIR=str(folder / "run"))
        with subprocess.Popen([PROGRAM, *scenario.options], cwd=folder, env=environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, text=True, errors="replace",
                              start_new_session=True) as process:
            try:
                output, said = process.communicate(timeout=TIMEOUT_S)
                status = process.returncode
            except subprocess.TimeoutExpired:
                process.kill()
                output, said = process.communicate()
                status = None
            left = _processes_left(process.pid)
        left += sorted(path.name for path in (folder / "run").iterdir())
        return Outcome(status, output, said, _counts_in(counts), left)


def _processes_left(session: int) -> list[str]:
    """What still runs of a session whose first process has ended. It is ended, too."""
    try:
        os.killpg(session, signal.SIGKILL)
    except ProcessLookupError:
        return []
    return ["a process"]


def _counts_in(path: Path) -> dict[str, int]:
    if not path.exists():
        return {}
    return {name: int(count) for name, count in map(str.split, path.read_text().splitlines())}


def _is_stop(scenario: Scenario, outcome: Outcome) -> bool:
    return any(outcome.status == -stop.signal and scenario.name in stop.scenarios
               and re.search(stop.says, outcome.said) for stop in STOPS)


def objection(scenario: Scenario, healthy: Outcome, outcome: Outcome) -> str | None:
    """What is wrong with the end of a run, or nothing."""
    if outcome.status is None:
        return "hangs"
    if outcome.status < 0:
        if _is_stop(scenario, outcome):
            return None
        return f"ends by signal {-outcome.status}: {outcome.said[-300:]}"
    if [name for name in outcome.left if name not in healthy.left]:
        return f"leaves {', '.join(outcome.left)} behind"
    if outcome.status == 0:
        return None
    lines = [line for line in outcome.said.splitlines() if line]
    if len(lines) != 1 or not re.match(r"pcsim: \S", lines[0]) or "std::" in lines[0]:
        return f"ends with {outcome.status} and doesn't say why in one line: {lines}"
    return None


def spread(first: int, last: int, most: int, seed: int) -> list[int]:
    """At most so many numbers from first to last, evenly spread; the seed says where they begin."""
    count = last - first + 1
    if count <= most:
        return list(range(first, last + 1))
    step = count / most
    return [first + int(i * step + seed % max(1, int(step))) for i in range(most)]


def failures(kind: str, numbers: Sequence[int]) -> Iterator[Failure]:
    """Each number once and for ever."""
    for number in numbers:
        yield Failure(kind, number, False)
        yield Failure(kind, number, True)


def objections(scenario: Scenario, healthy: Outcome, wanted: Sequence[Failure],
               workers: int) -> list[str]:
    """What is wrong with the runs of these failures, each with how to repeat it."""
    def judge(failure: Failure) -> str | None:
        outcome = run(scenario, failure)
        problem = objection(scenario, healthy, outcome)
        return problem and f"PCSIM_FAIL='{failure}' {scenario.name}: {problem}"
    with ThreadPoolExecutor(workers) as pool:
        return [problem for problem in pool.map(judge, wanted) if problem]
