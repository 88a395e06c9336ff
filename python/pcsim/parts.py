"""What a switch and its parts are made of: operations that are written once and run on either door.

A method marked with Verb says what is asked and what the answer becomes, as a Call. On a part
behind a Connection it returns the value; on one behind an AsyncConnection it is awaited. A Reading
is the same without parentheses.
"""
from __future__ import annotations

import functools
import os
from dataclasses import dataclass
from typing import (Any, Awaitable, Callable, Concatenate, Generic, Mapping, ParamSpec, TypeVar,
                    overload)

from .async_connection import AsyncConnection
from .connection import Connection
from .errors import CommandError
from .protocol import JSON, Call, Hear, nothing
from .records import Status
from .words import Value, line, one_line

P = ParamSpec("P")
T = TypeVar("T")
DoorT = TypeVar("DoorT", bound=Connection | AsyncConnection)
STATUS = Call("status", {}, Status.of)


class Part(Generic[DoorT]):
    """Something of a switch that can be spoken to through a door."""

    def __init__(self, door: DoorT) -> None:
        self._door = door


class Verb(Generic[P, T]):
    """A method that runs the Call it describes."""

    def __init__(self, describe: Callable[Concatenate[Any, P], Call[T]]) -> None:
        self._describe = describe
        functools.update_wrapper(self, describe)

    @overload
    def __get__(self, part: None, kind: object) -> Verb[P, T]: ...

    @overload
    def __get__(self, part: Part[Connection], kind: object) -> Callable[P, T]: ...

    @overload
    def __get__(self, part: Part[AsyncConnection], kind: object) -> Callable[P, Awaitable[T]]: ...

    def __get__(self, part: Any, kind: object) -> Any:
        if part is None:
            return self

        @functools.wraps(self._describe)
        def run(*args: P.args, **options: P.kwargs) -> Any:
            return part._door.perform(self._describe(part, *args, **options))
        return run


class Reading(Generic[T]):
    """A property that is asked for each time."""

    def __init__(self, describe: Callable[[Any], Call[T]]) -> None:
        self._describe = describe
        self.__doc__ = describe.__doc__

    @overload
    def __get__(self, part: None, kind: object) -> Reading[T]: ...

    @overload
    def __get__(self, part: Part[Connection], kind: object) -> T: ...

    @overload
    def __get__(self, part: Part[AsyncConnection], kind: object) -> Awaitable[T]: ...

    def __get__(self, part: Any, kind: object) -> Any:
        return self if part is None else part._door.perform(self._describe(part))


@dataclass(frozen=True)
class Answer:
    """What a line has printed, and its report as data; `error` is how it failed in a batch that
    kept going."""

    text: str
    data: JSON = None
    line: str = ""
    error: CommandError | None = None

    def __str__(self) -> str:
        return self.text


def run_line(text: str, take: Callable[[Mapping[str, JSON]], T],
             hear: Hear | None = None) -> Call[T]:
    """A line as it is. Relative names of files in it start from our working directory."""
    params: dict[str, JSON] = {"line": one_line(text), "folder": os.getcwd()}
    if hear is not None:
        params["stream"] = True
    return Call("run", params, take, hear)


def do(*words: Value | None) -> Call[None]:
    """A line of these words that answers nothing of interest."""
    return run_line(line(*words), nothing)


def ask(take: Callable[[JSON], T], *words: Value | None) -> Call[T]:
    """A line of these words, and what its data become."""
    return run_line(line(*words), lambda result: take(result["data"]))
