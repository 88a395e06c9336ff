"""What was, for an hour: the documents of each show with the time they came, the clock of the
switch, marks where something happened, and the rates of each port. Times are the gateway's own, in
seconds since 1970: a switch's clock may stop, jump, or start anew."""
from __future__ import annotations

import bisect
import json
import re
import zlib
from collections import deque
from typing import Any

from .rates import KEPT_S, Rates

JSON = Any
MOST_CHANGES = 4000  # of one show; those beyond push out the oldest
MOST_MARKS = 2000
ONE_MARK_S = 0.5  # what happens to one kind of thing within this is one mark
SAME_CLOCK_MS = 250  # a reading this near to what was expected is no jump: answers take time

# What changes the picture of a switch. Calls, traces, who comes in, and frames do not.
MARKED = frozenset("boot card device env lab poe port state".split())
FRAMES = re.compile(r"\d+ frames ")


class Versions:
    """The versions of one document, packed, oldest first."""

    def __init__(self) -> None:
        self._times: list[float] = []
        self._packed: list[bytes] = []

    def add(self, time: float, document: JSON) -> None:
        """From that time on the document is this. A time before the last one is the last one's: the
        order in which they came is the true one."""
        self._times.append(max(time, self._times[-1]) if self._times else time)
        self._packed.append(zlib.compress(json.dumps(document).encode(), 1))
        # What was in force at the beginning of the hour is kept, however old it is.
        old = bisect.bisect_right(self._times, time - KEPT_S) - 1
        old = max(old, len(self._times) - MOST_CHANGES)
        if old > 0:
            del self._times[:old], self._packed[:old]

    def at(self, time: float) -> JSON:
        """The document at that time, None before the first."""
        place = bisect.bisect_right(self._times, time) - 1
        return None if place < 0 else json.loads(zlib.decompress(self._packed[place]))

    @property
    def first(self) -> float | None:
        """The time of the oldest."""
        return self._times[0] if self._times else None


class Clock:
    """The clock of the switch: a reading for each time it did not go on as expected."""

    def __init__(self) -> None:
        self._readings: deque[tuple[float, float, bool]] = deque(maxlen=MOST_CHANGES)

    def read(self, time: float, time_ms: float, stopped: bool) -> None:
        """It shows this at that time."""
        if self._readings:
            _, _, stood = self._readings[-1]
            if stood == stopped and abs(self.at(time)["timeMs"] - time_ms) < SAME_CLOCK_MS:
                return
        self._readings.append((time, time_ms, stopped))

    def stop(self, time: float) -> None:
        """The switch has ended."""
        if self._readings:
            self._readings.append((time, self.at(time)["timeMs"], True))

    def at(self, time: float) -> dict[str, JSON]:
        """What it showed."""
        for since, time_ms, stopped in reversed(self._readings):
            if since <= time:
                gone = 0 if stopped else 1000 * (time - since)
                return {"timeMs": round(time_ms + gone), "stopped": stopped}
        return {"timeMs": 0, "stopped": True}


class Marks:
    """When something happened, by source: [time, source, what was last, how often]. The time is
    that of the last of what is one mark: who goes there sees what all of it has changed."""

    def __init__(self) -> None:
        self._marks: deque[list[JSON]] = deque(maxlen=MOST_MARKS)
        self._open: dict[str, tuple[float, list[JSON]]] = {}  # the newest of a source, its begin

    def add(self, time: float, source: str, text: str) -> bool:
        """An event. Whether it is worth a mark."""
        if source not in MARKED or FRAMES.match(text):
            return False
        begun, newest = self._open.get(source, (0.0, []))
        if newest and time - begun < ONE_MARK_S:
            newest[:] = [round(time, 3), source, text, newest[3] + 1]
            return True
        mark = [round(time, 3), source, text, 1]
        self._open[source] = time, mark
        self._marks.append(mark)
        return True

    def since(self, time: float) -> list[list[JSON]]:
        """Those of that time and later, oldest first."""
        return [list(mark) for mark in self._marks if mark[0] >= time]


class History:
    """The last hour of one switch."""

    def __init__(self) -> None:
        self._shows: dict[str, Versions] = {}
        self.clock = Clock()
        self.marks = Marks()
        self.rates = Rates()

    def changed(self, time: float, name: str, document: JSON) -> None:
        """A show has another document."""
        self._shows.setdefault(name, Versions()).add(time, document)

    def at(self, time: float) -> dict[str, JSON]:
        """All documents as they were, those that had come."""
        found = {name: versions.at(time) for name, versions in self._shows.items()}
        return {name: document for name, document in found.items() if document is not None}

    def first(self, now: float) -> float | None:
        """From when on something is known, an hour ago at most."""
        first = min((each.first for each in self._shows.values() if each.first is not None),
                    default=None)
        return None if first is None else max(first, now - KEPT_S)
