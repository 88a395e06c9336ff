"""The coverage of operations over several instances: what each has called, added up."""
from __future__ import annotations

from collections import Counter
from typing import Iterable

from .records import OperationCoverage

# Table, operation, its word or None, calls, failures, nulls: as it goes from process to process.
Row = tuple[str, str, int | None, int, int, int]


class Coverage:
    """How often each operation was called, failed and answered null.

    A word of a table counts once, whatever implements it: shapes have functions of their own.
    """

    def __init__(self, rows: Iterable[Row] = ()) -> None:
        self._rows: dict[tuple[str, str | int], Row] = {}
        self.merge(rows)

    def add(self, operations: Iterable[OperationCoverage]) -> None:
        """What an instance has called."""
        self.merge((each.table, each.operation, each.word, each.calls, each.failures, each.nulls)
                   for each in operations)

    def merge(self, rows: Iterable[Row]) -> None:
        """What another process has added up."""
        for table, operation, word, calls, failures, nulls in rows:
            key: tuple[str, str | int] = (table, operation if word is None else word)
            old = self._rows.get(key, (table, operation, word, 0, 0, 0))
            self._rows[key] = (table, old[1], word, old[3] + calls, old[4] + failures,
                               old[5] + nulls)

    @property
    def rows(self) -> list[Row]:
        """All of it, for another process."""
        return list(self._rows.values())

    @property
    def never(self) -> list[str]:
        """The platform's operations that nobody has called, `table.operation`."""
        return [f"{row[0]}.{row[1]}" for row in self._rows.values() if row[2] is not None
                and not row[3]]

    @property
    def percent(self) -> float:
        """How many of a hundred operations of the platform's tables were called."""
        words = [row for row in self._rows.values() if row[2] is not None]
        return 100 * sum(1 for row in words if row[3]) / len(words) if words else 0.0

    def __bool__(self) -> bool:
        return bool(self._rows)

    def lines(self) -> list[str]:
        """A table of the tables."""
        operations: Counter[str] = Counter()
        called: Counter[str] = Counter()
        calls: Counter[str] = Counter()
        for table, _, word, count, _, _ in self._rows.values():
            if word is not None:
                operations[table] += 1
                called[table] += bool(count)
                calls[table] += count
        width = max(map(len, [*operations, "Table"]))
        return [f"{'Table':<{width}}  Operations  Called     Calls",
                *(f"{table:<{width}}  {operations[table]:>10}  {called[table]:>6}  "
                  f"{calls[table]:>8}" for table in operations),
                f"{sum(called.values())} of {sum(operations.values())} operations were called, "
                f"{self.percent:.1f} %"]

    def failed(self) -> list[str]:
        """The operations that have failed, one line each."""
        return [f"{operation} failed {failures} of {calls} times"
                for _, operation, _, calls, failures, _ in self._rows.values() if failures]
