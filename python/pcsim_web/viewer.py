"""One page: what it asks, and what it is told without asking.

A page sends {"id": N, "do": ..., ...} and gets {"id": N, "answer": ...} or {"id": N, "error":
{"message", "right"}}. What it is told has "tell" instead: "hello" once, "instances" whenever one
comes, goes or changes, "news" of the instance that it looks at, "output" of a line that runs.
"""
from __future__ import annotations

import asyncio
import contextlib
import json
import logging
import time
from typing import Any, Awaitable, Callable, Mapping

from aiohttp import WSMsgType, web
from pcsim.async_connection import AsyncConnection
from pcsim.errors import ConnectionLost, Error
from pcsim.places import socket_of
from pcsim.protocol import Call, nothing

from . import tables
from .feed import Feed
from .instances import Instances
from .output import Output
from .pending import Pending
from .problems import Problem, number_in, told, text_in

JSON = Any
LOG = logging.getLogger("pcsim-web")
MOST_QUESTIONS = 64  # of a page at once
WIDEST = 1000
MOST_PORTS = 128  # whose rates are asked for at once


class Viewer:
    """A page that is open. It is a Looker of the instance it shows."""

    def __init__(self, socket: web.WebSocketResponse, instances: Instances,
                 read_only: bool) -> None:
        self._socket = socket
        self._instances = instances
        self._read_only = read_only
        self._feed: Feed | None = None
        self._pending = Pending()
        self._sessions: dict[tuple[str, str], AsyncConnection] = {}
        self._opening = asyncio.Lock()
        self._questions: set[asyncio.Task[None]] = set()
        self._handlers: dict[str, Callable[[Mapping[str, JSON]], Awaitable[JSON]]] = {
            "look": self._look, "run": self._run, "at": self._at, "tables": self._tables,
            "table": self._table, "rates": self._rates, "events": self._events,
            "changes": self._changes, "labs": self._labs, "describe": self._describe,
            "complete": self._complete,
            "question": self._question, "prompt": self._prompt, "drop": self._drop,
            "interrupt": self._interrupt}

    async def serve(self) -> None:
        """Until the page is closed."""
        telling = asyncio.ensure_future(self._tell())
        self._instances.watchers.add(self.instances_changed)
        try:
            await self._send({"tell": "hello", "readOnly": self._read_only})
            self.instances_changed()
            async for message in self._socket:
                if message.type != WSMsgType.TEXT:
                    await self._send(_refusal(Problem("this message is binary", "JSON as text")))
                    continue
                await self._asked(message.data)
        finally:
            self._instances.watchers.discard(self.instances_changed)
            self._leave()
            for task in [telling, *self._questions]:
                task.cancel()
            await asyncio.gather(telling, *self._questions, return_exceptions=True)
            for session in self._sessions.values():
                await session.close()

    # --- What it is told -------------------------------------------------------------------------

    def changed(self, feed: Feed, names: set[str]) -> None:
        """As a Looker."""
        self._pending.changed(names)

    def happened(self, feed: Feed, event: Mapping[str, JSON]) -> None:
        """As a Looker."""
        self._pending.happened(event)

    def lost(self, feed: Feed, count: int) -> None:
        """As a Looker."""
        self._pending.lost(count)

    def measured(self, feed: Feed, moment: float, rates: Mapping[str, list[float]]) -> None:
        """As a Looker."""
        self._pending.measured(moment, rates)

    def lives(self, feed: Feed) -> None:
        """As a Looker."""
        self._pending.whole()

    def instances_changed(self) -> None:
        """The list of instances has another content."""
        self._spawn(self._send({"tell": "instances", "instances": self._instances.told()}))

    async def _tell(self) -> None:
        while True:
            await self._send(await self._pending.take(lambda: self._feed))

    async def _send(self, message: Mapping[str, JSON]) -> None:
        with contextlib.suppress(ConnectionError):  # the page may be closed at any time
            if not self._socket.closed:
                await self._socket.send_str(json.dumps(message, separators=(",", ":")))

    # --- What it asks ----------------------------------------------------------------------------

    async def _asked(self, text: str) -> None:
        try:
            message = json.loads(text)
            if not isinstance(message, dict) or type(message.get("id")) is not int:
                raise ValueError
        except (ValueError, RecursionError):
            await self._send(_refusal(Problem("this is no question",
                                              'an object with "id" and "do"')))
            return
        if len(self._questions) >= MOST_QUESTIONS:
            await self._send({"id": message["id"], "error": told(Problem(
                f"{MOST_QUESTIONS} questions are open already", "to wait for their answers"))})
            return
        self._spawn(self._answer(message))

    def _spawn(self, work: Awaitable[None]) -> None:
        task = asyncio.ensure_future(work)
        self._questions.add(task)
        task.add_done_callback(self._questions.discard)

    async def _answer(self, message: Mapping[str, JSON]) -> None:
        answer: dict[str, JSON] = {"id": message["id"]}
        try:
            do = message.get("do")
            if not isinstance(do, str) or do not in self._handlers:
                raise Problem(f"'{do}' can't be asked", ", ".join(self._handlers))
            answer["answer"] = await self._handlers[do](message)
        except Exception as problem:  # whatever it is, the page gets one line
            if not isinstance(problem, (Error, Problem)):
                LOG.exception("%s can't be answered", message.get("do"))
            answer["error"] = told(problem, str(message.get("instance", "")))
        await self._send(answer)

    def _feed_of(self, message: Mapping[str, JSON]) -> Feed:
        name = text_in(message, "instance")
        feed = self._instances.feeds.get(name)
        if feed is None:
            known = ", ".join(sorted(self._instances.feeds)) or "none, until one is started"
            raise Problem(f"there is no instance '{name}'", known)
        return feed

    def _leave(self) -> None:
        if self._feed is not None:
            self._feed.lookers.discard(self)
            self._feed = None

    async def _look(self, message: Mapping[str, JSON]) -> JSON:
        feed = self._feed_of(message)
        self._leave()
        self._feed = feed
        feed.lookers.add(self)
        self._pending.whole()
        return {"name": feed.name}

    async def _at(self, message: Mapping[str, JSON]) -> JSON:
        history = self._feed_of(message).history
        moment = number_in(message, "time", 0, 0, 1e11)
        return {"time": moment, "first": history.first(time.time()),
                "clock": history.clock.at(moment), "shows": history.at(moment)}

    async def _changes(self, message: Mapping[str, JSON]) -> JSON:
        """When something happened in the last hour."""
        history = self._feed_of(message).history
        first = history.first(time.time())
        return {"first": first, "marks": [] if first is None else history.marks.since(first)}

    async def _rates(self, message: Mapping[str, JSON]) -> JSON:
        feed = self._feed_of(message)
        ports = message.get("ports")
        if not isinstance(ports, list) or len(ports) > MOST_PORTS:
            raise Problem("'ports' is no list of ports", f"at most {MOST_PORTS} like \"1:1\"")
        return feed.history.rates.window(number_in(message, "since", 0, 0, 1e11),
                                         number_in(message, "until", 1e11, 0, 1e11),
                                         number_in(message, "step", 1, 1, 3600),
                                         [str(port) for port in ports])

    async def _events(self, message: Mapping[str, JSON]) -> JSON:
        """Events before a number, newest last."""
        feed = self._feed_of(message)
        before = number_in(message, "before", 1e15, 0, 1e15)
        count = int(number_in(message, "count", 500, 1, 5000))
        return {"events": [event for event in feed.events if event["number"] < before][-count:]}

    async def _labs(self, message: Mapping[str, JSON]) -> JSON:
        """How the labs are; nothing but their number where the page has them like that."""
        return await self._instances.labs.drawn(int(number_in(message, "seen", 0, 0, 1e15)))

    # --- What the instance answers ---------------------------------------------------------------

    async def _session(self, name: str, purpose: str) -> AsyncConnection:
        """A connection of this page's own, opened when it is needed first."""
        async with self._opening:  # two questions at once have the same one
            session = self._sessions.get((name, purpose))
            if session is None or session.is_lost:  # by an instance that has come back since
                if session is not None:
                    await session.close()
                session = AsyncConnection()
                await session.open(socket_of(name))
                self._sessions[name, purpose] = session
            return session

    async def _forget(self, name: str, purpose: str) -> None:
        """Closes a session. The next question opens another."""
        session = self._sessions.pop((name, purpose), None)
        if session is not None:
            await session.close()

    async def _perform(self, message: Mapping[str, JSON], purpose: str, call: Call[JSON]) -> JSON:
        feed = self._feed_of(message)
        session = await self._session(feed.name, purpose)
        try:
            return await session.perform(call)
        except ConnectionLost:
            await self._forget(feed.name, purpose)
            raise

    def _may_act(self) -> None:
        if self._read_only:
            raise Problem("this page may look, but not touch", "a pcsim-web without --read-only")

    async def _run(self, message: Mapping[str, JSON]) -> JSON:
        self._may_act()
        params: dict[str, JSON] = {"line": text_in(message, "line"),
                                   "stream": bool(message.get("stream"))}
        if "width" in message:
            params["width"] = int(number_in(message, "width", 80, 20, WIDEST))

        output = Output(lambda text: self._send({"tell": "output", "to": message["id"],
                                                 "text": text}))
        purpose = "terminal" if message.get("terminal") else "run"
        try:
            result = await output.during(self._perform(
                message, purpose, Call("run", params, _as_it_is, output.hear)))
        finally:
            self._feed_of(message).stale()
        if result.get("ended"):
            await self._forget(text_in(message, "instance"), purpose)
        return result

    async def _complete(self, message: Mapping[str, JSON]) -> JSON:
        self._may_act()
        return await self._perform(message, "terminal", Call(
            "complete", {"line": text_in(message, "line")}, _as_it_is))

    async def _question(self, message: Mapping[str, JSON]) -> JSON:
        self._may_act()
        params = {"line": text_in(message, "line"),
                  "width": int(number_in(message, "width", 80, 20, WIDEST))}
        return await self._perform(message, "terminal", Call("question", params, _as_it_is))

    async def _prompt(self, message: Mapping[str, JSON]) -> JSON:
        self._may_act()
        return await self._perform(message, "terminal", Call("prompt", {}, _as_it_is))

    async def _drop(self, message: Mapping[str, JSON]) -> JSON:
        """Gives up a block that was begun."""
        self._may_act()
        await self._perform(message, "terminal", Call("drop", {}, nothing))
        return {}

    async def _interrupt(self, message: Mapping[str, JSON]) -> JSON:
        self._may_act()
        purpose = "terminal" if message.get("terminal") else "run"
        return await self._perform(message, purpose, Call("interrupt", {}, _as_it_is))

    async def _describe(self, message: Mapping[str, JSON]) -> JSON:
        return await self._perform(message, "look", Call("describe", {}, _as_it_is))

    async def _tables(self, _: Mapping[str, JSON]) -> JSON:
        return tables.described()

    async def _table(self, message: Mapping[str, JSON]) -> JSON:
        asked = tables.line_of(message)
        result = await self._perform(message, "look",
                                     Call("run", {"line": asked.line}, _as_it_is))
        return tables.page_of(asked, result["data"])


def _as_it_is(result: JSON) -> JSON:
    return result


def _refusal(problem: Problem) -> dict[str, JSON]:
    return {"tell": "problem", "error": told(problem)}
