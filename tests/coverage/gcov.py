"""What gcov has counted, as data: which lines of a file ran, and which way its decisions went.

A header or a template is compiled many times, and each copy counts by itself. A line has run when
one of its copies has, and a branch was taken when one of its copies was; copies of a function are
those that begin at the same place of the source. What the compiler adds is left out by a rule, not
by a list: an edge that gcov marks as thrown along, and the other edge of the same call, which is no
decision of the source's. Assertions are decisions as all others.
"""
import json
import os
import subprocess
from collections import defaultdict
from collections.abc import Iterable, Iterator
from dataclasses import dataclass, field
from pathlib import Path

AT_ONCE = 40  # files of counters for one gcov


@dataclass
class Source:
    """The counts of one file."""
    lines: dict[int, int] = field(default_factory=lambda: defaultdict(int))
    # A branch by its line, the place where its function begins, how many branches the line has
    # there, and which of them it is.
    branches: dict[tuple, int] = field(default_factory=lambda: defaultdict(int))

    def missed_lines(self) -> list[int]:
        return sorted(line for line, count in self.lines.items() if count == 0)

    def missed_branches(self) -> list[tuple[int, int, int]]:
        """(line, which of its branches, how many it has), the first is 1."""
        return sorted((line, index + 1, count) for (line, _, count, index), taken
                      in self.branches.items() if taken == 0)


def decisions(branches: list[dict]) -> list[dict]:
    """The branches of a line that its source asks for."""
    made = set()
    for at, branch in enumerate(branches):
        if branch["throw"]:
            made.add(at)
            beside = [other for other in (at - 1, at + 1) if 0 <= other < len(branches)
                      and other not in made and branches[other]["fallthrough"]]
            made.update(beside[:1])
    return [branch for at, branch in enumerate(branches) if at not in made]


def documents(notes: list[Path]) -> Iterator[dict]:
    """What gcov tells of compiled files, one document for each."""
    for start in range(0, len(notes), AT_ONCE):
        done = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities",
                               *notes[start:start + AT_ONCE]],
                              capture_output=True, text=True, check=True)
        for line in done.stdout.splitlines():
            if line.strip():
                yield json.loads(line)


def add(sources: dict[str, Source], document: dict, root: Path) -> None:
    """Adds the counts of one document to those of the files under 'root', by their paths there."""
    base = document.get("current_working_directory", ".")
    for entry in document["files"]:
        path = os.path.relpath(os.path.join(base, entry["file"]), root)
        if path.startswith(".."):
            continue
        source = sources[path]
        begins = {function["name"]: (function["start_line"], function["start_column"])
                  for function in entry["functions"]}
        for line in entry["lines"]:
            number = line["line_number"]
            source.lines[number] += line["count"]
            kept = decisions(line["branches"])
            place = begins.get(line.get("function_name"))
            for index, branch in enumerate(kept):
                source.branches[number, place, len(kept), index] += branch["count"]


def counted(builds: Iterable[Path], root: Path) -> dict[str, Source]:
    """The counts of all files under 'root' that were compiled in the folders 'builds'."""
    sources: dict[str, Source] = defaultdict(Source)
    notes = sorted(path.absolute() for build in builds for path in build.rglob("*.gcno"))
    for document in documents(notes):
        add(sources, document, root.absolute())
    return dict(sources)
