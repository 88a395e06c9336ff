"""What the page shows of a switch without being asked: the documents, the lines that they come
from, and when they are asked for again."""
from __future__ import annotations

from dataclasses import dataclass
from typing import Mapping


@dataclass(frozen=True)
class Show:
    """A document of a switch's state."""

    name: str
    line: str
    sources: frozenset[str]  # events of these say that it may have changed
    every_s: float  # and without one, it is asked for after so many real seconds; 0: never again


def _show(name: str, line: str, sources: str, every: float) -> Show:
    return Show(name, line, frozenset(sources.split()), every)


# What lasts as long as the instance is asked for once. Of the rest, ports and cards tell each
# change as an event; units, faults and interfaces may change without one.
SHOWS = (
    _show("chassis", "show chassis", "boot", 0),
    _show("ports", "show ports", "port card", 5),
    _show("cards", "show cards", "card", 5),
    _show("slots", "show slots", "card", 5),
    _show("fans", "show fans", "env", 2),
    _show("power", "show power", "env", 2),
    _show("environment", "show environment", "env card", 5),
    _show("faults", "show faults", "fault", 2),
    _show("nics", "show nics", "lab port", 2),
)

SHOWS_OF: Mapping[str, list[str]] = {
    source: [show.name for show in SHOWS if source in show.sources]
    for source in frozenset().union(*(show.sources for show in SHOWS))}

COUNTERS = "show counters all"
COUNTERS_EVERY_S = 1.0
