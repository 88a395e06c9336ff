"""What can go wrong. Whatever this package raises of its own is an Error, and its text says what
was wrong and, where pcsim knows it, what would be right.
"""
from __future__ import annotations

from typing import Any, Mapping


class Error(Exception):
    """The base of all errors of this package."""


class StartFailed(Error):
    """pcsim could not be started; the text is what it said."""


class ConnectionLost(Error, ConnectionError):
    """The instance has gone, or was never there."""


class ProtocolError(Error):
    """The two sides don't understand each other: a request that the server refuses as such, or an
    answer that is none."""


class NotFound(Error, LookupError):
    """The report has no such row."""


class CommandError(Error):
    """A line that pcsim ran and that failed. Each subclass stands for one code."""

    def __init__(self, code: int, message: str, right: str = "", text: str = "",
                 line: str = "") -> None:
        super().__init__(message)
        self.code = code
        self.message = message
        self.right = right  # what would have been right, empty when pcsim can't say
        self.text = text  # what the line had printed before
        self.line = line

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self), (self.code, self.message, self.right, self.text, self.line)


class CommandFailed(CommandError):
    """The line was understood but could not be done."""


class UsageError(CommandError):
    """There is no such verb, or not in this form."""


class ExpectationFailed(CommandError, AssertionError):
    """What an `expect` or a `wait` demanded isn't so. For test runners it is a failed assertion."""


class Interrupted(CommandError):
    """The line was interrupted before it had ended."""


KINDS: Mapping[int, type[CommandError]] = {
    1: CommandFailed, 2: UsageError, 3: ExpectationFailed, 4: Interrupted}
ENDING = -32001  # what came too late for an instance that ends


def error_of(error: Mapping[str, Any], line: str = "") -> Error:
    """The exception that stands for the error object of an answer."""
    code, message = int(error["code"]), str(error["message"])
    data = error.get("data") or {}
    if code == ENDING:
        return ConnectionLost(message)
    if code < 0:
        return ProtocolError(message)
    kind = KINDS.get(code, CommandFailed)
    return kind(code, message, data.get("right") or "", data.get("text") or "", line)
