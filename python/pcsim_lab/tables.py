"""Tables for people, as the console of pcsim has them."""
from __future__ import annotations

from typing import Sequence

Row = Sequence[object]


def table(heads: Sequence[str], rows: Sequence[Row], right: Sequence[str] = ()) -> str:
    """Columns two blanks apart; those named in `right` stand on the right."""
    texts = [["-" if cell in (None, "") else str(cell) for cell in row] for row in rows]
    widths = [max(map(len, column)) for column in zip(heads, *texts)]

    def line(cells: Sequence[str]) -> str:
        return "  " + "  ".join(
            cell.rjust(width) if head in right else cell.ljust(width)
            for cell, width, head in zip(cells, widths, heads)).rstrip()
    return "\n".join([line(heads), line(["-" * width for width in widths]), *map(line, texts)])
