"""The protocol without a socket: what to send for a call, and what has come back.

JSON-RPC 2.0, one object per line both ways. A Conversation turns calls into bytes and bytes into
answers and notifications; connections bring the bytes to and fro, blocking or not.
"""
from __future__ import annotations

import json
from dataclasses import dataclass
from typing import Any, Callable, Generic, Iterator, Mapping, TypeVar

from .errors import Error, ProtocolError, error_of

T = TypeVar("T")
JSON = Any


@dataclass(frozen=True)
class Notified:
    """A notification."""

    method: str
    params: Mapping[str, JSON]


Hear = Callable[[Notified], None]


def nothing(_: JSON) -> None:
    """What the result of a call becomes that has none."""


@dataclass(frozen=True)
class Call(Generic[T]):
    """A request, what its result becomes, and who hears what is notified while it runs."""

    method: str
    params: Mapping[str, JSON]
    take: Callable[[JSON], T]
    hear: Hear | None = None


@dataclass(frozen=True)
class Answered:
    """The answer to the call of that number."""

    number: int
    result: JSON
    error: Error | None

    def value(self, call: Call[T]) -> T:
        """What the call gives. Raises what the answer says."""
        if self.error is not None:
            raise self.error
        try:
            return call.take(self.result)
        except (KeyError, IndexError, TypeError, AttributeError) as problem:
            raise ProtocolError(f"{call.method} was answered with something else: {problem!r} "
                                f"in {self.result!r:.200}") from problem


class Conversation:
    """One side of a connection: numbers what is asked, and knows what is still open."""

    def __init__(self, hear: Hear = nothing) -> None:
        self._hear = hear
        self._last = 0
        self._open: dict[int, Call[Any]] = {}
        self._forgotten: set[int] = set()
        self._parts: list[bytes] = []  # of a line that has not ended

    def ask(self, call: Call[Any]) -> tuple[int, bytes]:
        """The number of the request, and its bytes."""
        self._last += 1
        self._open[self._last] = call
        request = {"jsonrpc": "2.0", "id": self._last, "method": call.method,
                   "params": call.params}
        text = json.dumps(request, ensure_ascii=False, separators=(",", ":"))
        return self._last, text.encode() + b"\n"

    def forget(self, number: int) -> bytes:
        """Nobody waits for this answer any more: the bytes that end its line if it still runs."""
        if number not in self._open:
            return b""
        self._forgotten.add(number)
        other, request = self.ask(Call("interrupt", {}, nothing))
        self._forgotten.add(other)
        return request

    def receive(self, data: bytes) -> Iterator[Answered]:
        """The answers that these bytes complete. Notifications are heard on the way."""
        *ended, rest = data.split(b"\n")
        for line in ended:
            whole = b"".join([*self._parts, line])
            self._parts.clear()
            yield from self._message(whole)
        if rest:
            self._parts.append(rest)

    def _message(self, line: bytes) -> Iterator[Answered]:
        try:
            message = json.loads(line)
        except ValueError as problem:
            raise ProtocolError(f"expected JSON but got {line!r:.80}") from problem
        if not isinstance(message, dict):
            raise ProtocolError(f"expected an object but got {line!r:.80}")
        if "method" in message:
            self._hearer()(Notified(str(message["method"]), message.get("params") or {}))
        elif (answered := self._answer(message, line)) is not None:
            yield answered

    def _hearer(self) -> Hear:
        """Who hears notifications: the call that runs, which is the oldest, or the owner."""
        running = next(iter(self._open.values()), None)
        return running.hear if running is not None and running.hear is not None else self._hear

    def _answer(self, message: dict[str, JSON], line: bytes) -> Answered | None:
        number, error = message.get("id"), message.get("error")
        if error is not None and number is None:
            raise ProtocolError(f"the server refuses: {error.get('message')}")
        if number not in self._open or ("result" not in message and error is None):
            raise ProtocolError(f"expected an answer to one of {sorted(self._open)} "
                                f"but got {line!r:.80}")
        call = self._open.pop(number)
        if number in self._forgotten:
            self._forgotten.remove(number)
            return None
        asked = str(call.params.get("line", ""))
        failure = error_of(error, asked) if error is not None else None
        return Answered(number, message.get("result"), failure)
