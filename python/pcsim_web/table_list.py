"""Which tables there are behind the panel, each with its columns, its search and what fills it."""
from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Callable, Iterator, Mapping, Sequence

from .searches import (V4, V6, Search, access_list, anything, groups, macs, neighbors, nothing,
                       routes)

JSON = Any
Row = Mapping[str, JSON]


@dataclass(frozen=True)
class Column:
    """`kind` says how a page draws the values: as text, number (a name), count, code, port, ports,
    unit, state, list, time (in ns), age (in s) or celsius (in hundredths)."""

    key: str
    title: str
    kind: str


@dataclass(frozen=True)
class Table:
    """A table. Its rows are at `key` of what `line` answers."""

    name: str
    title: str
    group: str
    noun: str  # what is counted, which may have several rows
    line: str
    key: str
    columns: Sequence[Column]
    search: Search = anything
    hint: str = "a text in any column"
    paged: bool = False  # whether the line takes 'limit' and 'from'
    fill: Sequence[str] = ()  # forms of lines that bring something into an empty table
    offers: Sequence[str] = ()  # lines that belong to it
    every_s: float = 2.0  # how often it is asked for while it is shown; 0: when a person asks
    note: Callable[[JSON], str] | None = None
    rows: Callable[[JSON, str], Iterator[Row]] = lambda data, key: iter(data[key])


def _columns(text: str) -> tuple[Column, ...]:
    """From lines of "key kind Title"."""
    return tuple(Column(key, title, kind) for key, kind, title in
                 (each.split(None, 2) for each in text.strip().splitlines()))


def _flat(answer: Mapping[str, Mapping[str, JSON]]) -> Row:
    """Sections of fields as one row: "info.port"."""
    return {f"{section}.{key}": value for section, fields in answer.items()
            for key, value in fields.items()}


def _answers(data: JSON, _: str) -> Iterator[Row]:
    """A row for each answer of a line that several parts answer."""
    for answer in data if isinstance(data, list) else [{"data": data}]:
        yield _flat(answer["data"])


def _called(data: JSON) -> str:
    operations = sum(row["operations"] for row in data["tables"])
    called = sum(row["called"] for row in data["tables"])
    percent = 100 * called // max(operations, 1)
    return f"{called} of {operations} operations were called, {percent} %"


ROUTES_V4 = """
    prefix code Prefix
    vr number VR
    gateway code Gateway
    vlan number VLAN
    mac code MAC address
    port port Port"""
ROUTES_V6 = ROUTES_V4.partition("mac code")[0].rstrip()
COUNTS = """
    calls count Calls
    failures count Failures
    nulls count Nulls
    totalNs time Time in all
    longestNs time Longest"""
OPERATIONS = """
    operation code Operation
    table text Table""" + COUNTS
SUMS = """
    table text Table
    operations count Operations
    called number Called
    never number Never""" + COUNTS
TIMES = ("times on", "times off")

LAYER2 = (
    Table("mac", "MAC addresses", "Layer 2", "addresses", "show fdb", "entries", _columns("""
        mac code MAC address
        vlan number VLAN
        port port Port
        type text Type
        ageS age Age
        handle number Handle
        bucket number Bucket"""),
          macs, "00:11:2, vlan 10, port 1:1 or trunk 1", True,
          ("fdb add MAC vlan ID port S:P [static]", "fdb load FILE [create-vlans]")),
    Table("vlans", "VLANs", "Layer 2", "VLANs", "show vlans", "vlans", _columns("""
        vlan number VLAN
        instance number Instance
        untagged ports Untagged ports
        tagged ports Tagged ports
        addresses count Addresses"""),
          paged=True, fill=("vlan create ID", "vlan ID add S:P [tagged]")),
    Table("trunks", "Trunks", "Layer 2", "trunks", "show trunks", "trunks", _columns("""
        trunk number Trunk
        instance number Instance
        members ports Members
        linksUp number Links up
        addresses count Addresses"""),
          fill=("trunk create NUMBER", "trunk add NUMBER S:P")),
)

