"""What a lab asks of the kernel: pairs of interfaces, their state, and cables between them.

A cable leads each frame that comes in at one end out at the other, by a filter that matches all. So
nothing between two nodes looks at frames: none is eaten, as a bridge does with some.
"""
from __future__ import annotations

import errno
import socket
import struct
from dataclasses import dataclass

from .netlink import CREATE, EXCL, Message, Netlink, Request, attribute, attributes
from .topology import Shaping

NEWLINK, DELLINK, GETLINK, SETLINK = 16, 17, 18, 19
NEWQDISC, DELQDISC = 36, 37
NEWFILTER, DELFILTER = 44, 45
NEWNSID = 88
ADDRESS, IFNAME, LINKINFO, ALIAS, PEER_NAMESPACE, TARGET_NAMESPACE = 1, 3, 18, 20, 28, 46
EXTENT, SKIP_STATISTICS = 29, 8
IFF_UP, IFF_NOARP, IFF_MULTICAST, IFF_LOWER_UP = 1, 0x80, 0x1000, 0x10000
ROOT, CLSACT, INGRESS, CLSACT_PARENT = 0xFFFFFFFF, 0xFFFF0000, 0xFFFFFFF2, 0xFFFFFFF1
ETH_P_ALL = 0x0003
STOLEN, EGRESS_REDIRECT = 4, 1
TERMINAL = 1
HANDLE = 0x00010000
LONGEST_FRAME = 1514
QUEUE = 1000  # frames that may be under way each way, when they are late


@dataclass(frozen=True)
class State:
    """An interface as the kernel tells of it."""

    index: int
    name: str
    up: bool
    carrier: bool
    gone: bool


def link(index: int, flags: int = 0, change: int = 0) -> bytes:
    """The head of a message about an interface."""
    return struct.pack("=BxHiII", 0, 0, index, flags, change)


def state(message: Message) -> State | None:
    """The interface that a message tells of, if it tells of one."""
    kind, _, _, body = message
    if kind not in (NEWLINK, DELLINK):
        return None
    _, _, index, flags, _ = struct.unpack_from("=BxHiII", body)
    name = attributes(body[16:]).get(IFNAME, b"").rstrip(b"\0").decode()
    return State(index, name, bool(flags & IFF_UP), bool(flags & IFF_LOWER_UP), kind == DELLINK)


def states(kernel: Netlink, number: int) -> list[State]:
    """All interfaces of the namespace of that number."""
    body = link(0) + attribute(EXTENT, SKIP_STATISTICS) + attribute(TARGET_NAMESPACE, number)
    found = kernel.dump(Request(GETLINK, body, about="list interfaces"))
    return [seen for seen in map(state, found) if seen is not None]


def name_namespace(descriptor: int, number: int) -> Request:
    """Gives a namespace a number."""
    body = b"\0\0\0\0" + attribute(1, number) + attribute(3, descriptor)
    return Request(NEWNSID, body, about="number a namespace")


@dataclass(frozen=True)
class Pair:
    """An interface of a node, and its other end on the patch panel. Indices are given, so nobody
    need ask for them."""

    index: int          # on the panel
    name: str           # on the panel
    node_index: int
    interface: str
    address: bytes
    silent: bool        # neither ARP nor multicast of the kernel's own
    namespace: int      # descriptor


def make(pair: Pair, alias: str) -> list[Request]:
    """Makes the pair, both ends down: none can be up before it has the other."""
    quiet = IFF_NOARP | IFF_MULTICAST if pair.silent else 0
    peer = (link(pair.node_index, quiet & IFF_NOARP, quiet) + attribute(IFNAME, pair.interface)
            + attribute(ADDRESS, pair.address) + attribute(PEER_NAMESPACE, pair.namespace))
    kind = attribute(LINKINFO, attribute(1, "veth") + attribute(2, attribute(1, peer)))
    body = link(pair.index, IFF_NOARP, IFF_NOARP | IFF_MULTICAST) + attribute(IFNAME, pair.name)
    return [
        Request(NEWLINK, body + kind, CREATE | EXCL, f"make interface {alias}", (), "veth"),
        Request(SETLINK, link(pair.index) + attribute(ALIAS, alias), 0, f"name {alias}"),
        Request(NEWQDISC, traffic(pair.index, CLSACT_PARENT, CLSACT) + attribute(1, "clsact"),
                CREATE | EXCL, f"prepare {alias}", (), "sch_ingress"),
    ]


