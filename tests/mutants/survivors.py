"""The list of changes that no test can catch, because they mean the same (survivors.txt).

Four lines for each, behind a blank one: where it is, the lines before and after, and why:

    platform/port/mii.cpp openPortSocket
    - if (opened < 0) return false;
    + if (opened <= 0) return false;
    = descriptor 0 is standard input, which hosts keep
"""
from pathlib import Path

from places import Change

FILE = Path(__file__).resolve().parent / "survivors.txt"


def read(text: str) -> dict[tuple[str, str, str, str], str]:
    """{name of a change: why it means the same}."""
    listed = {}
    lines = [line for line in text.splitlines() if not line.startswith("#")]
    for block in "\n".join(lines).split("\n\n"):
        if not block.strip():
            continue
        where, *rest = block.strip().split("\n")
        path, _, function = where.partition(" ")
        if [line[:2] for line in rest] != ["- ", "+ ", "= "]:
            raise ValueError(f"'{where}' has no lines -, + and = behind it, in this order")
        before, after, reason = (line[2:] for line in rest)
        listed[path, function, before, after] = reason
    return listed


def block(change: Change, reason: str) -> str:
    """A change as it stands in the list."""
    return (f"{change.path} {change.function}\n- {change.before}\n+ {change.after}\n"
            f"= {reason}")
