"""The parts of a page that a program writes: what stands between two marks."""
from __future__ import annotations

from .figures import Series

END = "<!-- to here -->"


def begin(name: str) -> str:
    """The mark before a part."""
    return f"<!-- bench/all writes {name} from here -->"


def replaced(page: str, name: str, part: str) -> str:
    """The page with another part of that name."""
    mark = begin(name)
    before, found, rest = page.partition(mark)
    old, ended, after = rest.partition(END)
    if not found or not ended or mark in rest or "<!--" in old:
        raise ValueError(f"the page has no place for {name}; expected '{mark}' and '{END}'")
    return f"{before}{mark}\n{part}\n{END}{after}"


def verbatim(report: str) -> str:
    """What a program has printed. Markdown stays what it is."""
    report = report.strip("\n")
    return report if "|---" in report else f"```\n{report}\n```"


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
