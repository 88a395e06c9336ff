"""What a page has yet to be told. It is merged while the page, or the network, is busy: of
documents and rates the newest counts, and of too many events the last ones are told and the rest
counted."""
from __future__ import annotations

import asyncio
import contextlib
import time
from collections import Counter, deque
from typing import Any, Mapping

from .feed import Feed

JSON = Any
EVENTS_AT_ONCE = 100
EVENTS_A_SECOND = 200  # nobody reads more, and a page that draws them all would stand still
SHORTEST_S = 0.05  # between two messages
SOONEST_S = 0.01  # and where the second has another picture, so that a light follows its event


class Pending:
    """The news for one page about one instance. `take` waits for some."""

    def __init__(self) -> None:
        self._some = asyncio.Event()
        self._picture = asyncio.Event()
        self._last = time.monotonic()
        self._allowed = float(EVENTS_AT_ONCE)  # events that may be told now
        self.forget()

    def forget(self) -> None:
        """Nothing of what was before: another instance is looked at, or all is told anew."""
        self._shows: set[str] = set()
        self._events: deque[Mapping[str, JSON]] = deque()
        self._summed: Counter[str] = Counter()
        self._lost = 0
        self._rates: dict[str, JSON] | None = None
        self._whole = False

    def whole(self) -> None:
        """All of it, from the beginning."""
        self.forget()
        self._whole = True
        self._some.set()
        self._picture.set()

    def changed(self, names: set[str]) -> None:
        """These shows have other documents, or none has and the clock has gone on."""
        self._shows |= names
        self._some.set()
        if names:
            self._picture.set()

    def happened(self, event: Mapping[str, JSON]) -> None:
        """An event. Beyond so many the oldest is only counted."""
        self._events.append(event)
        if len(self._events) > EVENTS_AT_ONCE:
            self._summed[self._events.popleft()["source"]] += 1
        self._some.set()

    def lost(self, count: int) -> None:
        """Events that nobody can tell any more."""
        self._lost += count
        self._some.set()

    def measured(self, moment: float, rates: Mapping[str, list[float]]) -> None:
        """Rates of the ports."""
        self._rates = {"at": round(moment, 3),
                       "ports": {port: [round(value, 1) for value in values]
                                 for port, values in rates.items() if any(values)}}
        self._some.set()

    async def take(self, feed_of: Any) -> dict[str, JSON]:
        """The next message. It waits for news, and a moment after the message before."""
        while True:
            await self._some.wait()
            await self._rest()
            self._some.clear()
            self._picture.clear()
            feed: Feed | None = feed_of()
            if feed is not None:
                before, self._last = self._last, time.monotonic()
                self._sum_up(self._last - before)
                return self._message(feed)

    async def _rest(self) -> None:
        rest = self._last + SHORTEST_S - time.monotonic()
        if rest > 0:
            with contextlib.suppress(TimeoutError):
                async with asyncio.timeout(rest):
                    await self._picture.wait()
            await asyncio.sleep(max(0.0, self._last + SOONEST_S - time.monotonic()))

    def _sum_up(self, passed: float) -> None:
        """Counts the oldest events where there are more than may be told after so many seconds."""
        self._allowed = min(EVENTS_AT_ONCE, self._allowed + EVENTS_A_SECOND * passed)
        while len(self._events) > max(1, int(self._allowed)):
            self._summed[self._events.popleft()["source"]] += 1
        self._allowed = max(0.0, self._allowed - len(self._events))

    def _message(self, feed: Feed) -> dict[str, JSON]:
        message: dict[str, JSON] = {
            "tell": "news", "instance": feed.name, "alive": feed.alive, "at": round(time.time(), 3),
            "now": {"at": round(feed.status_at, 3), "timeMs": feed.status.get("timeMs", 0),
                    "stopped": feed.status.get("stopped", False)}}
        if self._whole:
            # Of the past the last events are enough to begin with; the page asks for older ones.
            message |= {"whole": True, "shows": dict(feed.shows),
                        "events": list(feed.events)[-EVENTS_AT_ONCE:],
                        "history": feed.history.first(time.time())}
        else:
            message |= {"shows": {name: feed.shows[name] for name in self._shows
                                  if name in feed.shows}}
            message |= {"events": list(self._events)} if self._events else {}
            message |= {"summed": dict(self._summed)} if self._summed else {}
            message |= {"lost": self._lost} if self._lost else {}
            message |= {"rates": self._rates} if self._rates is not None else {}
        self.forget()
        return message
