"""A switch: a pcsim of one's own, or one that runs already. Switch blocks, AsyncSwitch is awaited;
what can be asked of them is the same.
"""
from __future__ import annotations

import asyncio
import contextlib
import os
from pathlib import Path
from typing import Protocol, Sequence, TypeVar

from .async_connection import AsyncConnection
from .connection import Connection, ask_once
from .errors import ConnectionLost, Error
from .events import AsyncEventStream, EventStream, Feed
from .launch import Launch, Process
from .parts import STATUS
from .places import socket_names, socket_of
from .records import Status
from .verbs import Verbs

S = TypeVar("S", bound="Switch")
A = TypeVar("A", bound="AsyncSwitch")
ANSWER_S = 2.0  # how long an instance may take to say who it is
Program = str | os.PathLike[str]


class Instance(Protocol):
    """Where a switch lives: in a process of ours, or in another one."""

    name: str

    @property
    def path(self) -> Path:
        """Its socket."""

    def start(self) -> None:
        """Sees to it that it runs."""

    def farewell(self) -> str:
        """How it has ended, as far as one knows."""

    def stop(self, status: int | None) -> None:
        """Lets go of it. ConnectionLost if it should have ended with that status and has not."""


class Running:
    """An instance that somebody else has started, and ends."""

    def __init__(self, name: str) -> None:
        self.name = name
        self.path = socket_of(name)

    def start(self) -> None:
        """It runs, or there is none."""

    def farewell(self) -> str:
        """Its end is not ours to see."""
        return ""

    def stop(self, status: int | None) -> None:
        """It goes on."""


class Switch(Verbs[Connection]):
    """A switch that blocks until it has answered.

        with pcsim.Switch(ports=4, stopped=True) as switch:
            switch.port("1:1").disable()

    Without `ports` it has the PC's own interfaces. `options` are further ones of pcsim, `wrapper` a
    command that makes room for it and becomes it, like `ip netns exec NAME`. With a `timeout`,
    whatever takes longer than so many real seconds to answer raises a TimeoutError.
    """

    def __init__(self, ports: int | None = 4, shape: str = "stack", stopped: bool = False, *,
                 program: Program | None = None, name: str | None = None,
                 options: Sequence[str] = (), wrapper: Sequence[str] = (),
                 timeout: float | None = None) -> None:
        launch = Launch(ports, shape, stopped, program, name, options, wrapper)
        self._live_in(Process(launch), timeout)

    def _live_in(self, instance: Instance, timeout: float | None) -> None:
        super().__init__(Connection(farewell=instance.farewell))
        self._instance = instance
        self._timeout = timeout
        self._end: int | None = 0  # the status that it should end with

    @classmethod
    def connect(cls: type[S], name: str, timeout: float | None = None) -> S:
        """A switch that runs already."""
        switch = cls.__new__(cls)
        switch._live_in(Running(name), timeout)
        switch.start()
        return switch

    @property
    def name(self) -> str:
        """The name of the instance, empty before it was started."""
        return self._instance.name

    def start(self) -> None:
        """Starts it and waits until it has booted; `with` does that, too."""
        self._instance.start()
        try:
            self._door.open(self._instance.path, self._timeout)
            self.status()
        except BaseException:
            self._end = None
            self.close()
            raise

    def close(self) -> None:
        """Ends it, or the connection to it when somebody else has started it. ConnectionLost when
        it ends otherwise than it should."""
        self._door.close()
        self._instance.stop(self._end)

    def shutdown(self, status: int = 0) -> None:
        """Ends it with that status, whoever has started it."""
        with contextlib.suppress(ConnectionLost):
            self.run(f"shutdown {status}")
        self._end = status
        self.close()

    def events(self, sources: Sequence[str] | None = None, since: int | None = None,
               about: str | None = None, follow: bool = True,
               snapshot: bool | Sequence[str] = False) -> EventStream:
        """Iterates over events: those from number `since` of the log on, and with `follow` those to
        come. With a `snapshot` the stream has the data of the usual shows, or of those given."""
        feed = Feed(sources, since, about, follow, snapshot)
        return EventStream(self._instance.path, feed)

    def __enter__(self: S) -> S:
        if not self._door.is_open:
            self.start()
        return self

    def __exit__(self, kind: object, *_: object) -> None:
        if kind is not None:
            self._end = None
        self.close()


class AsyncSwitch(Verbs[AsyncConnection]):
    """A switch whose answers are awaited; otherwise like Switch.

        async with pcsim.AsyncSwitch(ports=4, stopped=True) as switch:
            await switch.port("1:1").disable()
    """

    def __init__(self, ports: int | None = 4, shape: str = "stack", stopped: bool = False, *,
                 program: Program | None = None, name: str | None = None,
                 options: Sequence[str] = (), wrapper: Sequence[str] = ()) -> None:
        self._live_in(Process(Launch(ports, shape, stopped, program, name, options, wrapper)))

    def _live_in(self, instance: Instance) -> None:
        super().__init__(AsyncConnection(farewell=instance.farewell))
        self._instance = instance
        self._end: int | None = 0
        self._streams: list[AsyncEventStream] = []

    @classmethod
    async def connect(cls: type[A], name: str) -> A:
        """A switch that runs already."""
        switch = cls.__new__(cls)
        switch._live_in(Running(name))
        await switch.start()
        return switch

    @property
    def name(self) -> str:
        """The name of the instance, empty before it was started."""
        return self._instance.name

    async def start(self) -> None:
        """Starts it and waits until it has booted; `async with` does that, too."""
        await asyncio.to_thread(self._instance.start)
        try:
            await self._door.open(self._instance.path)
            await self.status()
        except BaseException:
            self._end = None
            await self.close()
            raise

    async def close(self) -> None:
        """Ends it, or the connection to it when somebody else has started it."""
        for stream in self._streams:
            await stream.close()
        await self._door.close()
        await asyncio.to_thread(self._instance.stop, self._end)

    async def shutdown(self, status: int = 0) -> None:
        """Ends it with that status, whoever has started it."""
        with contextlib.suppress(ConnectionLost):
            await self.run(f"shutdown {status}")
        self._end = status
        await self.close()

    def events(self, sources: Sequence[str] | None = None, since: int | None = None,
               about: str | None = None, follow: bool = True,
               snapshot: bool | Sequence[str] = False) -> AsyncEventStream:
        """Iterates over events, `async for`; see Switch.events."""
        feed = Feed(sources, since, about, follow, snapshot)
        stream = AsyncEventStream(self._instance.path, feed)
        self._streams.append(stream)
        return stream

    async def __aenter__(self: A) -> A:
        if not self._door.is_open:
            await self.start()
        return self

    async def __aexit__(self, kind: object, *_: object) -> None:
        if kind is not None:
            self._end = None
        await self.close()


def connect(name: str, timeout: float | None = None) -> Switch:
    """The running switch of that name."""
    return Switch.connect(name, timeout)


def instances() -> list[Status]:
    """The user's living instances."""
    found = []
    for name in socket_names():
        with contextlib.suppress(Error, TimeoutError):
            found.append(ask_once(socket_of(name), STATUS, ANSWER_S))
    return found
