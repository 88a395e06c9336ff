"""Plans of faults: what the runs of a campaign have against them.

    # One rule is an entry, called by its text.
    fault cardPortEnable where port 1:2
    # Several have a name of their own, and are indented below it.
    slow cards:
        fault cardStartBooting delay 500
        fault cardStartDownload chance 10
    flaky fan: fault fanSlot.* chance 5 seed ${SEED}1

Each entry is a column of the campaign. Rules that take chance have the seed of the run, unless they
say one themselves; `$SEED` in a rule is that of the run.
"""
from __future__ import annotations

import re
from dataclasses import dataclass
from os import PathLike
from pathlib import Path

from .problems import CampaignError

BASE = "none"

NAMED = re.compile(r"(?P<name>[^:#]+):(?:\s+(?P<rule>.*))?$")
CHANCE = re.compile(r"\bchance\s+\S+")
HAS_SEED = re.compile(r"\bseed\b")
SEED = re.compile(r"\$SEED\b|\$\{SEED\}")


@dataclass(frozen=True)
class Fault:
    """An entry of a plan: a name, and the rules that are armed before the first call."""

    name: str
    rules: tuple[str, ...] = ()
    line: int = 0  # of the plan where it begins

    def seeded(self, seed: int) -> tuple[str, ...]:
        """The rules as a run with this seed has them."""
        return tuple(seeded(rule, seed) for rule in self.rules)


NO_FAULT = Fault(BASE)


def seeded(rule: str, seed: int) -> str:
    """A rule as a run with this seed has it."""
    rule = SEED.sub(str(seed), rule)
    if HAS_SEED.search(rule):
        return rule
    return CHANCE.sub(lambda found: f"{found[0]} seed {seed}", rule, count=1)


def read_plan(path: str | PathLike[str]) -> list[Fault]:
    """The entries of a plan file. CampaignError says file and line of what is wrong."""
    try:
        text = Path(path).read_text(encoding="utf-8")
    except UnicodeDecodeError as problem:
        raise CampaignError(f"plan {path} is not UTF-8; expected lines of text") from problem
    except OSError as problem:
        raise CampaignError(f"plan {path} can't be read: {problem.strerror}") from problem
    reader = Reader(str(path))
    for number, line in enumerate(text.removeprefix("\ufeff").splitlines(), 1):
        reader.take(number, line)
    return reader.end()


class Reader:
    """Makes entries of lines."""

    def __init__(self, path: str) -> None:
        self._path = path
        self._faults: dict[str, Fault] = {}
        self._open = ""  # the name that indented rules belong to

    def take(self, number: int, line: str) -> None:
        """The next line."""
        indented = line[:1].isspace()
        text = re.sub(r"(^|\s)#.*", "", line).strip()
        if not text:
            return
        if indented:
            self._take_indented(number, text)
            return
        self._close()
        if is_rule(text):
            self._add(Fault(" ".join(text.split()), (text,), number))
        elif (named := NAMED.match(text)) is None:
            raise self._problem(number, f"'{text}' is neither a rule nor a name; expected "
                                        "fault OPERATION ... or NAME:")
        else:
            self._take_name(number, named["name"].strip(), (named["rule"] or "").strip())

    def end(self) -> list[Fault]:
        """All entries, in the order of the file."""
        self._close()
        return list(self._faults.values())

    def _take_indented(self, number: int, text: str) -> None:
        if not self._open:
            raise self._problem(number, "an indented rule belongs to no name; expected NAME: "
                                        "in a line above, or no blanks before the rule")
        before = self._faults[self._open]
        rules = (*before.rules, self._rule(number, text))
        self._faults[self._open] = Fault(before.name, rules, before.line)

    def _take_name(self, number: int, name: str, rule: str) -> None:
        self._add(Fault(name, (self._rule(number, rule),) if rule else (), number))
        if not rule:
            self._open = name

    def _rule(self, number: int, text: str) -> str:
        if not is_rule(text):
            raise self._problem(number, f"'{text}' is no rule; expected fault OPERATION ...")
        return text

    def _add(self, fault: Fault) -> None:
        if fault.name == BASE:
            raise self._problem(fault.line, f"'{BASE}' is the run without a fault; expected "
                                            "another name")
        if (before := self._faults.get(fault.name)) is not None:
            raise self._problem(fault.line, f"'{fault.name}' stands in line {before.line} as "
                                            "well; expected a name of its own")
        self._faults[fault.name] = fault

    def _close(self) -> None:
        if self._open and not self._faults[self._open].rules:
            raise self._problem(self._faults[self._open].line,
                                f"'{self._open}' has no rule; expected some, indented, below it")
        self._open = ""

    def _problem(self, number: int, text: str) -> CampaignError:
        return CampaignError(f"{self._path}:{number}: {text}")


def is_rule(text: str) -> bool:
    """Whether this is a rule of the console's."""
    return text.split()[0] == "fault" and len(text.split()) > 1
