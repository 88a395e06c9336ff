"""What a line prints while it runs, told to a page in few pieces, however fast it comes."""
from __future__ import annotations

import asyncio
import contextlib
from collections import deque
from typing import Awaitable, Callable, TypeVar

from pcsim.protocol import Notified

T = TypeVar("T")
PIECE_S = 0.03  # between two pieces
MOST = 1 << 18  # characters of a piece: of more than a page could draw, the last are told


class Output:
    """The output of one line. `tell` sends a piece to the page."""

    def __init__(self, tell: Callable[[str], Awaitable[None]]) -> None:
        self._tell = tell
        self._texts: deque[str] = deque()
        self._size = 0
        self._left_out = 0
        self._some = asyncio.Event()

    def hear(self, notified: Notified) -> None:
        """As the ear of a call."""
        if notified.method != "output":
            return
        text = str(notified.params.get("text", ""))
        self._texts.append(text)
        self._size += len(text)
        while self._size > MOST and len(self._texts) > 1:
            gone = len(self._texts.popleft())
            self._size -= gone
            self._left_out += gone
        self._some.set()

    async def during(self, work: Awaitable[T]) -> T:
        """The result of the line. All of its output is told before."""
        telling = asyncio.ensure_future(self._keep_telling())
        try:
            return await work
        finally:
            telling.cancel()
            with contextlib.suppress(asyncio.CancelledError, ConnectionError):
                await telling
            with contextlib.suppress(ConnectionError):
                await self._tell_some()

    async def _keep_telling(self) -> None:
        while True:
            await self._some.wait()
            self._some.clear()
            await self._tell_some()
            await asyncio.sleep(PIECE_S)

    async def _tell_some(self) -> None:
        text, left_out = "".join(self._texts), self._left_out
        self._texts.clear()
        self._size = self._left_out = 0
        if len(text) > MOST:  # one answer alone; whole lines of it are left
            begin = text.find("\n", len(text) - MOST) + 1 or len(text) - MOST
            left_out += begin
            text = text[begin:]
        if left_out:
            text = f"[{left_out} characters were too many at once]\n{text}"
        if text:
            await self._tell(text)
