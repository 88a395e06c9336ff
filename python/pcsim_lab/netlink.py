"""Messages to the kernel's network, and its answers: no more of netlink than a lab needs.

Requests go out many at a time, since a lab of hundreds of nodes makes thousands of them.
"""
from __future__ import annotations

import errno
import os
import socket
import struct
from dataclasses import dataclass
from typing import Iterator, Sequence

SOL_NETLINK = 270
NETLINK_EXT_ACK, NETLINK_LISTEN_ALL_NSID = 11, 8
SO_RCVBUFFORCE = 33
RTMGRP_LINK = 1
NLMSG_ERROR, NLMSG_DONE = 2, 3
REQUEST, ACK, DUMP, CREATE, EXCL = 1, 4, 0x300, 0x400, 0x200
CAPPED, ACK_TLVS = 0x100, 0x200
BATCH = 64  # requests whose answers surely fit into the socket's buffer
NESTED = 0x8000
NO_NAMESPACE = -1


def attribute(kind: int, value: bytes | int | str) -> bytes:
    """One attribute; numbers have 32 bits, texts end in a zero."""
    if isinstance(value, int):
        value = struct.pack("=I", value)
    elif isinstance(value, str):
        value = value.encode() + b"\0"
    return struct.pack("=HH", len(value) + 4, kind) + value + bytes(-len(value) % 4)


def attributes(data: bytes) -> dict[int, bytes]:
    """The attributes that stand there, by kind."""
    found, at = {}, 0
    while at + 4 <= len(data):
        length, kind = struct.unpack_from("=HH", data, at)
        if length < 4:
            break
        found[kind & ~NESTED] = data[at + 4:at + length]
        at += length + -length % 4
    return found


@dataclass(frozen=True)
class Request:
    """What the kernel is asked; `about` says it to the user when it is refused."""

    kind: int
    body: bytes
    flags: int = 0
    about: str = ""
    tolerates: tuple[int, ...] = ()  # errors that are none here
    module: str = ""  # what a kernel lacks that doesn't know what is asked for


class Refused(OSError):
    """The kernel has refused a request."""

    def __init__(self, request: Request, number: int, text: str) -> None:
        why = os.strerror(number) + (f" ({text})" if text else "")
        if request.module and number in (errno.ENOENT, errno.EOPNOTSUPP):
            why = f"this kernel doesn't know how; expected its module {request.module}"
        super().__init__(number, f"cannot {request.about}: {why}")


Message = tuple[int, int, int, bytes]  # kind, flags, sequence number, body


def messages(data: bytes) -> Iterator[Message]:
    """The messages that have come in one piece."""
    at = 0
    while at + 16 <= len(data):
        length, kind, flags, sequence, _ = struct.unpack_from("=IHHII", data, at)
        if length < 16:
            return
        yield kind, flags, sequence, data[at + 16:at + length]
        at += length + -length % 4


class Netlink:
    """A socket for requests of the namespace that it was made in."""

    def __init__(self) -> None:
        self._socket = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW | socket.SOCK_CLOEXEC, 0)
        self._socket.setsockopt(SOL_NETLINK, NETLINK_EXT_ACK, 1)
        self._socket.bind((0, 0))
        self._sequence = 0

    def close(self) -> None:
        """Lets go of the socket."""
        self._socket.close()

    def perform(self, requests: Sequence[Request]) -> None:
        """Runs them in order. Refused for the first that is; those behind it may have been done."""
        for start in range(0, len(requests), BATCH):
            self._batch(requests[start:start + BATCH])

    def _batch(self, batch: Sequence[Request]) -> None:
        first = self._sequence + 1
        self._socket.send(b"".join(self._packed(request, REQUEST | ACK | request.flags)
                                   for request in batch))
        waiting, refused = len(batch), None
        while waiting:
            for kind, flags, sequence, body in messages(self._socket.recv(1 << 16)):
                if kind != NLMSG_ERROR or sequence < first:
                    continue
                waiting -= 1
                request = batch[sequence - first]
                number = -struct.unpack_from("=i", body)[0]
                if number and number not in request.tolerates:
                    refused = refused or Refused(request, number, explanation(flags, body))
        if refused is not None:
            raise refused

    def _packed(self, request: Request, flags: int) -> bytes:
        self._sequence += 1
        return struct.pack("=IHHII", len(request.body) + 16, request.kind, flags, self._sequence,
                           0) + request.body + bytes(-len(request.body) % 4)

    def dump(self, request: Request) -> list[Message]:
        """All that there is of what the request names."""
        self._socket.send(self._packed(request, REQUEST | DUMP))
        found: list[Message] = []
        while True:
            for message in messages(self._socket.recv(1 << 16)):
                kind, flags, sequence, body = message
                if sequence != self._sequence:
                    continue
                if kind == NLMSG_DONE:
                    return found
                if kind == NLMSG_ERROR:
                    number = -struct.unpack_from("=i", body)[0]
                    raise Refused(request, number, explanation(flags, body))
                found.append(message)


def explanation(flags: int, body: bytes) -> str:
    """What the kernel says of a refusal, if it does."""
    if not flags & ACK_TLVS:
        return ""
    behind = 20 if flags & CAPPED else 4 + struct.unpack_from("=I", body, 4)[0]
    return attributes(body[behind:]).get(1, b"").rstrip(b"\0").decode(errors="replace")


class Monitor:
    """A socket that hears of every change of an interface, in all namespaces that have a number in
    the one that it was made in."""

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

    def read(self) -> list[tuple[int, Message]] | None:
        """What has come: (number of the namespace, message). None when something was lost."""
        found: list[tuple[int, Message]] = []
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
            found += [(space, message) for message in messages(data)]
