#!/usr/bin/env python3
"""Measures which lines and branches the tests run, and holds them above the floors.

usage: measure.py [--root FOLDER] BUILD...

BUILD is a folder that was compiled with counters (cmake --preset coverage) and whose programs have
run; the floors stand below. Prints what never ran, a row for each room, and exits with 1 where one
of the floors isn't reached. Nothing is excluded but what the compiler adds (gcov.py).
"""
import argparse
import json
import os
import re
import shlex
import sys
from collections import Counter
from pathlib import Path
from typing import NamedTuple

from gcov import Source, counted

# folder, percent of its lines, percent of its branches (None where nothing is asked)
FLOORS = (
    ("platform", 100, 97),
    ("host", 90, None),
    ("console", 90, None),
)
SUFFIXES = (".cpp", ".h")
INCLUDE = re.compile(r'#include "(.*)"')


class Share(NamedTuple):
    """How many of how many."""
    reached: int
    all: int

    def percent(self) -> float:
        return 100 * self.reached / self.all if self.all else 100.0

    def text(self) -> str:
        return f"{self.reached:6d} of {self.all:6d}  {rounded(self.percent()):5.1f} %"


def rounded(percent: float) -> float:
    """Down to a tenth: what misses a floor doesn't look as if it reached it."""
    return int(percent * 10) / 10


def shares(sources: list[Source]) -> tuple[Share, Share]:
    """Lines and branches of several files together."""
    reached: Counter = Counter()
    total: Counter = Counter()
    for source in sources:
        for kind, counts in (("lines", source.lines), ("branches", source.branches)):
            total[kind] += len(counts)
            reached[kind] += sum(count > 0 for count in counts.values())
    return (Share(reached["lines"], total["lines"]),
            Share(reached["branches"], total["branches"]))


def ranges(lines: list[int]) -> str:
    """'3-5, 9' of 3, 4, 5, 9."""
    parts: list[list[int]] = []
    for line in lines:
        if parts and parts[-1][1] == line - 1:
            parts[-1][1] = line
        else:
            parts.append([line, line])
    return ", ".join(f"{a}" if a == b else f"{a}-{b}" for a, b in parts)


def inside(path: str, folder: str) -> bool:
    return path.startswith(f"{folder}/") and path.endswith(SUFFIXES)


def compiled(build: Path, root: Path) -> set[str]:
    """Sources that a build compiles with counters, also those that are compiled together."""
    found = set()
    for entry in json.loads((build / "compile_commands.json").read_text()):
        file = Path(entry["file"])
        if "--coverage" in shlex.split(entry["command"]):
            together = INCLUDE.findall(file.read_text()) if "Unity" in file.parts else [file]
            found.update(os.path.relpath(path, root) for path in together)
    return found


def unmeasured(root: Path, builds: list[Path]) -> list[str]:
    """A line for each source below the floors' folders that no build has counters for. One that is
    only tables has no line to run, but is compiled as all others."""
    known = set().union(*(compiled(build, root) for build in builds))
    there = [path.relative_to(root).as_posix() for folder, *_ in FLOORS
             for path in (root / folder).rglob("*.cpp")]
    return [f"{path} is not measured: no build has counters for it"
            for path in sorted(there) if path not in known]


def print_missed(sources: dict[str, Source], folder: str, with_branches: bool) -> None:
    for path in sorted(path for path in sources if inside(path, folder)):
        if lines := sources[path].missed_lines():
            print(f"{path}: never run: {ranges(lines)}")
        for line, which, count in sources[path].missed_branches() if with_branches else ():
            print(f"{path}:{line}: branch {which} of {count} never taken")


def print_rows(sources: dict[str, Source], folder: str) -> None:
    """A row for each room of a folder, and one for all of it."""
    rooms: dict[str, list[Source]] = {}
    for path in sorted(path for path in sources if inside(path, folder)):
        rooms.setdefault(str(Path(path).parent), []).append(sources[path])
    if len(rooms) > 1:
        for room, parts in rooms.items():
            lines, branches = shares(parts)
            print(f"  {room:22} {lines.text()}   {branches.text()}")
    lines, branches = shares([source for parts in rooms.values() for source in parts])
    print(f"{folder:24} {lines.text()}   {branches.text()}")


def problems(sources: dict[str, Source], floors=FLOORS) -> list[str]:
    """A line for each floor that isn't reached."""
    found = []
    for folder, lines_floor, branches_floor in floors:
        parts = [source for path, source in sources.items() if inside(path, folder)]
        if not parts:
            found.append(f"nothing of {folder}/ is measured")
        for share, floor, kind in zip(shares(parts), (lines_floor, branches_floor),
                                      ("lines", "branches")):
            if floor is not None and share.percent() < floor:
                found.append(f"{rounded(share.percent())} % of the {kind} of {folder}/ run; "
                             f"{floor} % have to: {share.all - share.reached} never do")
    return found


def main(words: list[str]) -> int:
    parser = argparse.ArgumentParser(description="Holds what the tests run above the floors.")
    parser.add_argument("builds", nargs="+", type=Path, metavar="BUILD")
    parser.add_argument("--root", type=Path, default=Path(__file__).resolve().parents[2])
    options = parser.parse_args(words)
    sources = counted(options.builds, options.root)
    for folder, _, branches_floor in FLOORS:
        print_missed(sources, folder, branches_floor is not None)
    print(f"\n{'':24} {'lines':24}   branches")
    for folder, _, _ in FLOORS:
        print_rows(sources, folder)
    found = unmeasured(options.root, options.builds) + problems(sources)
    for problem in found:
        print(f"measure: {problem}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
