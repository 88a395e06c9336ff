"""The tables behind the panel: which line asks for a page of one, and what of the answer is shown.

A table whose listing has pages is asked for the one that is shown, however long it is. The others
are short: the whole answer is asked for, and searched here.
"""
from __future__ import annotations

import itertools
from dataclasses import dataclass
from typing import Any, Mapping

from pcsim.words import line

from .problems import Problem, number_in, text_in
from .searches import Found, read
from .table_list import TABLES, Row, Table

JSON = Any
MOST_ROWS = 500
HIGHEST_ROW = 1_000_000_000  # where a page may begin


@dataclass(frozen=True)
class Asked:
    """A page of a table."""

    table: Table
    line: str
    found: Found
    start: int
    count: int

    @property
    def paged(self) -> bool:
        """Whether the switch makes the page, which can't look for a text in all columns."""
        return self.table.paged and not self.found.text


def described() -> JSON:
    """All tables, for a page that lets one choose."""
    return [{"name": table.name, "title": table.title, "group": table.group, "hint": table.hint}
            for table in TABLES.values()]


def line_of(message: Mapping[str, JSON]) -> Asked:
    """The line that asks for the page that a message wants."""
    name = text_in(message, "table")
    if name not in TABLES:
        raise Problem(f"there is no table '{name}'", ", ".join(TABLES))
    table = TABLES[name]
    start = int(number_in(message, "from", 0, 0, HIGHEST_ROW))
    count = int(number_in(message, "count", 100, 1, MOST_ROWS))
    found = read(table.search, text_in(message, "search", ""))
    words = " ".join(filter(None, [table.line, line(*found.words)]))
    asked = Asked(table, words, found, start, count)
    if not asked.paged:
        return asked
    return Asked(table, f"{words} limit {count} from {start}", found, start, count)


def page_of(asked: Asked, data: JSON) -> JSON:
    """The page."""
    table = asked.table
    rows = list(table.rows(data, table.key))
    if asked.paged:
        page = next(each for each in data["pages"] if each["table"] == table.key)
        shown, total = page["shown"], page["matching"]
    else:
        rows = [row for row in rows if _has(asked, row)]
        total = len(rows)
        rows = rows[asked.start:asked.start + asked.count]
        shown = len(rows)
    columns = [column for column in table.columns
               if column.kind != "time" or any(row.get(column.key) for row in rows)]
    return {
        "table": table.name, "title": table.title, "noun": table.noun, "line": asked.line,
        "says": asked.found.says, "from": asked.start, "shown": shown, "total": total,
        "columns": [{"title": column.title, "kind": column.kind} for column in columns],
        # One route may have thousands of next hops.
        "rows": [[row.get(column.key) for column in columns]
                 for row in itertools.islice(rows, MOST_ROWS)],
        "cut": max(0, len(rows) - MOST_ROWS),
        "fill": list(table.fill), "offers": list(table.offers), "everyS": table.every_s,
        "note": table.note(data) if table.note else ""}


def _has(asked: Asked, row: Row) -> bool:
    """Whether a row has the text that is looked for."""
    return not asked.found.text or any(
        asked.found.text in str(row.get(column.key)).lower() for column in asked.table.columns
        if row.get(column.key) is not None)