LAYER3 = (
    Table("routes4", "IPv4 routes", "Layer 3", "IPv4 routes", "show route", "ipv4Routes",
          _columns(ROUTES_V4), routes(V4), "10.1.2.3 or 10.0.0.0/8, vr 1", True,
          ("route add PREFIX via ADDRESS vlan ID", "route load FILE")),
    Table("routes6", "IPv6 routes", "Layer 3", "IPv6 routes", "show route", "ipv6Routes",
          _columns(ROUTES_V6), routes(V6), "2001:db8::1 or 2001:db8::/32, vr 1", True,
          ("route add PREFIX via ADDRESS vlan ID", "route load FILE")),
    Table("neighbors", "Neighbors", "Layer 3", "neighbors", "show neighbors", "neighbors",
          _columns("""
        address code Address
        vr number VR
        vlan number VLAN
        mac code MAC address
        port port Port
        nextHops count Next hops"""),
          neighbors, "10.1.2.3 or 10.0.0.0/8", True,
          ("neighbor add ADDRESS vlan ID mac MAC port S:P",)),
    Table("gateways", "Unresolved gateways", "Layer 3", "gateways", "show neighbors",
          "placeholders", _columns("""
        address code Address
        vr number VR
        vlan number VLAN
        nextHops count Next hops"""),
          neighbors, "10.1.2.3 or 10.0.0.0/8", True,
          ("route add PREFIX via ADDRESS vlan ID",)),
    Table("multicast", "Multicast caches", "Layer 3", "caches", "show mcast", "caches", _columns("""
        group code Group
        source code Source
        vr number VR
        iif number In
        oif number Out
        ports ports Ports"""),
          groups, "225.1.1.1", True,
          ("mcast add GROUP SOURCE iif VLAN oif VLAN S:P", "mcast load FILE")),
)

ACCESS = (
    Table("acls", "Access lists", "Access lists", "access lists", "show acl", "lists", _columns("""
        name list Name
        rules count Rules
        counters count Counters
        bound number Bound"""),
          nothing, "", True, ("acl load NAME FILE", "acl rule NAME RULE permit|deny ...")),
    Table("rules", "Rules of a list", "Access lists", "rules", "show acl", "rules", _columns("""
        index number No.
        name text Rule
        action text Action
        conditions code Conditions"""),
          access_list, "the name of an access list", True),
    Table("bindings", "Bindings", "Access lists", "bindings", "show acl", "bindings", _columns("""
        vlan number VLAN
        port port Port
        slot number Place
        list list List
        state state State"""),
          nothing, "", True, ("acl bind NAME vlan ID port S:P slot 0|1",)),
)

# Asking for power over Ethernet calls the platform, which would be seen in traces and coverage.
HARDWARE = (
    Table("environment", "Environment", "Hardware", "units", "show environment", "environment",
          _columns("""
        unit unit Unit
        state state State
        temperature celsius Temperature
        odometer number Odometer""")),
    Table("devices", "Devices", "Hardware", "devices", "show devices", "devices", _columns("""
        device number No.
        name text Name
        type text Type
        label text Label
        state number State
        value number Value
        reports number Reports
        lastCommand text Last command
        lastResult number Its result""")),
    Table("poe", "PoE of cards", "Hardware", "cards", "show poe slot all", "", _columns("""
        version.slot number Slot
        version.word8 number Word 8
        version.word20 number Word 20
        version.word32 number Word 32
        version.word36 number Word 36
        version.word40 number Word 40
        version.word44 number Word 44
        snmp.word12 number SNMP 12
        snmp.word16 number SNMP 16"""),
          every_s=0, rows=_answers),
    Table("poe-ports", "PoE of ports", "Hardware", "ports", "show poe port all", "", _columns("""
        info.port port Port
        info.word12 number Word 12
        details.value number Asked with
        details.byte16 number Byte 16
        details.byte17 number Byte 17
        details.byte45 number Byte 45
        snmp.word16 number SNMP 16"""),
          every_s=0, rows=_answers),
    Table("interfaces", "Interfaces", "Hardware", "interfaces", "show nics", "nics", _columns("""
        name code Name
        up state Up
        carrier state Carrier
        mac code MAC address
        mii text MII
        partner state Partner sees link
        cable text Cable""")),
    Table("timers", "Timers", "Hardware", "timers", "show timers", "timers", _columns("""
        name text Name
        dueInMs number Due in ms
        periodMs number Period ms
        runs count Runs""")),
)

CALLS = (
    Table("sums", "Coverage", "Operations", "tables", "show coverage times", "tables",
          _columns(SUMS), offers=TIMES, note=_called),
    Table("operations", "Calls and times", "Operations", "operations", "show coverage times",
          "operations", _columns(OPERATIONS), offers=TIMES, note=_called),
    Table("never", "Never called", "Operations", "operations", "show coverage never", "operations",
          _columns(OPERATIONS.partition("calls")[0].rstrip()), note=_called),
)

TABLES: Mapping[str, Table] = {
    table.name: table for tables in (LAYER2, LAYER3, ACCESS, HARDWARE, CALLS) for table in tables}
