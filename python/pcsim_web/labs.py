"""Labs that are up, as a page draws them: nodes in rows, and cables with their state. They are
asked only when a page asks, and for all pages at once."""
from __future__ import annotations

import asyncio
import contextlib
import time
from typing import Any, Iterator, Sequence

from pcsim.places import run_folder
from pcsim_lab.control import ask
from pcsim_lab.folders import Folder, all_folders
from pcsim_lab.graph import rows
from pcsim_lab.problems import LabError
from pcsim_lab.quantities import limits

JSON = Any
REST_S = 1.5  # between two questions to the keepers
PATIENCE_S = 3.0


class Labs:
    """The labs, those with one of these instances or all. What a page has seen has a number, so
    that the same need not be told again."""

    def __init__(self, names: Sequence[str]) -> None:
        self._names = frozenset(names)
        self._asking = asyncio.Lock()
        self._asked = float("-inf")
        self._known: list[JSON] = []
        self._number = 1

    async def drawn(self, seen: int) -> JSON:
        """The labs, and the number of how they are."""
        async with self._asking:
            if time.monotonic() - self._asked > REST_S:
                now = await asyncio.to_thread(lambda: list(self._living()))
                if now != self._known:
                    self._known, self._number = now, self._number + 1
                self._asked = time.monotonic()
        return {"number": self._number, **({} if seen == self._number else {"labs": self._known})}

    def _living(self) -> Iterator[JSON]:
        if not (run_folder() / "labs").is_dir():
            return
        for folder in all_folders():
            if not folder.alive():
                continue
            with contextlib.suppress(LabError):  # it ends, or its keeper hangs
                lab = described(folder)
                if not self._names or self._names & {node["instance"] for node in lab["nodes"]}:
                    yield lab


def described(folder: Folder) -> JSON:
    """One lab."""
    topology = folder.topology()
    now, _ = ask(folder.control, "look", patience_s=PATIENCE_S)
    return {"name": folder.name, "rows": rows(topology),
            "nodes": [{"name": node.name, "kind": node.kind, "instance": node.instance,
                       "state": now["nodes"].get(node.name, "")} for node in topology.nodes],
            "links": [{"endpoints": link["endpoints"], "state": link["state"],
                       "limits": limits(link)} for link in now["links"]]}