def set_up(index: int, up: bool) -> Request:
    """Takes an interface up or down; one that is gone stays so."""
    return Request(SETLINK, link(index, IFF_UP if up else 0, IFF_UP), 0, "switch an interface",
                   (errno.ENODEV,))


def traffic(index: int, parent: int, handle: int = 0, info: int = 0) -> bytes:
    """The head of a message about traffic."""
    return struct.pack("=BxHiIII", 0, 0, index, handle, parent, info)


def redirect(source: int, target: int) -> Request:
    """What comes in at one interface of the panel goes out at the other."""
    # struct tc_mirred: index, capab, action, references, binds, which way, interface.
    mirred = attribute(2, struct.pack("=IIiiiiI", 0, 0, STOLEN, 0, 0, EGRESS_REDIRECT, target))
    action = attribute(1, attribute(1, "mirred") + attribute(2, mirred))
    everything = struct.pack("=BBBxHHhhhxxI", TERMINAL, 0, 0, 0, 0, 0, 0, 0, 0)
    options = attribute(2, attribute(5, everything) + attribute(7, action))
    body = traffic(source, INGRESS, 0, info(1)) + attribute(1, "u32") + options
    return Request(NEWFILTER, body, CREATE | EXCL, "lay a cable", (),
                   "cls_u32 or act_mirred")


def end_redirect(source: int) -> Request:
    """Nothing goes on from there any more."""
    return Request(DELFILTER, traffic(source, INGRESS, 0, info(1)), 0, "take a cable away",
                   (errno.ENOENT, errno.ENODEV, errno.EINVAL))


def info(priority: int) -> int:
    """Priority and protocol of a filter, as the kernel has them."""
    return priority << 16 | socket.htons(ETH_P_ALL)


def shape(index: int, shaping: Shaping) -> list[Request]:
    """Makes what leaves there as slow, late and lossy as is asked."""
    head = traffic(index, ROOT)
    found = [Request(DELQDISC, head, 0, "end shaping", (errno.ENOENT, errno.EINVAL, errno.ENODEV))]
    if shaping == Shaping():
        return found
    late = shaping.delay or shaping.jitter or shaping.loss
    name, options = ("netem", netem(shaping)) if late else ("tbf", token_bucket(shaping.rate))
    what = "late or lossy" if late else "slow"
    body = traffic(index, ROOT, HANDLE) + attribute(1, name) + attribute(2, options)
    return [*found, Request(NEWQDISC, body, CREATE | EXCL, f"make a cable {what}", (),
                            f"sch_{name}")]


def token_bucket(rate: int) -> bytes:
    """Ten milliseconds in one burst; fifty more may wait, or a hundred frames."""
    speed = rate // 8
    burst = max(speed // 100, 2000)
    limit = burst + min(max(speed // 20, 100 * LONGEST_FRAME), 1 << 30)
    rates = struct.pack("=BBHhHI", 0, 1, 0, -1, 0, min(speed, 0xFFFFFFFF)) + bytes(12)
    return (attribute(1, rates + struct.pack("=III", limit, 0, 0))
            + (attribute(4, struct.pack("=Q", speed)) if speed > 0xFFFFFFFF else b"")
            + attribute(6, burst))


def netem(shaping: Shaping) -> bytes:
    """Latency and jitter in ns, loss as a share of 2^32, the rate in byte/s."""
    loss = min(round(shaping.loss / 100 * 0x100000000), 0xFFFFFFFF)
    head = struct.pack("=IIIIII", 0, QUEUE, loss, 0, 0, 0)
    times = (attribute(10, struct.pack("=q", shaping.delay * 1000))
             + attribute(11, struct.pack("=q", shaping.jitter * 1000)))
    if not shaping.rate:
        return head + times
    speed = shaping.rate // 8
    wide = attribute(8, struct.pack("=Q", speed)) if speed > 0xFFFFFFFF else b""
    return head + times + wide + attribute(6, struct.pack("=IiIi", min(speed, 0xFFFFFFFF), 0, 0, 0))
