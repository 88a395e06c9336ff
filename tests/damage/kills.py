#!/usr/bin/env python3
"""Kills programs with SIGKILL at random moments, and looks at what is left of them: only what is
documented until the next one of the name starts, nothing after that one has ended.

usage: kills.py [--seed N] [--only switch|lab|web] [--from NUMBER] [--progress] COUNT
"""
import argparse
import contextlib
import importlib
import math
import os
import random
import shutil
import signal
import sys
import time
from collections import Counter
from fnmatch import fnmatch
from pathlib import Path

import sandbox
from victims import LAST_STEP, WRITTEN, Victim, of_number

SOONEST_S = 0.001
SCENES = {"switch": "scenes", "lab": "scenes", "web": "scene_web"}


def options():
    """The command line."""
    parser = argparse.ArgumentParser(description="Kills programs and looks at what is left.")
    parser.add_argument("--seed", type=int, default=1, help="of the moments; 1 without it")
    parser.add_argument("--only", choices=sorted(SCENES), help="these victims alone")
    parser.add_argument("--from", type=int, default=1, dest="first", metavar="NUMBER",
                        help="begin with this number, to repeat one")
    parser.add_argument("--progress", action="store_true", help="say how far it is")
    parser.add_argument("count", type=int, metavar="COUNT", help="how many are killed")
    return parser.parse_args()


def moment_of(victim: Victim, seed: int, number: int) -> float:
    """When it is killed: half of them at any time, the others sooner, down to the first ms."""
    chance = random.Random(f"{seed}:{number}:{victim.name}")
    if chance.random() < 0.5:
        return chance.uniform(0, victim.latest_s)
    return math.exp(chance.uniform(math.log(SOONEST_S), math.log(victim.latest_s)))


def kill(pid: int, group: bool) -> None:
    """SIGKILL."""
    with contextlib.suppress(ProcessLookupError):
        if group:
            os.killpg(pid, signal.SIGKILL)
        else:
            os.kill(pid, signal.SIGKILL)


def leftover(folder: Path, found: list[str], allowed: tuple[str, ...]) -> list[str]:
    """What of that may not be there."""
    patterns = [f"file {folder}/{each}" for each in allowed]
    return [each for each in found if not any(fnmatch(each, pattern) for pattern in patterns)]


def one(victim: Victim, folder: Path, moment: float) -> tuple[list[str], bool]:
    """Kills one; (what was wrong, whether it was busy)."""
    scenes, remains = importlib.import_module("scenes"), importlib.import_module("remains")
    scene = getattr(importlib.import_module(SCENES[victim.door]), victim.scene)(
        folder, victim.options)
    problems = []
    try:
        scene.prepare()
        before = remains.look(folder)
        pid = scene.start()
        began = time.monotonic()
        thread, wrong = scenes.keep_busy(scene)
        time.sleep(max(0.0, began + moment - time.monotonic()))
        busy = scene.busy
        kill(pid, victim.group)
        if pid == getattr(getattr(scene, "process", None), "pid", 0):
            scene.process.wait()
        thread.join(scenes.PATIENCE_S)
        problems += [f"its load: {problem!r}" for problem in wrong]
        scene.settle()
        left = remains.more(before, remains.at_rest(before, folder))
        problems += [f"left: {each}" for each in leftover(
            folder, left, (*victim.may_leave, *LAST_STEP, *WRITTEN))]
        scene.again()
        left = remains.more(before, remains.at_rest(before, folder))
        problems += [f"left after the next one: {each}" for each in leftover(folder, left, WRITTEN)]
        return problems, busy
    except scenes.Wrong as problem:
        return [*problems, str(problem)], scene.busy
    except Exception as problem:  # pylint: disable=broad-exception-caught  # of one, not of all
        return [*problems, repr(problem)], scene.busy
    finally:
        with contextlib.suppress(Exception):
            scene.close()
        clear(folder, remains)


def clear(folder: Path, remains) -> None:
    """The next one finds nothing of this one."""
    for pid, _, _ in remains.processes():
        kill(pid, False)
    remains.OURS.clear()
    remains.at_rest({kind: set() if kind == "processes" else seen
                     for kind, seen in remains.look().items()})
    os.chdir("/")
    shutil.rmtree(folder, ignore_errors=True)


def tell(seed: int, given, count: Counter, busy: int, failed: list[int], seconds: float) -> None:
    """The last lines."""
    for name, number in count.items():
        print(f"  {number:5} {name}")
    only = f" --only {given.only}" if given.only else ""
    for number in failed:
        print(f"repeat: tests/damage/kills.py --seed {seed}{only} --from {number} 1")
    total = count.total()
    print(f"{total} killed in {seconds:.0f} s with seed {seed}, {busy} of them busy; "
          + (f"{len(failed)} left something or did not come back" if failed else "nothing is left"))


def main() -> int:
    """The status: 0 when nothing was left."""
    if not {"-h", "--help"} & set(sys.argv):
        sandbox.enter()
    given = options()
    top = Path("/run/damage")
    count, busy, failed = Counter(), 0, []
    began = time.monotonic()
    for number in range(given.first, given.first + given.count):
        victim = of_number(number, given.only)
        moment = moment_of(victim, given.seed, number)
        problems, was_busy = one(victim, top / str(number), moment)
        count[victim.name] += 1
        busy += was_busy
        if given.progress:
            print(f"\r{number - given.first + 1} of {given.count}", end="", flush=True)
        for problem in problems:
            print(f"number {number}, {victim.name}, killed after {moment * 1000:.1f} ms: {problem}",
                  flush=True)
        if problems:
            failed.append(number)
    tell(given.seed, given, count, busy, failed, time.monotonic() - began)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
