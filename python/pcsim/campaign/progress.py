"""How far a campaign is, and how long it will take: a bar on a terminal, else a line now and then.
"""
from __future__ import annotations

import importlib
import sys
import time
from typing import Any, TextIO

from .runs import Result

LINE_S = 30.0


class Progress:
    """Counts results. To be told of the beginning, of each result, and of the end."""

    def __init__(self, stream: TextIO | None = None) -> None:
        self._stream = stream or sys.stderr
        self._total = self._ended = self._before = self._not_passed = 0
        self._begin = self._next = 0.0
        self._bar: Any = None

    def begin(self, total: int, ended: int) -> None:
        """The number of runs, and of those that have ended before."""
        self._total, self._ended, self._before = total, ended, ended
        self._begin = time.monotonic()
        self._next = self._begin + LINE_S
        if self._stream.isatty():
            self._bar = bar(total, ended, self._stream)

    def add(self, result: Result) -> None:
        """A run has ended."""
        self._ended += 1
        self._not_passed += not result.passed
        if self._bar is not None:
            self._bar.set_postfix_str(f"{self._not_passed} not passed", refresh=False)
            self._bar.update()
        elif time.monotonic() >= self._next:
            self._next = time.monotonic() + LINE_S
            print(self.line(), file=self._stream, flush=True)

    def end(self) -> None:
        """No more results come."""
        if self._bar is not None:
            self._bar.close()

    def line(self) -> str:
        """Where it stands."""
        text = f"{self._ended} of {self._total} runs, {self._not_passed} not passed"
        made = self._ended - self._before
        if not made or self._ended == self._total:
            return text
        left = (time.monotonic() - self._begin) / made * (self._total - self._ended)
        return f"{text}, about {duration(left)} left"


def bar(total: int, ended: int, stream: TextIO) -> Any:
    """A bar, where there is the package that draws it."""
    try:
        tqdm: Any = importlib.import_module("tqdm")
    except ImportError:
        return None
    return tqdm.tqdm(total=total, initial=ended, file=stream, unit="run", dynamic_ncols=True)


def duration(seconds: float) -> str:
    """'1 h 5 min', '12 min', '40 s'."""
    whole = round(seconds)
    if whole >= 3600:
        return f"{whole // 3600} h {whole % 3600 // 60} min"
    return f"{whole // 60} min" if whole >= 120 else f"{whole} s"
