"""The tests of the library, run against a file that is named: what ctest would run, one after the
other, until one fails.

Each case has a process of its own. What a changed library may do is bounded by processor time,
memory and the size of files, so that no other load of the machine decides about it."""
import json
import os
import re
import resource
import signal
import subprocess
import sys
from pathlib import Path
from typing import NamedTuple

from builds import COMPILED_IN, LIBRARY, PRESET, ROOT, run

sys.path.insert(0, str(ROOT / "tests" / "tidy"))
from floors import BELOW  # pylint: disable=wrong-import-position

PROCESSOR_S = 30  # what takes longest by far takes two seconds
WALL_S = 300      # for those that wait for ever without working
MEMORY = 3 << 30
FILE_SIZE = 64 << 20
# What runs longest, each the same again and again with other values. Of these an area has its own.
LONG = re.compile(r"Model|Million|QuarterMillion|EveryVlan|Random")
SEED = "1"  # of the models, which take another one each time otherwise


class Case(NamedTuple):
    """A test as ctest has it; 'expected' is a pattern of its output where that decides."""
    name: str
    labels: tuple[str, ...]
    command: tuple[str, ...]
    folder: str
    expected: str | None
    skipped: int | None
    variables: dict[str, str]


def read_cases() -> list[Case]:
    """Those that load the library by its name or are told its path."""
    listing = run(["ctest", "--show-only=json-v1"]).stdout
    cases = []
    for test in json.loads(listing)["tests"]:
        properties = {each["name"]: each["value"] for each in test["properties"]}
        labels = tuple(properties.get("LABELS", ()))
        command = tuple(test.get("command", ()))
        if not command or Path(command[0]).parent != PRESET:
            continue
        target = Path(command[0]).name
        told = any(Path(word).name.startswith(LIBRARY) for word in command[1:])
        if not told and "bypath" not in labels and target not in (
                "port_threads_tests", *COMPILED_IN.values()):
            continue
        cases.append(Case(test["name"], labels, command, properties.get("WORKING_DIRECTORY", "."),
                          (properties.get("PASS_REGULAR_EXPRESSION") or [None])[0],
                          properties.get("SKIP_RETURN_CODE"),
                          dict(each.split("=", 1) for each in properties.get("ENVIRONMENT", ()))))
    return cases


def bounds() -> None:
    """In the process of a case, before it begins."""
    os.setsid()
    resource.setrlimit(resource.RLIMIT_CPU, (PROCESSOR_S, PROCESSOR_S))
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_SIZE, FILE_SIZE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def passes(case: Case, folder: Path) -> bool:
    """Whether a test passes with the library in 'folder'."""
    library = str(folder / LIBRARY)
    command = [library if Path(word).name.startswith(LIBRARY) else word for word in case.command]
    own = folder / Path(command[0]).name
    if own.exists():
        command[0] = str(own)
    surroundings = {**os.environ, **case.variables, "LD_LIBRARY_PATH": str(folder),
                    "PCSIM_SEED": SEED}
    output = subprocess.PIPE if case.expected else subprocess.DEVNULL
    # pylint: disable=subprocess-popen-preexec-fn  # nothing in it takes a lock
    with subprocess.Popen(command, cwd=case.folder, env=surroundings, stdin=subprocess.DEVNULL,
                          stdout=output, stderr=subprocess.STDOUT, preexec_fn=bounds) as process:
        try:
            said = process.communicate(timeout=WALL_S)[0] or b""
        except subprocess.TimeoutExpired:
            said = b""
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    if case.expected:
        return re.search(case.expected.encode(), said, re.DOTALL) is not None
    return process.returncode in (0, case.skipped)


def can_see(case: Case, area: str) -> bool:
    """Whether a test is about an area, or about what stands on it; the long ones of other areas
    do nothing that their short ones don't."""
    rooms = [f"platform/{label}" for label in case.labels if f"platform/{label}" in BELOW]
    return area in case.labels or not LONG.search(case.name) and (
        not rooms or any(f"platform/{area}" in BELOW[room] for room in rooms))


class Suite:
    """Cases in the order in which they are worth running, and the library as it is, which has to
    pass what catches another."""

    def __init__(self, cases: list[Case], unchanged: Path) -> None:
        self.cases = cases
        self.unchanged = unchanged
        self.caught: dict[str, list[str]] = {}
        self.proven: set[str] = set()

    def ordered(self, path: str) -> list[Case]:
        """For a change of 'path': what has caught others there, the area's, those of what stands
        on it, hosts that lack functions; an area's long ones last."""
        area = path.split("/")[1]
        known = self.caught.get(path, [])

        def rank(case: Case) -> tuple[int, bool, bool]:
            place = known.index(case.name) if case.name in known[:8] else 8
            return place, area not in case.labels, LONG.search(case.name) is not None

        return sorted((case for case in self.cases if can_see(case, area)), key=rank)

    def first_failing(self, path: str, folder: Path) -> str | None:
        """The name of a test that the library in 'folder' fails, or nothing."""
        for case in self.ordered(path):
            if passes(case, folder):
                continue
            if case.name not in self.proven and not passes(case, self.unchanged):
                raise ValueError(f"{case.name} fails with the library as it is")
            self.proven.add(case.name)
            known = [name for name in self.caught.get(path, []) if name != case.name]
            self.caught[path] = [case.name, *known]
            return case.name
        return None
