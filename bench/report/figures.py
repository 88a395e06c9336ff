"""Figures out of what the benchmarks print."""
from __future__ import annotations

import re
import statistics
from dataclasses import dataclass, field


class Unreadable(Exception):
    """A benchmark has printed something else than it should."""


@dataclass(frozen=True)
class Ratio:
    """How many times as fast as its peer something is."""

    group: str
    step: str
    peer: str
    value: float

    @property
    def key(self) -> tuple[str, str, str]:
        """What is measured."""
        return self.group, self.step, self.peer


@dataclass
class Series:
    """The same ratio in several runs."""

    group: str
    step: str
    peer: str
    values: list[float] = field(default_factory=list)

    @property
    def median(self) -> float:
        """What is quoted."""
        return statistics.median(self.values)


def collect(ratios: list[Ratio]) -> list[Series]:
    """The runs of each, in the order of the first."""
    found: dict[tuple[str, str, str], Series] = {}
    for ratio in ratios:
        found.setdefault(ratio.key, Series(*ratio.key)).values.append(ratio.value)
    return list(found.values())


def required(ratios: list[Ratio], program: str) -> list[Ratio]:
    """The same, unless there are none."""
    if not ratios:
        raise Unreadable(f"{program} has printed no ratios; expected its tables")
    return ratios


FDB_SETS = {"runs of consecutive": "FDB, vendor addresses", "uniform random": "FDB, random addresses"}
FDB_STEPS = ("learn", "hit", "miss", "find and delete")
FDB_TABLES = ("platform", "flat_map", "std map")


def fdb_rows(text: str) -> dict[str, dict[str, list[float]]]:
    """{set: {step: its numbers}} of bench_fdb, the hostile sets left out."""
    sets: dict[str, dict[str, list[float]]] = {}
    rows: dict[str, list[float]] | None = None
    for line in text.splitlines():
        if line and not line.startswith(" "):
            title = next((name for start, name in FDB_SETS.items() if line.startswith(start)), None)
            rows = sets.setdefault(title, {}) if title else None
        match = re.fullmatch(r"  (\S.*?) {2,}([\d. ]+)", line)
        if rows is not None and match and match[1] in FDB_STEPS:
            rows[match[1]] = [float(word) for word in match[2].split()]
    return sets


def fdb(text: str) -> list[Ratio]:
    """Speed against flat_map, which bench_fdb prints behind the times of its four tables."""
    return required([Ratio(name, step, "flat_map", numbers[4])
                     for name, rows in fdb_rows(text).items() for step, numbers in rows.items()],
                    "bench_fdb")


def fdb_times(text: str, step: str) -> dict[str, float]:
    """Nanoseconds of a step by table, for random addresses."""
    numbers = fdb_rows(text).get(FDB_SETS["uniform random"], {}).get(step)
    if numbers is None:
        raise Unreadable(f"bench_fdb has printed no '{step}'; expected its tables")
    return dict(zip(FDB_TABLES, numbers))


def routes(text: str) -> list[Ratio]:
    """The last column of bench_routes' tables of contenders."""
    ratios: list[Ratio] = []
    group = ""
    for line in text.splitlines():
        title = re.fullmatch(r"(IPv[46], [a-z ]+), \d+ routes, ns per route", line)
        if title:
            group = f"Routes, {title[1]}"
        elif not line or line.startswith("heap bytes"):
            group = ""
        row = re.fullmatch(r"(\S.*?) {2,}[\d.\- ]+? ([\d.]+)", line)
        if group and row:
            ratios.append(Ratio(group, row[1], "AVL set", float(row[2])))
    return required(ratios, "bench_routes")


def cells_of(line: str) -> list[str]:
    """The cells of a row of a Markdown table."""
    return [cell.strip() for cell in line.strip("|").split("|")]


def mcast(text: str) -> list[Ratio]:
    """The maps' time by the platform's, at 100,000 caches."""
    ratios: list[Ratio] = []
    group = ""
    for line in text.splitlines():
        title = re.match(r"(\d+) outgoing ports,", line)
        if title:
            group = f"Multicast, {title[1]} outgoing port" + ("s" if title[1] != "1" else "")
        cells = cells_of(line)
        if group and len(cells) == 8 and cells[2].isdecimal():
            ratios.append(Ratio(group, cells[0], "std::map", int(cells[5]) / max(int(cells[2]), 1)))
    return required(ratios, "bench_mcast")


def acl(text: str) -> list[Ratio]:
    """The maps' time by the platform's, at 10,000 bindings."""
    rows = [cells for cells in map(cells_of, text.splitlines())
            if len(cells) == 9 and cells[3].isdecimal()]
    return required([Ratio("Access lists", f"{cells[0]}, {cells[1]}", "std::map",
                           int(cells[6]) / max(int(cells[3]), 1)) for cells in rows], "bench_acl")
