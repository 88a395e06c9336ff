"""What can go wrong with a lab, as exceptions whose text is the one line that the user sees."""
from __future__ import annotations

from typing import Iterable


class LabError(Exception):
    """Something has failed."""

    status = 1


class BadInput(LabError):
    """What the user has asked for is wrong; the text says what would be right."""

    status = 2


class NoNamespaces(LabError):
    """This machine makes no namespaces for this user."""

    status = 77


def some(names: Iterable[str]) -> str:
    """Some of what could have been meant, for a message."""
    found = list(names)
    return ", ".join(found[:8]) + (", ..." if len(found) > 8 else "")


def told(problem: OSError) -> str:
    """What the system has said, with the file's name where that is known."""
    text = problem.strerror or str(problem)
    return f"{problem.filename}: {text}" if problem.filename else text
