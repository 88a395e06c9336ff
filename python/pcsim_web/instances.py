"""Which instances there are: all of the user's, or those that were named. Each is followed by a
Feed for as long as it lives, and looked for again when it is gone."""
from __future__ import annotations

import asyncio
import logging
import time
from typing import Any, Callable, Sequence

from pcsim.errors import Error
from pcsim.places import socket_names

from .feed import Feed, ending_of
from .labs import Labs
from .rates import KEPT_S

JSON = Any
LOG = logging.getLogger("pcsim-web")
LOOKED_FOR_S = 0.5  # how often a socket is looked for
TOLD_S = 2.0  # how often what a list shows of instances is told again, if it has changed


class Instances:
    """The instances, by name."""

    def __init__(self, names: Sequence[str]) -> None:
        self.feeds: dict[str, Feed] = {}
        self.labs = Labs(names)
        self.watchers: set[Callable[[], None]] = set()
        self._named = list(names)
        self._problems: dict[str, str] = {}
        self._following: dict[str, asyncio.Task[None]] = {}
        self._told: list[JSON] = []

    def told(self) -> list[JSON]:
        """The list as a page shows it."""
        return [{"name": name, "alive": feed.alive, "problem": self._problems.get(name, ""),
                 **{key: feed.status.get(key) for key in ("shape", "ports", "portsUp", "stopped")}}
                for name, feed in sorted(self.feeds.items())]

    async def follow(self) -> None:
        """Looks for instances until cancelled."""
        try:
            for turn in range(1 << 62):
                for name in self._named or socket_names():
                    self._see(name)
                if turn % int(TOLD_S / LOOKED_FOR_S) == 0:
                    self._forget_old(time.time())
                    self._tell()
                await asyncio.sleep(LOOKED_FOR_S)
        finally:
            for task in self._following.values():
                task.cancel()
            await asyncio.gather(*self._following.values(), return_exceptions=True)

    def _forget_old(self, now: float) -> None:
        # Test suites start instances by the thousand; of one that has ended long ago there is no
        # past to be shown any more.
        for name, feed in list(self.feeds.items()):
            if not (feed.alive or feed.lookers or self._named) and now > feed.ended_at + KEPT_S:
                del self.feeds[name]
                self._problems.pop(name, None)

    def _see(self, name: str) -> None:
        if name not in self._following:
            feed = self.feeds.get(name) or Feed(name, lambda: self._lives(feed))
            if self._named:
                self.feeds[name] = feed
            self._following[name] = asyncio.ensure_future(self._live(feed))

    async def _live(self, feed: Feed) -> None:
        try:
            await feed.live()
        except (Error, OSError, asyncio.TimeoutError) as problem:
            self._problems[feed.name] = ending_of(problem)
        except Exception:  # a mistake of ours: others are shown all the same
            self._problems[feed.name] = "pcsim-web has made a mistake, which it has logged"
            LOG.exception("the instance %s can't be followed", feed.name)
        finally:
            del self._following[feed.name]
            self._tell()

    def _lives(self, feed: Feed) -> None:
        # A socket that a killed process has left never comes so far.
        self.feeds[feed.name] = feed
        if feed.alive:
            self._problems.pop(feed.name, None)
        self._tell()

    def _tell(self) -> None:
        now = self.told()
        if now != self._told:
            self._told = now
            for watcher in list(self.watchers):
                watcher()
