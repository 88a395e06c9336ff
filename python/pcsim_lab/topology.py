"""A lab as data: nodes with interfaces, and cables between them. What is written to the lab's
folder is made of this, and read back as the same.
"""
from __future__ import annotations

import dataclasses
from dataclasses import dataclass, field
from typing import Any, NamedTuple, TypeVar

JSON = dict[str, Any]
T = TypeVar("T")

# The kinds whose first interface is a management port, and whose others are the front panel.
SWITCHES = ("pcsim", "hal")
MANAGEMENT = "eth0"


class Endpoint(NamedTuple):
    """One interface of a node, where a cable ends."""

    node: str
    interface: str

    def __str__(self) -> str:
        return f"{self.node}:{self.interface}"

    @classmethod
    def of(cls, text: str) -> Endpoint:
        """From 'sw1:eth1'."""
        return cls(*text.split(":", 1))


def picked(kind: type[T], data: JSON) -> T:
    """Of what was written, the fields of that kind."""
    return kind(**{each.name: data[each.name] for each in dataclasses.fields(kind)})


@dataclass(frozen=True)
class Shaping:
    """What a cable does to frames, each way; nothing where it is 0."""

    rate: int = 0    # bit/s
    delay: int = 0   # us
    jitter: int = 0  # us
    loss: float = 0  # per cent


@dataclass(frozen=True)
class Carries:
    """What two PHYs may agree upon over a cable."""

    speed: str = "auto"   # 10, 100
    duplex: str = "auto"  # half, full


@dataclass(frozen=True)
class Link:
    """A cable."""

    a: Endpoint
    b: Endpoint
    shaping: Shaping = Shaping()
    pulled: bool = False
    carries: Carries = Carries()

    def to_json(self) -> JSON:
        """As it is written."""
        return {"endpoints": [str(self.a), str(self.b)], **dataclasses.asdict(self.shaping),
                **dataclasses.asdict(self.carries), "pulled": self.pulled}

    @classmethod
    def of(cls, data: JSON) -> Link:
        """From what was written."""
        a, b = map(Endpoint.of, data["endpoints"])
        return cls(a, b, picked(Shaping, data), data["pulled"], picked(Carries, data))


@dataclass(frozen=True)
class Node:
    """A namespace with interfaces, and what runs there: `command` for as long as the node lives
    (nothing for a bare namespace), then the lines of `exec`, one after the other."""

    name: str
    kind: str
    interfaces: tuple[str, ...] = ()
    command: tuple[str, ...] = ()
    environment: dict[str, str] = field(default_factory=dict)
    exec: tuple[str, ...] = ()
    instance: str | None = None  # by which other programs find it

    @property
    def silent(self) -> bool:
        """Whether the kernel may send nothing of its own accord there: a switch's counters move by
        the frames of others alone."""
        return self.kind in SWITCHES

    @property
    def ports(self) -> tuple[str, ...]:
        """The interfaces without the management port of a switch."""
        return tuple(name for name in self.interfaces if not (self.silent and name == MANAGEMENT))

    @classmethod
    def of(cls, data: JSON) -> Node:
        """From what was written."""
        lists = ("interfaces", "command", "exec")
        return cls(**{key: tuple(value) if key in lists else value for key, value in data.items()})


@dataclass(frozen=True)
class Topology:
    """A whole lab."""

    name: str
    file: str
    nodes: tuple[Node, ...]
    links: tuple[Link, ...]

    def to_json(self) -> JSON:
        """As it is written."""
        return {"name": self.name, "file": self.file,
                "nodes": [dataclasses.asdict(node) for node in self.nodes],
                "links": [link.to_json() for link in self.links]}

    @classmethod
    def of(cls, data: JSON) -> Topology:
        """From what was written."""
        return cls(data["name"], data["file"], tuple(map(Node.of, data["nodes"])),
                   tuple(map(Link.of, data["links"])))
