"""Looks before the first run whether the campaign can be run at all: a wrong rule or library is
told once, and not by each of ten thousand runs.
"""
from __future__ import annotations

import json
import os
import re
import subprocess
from typing import Sequence

from .files import PACKAGE
from .plan import Fault
from .problems import CampaignError
from .process import run_folder
from .runs import Setup, environment_of

LOOK_S = 60.0
# Where pcsim finds fault with a rule.
OBJECTION = re.compile(r"^pcsim: /dev/stdin:(\d+): (.*)$", re.MULTILINE)


def asked(setup: Setup, options: Sequence[str],
          rules: str = "") -> subprocess.CompletedProcess[str]:
    """A short run of pcsim."""
    command = [setup.program, *options]
    try:
        return subprocess.run(command, input=rules, capture_output=True, text=True, check=False,
                              cwd=setup.folder, timeout=LOOK_S, errors="replace",
                              env=environment_of(setup, run_folder()))
    except OSError as problem:
        raise CampaignError(f"{setup.program} can't be started: {problem.strerror}; expected a "
                            "pcsim") from problem
    except subprocess.TimeoutExpired as problem:
        raise CampaignError(f"{setup.program} doesn't answer within {LOOK_S:g} s; expected a "
                            "pcsim") from problem


def version_of(program: str) -> str:
    """What pcsim says of its version."""
    done = subprocess.run([program, "--version"], capture_output=True, text=True, check=False,
                          timeout=LOOK_S, stdin=subprocess.DEVNULL)
    found = re.search(r"\d+(\.\d+)+", done.stdout)
    return found[0] if found else done.stdout.strip()


def checked_libraries(setup: Setup, shapes: Sequence[str],
                      named: Sequence[str]) -> tuple[dict[str, str | None], list[str]]:
    """The libraries by their names in results, with the file to ask for, and the files. Each boots
    in each shape. One that isn't named is that which pcsim finds."""
    libraries: dict[str, str | None] = {}
    paths = []
    for name in named or [""]:
        path = os.path.abspath(name) if name else None
        loaded = {loaded_library(setup, shape, path) for shape in shapes}.pop()
        label = name or os.path.basename(loaded)
        if label in libraries:
            raise CampaignError(f"library {label} is named twice; expected each once")
        libraries[label] = path
        paths.append(os.path.abspath(loaded))
    return libraries, paths


def loaded_library(setup: Setup, shape: str, path: str | None) -> str:
    """The file of the library that pcsim boots in this shape."""
    options = ["--lab", str(setup.ports), "--stopped", "--shape", shape, *setup.options,
               *(["--library", path] if path is not None else []), "-x", "show chassis --json"]
    done = asked(setup, options)
    if done.returncode != 0:
        said = done.stderr.strip() or f"it has ended with {done.returncode}"
        raise CampaignError(f"pcsim doesn't boot without a fault ({shape}"
                            f"{', ' + path if path else ''}): {said.removeprefix('pcsim: ')}")
    try:
        return str(json.loads(done.stdout)["chassis"]["library"])
    except (ValueError, KeyError, TypeError) as problem:
        raise CampaignError(f"{setup.program} answers what a pcsim of this version doesn't; "
                            "expected a pcsim of the same version") from problem


def check_rules(setup: Setup, faults: Sequence[Fault], seed: int, plan: str) -> None:
    """Pcsim takes all rules. It reads them before it boots, so with a library that is none they are
    all that is looked at, and nothing hangs in a boot that fails."""
    rules = [(fault, rule) for fault in faults for rule in fault.seeded(seed)]
    if not rules:
        return
    # All at once cost as much as one.
    done = asked(setup, ["--library", str(PACKAGE / "check.py"), "--plan", "/dev/stdin",
                         "-x", "quit"], "".join(f"{rule}\n" for _, rule in rules))
    if (said := OBJECTION.search(done.stderr)) is not None:
        fault, rule = rules[int(said[1]) - 1]
        place = f"{plan}:{fault.line}: " if plan and fault.line else ""
        which = "" if fault.name == rule else f" ('{fault.name}': {rule})"
        raise CampaignError(f"{place}{said[2]}{which}")
