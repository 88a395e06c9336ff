"""The tables behind the panel: which line asks for a page of one, and what of the answer is
drawn."""
from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Mapping

from .problems import Problem, number_in, text_in

JSON = Any
MOST_ROWS = 500


@dataclass(frozen=True)
class Asked:
    """A page of a table."""

    line: str
    table: str
    start: int
    count: int


TABLES: Mapping[str, str] = {"vlans": "show vlans", "environment": "show environment",
                             "devices": "show devices"}


def line_of(message: Mapping[str, JSON]) -> Asked:
    """The line that asks for the page that a message wants."""
    table = text_in(message, "table")
    if table not in TABLES:
        raise Problem(f"there is no table '{table}'", ", ".join(TABLES))
    start = int(number_in(message, "from", 0, 0, 1e9))
    count = int(number_in(message, "count", 100, 1, MOST_ROWS))
    return Asked(TABLES[table], table, start, count)


def page_of(asked: Asked, data: JSON) -> JSON:
    """The page."""
    return {"table": asked.table, "from": asked.start, "data": data}
