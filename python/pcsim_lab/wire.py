"""What the emulated PHYs of a lab know of each other: the file of mii/wire.h, which all nodes map.

It says which end is the partner of which, and what a cable carries; each node publishes there what
its PHYs offer. So speed and duplex are resolved between two nodes, and the keeper has no part in
it.
"""
from __future__ import annotations

import mmap
import struct
from pathlib import Path
from typing import Sequence

from .problems import LabError
from .topology import Carries, Endpoint, Link, Node

MAGIC = b"pcsim wire 1"
HEAD = struct.Struct("=16sI12x")
END = struct.Struct("=16sIIII")
WORD = 4
PARTNER, CARRIED = 5, 6  # words of an end
NO_PARTNER = 0xFFFFFFFF
ALL = 0x01E0
# Bits of the abilities, as registers 4 and 5 of a PHY have them.
SPEEDS = {"10": 0x0060, "100": 0x0180, "auto": ALL}
DUPLEXES = {"half": 0x00A0, "full": 0x0140, "auto": ALL}


def abilities(carries: Carries) -> int:
    """Those that a cable lets by."""
    return SPEEDS[carries.speed] & DUPLEXES[carries.duplex]


class Wire:
    """The file, which is made anew: no PHY has been told anything."""

    def __init__(self, path: Path, nodes: Sequence[Node]) -> None:
        self._numbers: dict[Endpoint, int] = {}
        self.places: dict[str, str] = {}  # PCSIM_WIRE of each node
        ends = b""
        for node in nodes:
            self.places[node.name] = f"{path}:{len(self._numbers)}:{len(node.interfaces)}"
            for interface in node.interfaces:
                self._numbers[Endpoint(node.name, interface)] = len(self._numbers)
                ends += END.pack(interface.encode(), 0, NO_PARTNER, ALL, 0)
        try:
            path.write_bytes(HEAD.pack(MAGIC, len(self._numbers)) + ends)
        except OSError as problem:
            raise LabError(f"{path} can't be written: {problem.strerror}") from problem
        with path.open("r+b") as file:
            # A word is written at a stroke: who reads it has the old or the new.
            self._words = memoryview(mmap.mmap(file.fileno(), 0)).cast("I")

    def lay(self, links: Sequence[Link]) -> None:
        """Makes the cables these, and no others."""
        wanted = {number: (NO_PARTNER, ALL) for number in self._numbers.values()}
        for link in links:
            a, b = self._numbers[link.a], self._numbers[link.b]
            carried = abilities(link.carries)
            wanted[a], wanted[b] = (b, carried), (a, carried)
        for number, (partner, carried) in wanted.items():
            at = (HEAD.size + number * END.size) // WORD
            self._words[at + PARTNER], self._words[at + CARRIED] = partner, carried
