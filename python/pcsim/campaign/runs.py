"""A run: what it is called, the command that is it, and what became of it.

A run is one process of pcsim in a lab of its own, in stopped time. All that tells it from the next
one stands in its command line and in the rules on its standard input, so the same line in a shell
is the same run again.
"""
from __future__ import annotations

import os
import shlex
from dataclasses import dataclass, replace
from enum import Enum
from typing import Iterable, Mapping, NamedTuple

from .files import File

TIMEOUT_S = 60.0
PORTS = 4

# What a program of ours reads from the environment and a switch behaves by.
SETTINGS = ("VORN_SLOT_ID", "HAL_SIM_REMOTE_IO")


class Outcome(str, Enum):
    """How a run has ended."""

    PASSED = "passed"  # every line was done, and held
    FAILED = "failed"  # a line was not, or the boot
    CRASHED = "crashed"  # by a signal
    TIMEOUT = "timeout"  # it was ended, having run for too long
    REFUSED = "refused"  # it had not begun: pcsim, its lab or a rule

    def __str__(self) -> str:
        return self.value


class Key(NamedTuple):
    """What a run is called: there is one with this key in a campaign."""

    fault: str
    seed: int
    shape: str
    library: str

    def __str__(self) -> str:
        return f"{self.fault}, seed {self.seed}, {self.shape}, {self.library}"


@dataclass(frozen=True)
class Job:
    """A run that is to be made."""

    key: Key
    rules: tuple[str, ...] = ()
    library: str | None = None  # its file; that which pcsim finds by itself without one


@dataclass(frozen=True)
class Setup:
    """What all runs of a campaign have in common."""

    program: str
    scenario: str
    folder: str  # where they run
    ports: int = PORTS
    definitions: tuple[tuple[str, str], ...] = ()
    options: tuple[str, ...] = ()
    settings: tuple[tuple[str, str], ...] = ()
    timeout: float = TIMEOUT_S
    files: tuple[File, ...] = ()  # as they were when the campaign began
    campaign: str = ""  # its number, which tells its runs from those of others

    def of(self, files: Iterable[File]) -> Setup:
        """The same, made of these files."""
        return replace(self, files=tuple(files))

    def command(self, job: Job) -> list[str]:
        """The program and its arguments."""
        key = job.key
        variables = {**dict(self.definitions), "SEED": str(key.seed), "SHAPE": key.shape,
                     "FAULT": key.fault}
        return [self.program, "--lab", str(self.ports), "--stopped", "--echo",
                "--shape", key.shape,
                *(["--library", job.library] if job.library is not None else []),
                *(word for item in variables.items() for word in ("-D", "=".join(item))),
                *self.options,
                *(["--plan", "/dev/stdin"] if job.rules else []), "-f", self.scenario]

    def repeat(self, job: Job) -> str:
        """The line for a shell that is this run."""
        command = shlex.join(self.command(job))
        settings = "".join(f"{name}={shlex.quote(value)} " for name, value in self.settings)
        begin = f"cd {shlex.quote(self.folder)} && "
        if not job.rules:
            return f"{begin}{settings}{command} </dev/null"
        return f"{begin}printf '%s\\n' {shlex.join(job.rules)} | {settings}{command}"


@dataclass(frozen=True)
class Result:
    """What became of a run."""

    fault: str
    seed: int
    shape: str
    library: str
    outcome: Outcome
    seconds: float
    reason: str = ""  # the first line that says what failed
    status: int | None = None  # the exit status, -N for signal N, none when it was ended
    worker: str = ""
    command: str = ""  # the line for a shell that repeats it
    log: str = ""  # what it has printed, kept unless it has passed

    @property
    def key(self) -> Key:
        """What the run is called."""
        return Key(self.fault, self.seed, self.shape, self.library)

    @property
    def passed(self) -> bool:
        """Whether all was as the scenario demands."""
        return self.outcome is Outcome.PASSED


def settings_of(environment: Mapping[str, str]) -> tuple[tuple[str, str], ...]:
    """What an environment has of the settings of switches."""
    return tuple((name, environment[name]) for name in SETTINGS if name in environment)


def environment_of(setup: Setup, run_folder: str) -> dict[str, str]:
    """The environment of a run, whoever makes it: with the settings of who began the campaign,
    and with sockets apart from those of the switches that people work with."""
    kept = {name: value for name, value in os.environ.items() if name not in SETTINGS}
    return {**kept, **dict(setup.settings), "PCSIM_RUN_DIR": run_folder}
