"""What a lab asks of the kernel: pairs of interfaces, their state, and cables between them.

A cable leads each frame that comes in at one end out at the other, by a filter that matches all. So
nothing between two nodes looks at frames: none is eaten, as a bridge does with some.
"""
from __future__ import annotations

import errno
import socket
from dataclasses import dataclass
from typing import Any

from pyroute2.netlink import NLM_F_CREATE, NLM_F_EXCL  # type: ignore[import]
from pyroute2.netlink.rtnl import (  # type: ignore[import]
    RTM_DELQDISC, RTM_DELTFILTER, RTM_GETLINK, RTM_NEWLINK, RTM_NEWNSID, RTM_NEWQDISC,
    RTM_NEWTFILTER, RTM_SETLINK, TC_H_CLSACT, TC_H_ROOT)
from pyroute2.netlink.rtnl.ifinfmsg import (  # type: ignore[import]
    IFF_MULTICAST, IFF_NOARP, IFF_UP, ifinfmsg)
from pyroute2.netlink.rtnl.nsidmsg import nsidmsg  # type: ignore[import]
from pyroute2.netlink.rtnl.tcmsg import (  # type: ignore[import]
    sched_netem, sched_tbf, tcmsg)
from pyroute2.netlink.rtnl.tcmsg.common_act import get_tca_action  # type: ignore[import]

from .netlink import Netlink, Request, State
from .topology import Shaping

NEW = NLM_F_CREATE | NLM_F_EXCL
SKIP_STATISTICS = 8
INGRESS = TC_H_CLSACT + 1
FIRST = 1 << 16 | socket.htons(0x0003)  # priority of a filter, for all protocols
# No bit of the first four bytes need be set. They are those before the payload, which may be empty.
EVERYTHING = "0x0/0x0+-14"
HANDLE = 0x00010000
LONGEST_FRAME = 1514
QUEUE = 1000  # frames that may be under way each way, when they are late


def message(kind: Any, attributes: Any, **fields: int) -> Any:
    """A message of a kind of pyroute2's."""
    found = kind()
    found.update(fields, attrs=list(attributes))
    return found


def link(index: int = 0, attributes: Any = (), **fields: int) -> ifinfmsg:
    """A message about an interface."""
    return message(ifinfmsg, attributes, index=index, **fields)


def traffic(index: int, parent: int, attributes: Any = (), **fields: int) -> tcmsg:
    """A message about what becomes of frames."""
    return message(tcmsg, attributes, index=index, parent=parent, **fields)


def states(kernel: Netlink, number: int) -> list[State]:
    """All interfaces of the namespace of that number."""
    question = link(attributes=[("IFLA_EXT_MASK", SKIP_STATISTICS), ("IFLA_IF_NETNSID", number)])
    question["header"] = {"type": RTM_GETLINK}
    return kernel.states(question)


def name_namespace(descriptor: int, number: int) -> Request:
    """Gives a namespace a number."""
    named = message(nsidmsg, [("NETNSA_NSID", number), ("NETNSA_FD", descriptor)])
    return Request(RTM_NEWNSID, named, about="number a namespace")


@dataclass(frozen=True)
class Pair:
    """An interface of a node, and its other end on the patch panel. Indices are given, so nobody
    need ask for them."""

    index: int          # on the panel
    name: str           # on the panel
    node_index: int
    interface: str
    address: str
    silent: bool        # neither ARP nor multicast of the kernel's own
    namespace: int      # descriptor


def make(pair: Pair, alias: str) -> list[Request]:
    """Makes the pair, both ends down: none can be up before it has the other."""
    quiet = IFF_NOARP | IFF_MULTICAST if pair.silent else 0
    peer = {"index": pair.node_index, "flags": quiet & IFF_NOARP, "change": quiet,
            "attrs": [("IFLA_IFNAME", pair.interface), ("IFLA_ADDRESS", pair.address),
                      ("IFLA_NET_NS_FD", pair.namespace)]}
    kind = [("IFLA_INFO_KIND", "veth"), ("IFLA_INFO_DATA", {"attrs": [("VETH_INFO_PEER", peer)]})]
    return [
        Request(RTM_NEWLINK,
                link(pair.index, [("IFLA_IFNAME", pair.name), ("IFLA_LINKINFO", {"attrs": kind})],
                     flags=IFF_NOARP, change=IFF_NOARP | IFF_MULTICAST),
                NEW, f"make interface {alias}", (), "veth"),
        Request(RTM_SETLINK, link(pair.index, [("IFLA_IFALIAS", alias)]), 0, f"name {alias}"),
        Request(RTM_NEWQDISC,
                traffic(pair.index, TC_H_CLSACT, [("TCA_KIND", "clsact")],
                        handle=TC_H_CLSACT & 0xFFFF0000),
                NEW, f"prepare {alias}", (), "sch_ingress"),
    ]


def set_up(index: int, up: bool) -> Request:
    """Takes an interface up or down; one that is gone stays so."""
    return Request(RTM_SETLINK, link(index, flags=IFF_UP if up else 0, change=IFF_UP), 0,
                   "switch an interface", (errno.ENODEV,))


def redirect(source: int, target: int) -> Request:
    """What comes in at one interface of the panel goes out at the other."""
    out = {"kind": "mirred", "direction": "egress", "action": "redirect", "ifindex": target}
    options = [("TCA_U32_SEL", {"keys": [EVERYTHING]}),
               ("TCA_U32_ACT", get_tca_action({"action": out}))]
    laid = traffic(source, INGRESS, [("TCA_KIND", "u32"), ("TCA_OPTIONS", {"attrs": options})],
                   info=FIRST)
    return Request(RTM_NEWTFILTER, laid, NEW, "lay a cable", (), "cls_u32 or act_mirred")


def end_redirect(source: int) -> Request:
    """Nothing goes on from there any more."""
    return Request(RTM_DELTFILTER, traffic(source, INGRESS, info=FIRST), 0, "take a cable away",
                   (errno.ENOENT, errno.ENODEV, errno.EINVAL))


def shape(index: int, shaping: Shaping) -> list[Request]:
    """Makes what leaves there as slow, late and lossy as is asked."""
    found = [Request(RTM_DELQDISC, traffic(index, TC_H_ROOT), 0, "end shaping",
                     (errno.ENOENT, errno.EINVAL, errno.ENODEV))]
    if shaping == Shaping():
        return found
    late = shaping.delay or shaping.jitter or shaping.loss
    name, options = ("netem", netem(shaping)) if late else ("tbf", token_bucket(shaping.rate))
    made = traffic(index, TC_H_ROOT, [("TCA_KIND", name), ("TCA_OPTIONS", options)], handle=HANDLE)
    about = "make a cable " + ("late or lossy" if late else "slow")
    return [*found, Request(RTM_NEWQDISC, made, NEW, about, (), f"sch_{name}")]


def token_bucket(rate: int) -> Any:
    """Ten milliseconds in one burst; fifty more may wait, or a hundred frames."""
    speed = rate // 8
    burst = max(speed // 100, 2000)
    limit = burst + min(max(speed // 20, 100 * LONGEST_FRAME), 1 << 30)
    return sched_tbf.get_parameters({"rate": speed, "burst": burst, "limit": limit})


def netem(shaping: Shaping) -> Any:
    """Latency, jitter, loss and rate together."""
    return sched_netem.get_parameters({
        "delay": shaping.delay, "jitter": shaping.jitter, "loss": shaping.loss, "limit": QUEUE,
        "rate": shaping.rate // 8 or None})
