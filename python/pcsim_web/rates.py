"""From counters to rates, and the rates of the last hour."""
from __future__ import annotations

import math
from array import array
from collections import deque
from itertools import groupby
from typing import Any, Iterator, Mapping, Sequence

JSON = Any
KEPT_S = 3600
ERRORS = ("rxErrors", "rxFrameErrors", "txErrors", "txDrops", "collisions")
VALUES = 5  # of a port: packets and bytes received, packets and bytes sent, errors


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


class _Sample:
    """The rates of one moment: of the ports in their order, five each."""

    __slots__ = ("time", "ports", "values")

    def __init__(self, time: float, ports: tuple[str, ...], values: array[float]) -> None:
        self.time = time
        self.ports = ports
        self.values = values


class Rates:
    """The rates of all ports, about once a second while somebody looks."""

    def __init__(self) -> None:
        self._samples: deque[_Sample] = deque()
        self._ports: tuple[str, ...] = ()

    def add(self, time: float, rates: Mapping[str, Sequence[float]]) -> None:
        """What the ports did in the moment that has ended at that time."""
        if self._ports != tuple(rates):
            self._ports = tuple(rates)  # samples share it for as long as the ports are the same
        self._samples.append(_Sample(time, self._ports, array("f", (
            value for port in self._ports for value in rates[port]))))
        while self._samples[0].time <= time - KEPT_S:
            self._samples.popleft()

    def window(self, since: float, until: float, step: float,
               ports: Sequence[str]) -> dict[str, JSON]:
        """The rates behind `since` up to `until`, as means over steps of so many seconds: the time
        of each step's last sample, how many samples it has, and of each port what it did in each
        step, 0 where it was at rest. Steps without a sample are left out."""
        times: list[float] = []
        counts: list[int] = []
        series: dict[str, list[JSON]] = {port: [] for port in ports}
        for samples in self._steps(since, until, step):
            times.append(round(samples[-1].time, 3))
            counts.append(len(samples))
            means = _means(samples)
            for port, steps in series.items():
                steps.append(means.get(port, 0))
        return {"step": step, "times": times, "counts": counts, "ports": series}

    def _steps(self, since: float, until: float, step: float) -> Iterator[list[_Sample]]:
        chosen = (each for each in self._samples if since < each.time <= until)
        # Steps begin at round times, so that they are the same whenever they are asked for.
        for _, group in groupby(chosen, lambda each: math.floor(each.time / step)):
            yield list(group)


def _means(samples: Sequence[_Sample]) -> dict[str, list[float]]:
    """What each port that was not at rest did on the average."""
    sums: dict[str, list[float]] = {}
    for ports, group in groupby(samples, lambda each: each.ports):
        columns = [sum(column) for column in zip(*(each.values for each in group))]
        for number, port in enumerate(ports):
            values = columns[VALUES * number:VALUES * (number + 1)]
            if any(values):
                then = sums.get(port, [0.0] * VALUES)
                sums[port] = [one + other for one, other in zip(then, values)]
    return {port: [round(value / len(samples), 1) for value in values]
            for port, values in sums.items()}
