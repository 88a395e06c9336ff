"""What the gateway knows of one instance, and how it stays true.

Two connections: on one events come in, on the other the shows are asked for. An event marks the
shows that it may have changed; they are asked for at once, together. Behind a storm of events
asking rests five times as long as it took, so that it costs the switch a sixth of its time at most.
Counters are asked for once a second, only while somebody looks: each answer is a call of the
platform, which coverage counts as well.
"""
from __future__ import annotations

import asyncio
import contextlib
import time
from collections import deque
from typing import Any, Callable, Mapping, Protocol

from pcsim.async_connection import AsyncConnection
from pcsim.errors import CommandError, ConnectionLost, Error
from pcsim.places import socket_of
from pcsim.protocol import Call, Notified, nothing

from .history import History
from .rates import Meter
from .shows import COUNTERS, COUNTERS_EVERY_S, SHOWS, SHOWS_OF

JSON = Any
EVENTS_KEPT = 20_000
LONGEST_ANSWER_S = 30.0
REST = 5  # times as long as asking took
SAVED_S = 0.1  # of asking that needs no rest behind it, once as much rest was saved up


class Looker(Protocol):
    """Who looks at an instance."""

    def changed(self, feed: Feed, names: set[str]) -> None:
        """These shows have other documents."""

    def happened(self, feed: Feed, event: Mapping[str, JSON]) -> None:
        """An event."""

    def lost(self, feed: Feed, count: int) -> None:
        """So many events were dropped before they could be told."""

    def measured(self, feed: Feed, moment: float, rates: Mapping[str, list[float]]) -> None:
        """Rates of the ports in the last second."""

    def lives(self, feed: Feed) -> None:
        """It has ended, or come back."""


class Budget:
    """How long asking has to rest. What wasn't asked is saved up to a limit, so that the first of
    many events is shown as soon as any."""

    def __init__(self, now: float) -> None:
        self._saved = SAVED_S
        self._last = now

    def rest(self, begun: float, now: float) -> float:
        """Behind an asking from that time to this one."""
        earned = (begun - self._last) / REST
        self._saved = min(SAVED_S, self._saved + earned) - (now - begun)
        self._last = now
        return max(0.0, -self._saved * REST)


