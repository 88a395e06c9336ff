"""Events as they happen. Each stream has a connection of its own, so that the switch can be spoken
to while somebody waits for events.
"""
from __future__ import annotations

from collections import deque
from pathlib import Path
from typing import Mapping, Sequence

from .async_connection import AsyncConnection
from .connection import Connection
from .errors import ProtocolError
from .parts import ask
from .protocol import JSON, Call, Notified, nothing
from .records import Event, rows
from .words import option

ALL_EVENTS = 20_000


def log_of(about: str | None, sources: Sequence[str] | None, since: int) -> Call[list[Event]]:
    """Asks for the events that have been, from that number on."""
    def take(data: JSON) -> list[Event]:
        return [event for event in rows(Event, "events")(data) if event.number >= since
                and (sources is None or event.source in sources)]
    return ask(take, "show", "events", *option("about", about), "limit", ALL_EVENTS)


class Feed:
    """What has come of a stream, for both kinds of streams."""

    def __init__(self, sources: Sequence[str] | None = None, since: int | None = None,
                 about: str | None = None, follow: bool = True,
                 snapshot: bool | Sequence[str] = False) -> None:
        self.events: deque[Event] = deque()
        self.shows: Mapping[str, JSON] = {}
        self.lost = 0
        self.ended = False
        self._next = 0
        if follow:
            given = {"sources": sources and list(sources), "since": since, "about": about,
                     "snapshot": snapshot if isinstance(snapshot, bool) else list(snapshot)}
            params = {key: value for key, value in given.items() if value is not None}
            self.opening = Call[None]("events", params, nothing)
        else:
            past = log_of(about, sources, since or 0)
            self.opening = Call(past.method, past.params,
                                lambda result: self._end_with(past.take(result)))

    def _end_with(self, events: list[Event]) -> None:
        self.events.extend(events)
        self.ended = True

    def take(self, notified: Notified) -> None:
        """A notification of the stream's connection."""
        params = dict(notified.params)
        if notified.method not in ("event", "snapshot", "lost"):
            return
        if (sequence := params.pop("sequence")) != self._next:
            raise ProtocolError(f"expected notification {self._next} of the stream "
                                f"but got {sequence}")
        self._next += 1
        params.pop("stream", None)
        if notified.method == "event":
            self.events.append(Event.of(params))
        elif notified.method == "snapshot":
            self.shows = params["shows"]
        else:
            self.lost += int(params["count"])


class EventStream:
    """Iterates over events as they come; ends with close(), or with the instance."""

    def __init__(self, path: Path, feed: Feed) -> None:
        self._feed = feed
        self._connection = Connection(feed.take)
        self._connection.open(path)
        try:
            self._connection.perform(feed.opening)
        except BaseException:
            self._connection.close()
            raise
        if feed.ended:
            self._connection.close()

    def __del__(self) -> None:
        self._connection.close()

    @property
    def lost(self) -> int:
        """How many events we were too slow for."""
        return self._feed.lost

    @property
    def shows(self) -> Mapping[str, JSON]:
        """The data of the snapshot's shows; empty until it has come."""
        return self._feed.shows

    def __iter__(self) -> EventStream:
        return self

    def __next__(self) -> Event:
        while not self._feed.events:
            if self._feed.ended:
                raise StopIteration
            self._connection.listen()
        return self._feed.events.popleft()

    def take(self, timeout: float) -> Event | None:
        """The next event, or None when the stream is silent for so many real seconds."""
        self._connection.set_timeout(timeout)
        try:
            return next(self, None)
        except TimeoutError:
            return None
        finally:
            self._connection.set_timeout(None)

    def close(self) -> None:
        """Ends it."""
        self._feed.ended = True
        self._connection.close()

    def __enter__(self) -> EventStream:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()


class AsyncEventStream:
    """The same for asyncio. It begins with its `async with`, or else with the first event that is
    asked for."""

    def __init__(self, path: Path, feed: Feed) -> None:
        self._path = path
        self._feed = feed
        self._connection = AsyncConnection(feed.take)
        self._begun = False

    @property
    def lost(self) -> int:
        """How many events we were too slow for."""
        return self._feed.lost

    @property
    def shows(self) -> Mapping[str, JSON]:
        """The data of the snapshot's shows; empty until it has come."""
        return self._feed.shows

    async def begin(self) -> None:
        """Asks for the events, once."""
        if not self._begun:
            self._begun = True
            await self._connection.open(self._path)
            await self._connection.perform(self._feed.opening)
            if self._feed.ended:
                await self._connection.close()

    def __aiter__(self) -> AsyncEventStream:
        return self

    async def __anext__(self) -> Event:
        await self.begin()
        while not self._feed.events:
            if self._feed.ended:
                raise StopAsyncIteration
            await self._connection.listen()
        return self._feed.events.popleft()

    async def close(self) -> None:
        """Ends it."""
        self._feed.ended = True
        await self._connection.close()

    async def __aenter__(self) -> AsyncEventStream:
        await self.begin()
        return self

    async def __aexit__(self, *_: object) -> None:
        await self.close()
