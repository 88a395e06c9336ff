"""How busy the machine was with other things while a benchmark ran."""
from __future__ import annotations

import os
import resource
from pathlib import Path


def times() -> tuple[float, float, float]:
    """In seconds: what the processors were busy with, all their time, and what this process and
    its ended children had of it."""
    ticks = os.sysconf("SC_CLK_TCK")
    first = Path("/proc/stat").read_text(encoding="ascii").split("\n", 1)[0]
    numbers = [int(word) / ticks for word in first.split()[1:9]]
    every, idle = sum(numbers), numbers[3] + numbers[4]
    own = sum(sum(resource.getrusage(who)[:2])
              for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN))
    return every - idle, every, own


class Machine:
    """Begins with its making. What others had is what the processors were busy with, stolen time
    included, less what this process and its ended children had."""

    def __init__(self) -> None:
        self.start = times()

    def others(self, measured: float = 0.0) -> float:
        """Their part of all processors since then, in percent. `measured` are the seconds of what
        is measured without being a child."""
        busy, every, own = (now - then for now, then in zip(times(), self.start))
        return max(0.0, 100 * (busy - own - measured) / every) if every > 0 else 0.0

    def text(self, measured: float = 0.0) -> str:
        """The last line of a report."""
        return (f"{os.cpu_count()} processors, of which others had {self.others(measured):.0f} % "
                "meanwhile")
