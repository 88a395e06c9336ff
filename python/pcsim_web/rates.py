"""From counters to rates."""
from __future__ import annotations

from typing import Any, Mapping

JSON = Any
ERRORS = ("rxErrors", "rxFrameErrors", "txErrors", "txDrops", "collisions")


def values_of(counters: Mapping[str, JSON]) -> tuple[int, ...]:
    """What is drawn of a port's counters: packets and bytes received and sent, and all errors. What
    the platform refuses to tell counts as 0."""
    drawn = [counters.get(key) or 0 for key in ("rxPackets", "rxBytes", "txPackets", "txBytes")]
    return *drawn, sum(counters.get(key) or 0 for key in ERRORS)


class Meter:
    """Rates between each reading and the one before. The time is the real one, as the frames are
    real: they pass in a stopped clock as well."""

    def __init__(self) -> None:
        self._time: float | None = None
        self._values: dict[str, tuple[int, ...]] = {}

    def read(self, time: float, data: JSON) -> dict[str, list[float]] | None:
        """The rates of each port, a second, from the data of a show for all of them; None at the
        first reading. A counter that has become smaller was zeroed in between, and has counted from
        there."""
        reports = [each["data"] for each in data] if isinstance(data, list) else [data]
        rows = [report["counters"] for report in reports if report]
        values = {str(row["port"]): values_of(row) for row in rows}
        before, self._values = self._values, values
        since, self._time = self._time, time
        if since is None or time <= since:
            return None
        return {port: [(now - then if now >= then else now) / (time - since)
                       for now, then in zip(new, before[port])]
                for port, new in values.items() if port in before}
