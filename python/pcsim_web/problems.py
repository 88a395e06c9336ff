"""What is wrong with what a page asks: one line, and what would be right."""
from __future__ import annotations

from typing import Any, Mapping

from pcsim.errors import CommandError, ConnectionLost, Error

JSON = Any


class Problem(Exception):
    """What can't be done for a page."""

    def __init__(self, message: str, right: str = "") -> None:
        super().__init__(f"{message}; expected {right}" if right else message)
        self.right = right


def told(problem: Exception, instance: str = "") -> dict[str, JSON]:
    """The error object of an answer. Whatever is no problem of the page's has a text as well: a
    page never sees a stack trace."""
    if isinstance(problem, CommandError):
        return {"code": problem.code, "message": problem.message, "right": problem.right,
                "text": problem.text}
    if isinstance(problem, ConnectionLost):
        return {"message": f"{instance or 'the instance'} is gone; start it again, or choose "
                           "another",
                "right": "an instance that runs", "gone": True}
    if isinstance(problem, Problem):
        return {"message": str(problem), "right": problem.right}
    if isinstance(problem, Error):
        return {"message": str(problem), "right": ""}
    return {"message": f"pcsim-web has made a mistake ({type(problem).__name__})", "right": ""}


def text_in(message: Mapping[str, JSON], key: str, default: str | None = None) -> str:
    """A text that the message has to have, without control characters."""
    value = message.get(key, default)
    if not isinstance(value, str) or any(ord(each) < 32 for each in value):
        raise Problem(f"'{key}' is missing or no line of text", f'"{key}": "..."')
    return value


def number_in(message: Mapping[str, JSON], key: str, default: float, low: float,
              high: float) -> float:
    """A number between these."""
    value = message.get(key, default)
    if isinstance(value, bool) or not isinstance(value, (int, float)) or not low <= value <= high:
        raise Problem(f"'{key}' is no number that can be", f"one from {low:g} to {high:g}")
    return value
