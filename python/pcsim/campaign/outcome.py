"""What a run's end means: its outcome, and in a line why."""
from __future__ import annotations

import re
import signal

from .runs import Outcome

# What pcsim says of a problem, and what the sanitizers it may be built with say of theirs.
SAID = re.compile(r"^pcsim: (.*)$", re.MULTILINE)
SANITIZER = re.compile(r"^==\d+==ERROR: (.*)$|^.*: (runtime error: .*)$", re.MULTILINE)
# The first event of a run: its lab is there, and pcsim begins to boot.
LAB = re.compile(r"^\[ *[\d.]+\] lab ", re.MULTILINE)
COMMAND = re.compile(r"^pcsim> (.*)$", re.MULTILINE)


def judge(status: int | None, output: str, errors: str, timeout: float) -> tuple[Outcome, str]:
    """Outcome and reason. A status of None is that of a run that was ended for its time."""
    if status is None:
        return Outcome.TIMEOUT, f"still running after {timeout:g} s{place_of(output)}"
    if status < 0:
        return Outcome.CRASHED, f"killed by {signal_name(-status)}{place_of(output)}"
    if status == 0:
        return Outcome.PASSED, ""
    if found := SANITIZER.search(errors):
        return Outcome.CRASHED, (found[1] or found[2]) + place_of(output)
    said = SAID.search(errors)
    reason = said[1] if said else first_line(errors) or f"ended with status {status}"
    return (Outcome.FAILED if LAB.search(output) else Outcome.REFUSED), reason


def signal_name(number: int) -> str:
    """'signal 11 (Segmentation fault)'."""
    return f"signal {number} ({signal.strsignal(number) or 'unknown'})"


def place_of(output: str) -> str:
    """Behind which command of the scenario it was."""
    commands: list[str] = COMMAND.findall(output)
    return f" in '{commands[-1]}'" if commands else ""


def first_line(text: str) -> str:
    """The first line that isn't blank."""
    return next((line.strip() for line in text.splitlines() if line.strip()), "")
