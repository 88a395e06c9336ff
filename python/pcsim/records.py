"""The usual answers as dataclasses, made from pcsim's JSON by key.

A field is called as its key, in snake_case: `rxPackets` is `rx_packets`, `sinceMs` `since_ms`.
Times are in ms, temperatures in hundredths of a degree. Keys that a later pcsim has besides are
kept in `more`, so that nothing breaks and nothing is lost.
"""
from __future__ import annotations

import dataclasses
import re
from dataclasses import dataclass, field
from typing import Any, Callable, ClassVar, Mapping, TypeVar

from .errors import NotFound, ProtocolError

R = TypeVar("R", bound="Record")


def key_of(name: str) -> str:
    """`rx_packets` as pcsim writes it."""
    return re.sub(r"_(\w)", lambda match: match[1].upper(), name)


def fields_of(kind: type[Record]) -> tuple[tuple[str, str, bool], ...]:
    """(key, field, whether it must be there) of each field but `more`."""
    return tuple((key_of(each.name), each.name, each.default is dataclasses.MISSING)
                 for each in dataclasses.fields(kind) if each.name != "more")


@dataclass(frozen=True, kw_only=True)
class Record:
    """What all answers have in common."""

    _fields: ClassVar[tuple[tuple[str, str, bool], ...]]
    more: Mapping[str, Any] = field(default_factory=dict, repr=False)

    @classmethod
    def of(cls: type[R], data: Any) -> R:
        """The record that a JSON object stands for."""
        if not isinstance(data, dict):
            raise ProtocolError(f"expected a {cls.__name__} but got {data!r:.80}")
        values, rest = {}, dict(data)
        if "_fields" not in cls.__dict__:
            cls._fields = fields_of(cls)
        for key, name, needed in cls._fields:
            if key in rest:
                values[name] = rest.pop(key)
            elif needed:
                raise ProtocolError(f"a {cls.__name__} has '{key}', but got {data!r:.200}")
        return cls(**values, more=rest)


def rows(record: type[R], *keys: str) -> Callable[[Any], list[R]]:
    """Takes all rows of these sections."""
    return lambda data: [record.of(each) for key in keys for each in data[key]]


def row(record: type[R], key: str, name: str, value: object) -> Callable[[Any], R]:
    """Takes the row of a section that is called so."""
    def take(data: Any) -> R:
        for each in data[key]:
            if each[name] == value:
                return record.of(each)
        there = ", ".join(str(each[name]) for each in data[key])
        raise NotFound(f"there is no {name} {value}; there are {there or 'none'}")
    return take


@dataclass(frozen=True, kw_only=True)
class Port(Record):
    """A front-panel port. What stands last is known of a single port alone."""

    port: str
    interface: str | None
    admin: str
    link: str | None
    speed: int | None
    duplex: str | None
    flow: str | None
    changes: int
    instance: int | None = None
    last_change_ms: int | None = None
    forwarding: int | None = None
    media: int | None = None


@dataclass(frozen=True, kw_only=True)
class Counters(Record):
    """The counters of a port since they were zeroed."""

    port: str
    rx_packets: int
    rx_bytes: int
    rx_multicast: int
    rx_errors: int
    rx_frame_errors: int
    tx_packets: int
    tx_bytes: int
    tx_errors: int
    tx_drops: int
    collisions: int


@dataclass(frozen=True, kw_only=True)
class Card(Record):
    """A slot and the card in it; `card` is None while it is empty."""

    slot: int
    card: str | None
    state: str
    since_ms: int
    due_ms: int | None
    bring_up_ms: int | None
    power_ms: int | None
    test_ms: int | None
    download_ms: int | None
    boot_ms: int | None


@dataclass(frozen=True, kw_only=True)
class Fan(Record):
    """A fan; its readings are None while it is removed or can't be read."""

    fan: int
    state: str
    rpm: int | None
    set_percent: int | None
    temperature: int | None
    odometer: int | None


@dataclass(frozen=True, kw_only=True)
class PowerSupply(Record):
    """A power supply; its readings are None while it is removed or can't be read."""

    supply: int
    state: str
    temperature: int | None
    odometer: int | None
    input_mv: int | None
    input_ma: int | None


@dataclass(frozen=True, kw_only=True)
class MacEntry(Record):
    """An address of the MAC table; `place` is told by a lookup alone."""

    mac: str
    vlan: int
    port: str
    type: str
    age_s: int
    handle: int
    bucket: int
    place: int | None = None


@dataclass(frozen=True, kw_only=True)
class Vlan(Record):
    """A VLAN; its ports are written as pcsim lists them, `1:1-2, 2:1`."""

    vlan: int
    instance: int
    untagged: str | None
    tagged: str | None
    addresses: int


@dataclass(frozen=True, kw_only=True)
class Route(Record):
    """One next hop of a route; gateway and what follows are None where there is none. Neighbors,
    and with them MAC address and port, are for IPv4 alone."""

    prefix: str
    vr: int
    gateway: str | None
    vlan: int | None
    mac: str | None = None
    port: str | None = None


@dataclass(frozen=True, kw_only=True)
class Neighbor(Record):
    """A neighbor, and how many next hops use it."""

    address: str
    vr: int
    vlan: int
    mac: str
    port: str
    next_hops: int


@dataclass(frozen=True, kw_only=True)
class Event(Record):
    """A line of the event log; `number` is its place there."""

    number: int
    time_ms: int
    source: str
    text: str

    def __str__(self) -> str:
        return f"[{self.time_ms / 1000:9.3f}] {self.source:<9} {self.text}"


@dataclass(frozen=True, kw_only=True)
class Fault(Record):
    """A fault rule with the calls that it has seen and met."""

    rule: int
    operation: str
    returns: str | int | None
    seen: int
    hits: int
    state: str
    when: str | None


@dataclass(frozen=True, kw_only=True)
class OperationCoverage(Record):
    """How often an operation was called, failed, and answered null."""

    operation: str
    table: str
    word: int | None
    calls: int
    failures: int
    nulls: int


@dataclass(frozen=True, kw_only=True)
class Status(Record):
    """An instance: `time_ms` is its simulated time, `up_ms` how long it really runs."""

    name: str
    pid: int
    shape: str
    time_ms: int
    stopped: bool
    up_ms: int
    ports: int
    ports_up: int
