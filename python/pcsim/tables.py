"""The tables of a switch: MAC addresses, routes, neighbors. Each method is a line of the
console.
"""
from __future__ import annotations

import os

from .parts import DoorT, Part, Verb, ask, do
from .protocol import JSON, Call
from .records import MacEntry, Neighbor, Route, rows
from .words import Address, Prefix, Via, hops, option

ALL_ADDRESSES = 1_000_000
ALL_ROUTES = 100_000


def take_routes(data: JSON) -> list[Route]:
    """The rows of either family; a lookup has those of one."""
    return rows(Route, *(key for key in ("ipv4Routes", "ipv6Routes") if key in data))(data)


class MacTable(Part[DoorT]):
    """The MAC table."""

    @Verb
    def entries(self, vlan: int | None = None, port: str | None = None, trunk: int | None = None,
                limit: int = ALL_ADDRESSES) -> Call[list[MacEntry]]:
        """Its addresses by VLAN, all or those of a VLAN, port or trunk."""
        return ask(rows(MacEntry, "entries"), "show", "fdb", *option("vlan", vlan),
                   *option("port", port), *option("trunk", trunk), "limit", limit)

    @Verb
    def find(self, mac: str, vlan: int) -> Call[MacEntry]:
        """One address, looked up by the platform."""
        return ask(lambda data: MacEntry.of(data["entry"]), "fdb", "find", mac, "vlan", vlan)

    @Verb
    def add(self, mac: str, vlan: int, port: str, static: bool = False) -> Call[None]:
        """Learn an address on a port of the VLAN, or configure it."""
        return do("fdb", "add", mac, "vlan", vlan, "port", port, "static" if static else None)

    @Verb
    def delete(self, mac: str, vlan: int) -> Call[None]:
        """Delete an address."""
        return do("fdb", "del", mac, "vlan", vlan)

    @Verb
    def flush(self, vlan: int | None = None, port: str | None = None,
              trunk: int | None = None) -> Call[None]:
        """Flush dynamic addresses, which go when the platform has completed it (100 ms)."""
        return do("fdb", "flush", *option("vlan", vlan), *option("port", port),
                  *option("trunk", trunk))

    @Verb
    def age(self, seconds: int) -> Call[None]:
        """When addresses go that were not seen again; 0 is never."""
        return do("fdb", "age", seconds)

    @Verb
    def load(self, file: str | os.PathLike[str], create_vlans: bool = False) -> Call[JSON]:
        """Add the addresses of a file; the data of the report."""
        return ask(same, "fdb", "load", os.fspath(file), "create-vlans" if create_vlans else None)

    @Verb
    def stats(self) -> Call[JSON]:
        """How full it is, and what became of entries."""
        return ask(lambda data: data["fdb"], "fdb", "stats")


class RouteTable(Part[DoorT]):
    """The routes. `via` is a next hop, (gateway, VLAN), or several of them."""

    @Verb
    def entries(self, vr: int | None = None, limit: int = ALL_ROUTES) -> Call[list[Route]]:
        """A row per next hop, in the order of the platform's tables."""
        return ask(take_routes, "show", "route", *option("vr", vr), "limit", limit)

    @Verb
    def lookup(self, address: Address | Prefix, vr: int | None = None) -> Call[list[Route]]:
        """The routes that cover an address or a prefix, the one that counts first."""
        return ask(take_routes, "show", "route", address, *option("vr", vr))

    @Verb
    def add(self, prefix: Prefix, via: Via = (), vr: int | None = None) -> Call[None]:
        """Next hops beside those that the route has."""
        return do("route", "add", prefix, *hops(via), *option("vr", vr))

    @Verb
    def replace(self, prefix: Prefix, via: Via = (), vr: int | None = None) -> Call[None]:
        """The route's only next hops."""
        return do("route", "replace", prefix, *hops(via), *option("vr", vr))

    @Verb
    def delete(self, prefix: Prefix, via: Via = (), vr: int | None = None) -> Call[None]:
        """These next hops, or without one the whole route."""
        return do("route", "del", prefix, *hops(via), *option("vr", vr))

    @Verb
    def flush(self, via: Prefix | None = None, vlan: int | None = None,
              vr: int | None = None) -> Call[None]:
        """Next hops with such a gateway on such a VLAN."""
        return do("route", "flush", *option("via", via), *option("vlan", vlan), *option("vr", vr))

    @Verb
    def load(self, file: str | os.PathLike[str], via: Via = (),
             vr: int | None = None) -> Call[JSON]:
        """Add the routes of a file; the data of the report."""
        return ask(same, "route", "load", os.fspath(file), *hops(via), *option("vr", vr))


class NeighborTable(Part[DoorT]):
    """The neighbors."""

    @Verb
    def entries(self) -> Call[list[Neighbor]]:
        """All neighbors."""
        return ask(rows(Neighbor, "neighbors"), "show", "neighbors")

    @Verb
    def add(self, address: Address, vlan: int, mac: str, port: str,
            vr: int | None = None) -> Call[None]:
        """A neighbor that was resolved, or has moved."""
        return do("neighbor", "add", address, "vlan", vlan, "mac", mac, "port", port,
                  *option("vr", vr))

    @Verb
    def delete(self, address: Address, vlan: int, vr: int | None = None) -> Call[None]:
        """A neighbor that was lost."""
        return do("neighbor", "del", address, "vlan", vlan, *option("vr", vr))


def same(data: JSON) -> JSON:
    """Data as they are."""
    return data
