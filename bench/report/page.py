"""The part of a page that a program writes: what stands between two marks."""
from __future__ import annotations

from .figures import Series

BEGIN = "<!-- bench/all writes from here -->"
END = "<!-- to here -->"


def replaced(page: str, part: str) -> str:
    """The page with another part."""
    if page.count(BEGIN) != 1 or page.count(END) != 1 or page.index(BEGIN) > page.index(END):
        raise ValueError(f"the page has no place for the figures; expected '{BEGIN}' and '{END}'")
    before, rest = page.split(BEGIN)
    return f"{before}{BEGIN}\n{part}\n{END}{rest.split(END)[1]}"


def table(heads: list[str], rows: list[list[str]]) -> str:
    """In Markdown."""
    lines = ["| " + " | ".join(row) + " |" for row in [heads, *rows]]
    lines.insert(1, "|" + "---|" * len(heads))
    return "\n".join(lines)


def ratio_table(series: list[Series]) -> str:
    """Medians and the spread of the runs."""
    return table(["what", "step", "peer", "times as fast", "spread"], [
        [one.group, one.step, one.peer, f"{one.median:.2f}",
         f"{min(one.values):.2f} to {max(one.values):.2f}"] for one in series])
