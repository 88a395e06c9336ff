"""Frames that pass at an interface, as a pcap file or as a line each."""
from __future__ import annotations

import socket
import struct
import sys
import time
from dataclasses import dataclass
from typing import BinaryIO, Iterator

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


def frames(source: socket.socket) -> Iterator[Frame]:
    """All that pass."""
    source.setsockopt(socket.SOL_SOCKET, SO_TIMESTAMPNS, 1)
    space = socket.CMSG_SPACE(20) + socket.CMSG_SPACE(16)
    while True:
        data, extras, _, address = source.recvmsg(LONGEST, space)
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


def write_head(target: BinaryIO) -> None:
    """The begin of a pcap file with times in ns."""
    target.write(struct.pack("=IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, LONGEST, ETHERNET))
    target.flush()


def write_frame(target: BinaryIO, frame: Frame) -> None:
    """One frame of it."""
    target.write(struct.pack("=IIII", *divmod(frame.time_ns, 10**9), len(frame.data),
                             len(frame.data)) + frame.data)
    target.flush()


def run(source: socket.socket, endpoint: str, file: str | None, count: int | None) -> int:
    """Until so many have passed, or for ever; returns how many have. Says on standard error when
    nothing is missed any more, for who sends what it is to see."""
    target: BinaryIO | None = None
    if file is not None:
        target = sys.stdout.buffer if file == "-" else open(file, "wb")
    seen = 0
    try:
        if target is not None:
            write_head(target)
        print(f"capturing at {endpoint}; Ctrl-C ends it", file=sys.stderr, flush=True)
        for frame in frames(source):
            seen += 1
            if target is None:
                print(frame.line(), flush=True)
            else:
                write_frame(target, frame)
            if seen == count:
                break
    except KeyboardInterrupt:
        pass
    finally:
        if target is not None and file != "-":
            target.close()
    return seen
