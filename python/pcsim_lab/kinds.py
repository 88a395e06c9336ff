"""The kinds of nodes: which keys each has in a lab file, and what is started for it."""
from __future__ import annotations

import re
import shlex
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, Mapping

from pcsim.errors import StartFailed
from pcsim.launch import PORTS_OF_SHAPE
from pcsim.places import find_program

from .problems import LabError
from .source import Value

Keys = Mapping[str, Value]
MOST_PORTS = {**PORTS_OF_SHAPE, "hal": 100, "linux": 100}
DEFAULT_PORTS = 8
CARD_SLOTS = range(1, 9)         # of a chassis, two ports each
SLOTS_WITH_CARDS = range(1, 8)   # unless a lab says otherwise
OURS = ("--name", "--serve", "--lab", "--help", "--version")  # options that a lab gives itself


@dataclass(frozen=True)
class Programs:
    """Where the programs are that nodes run; looked for when a node needs one."""

    given: str | None = None

    @property
    def pcsim(self) -> str:
        """The pcsim that is meant. LabError when there is none."""
        try:
            return self.given or find_program()
        except StartFailed as problem:
            raise LabError(str(problem)) from None

    def beside(self, *places: str) -> str:
        """What is installed or built with pcsim, at the first of these places that has it."""
        folder = Path(self.pcsim).resolve().parent
        found = (folder / place for place in places)
        return str(next((path for path in found if path.exists()), folder / places[0]))


@dataclass(frozen=True)
class Kind:
    """A kind, its keys, and how they become a command of the instance of that name, and
    variables."""

    name: str
    keys: tuple[str, ...]
    command: Callable[[Keys, Programs, str], list[str]]
    shape: Callable[[Keys], str]


COMMON = ("kind", "ports", "exec", "env")


def texts(value: Value) -> list[str]:
    """The lines of a list."""
    return [item.text() for item in value.items("a list of texts")]


def words(value: Value) -> list[str]:
    """A command as a list, or as a line with a shell's quotes."""
    if value.is_list:
        return texts(value)
    try:
        found = shlex.split(value.text("a command"))
    except ValueError as problem:
        raise value.wrong(f"{value.about} can't be divided into words: {problem}") from None
    return found


def pcsim_shape(keys: Keys) -> str:
    """stack or chassis."""
    return keys["shape"].choice(("stack", "chassis")) if "shape" in keys else "stack"


def card_lines(keys: Keys) -> list[str]:
    """What makes the cards of a chassis those that are wanted."""
    if "cards" not in keys:
        return []
    if pcsim_shape(keys) != "chassis":
        raise keys["cards"].wrong("a stack has no cards to choose; expected 'shape: chassis'")
    wanted = {item.number(CARD_SLOTS[0], CARD_SLOTS[-1]) for item in keys["cards"].items()}
    return ([f"card {slot} remove" for slot in SLOTS_WITH_CARDS if slot not in wanted]
            + [f"card {slot} insert" for slot in sorted(wanted.difference(SLOTS_WITH_CARDS))])


def pcsim_command(keys: Keys, programs: Programs, instance: str) -> list[str]:
    """An instance on the node's interfaces that serves until the lab ends."""
    found = [programs.pcsim, "--name", instance, "--serve", "--quiet", "--shape", pcsim_shape(keys)]
    if "options" in keys:
        for item in keys["options"].items("a list of pcsim's options"):
            option = item.text()
            if option.split("=")[0] in OURS:
                raise item.wrong(f"the lab itself gives pcsim its {option.split('=')[0]}; "
                                 "expected other options")
            found.append(option)
    lines = card_lines(keys) + (texts(keys["run"]) if "run" in keys else [])
    return found + [part for line in lines for part in ("-x", line)]


def hal_command(keys: Keys, programs: Programs, _: str) -> list[str]:
    """The HAL, with what is asked to be put before the platform."""
    command = words(keys["command"])
    if "probe" in keys:
        command = [programs.beside("pcsim-probe"), *words(keys["probe"]), "--", *command]
    if "mii" in keys and keys["mii"].flag():
        library = programs.beside("libpcsim-mii.so.0", "../lib/i386-linux-gnu/libpcsim-mii.so.0")
        command = ["env", f"LD_PRELOAD={library}", *command]
    return command


KINDS = {kind.name: kind for kind in (
    Kind("pcsim", (*COMMON, "shape", "cards", "run", "options"), pcsim_command, pcsim_shape),
    Kind("hal", (*COMMON, "command", "mii", "probe"), hal_command, lambda _: "hal"),
    Kind("linux", COMMON, lambda *_: [], lambda _: "linux"),
)}
ALL_KEYS = tuple(dict.fromkeys(key for kind in KINDS.values() for key in kind.keys))
NAME = re.compile(r"[A-Za-z0-9][A-Za-z0-9_-]*")
