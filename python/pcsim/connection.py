"""A conversation over a socket that blocks. Threads may share it: whoever waits for an answer reads
for all of them until his own is there.
"""
from __future__ import annotations

import contextlib
import os
import socket
import threading
from typing import Callable, TypeVar

from .errors import ConnectionLost, Error
from .protocol import Answered, Call, Conversation, Hear, nothing

T = TypeVar("T")
CHUNK = 1 << 16
NOT_OPEN = "there is no connection; use the switch within its `with`"


class Connection:
    """The door of a Switch. `farewell` adds what is known when the other side has gone."""

    def __init__(self, hear: Hear = nothing, farewell: Callable[[], str] = str) -> None:
        self._conversation = Conversation(hear)
        self._farewell = farewell
        self._socket: socket.socket | None = None
        self._state = threading.Condition()
        self._reading = False  # whether one of the waiting threads reads
        self._answers: dict[int, Answered] = {}
        self._lost: Error | None = ConnectionLost(NOT_OPEN)

    @property
    def is_open(self) -> bool:
        """Whether it was opened and not closed since."""
        return self._socket is not None

    def open(self, path: os.PathLike[str] | str, timeout: float | None = None) -> None:
        """Connects. With a timeout (in real seconds) the other side may be silent for so long."""
        opened = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        try:
            opened.connect(os.fspath(path))
        except OSError as problem:
            opened.close()
            raise ConnectionLost(f"nobody answers at {os.fspath(path)}: "
                                 f"{problem.strerror or problem}") from problem
        opened.settimeout(timeout)
        self._socket, self._lost = opened, None

    def close(self) -> None:
        """Ends the connection; whoever waits gets a ConnectionLost."""
        with self._state:
            if self._socket is None:
                return
            self._lost = self._lost or ConnectionLost("the connection was closed")
            with contextlib.suppress(OSError):
                self._socket.shutdown(socket.SHUT_RDWR)
            self._socket.close()
            self._socket = None

    def perform(self, call: Call[T]) -> T:
        """Asks and waits for the answer. What interrupts this thread interrupts the line, too."""
        with self._state:
            number, data = self._conversation.ask(call)
            self._send(data)
        try:
            return self._wait_for(number).value(call)
        except Error:
            raise
        except BaseException:
            with self._state:
                self._send(self._conversation.forget(number))
                self._answers.pop(number, None)
            raise

    def listen(self) -> None:
        """Waits until something has come, for those who hear notifications."""
        self._read()
        if self._lost is not None:
            raise self._lost

    def set_timeout(self, timeout: float | None) -> None:
        """For how many seconds the other side may be silent from now on."""
        with self._state:
            if self._socket is not None:
                self._socket.settimeout(timeout)

    def _send(self, data: bytes) -> None:
        # Why the other side has closed its end stands in what is still to be read.
        if self._socket is not None:
            with contextlib.suppress(BrokenPipeError, ConnectionResetError):
                self._socket.sendall(data)

    def _wait_for(self, number: int) -> Answered:
        while True:
            with self._state:
                self._state.wait_for(lambda: not self._reading or number in self._answers)
                if number in self._answers:
                    return self._answers.pop(number)
                if self._lost is not None:
                    raise self._lost
                self._reading = True
            try:
                self._read()
            finally:
                with self._state:
                    self._reading = False
                    self._state.notify_all()

    def _read(self) -> None:
        opened = self._socket
        if opened is None:
            return
        try:
            data = opened.recv(CHUNK)
        except TimeoutError as problem:
            raise TimeoutError(f"no answer within {opened.gettimeout()} s") from problem
        except OSError:
            data = b""
        with self._state:
            try:
                for answered in self._conversation.receive(data):
                    self._answers[answered.number] = answered
            except Error as problem:
                self._lost = self._lost or problem
            if not data and self._lost is None:
                self._lost = ConnectionLost(with_farewell(self._farewell()))


def with_farewell(farewell: str) -> str:
    """What is said of a connection that the other side has ended."""
    return f"the instance has ended the connection{': ' if farewell else ''}{farewell}"


def ask_once(path: os.PathLike[str] | str, call: Call[T], timeout: float) -> T:
    """The answer to one call over a connection of its own."""
    connection = Connection()
    connection.open(path, timeout)
    try:
        return connection.perform(call)
    finally:
        connection.close()
