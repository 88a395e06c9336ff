"""A conversation over a socket of an asyncio loop. Tasks may share it."""
from __future__ import annotations

import asyncio
import os
from typing import Any, Callable, TypeVar

from .connection import CHUNK, NOT_OPEN, with_farewell
from .errors import ConnectionLost, Error
from .protocol import Answered, Call, Conversation, Hear, Notified, nothing

T = TypeVar("T")


class AsyncConnection:
    """The door of an AsyncSwitch. `farewell` adds what is known when the other side has gone."""

    def __init__(self, hear: Hear = nothing, farewell: Callable[[], str] = str) -> None:
        self._conversation = Conversation(self._heard)
        self._hear = hear
        self._farewell = farewell
        self._answers: dict[int, asyncio.Future[Answered]] = {}
        self._news = asyncio.Event()  # something was heard, or all is lost
        self._lost: Error | None = ConnectionLost(NOT_OPEN)
        self._writer: asyncio.StreamWriter | None = None
        self._reading: asyncio.Task[None] | None = None

    @property
    def is_open(self) -> bool:
        """Whether it was opened and not closed since."""
        return self._writer is not None

    @property
    def is_lost(self) -> bool:
        """Whether nothing can be asked: it was never opened, or either side has closed it."""
        return self._lost is not None

    async def open(self, path: os.PathLike[str] | str) -> None:
        """Connects."""
        try:
            reader, self._writer = await asyncio.open_unix_connection(os.fspath(path))
        except OSError as problem:
            raise ConnectionLost(f"nobody answers at {os.fspath(path)}: "
                                 f"{problem.strerror or problem}") from problem
        self._lost = None
        self._reading = asyncio.create_task(self._read(reader))

    async def close(self) -> None:
        """Ends the connection; whoever waits gets a ConnectionLost."""
        if self._writer is None or self._reading is None:
            return
        self._lose(ConnectionLost("the connection was closed"))
        await asyncio.gather(self._reading, return_exceptions=True)
        self._writer = None

    async def perform(self, call: Call[T]) -> T:
        """Asks and waits for the answer. Whoever cancels this interrupts the line, too."""
        if self._lost is not None:
            raise self._lost
        number, data = self._conversation.ask(call)
        answer: asyncio.Future[Answered] = asyncio.get_running_loop().create_future()
        self._answers[number] = answer
        try:
            await self._send(data)
            return (await answer).value(call)
        except asyncio.CancelledError:
            if self._lost is None:
                await self._send(self._conversation.forget(number))
            raise
        finally:
            self._answers.pop(number, None)

    async def listen(self) -> None:
        """Waits until something was heard since the last time."""
        if self._lost is None:
            await self._news.wait()
            self._news.clear()
        if self._lost is not None:
            raise self._lost

    def _heard(self, notified: Notified) -> None:
        self._hear(notified)
        self._news.set()

    async def _send(self, data: bytes) -> None:
        if self._writer is None:
            return
        self._writer.write(data)
        try:
            await self._writer.drain()
        except ConnectionError:
            pass  # why the other side has closed its end stands in what is still to be read

    async def _read(self, reader: asyncio.StreamReader) -> None:
        try:
            while data := await reader.read(CHUNK):
                for answered in self._conversation.receive(data):
                    waiting = self._answers.get(answered.number)
                    if waiting is not None and not waiting.done():
                        waiting.set_result(answered)
        except Error as problem:
            self._lose(problem)
        except OSError:
            pass
        if self._lost is None:
            # The program may take a moment to end, and others shall not wait for it.
            farewell: Any = await asyncio.to_thread(self._farewell)
            self._lose(ConnectionLost(with_farewell(farewell)))

    def _lose(self, why: Error) -> None:
        if self._lost is None:
            self._lost = why
        if self._writer is not None:
            self._writer.close()
        for waiting in self._answers.values():
            if not waiting.done():
                waiting.set_exception(self._lost)
        self._news.set()
