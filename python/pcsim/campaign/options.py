"""The command line of pcsim-campaign, as a table: its parser, its help, and what makes its manual
page and completion are made of that.
"""
from __future__ import annotations

import argparse
import json
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Sequence

from .runs import PORTS, TIMEOUT_S

NAME = "pcsim-campaign"
ABOUT = "pcsim-campaign: runs a scenario with faults, seeds, shapes and libraries."
USAGE = "[options] SCENARIO [-- PCSIM-OPTIONS]"


@dataclass(frozen=True)
class Option:
    """An option, as people read of it."""

    name: str
    value: str
    help: str
    letter: str = ""
    takes: str = "nothing"
    choices: tuple[str, ...] = ()
    settings: tuple[tuple[str, Any], ...] = ()  # for the parser


def listed(text: str) -> list[str]:
    """'a,b' as a list."""
    return [part for part in text.split(",") if part]


def seeds(text: str) -> list[int]:
    """'100' is 1 to 100; '3-7,12' are these."""
    if text.isdigit():
        return list(range(1, int(text) + 1))
    numbers: list[int] = []
    for part in listed(text):
        first, _, last = part.partition("-")
        if not first.isdigit() or not (last or first).isdigit():
            raise argparse.ArgumentTypeError(
                f"'{text}' are no seeds; expected a count, or numbers and ranges as in 3-7,12")
        numbers += range(int(first), int(last or first) + 1)
    return numbers


def definition(text: str) -> tuple[str, str]:
    """'NAME=VALUE' as a pair."""
    name, equals, value = text.partition("=")
    if not equals or not name.isidentifier():
        raise argparse.ArgumentTypeError(f"'{text}' is no definition; expected NAME=VALUE")
    return name, value


def count(text: str) -> int:
    """A number from 1."""
    if not text.isdigit() or int(text) == 0:
        raise argparse.ArgumentTypeError(f"'{text}' is no number; expected 1 or more")
    return int(text)


def seconds(text: str) -> float:
    """A time that is longer than none."""
    try:
        value = float(text)
    except ValueError:
        value = 0.0
    if not 0 < value < 1e6:
        raise argparse.ArgumentTypeError(f"'{text}' are no seconds; expected more than 0")
    return value


def several(kind: Any = str) -> tuple[tuple[str, Any], ...]:
    """May be repeated."""
    return ("action", "append"), ("default", []), ("type", kind)


def one(kind: Any, default: Any) -> tuple[tuple[str, Any], ...]:
    """Has a value of this kind, and one without being given."""
    return ("type", kind), ("default", default)


FLAG = (("action", "store_true"),)

OPTIONS = (
    Option("help", "", "Print this help and exit", "h"),
    Option("version", "", "Print the version and exit"),
    Option("faults", "FILE", "A plan of faults, an entry a line; none without it",
           takes="name", settings=one(str, None)),
    Option("no-base", "", "Leave out the runs without a fault", settings=FLAG),
    Option("seeds", "SEEDS", "How many, from 1, or which, as in 3-7,12; 1 without it",
           takes="text", settings=one(seeds, [1])),
    Option("shapes", "SHAPES", "Shapes of the switch: stack, chassis, or both with a comma; "
           "stack without it", takes="choice", choices=("stack", "chassis", "stack,chassis"),
           settings=one(listed, ["stack"])),
    Option("library", "FILE", "A build of the platform library; may be repeated", takes="name",
           settings=several()),
    Option("pcsim", "FILE", "The pcsim that is started; $PCSIM, or that of PATH, without it",
           takes="name", settings=one(str, None)),
    Option("ports", "PORTS", f"Cabled front-panel ports of each run, 1 to 100; {PORTS} without it",
           takes="number", settings=one(count, PORTS)),
    Option("define", "NAME=VALUE", "Set a variable of the scenario beside SEED, SHAPE and FAULT; "
           "may be repeated", "D", takes="text", settings=several(definition)),
    Option("needs", "FILE", "A file that the scenario reads and that is no script it includes; may "
           "be repeated", takes="name", settings=several()),
    Option("timeout", "SECONDS", f"End a run that takes longer; {TIMEOUT_S:g} without it",
           takes="text", settings=one(seconds, TIMEOUT_S)),
    Option("jobs", "N", "Runs at a time; as many as there are cores without it", "j",
           takes="number", settings=one(count, None)),
    Option("scheduler", "ADDRESS", "Let the workers of a Dask scheduler make the runs",
           takes="text", settings=one(str, None)),
    Option("out", "FILE", "The file of the results, NAME.db, or a folder for it; "
           "SCENARIO.campaign.db without it", "o", takes="name", settings=one(str, None)),
    Option("resume", "", "Go on with the campaign that the file is of", settings=FLAG),
    Option("fail-fast", "", "End with the first run that doesn't pass", settings=FLAG),
    Option("report", "tap|junit FILE", "Write a test report: a case for each run; may be repeated",
           takes="pair", choices=("tap", "junit"),
           settings=(("action", "append"), ("default", []), ("nargs", 2),
                     ("metavar", ("tap|junit", "FILE")))),
    Option("quiet", "", "Show no progress", settings=FLAG),
    Option("show", "FILE", "Print the results of this file, all failures, and exit",
           takes="name", settings=one(Path, None)),
    Option("log", "FAULT,SEED,SHAPE[,LIBRARY]", "With --show: print what this run has printed",
           takes="text", settings=one(str, None)),
)


class Parser(argparse.ArgumentParser):
    """One line says what is wrong."""

    def error(self, message: str) -> Any:
        self.exit(2, f"{NAME}: {message}; see {NAME} --help\n")


def parser() -> argparse.ArgumentParser:
    """Of the table."""
    made = Parser(NAME, add_help=False, allow_abbrev=False)
    for option in OPTIONS:
        names = [*([f"-{option.letter}"] if option.letter else []), f"--{option.name}"]
        made.add_argument(*names, **(dict(option.settings) or dict(FLAG)))
    made.add_argument("scenario", nargs="?")
    return made


def help_text() -> str:
    """What --help prints."""
    lines = [ABOUT, "", f"usage: {NAME} {USAGE}", ""]
    for option in OPTIONS:
        letter = f"-{option.letter}, " if option.letter else "    "
        head = f"  {letter}--{option.name} {option.value}".rstrip()
        lines += folded(head, option.help)
    return "\n".join(lines)


def folded(head: str, text: str, indent: int = 31, width: int = 79) -> list[str]:
    """An option and its text, which begins below it where there is no room beside it."""
    lines = [head] if len(head) > indent - 2 else []
    line = "" if lines else head
    for word in text.split():
        begins = len(line) <= indent - 2
        if not begins and len(line) + 1 + len(word) > width:
            lines.append(line)
            line, begins = "", True
        line = f"{line:{indent}}{word}" if begins else f"{line} {word}"
    return [*lines, line]


def help_json() -> str:
    """The same as data, as other programs of ours tell it."""
    return json.dumps({
        "name": NAME, "about": ABOUT, "usage": USAGE,
        "options": [{"name": option.name, "letter": option.letter, "value": option.value,
                     "help": option.help, "takes": option.takes,
                     "choices": list(option.choices)} for option in OPTIONS],
        "commands": []})


def divided(arguments: Sequence[str]) -> tuple[list[str], list[str]]:
    """Our arguments, and those behind -- for pcsim."""
    if "--" not in arguments:
        return list(arguments), []
    at = list(arguments).index("--")
    return list(arguments[:at]), list(arguments[at + 1:])
