"""What was, for an hour: the documents of each show with the time they came, and the rates of each
port, a second apart. Times are the gateway's own, in seconds since 1970: a switch's clock may stop,
jump, or start anew."""
from __future__ import annotations

import bisect
import json
import zlib
from array import array
from collections import deque
from typing import Any, Mapping

JSON = Any
KEPT_S = 3600
MOST_CHANGES = 4000  # of one show; those beyond push out the oldest
VALUES = 5  # of a port's rate: packets and bytes received and sent, errors


class Versions:
    """The versions of one document, packed, oldest first."""

    def __init__(self) -> None:
        self._times: list[float] = []
        self._packed: list[bytes] = []

    def add(self, time: float, document: JSON) -> None:
        """From that time on the document is this."""
        self._times.append(time)
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

    def times(self) -> list[float]:
        """When it changed."""
        return list(self._times)


class Rates:
    """The rates of all ports, once a second."""

    def __init__(self) -> None:
        self._times: deque[float] = deque(maxlen=KEPT_S)
        self._ports: dict[str, deque[bytes]] = {}
        self._none = array("f", [0] * VALUES).tobytes()

    def add(self, time: float, rates: Mapping[str, list[float]]) -> None:
        """What the ports did in the second that has ended at that time."""
        for port in rates.keys() - self._ports.keys():
            self._ports[port] = deque([self._none] * len(self._times), maxlen=KEPT_S)
        self._times.append(time)
        for port, values in self._ports.items():
            given = rates.get(port)
            values.append(self._none if given is None or not any(given)
                          else array("f", given).tobytes())

    def since(self, time: float, ports: list[str]) -> dict[str, JSON]:
        """The times of the samples behind that time, and of each port its samples."""
        start = bisect.bisect_right(self._times, time)
        times = [round(each, 3) for each in list(self._times)[start:]]
        return {"times": times,
                "ports": {port: [[round(value, 1) for value in array("f", each)]
                                 for each in list(self._ports[port])[start:]]
                          for port in ports if port in self._ports}}


class History:
    """The last hour of one switch."""

    def __init__(self) -> None:
        self._shows: dict[str, Versions] = {}
        self.rates = Rates()

    def changed(self, time: float, name: str, document: JSON) -> None:
        """A show has another document."""
        self._shows.setdefault(name, Versions()).add(time, document)

    def at(self, time: float) -> dict[str, JSON]:
        """All documents as they were."""
        return {name: versions.at(time) for name, versions in self._shows.items()}

    def first(self) -> float | None:
        """From when on something is known."""
        return min((each.first for each in self._shows.values() if each.first is not None),
                   default=None)

    def changes(self, names: list[str]) -> list[float]:
        """When those shows changed, in order."""
        return sorted({round(time, 2) for name in names if name in self._shows
                       for time in self._shows[name].times()})
