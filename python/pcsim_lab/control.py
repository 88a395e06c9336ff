"""The keeper's socket: a request per line, an answer per line, both JSON. An answer may bring a
descriptor along.
"""
from __future__ import annotations

import json
import os
import socket
from contextlib import contextmanager
from pathlib import Path
from typing import Any, Callable, Iterator

from .problems import BadInput, LabError, told
from .topology import JSON

PIECE = 1 << 16
LONGEST_REQUEST = 1 << 16
ANSWER_S = 30.0
READ_S = 5.0  # that a client may leave an answer unread

# What a method answers: data, and a socket if one comes with it.
Method = Callable[[JSON], tuple[Any, socket.socket | None]]


@contextmanager
def short(path: Path) -> Iterator[str]:
    """A name of a socket that is short enough, whatever its folder is called."""
    folder = os.open(path.parent, os.O_PATH | os.O_DIRECTORY)
    try:
        yield f"/proc/self/fd/{folder}/{path.name}"
    finally:
        os.close(folder)


def listen(path: Path) -> socket.socket:
    """A socket that waits there."""
    found = socket.socket(socket.AF_UNIX)
    with short(path) as name:
        found.bind(name)
    found.listen(64)
    found.setblocking(False)
    return found


class Client:
    """One connection, as the keeper has it."""

    def __init__(self, connection: socket.socket, methods: dict[str, Method]) -> None:
        self.socket = connection
        self.socket.settimeout(READ_S)
        self._methods = methods
        self._read = b""

    def serve(self) -> bool:
        """Answers what has come; False when it was the last."""
        try:
            piece = self.socket.recv(PIECE)
            if not piece or len(self._read) > LONGEST_REQUEST:
                return False
            *lines, self._read = (self._read + piece).split(b"\n")
            for line in lines:
                self._answer(line)
            return True
        except OSError:
            return False

    def _answer(self, line: bytes) -> None:
        extra = None
        try:
            request = json.loads(line)
            method = self._methods.get(request["method"])
            if method is None:
                raise BadInput(f"there is no method '{request['method']}'; expected "
                               f"{', '.join(self._methods)}")
            result, extra = method(request.get("params", {}))
            answer = {"result": result}
        except LabError as problem:
            answer = {"error": {"text": str(problem), "status": problem.status}}
        except (ValueError, TypeError, KeyError, AttributeError) as problem:
            answer = {"error": {"text": f"this is no request: {problem!r}; expected an object with "
                                "'method' and 'params'", "status": BadInput.status}}
        except OSError as problem:
            answer = {"error": {"text": told(problem), "status": 1}}
        data = json.dumps(answer).encode() + b"\n"
        if extra is None:
            self.socket.sendall(data)
            return
        with extra:
            sent = socket.send_fds(self.socket, [data], [extra.fileno()])
        self.socket.sendall(data[sent:])


def ask(path: Path, method: str, *, patience_s: float = ANSWER_S,
        **params: Any) -> tuple[Any, socket.socket | None]:
    """What the keeper there answers."""
    with socket.socket(socket.AF_UNIX) as connection:
        connection.settimeout(patience_s)
        try:
            with short(path) as name:
                connection.connect(name)
            connection.sendall(json.dumps({"method": method, "params": params}).encode() + b"\n")
            data, descriptors = read_answer(connection)
        except TimeoutError:
            raise LabError(f"the keeper of the lab has not answered within {patience_s:.0f} s"
                           ) from None
        except OSError as problem:
            raise LabError(f"the keeper of the lab doesn't answer: {problem.strerror}") from None
    extra = socket.socket(fileno=descriptors[0]) if descriptors else None
    if not data.endswith(b"\n"):
        raise LabError("the keeper of the lab has gone in the middle of its answer")
    answer = json.loads(data)
    if "error" in answer:
        kind = BadInput if answer["error"]["status"] == BadInput.status else LabError
        raise kind(answer["error"]["text"])
    return answer["result"], extra


def read_answer(connection: socket.socket) -> tuple[bytes, list[int]]:
    """One line, and the descriptors that came along."""
    data, descriptors, _, _ = socket.recv_fds(connection, PIECE, 1)
    while data and not data.endswith(b"\n"):
        piece = connection.recv(PIECE)
        if not piece:
            break
        data += piece
    return data, list(descriptors)
