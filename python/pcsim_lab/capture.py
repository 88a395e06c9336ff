"""Frames that pass at an interface, as a pcap file or as a line each."""
from __future__ import annotations

import contextlib
import errno
import os
import select
import socket
import struct
import sys
import time
from dataclasses import dataclass
from typing import Any, Callable, Iterator, TypeVar

from pcsim.new_file import NewFile, is_replaceable

from .problems import LabError

T = TypeVar("T")
SOL_PACKET, PACKET_AUXDATA, PACKET_OUTGOING = 263, 8, 4
SO_TIMESTAMPNS = 35
TAG_VALID, TYPE_VALID = 0x10, 0x40
ETH_P_8021Q = 0x8100
LONGEST = 262144
ETHERNET = 1
TYPES = {0x0800: "IPv4", 0x0806: "ARP", 0x86DD: "IPv6", 0x8100: "VLAN", 0x88CC: "LLDP"}


@dataclass(frozen=True)
class Frame:
    """One frame, `from_node` or to it, in ns since 1970."""

    time_ns: int
    from_node: bool
    data: bytes

    def line(self) -> str:
        """For people."""
        seconds, rest = divmod(self.time_ns, 10**9)
        clock = time.strftime("%H:%M:%S", time.localtime(seconds))
        kind = int.from_bytes(self.data[12:14], "big")
        return (f"{clock}.{rest // 1000:06} {'from' if self.from_node else 'to  '} node  "
                f"{self.data[6:12].hex(':')} > {self.data[:6].hex(':')}  "
                f"{TYPES.get(kind, f'0x{kind:04x}')}  {len(self.data)} bytes")


def frames(source: socket.socket, keeper: int) -> Iterator[Frame]:
    """All that pass until the lab ends, whose keeper's process that descriptor is of."""
    source.setsockopt(socket.SOL_SOCKET, SO_TIMESTAMPNS, 1)
    space = socket.CMSG_SPACE(20) + socket.CMSG_SPACE(16)
    # An open socket keeps the lab's network alive, and would wait there for ever.
    while source in select.select([source, keeper], [], [])[0]:
        try:
            data, extras, _, address = source.recvmsg(LONGEST, space)
        except OSError as problem:
            if problem.errno != errno.ENETDOWN:
                raise LabError(f"no more frames can be read: {problem.strerror}") from problem
            continue  # the cable is pulled, and may be plugged again
        stamp = time.time_ns()
        for level, kind, value in extras:
            if (level, kind) == (socket.SOL_SOCKET, SO_TIMESTAMPNS):
                seconds, rest = struct.unpack("=qq", value)
                stamp = seconds * 10**9 + rest
            elif (level, kind) == (SOL_PACKET, PACKET_AUXDATA):
                data = tagged(data, value)
        yield Frame(stamp, address[2] != PACKET_OUTGOING, data)


def tagged(data: bytes, auxiliary: bytes) -> bytes:
    """The frame with the VLAN's tag that the kernel has taken out of it."""
    status, _, _, _, _, tag, kind = struct.unpack("=IIIHHHH", auxiliary)
    if not status & TAG_VALID:
        return data
    return data[:12] + struct.pack(">HH", kind if status & TYPE_VALID else ETH_P_8021Q,
                                   tag) + data[12:]


class Pcap:
    """A pcap file with times in ns, of whole frames whatever happens. It takes the place of a
    former one when its begin is written."""

    def __init__(self, file: str) -> None:
        self._new = NewFile(file) if file != "-" and is_replaceable(file) else None
        if self._new is not None:
            self._descriptor = self._new.descriptor
        else:
            self._descriptor = os.dup(1) if file == "-" else os.open(file, os.O_WRONLY)
        self._size = 0
        try:
            self._write(struct.pack("=IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, LONGEST, ETHERNET))
            if self._new is not None:
                self._new.place()
        except BaseException:
            self.close()
            raise

    def add(self, frame: Frame) -> None:
        """One more frame."""
        self._write(struct.pack("=IIII", *divmod(frame.time_ns, 10**9), len(frame.data),
                                len(frame.data)) + frame.data)

    def _write(self, data: bytes) -> None:
        rest = data
        try:
            while rest:
                rest = rest[os.write(self._descriptor, rest):]
        except OSError:
            with contextlib.suppress(OSError):  # a pipe keeps what it has
                os.ftruncate(self._descriptor, self._size)
            raise
        self._size += len(data)

    def close(self) -> None:
        """It has all of its frames."""
        if self._new is not None:
            self._new.close()
        else:
            os.close(self._descriptor)


def writing(file: str | None, write: Callable[..., T], *arguments: Any) -> T:
    """What 'write' returns. LabError when it can't, but for readers that want no more."""
    try:
        return write(*arguments)
    except BrokenPipeError:
        raise
    except OSError as problem:
        raise LabError(f"{file or 'standard output'} can't be written: "
                       f"{problem.strerror}") from problem


def write_line(frame: Frame) -> None:
    """One frame, for people."""
    print(frame.line(), flush=True)


def run(source: socket.socket, keeper: int, endpoint: str, file: str | None,
        count: int | None) -> int:
    """Until so many have passed, the user ends it, or the lab ends; returns how many have. Says on
    standard error when nothing is missed any more, for who sends what it is to see."""
    target = None if file is None else writing(file, Pcap, file)
    seen = 0
    try:
        print(f"capturing at {endpoint}; Ctrl-C ends it", file=sys.stderr, flush=True)
        for frame in frames(source, keeper):
            seen += 1
            if target is None:
                writing(file, write_line, frame)
            else:
                writing(file, target.add, frame)
            if seen == count:
                break
    except KeyboardInterrupt:
        pass
    finally:
        if target is not None:
            target.close()
    return seen
