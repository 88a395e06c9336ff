"""What is asked of the kernel's network, by way of pyroute2, and what the kernel tells of it.

Requests go out many at a time, since a lab of hundreds of nodes makes thousands of them.
"""
from __future__ import annotations

import errno
import os
import socket
import struct
from dataclasses import dataclass
from typing import Any, Sequence

from pyroute2 import IPRoute  # type: ignore[import]
from pyroute2.netlink import NLM_F_ACK, NLM_F_DUMP, NLM_F_REQUEST, nlmsg  # type: ignore[import]
from pyroute2.netlink.exceptions import NetlinkError  # type: ignore[import]
from pyroute2.netlink.rtnl import RTM_DELLINK, RTM_NEWLINK  # type: ignore[import]

SOL_NETLINK, NETLINK_LISTEN_ALL_NSID = 270, 8
SO_RCVBUFFORCE = 33
RTMGRP_LINK = 1
IFF_UP, IFF_LOWER_UP = 1, 0x10000
BATCH = 64  # requests whose answers surely fit into the socket's buffer
NO_NAMESPACE = -1
HEAD = struct.Struct("=IHHIIBxHiII")  # of a message about an interface


@dataclass(frozen=True)
class Request:
    """What the kernel is asked; `about` says it to the user when it is refused."""

    kind: int
    message: nlmsg
    flags: int = 0
    about: str = ""
    tolerates: tuple[int, ...] = ()  # errors that are none here
    module: str = ""  # what a kernel lacks that doesn't know what is asked for


class Refused(OSError):
    """The kernel has refused a request."""

    def __init__(self, request: Request, problem: NetlinkError) -> None:
        number, text = problem.args
        why = os.strerror(number) + (f" ({text})" if text != os.strerror(number) else "")
        if request.module and number in (errno.ENOENT, errno.EOPNOTSUPP):
            why = f"this kernel doesn't know how; expected its module {request.module}"
        super().__init__(number, f"cannot {request.about}: {why}")


@dataclass(frozen=True)
class State:
    """An interface as the kernel tells of it."""

    index: int
    up: bool
    carrier: bool
    gone: bool = False


def state(index: int, flags: int, gone: bool) -> State:
    """Of its flags."""
    return State(index, bool(flags & IFF_UP), bool(flags & IFF_LOWER_UP), gone)


class Netlink:
    """A socket for requests of the namespace that it was made in."""

    def __init__(self) -> None:
        self._kernel = IPRoute(ext_ack=True)

    def close(self) -> None:
        """Lets go of the socket."""
        self._kernel.close()

    def perform(self, requests: Sequence[Request]) -> None:
        """Runs them in order. Refused for the first that is; those behind it may have been done."""
        for start in range(0, len(requests), BATCH):
            self._batch(requests[start:start + BATCH])

    def _batch(self, batch: Sequence[Request]) -> None:
        for request in batch:
            request.message["header"] = {"type": request.kind,
                                         "flags": NLM_F_REQUEST | NLM_F_ACK | request.flags}
        answers = self._kernel.nlm_request_batch([request.message for request in batch],
                                                 noraise=True)
        for request, answer in zip(batch, answers):
            problem = answer["header"]["error"]
            if problem is not None and problem.code not in request.tolerates:
                raise Refused(request, problem)

    def states(self, question: nlmsg) -> list[State]:
        """The interfaces that a question is about."""
        found: Any = self._kernel.nlm_request(question, msg_type=question["header"]["type"],
                                              msg_flags=NLM_F_REQUEST | NLM_F_DUMP)
        return [state(each["index"], each["flags"], False) for each in found]


class Monitor:
    """A socket that hears of every change of an interface, in all namespaces that have a number in
    the one that it was made in. That number comes beside a message, and pyroute2 doesn't hand it
    on: so this reads for itself."""

    def __init__(self, buffer: int = 8 << 20) -> None:
        self._socket = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW | socket.SOCK_CLOEXEC, 0)
        self._socket.setblocking(False)
        try:
            self._socket.setsockopt(socket.SOL_SOCKET, SO_RCVBUFFORCE, buffer)
        except PermissionError:
            self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, buffer)
        self._socket.bind((0, RTMGRP_LINK))
        self._socket.setsockopt(SOL_NETLINK, NETLINK_LISTEN_ALL_NSID, 1)

    def fileno(self) -> int:
        """For those who wait."""
        return self._socket.fileno()

    def read(self) -> list[tuple[int, State]] | None:
        """What has come: (number of the namespace, interface). None when something was lost."""
        found: list[tuple[int, State]] = []
        while True:
            try:
                data, extras, _, _ = self._socket.recvmsg(1 << 16, socket.CMSG_SPACE(4))
            except BlockingIOError:
                return found
            except OSError as problem:
                if problem.errno == errno.ENOBUFS:
                    return None
                raise
            space = NO_NAMESPACE
            for level, kind, value in extras:
                if (level, kind) == (SOL_NETLINK, NETLINK_LISTEN_ALL_NSID):
                    space = struct.unpack("=i", value)[0]
            found += [(space, each) for each in told(data)]


def told(data: bytes) -> list[State]:
    """The interfaces that the messages of one piece tell of."""
    found, at = [], 0
    while at + HEAD.size <= len(data):
        length, kind, _, _, _, _, _, index, flags, _ = HEAD.unpack_from(data, at)
        if length < HEAD.size:
            break
        if kind in (RTM_NEWLINK, RTM_DELLINK):
            found.append(state(index, flags, kind == RTM_DELLINK))
        at += length + -length % 4
    return found