class Feed:
    """One instance, for all who look at it."""

    def __init__(self, name: str, lives: Callable[[], None] = lambda: None) -> None:
        self.name = name
        self._lives = lives
        self.alive = False
        self.ended_at = 0.0
        self.status: dict[str, JSON] = {}  # what `status` has told last
        self.status_at = 0.0
        self.shows: dict[str, JSON] = {}
        self.events: deque[dict[str, JSON]] = deque(maxlen=EVENTS_KEPT)
        self.history = History()
        self.lookers: set[Looker] = set()
        self._meter = Meter()
        self._door: AsyncConnection | None = None
        self._due: dict[str, float] = {}  # when a show is asked for, by the loop's clock
        self._replaying = True  # events of before we came
        self._caused: dict[str, float] = {}  # when what made it due has happened
        self._wake = asyncio.Event()

    # --- What others say -------------------------------------------------------------------------

    def stale(self) -> None:
        """Something was done: everything may have changed."""
        now = asyncio.get_running_loop().time()
        for show in SHOWS:
            if show.every_s:
                self._due[show.name] = now
        self._wake.set()

    # --- Its life --------------------------------------------------------------------------------

    async def live(self) -> None:
        """Connects, asks and listens until the instance is gone; ConnectionLost says how."""
        listening = AsyncConnection(self._heard)
        asking = AsyncConnection()
        try:
            await listening.open(socket_of(self.name))
            await asking.open(socket_of(self.name))
            await self._ask_status(asking)
            self._begin()
            await listening.perform(Call("events", {"since": 0}, nothing))
            tasks = [asyncio.ensure_future(each) for each in (
                self._keep_listening(listening), self._keep_asking(asking),
                self._keep_measuring())]
            self._door = asking
            try:
                await asyncio.wait(tasks, return_when=asyncio.FIRST_COMPLETED)
            finally:
                for task in tasks:
                    task.cancel()
                ended = await asyncio.gather(*tasks, return_exceptions=True)
            for end in ended:
                if isinstance(end, Exception):
                    raise end
        finally:
            self._door = None
            await listening.close()
            await asking.close()
            self._end()

    def _begin(self) -> None:
        self.alive = True
        self.events.clear()
        self.shows.clear()
        self._meter = Meter()
        now = asyncio.get_running_loop().time()
        self._due = {show.name: now for show in SHOWS}
        self._caused.clear()
        self._replaying = True
        self._tell_life()

    def _end(self) -> None:
        if self.alive:
            self.alive = False
            self.ended_at = now()
            self.history.clock.stop(self.ended_at)
            self._tell_life()

    def _tell_life(self) -> None:
        self._lives()
        for looker in list(self.lookers):
            looker.lives(self)

    # --- Events ----------------------------------------------------------------------------------

    async def _keep_listening(self, listening: AsyncConnection) -> None:
        while True:
            await listening.listen()

    def _heard(self, notified: Notified) -> None:
        if notified.method == "lost":
            for looker in list(self.lookers):
                looker.lost(self, int(notified.params["count"]))
        elif notified.method == "event":
            self._happened(notified.params)

    def _happened(self, params: Mapping[str, JSON]) -> None:
        event = {key: params[key] for key in ("number", "timeMs", "source", "text")}
        event["at"] = moment = self._moment_of(event["timeMs"])
        self.events.append(event)
        if not self._replaying:
            self.history.clock.read(moment, event["timeMs"], self.status["stopped"])
        if self.history.marks.add(moment, event["source"], event["text"]):
            event["mark"] = True
        for name in SHOWS_OF.get(event["source"], ()):
            self._due[name] = 0.0
            if not self._replaying:
                self._caused[name] = moment
            self._wake.set()
        for looker in list(self.lookers):
            looker.happened(self, event)

    def _moment_of(self, time_ms: float) -> float:
        """When an event has happened: now, unless it is of the time before we came."""
        known_ms = float(self.status["timeMs"])
        self._replaying = self._replaying and time_ms < known_ms
        if not self._replaying:
            return now()
        ago_ms = min(known_ms - time_ms, float(self.status["upMs"]))
        return round(self.status_at - ago_ms / 1000, 3)

    # --- Shows -----------------------------------------------------------------------------------

    async def _keep_asking(self, asking: AsyncConnection) -> None:
        loop = asyncio.get_running_loop()
        budget = Budget(loop.time())
        while True:
            begun = loop.time()
            due = [show for show in SHOWS if self._due.get(show.name, float("inf")) <= begun]
            if due:
                for show in due:
                    self._due[show.name] = begun + show.every_s if show.every_s else float("inf")
                await self._ask_status(asking)
                await self._ask_shows(asking, [(show.name, show.line) for show in due])
                await asyncio.sleep(budget.rest(begun, loop.time()))
            # Whatever became due meanwhile is already passed, so that this doesn't wait.
            next_due = min(self._due.values(), default=float("inf"))
            wait = next_due - loop.time()
            self._wake.clear()
            if wait > 0:
                # Unlike wait_for, this never takes an end for a wake-up.
                with contextlib.suppress(TimeoutError):
                    async with asyncio.timeout(min(wait, 1.0)):
                        await self._wake.wait()

    async def _ask_status(self, asking: AsyncConnection) -> None:
        def take(result: JSON) -> None:
            self.status = dict(result)
            self.status_at = now()
            self.history.clock.read(self.status_at, result["timeMs"], result["stopped"])
        async with asyncio.timeout(LONGEST_ANSWER_S):
            await asking.perform(Call("status", {}, take))

    async def _ask_shows(self, asking: AsyncConnection, lines: list[tuple[str, str]]) -> None:
        # What an event has changed is so from the event on, however late its answer comes.
        caused = {name: self._caused.pop(name) for name, _ in lines if name in self._caused}
        results = await asking.perform(Call(
            "batch", {"lines": [line for _, line in lines], "keepGoing": True},
            lambda result: list(result["results"])))
        # An event that has come since may be told by this answer already.
        caused = {**self._caused, **caused}
        moment = now()
        changed = {name for (name, _), result in zip(lines, results)
                   if self._take_show(name, result, caused.get(name, moment))}
        for looker in list(self.lookers):
            looker.changed(self, changed)

    def _take_show(self, name: str, result: Mapping[str, JSON], since: float) -> bool:
        if "error" in result:
            return False  # it stays as it was last
        document = result["data"]
        if name in self.shows and self.shows[name] == document:
            return False
        self.shows[name] = document
        self.history.changed(since, name, document)
        return True

    # --- Counters --------------------------------------------------------------------------------

    async def _keep_measuring(self) -> None:
        while True:
            await asyncio.sleep(COUNTERS_EVERY_S)
            if not self.lookers or self._door is None:
                self._meter = Meter()
                continue
            with contextlib.suppress(CommandError):  # a switch without a port has no counters
                await self._measure(self._door)

    async def _measure(self, asking: AsyncConnection) -> None:
        data = await asking.perform(Call("run", {"line": COUNTERS},
                                         lambda result: result["data"]))
        moment = now()
        rates = self._meter.read(moment, data)
        if rates is None:
            return
        self.history.rates.add(moment, rates)
        for looker in list(self.lookers):
            looker.measured(self, moment, rates)


def now() -> float:
    """The time, as exact as pages are told it: if one thing had more digits than another that comes
    behind it, it could seem to be the later one. It is never ahead of a clock."""
    return int(1000 * time.time()) / 1000


def ending_of(problem: BaseException) -> str:
    """What a page is told about an instance that is gone."""
    if isinstance(problem, ConnectionLost):
        return "it has ended, or closed its socket"
    return str(problem) if isinstance(problem, Error) else "it does not answer"
