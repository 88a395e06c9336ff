"""What runs in the nodes of a lab: how it is started, few at a time, and what has become of it."""
from __future__ import annotations

import contextlib
import os
import signal
from dataclasses import dataclass, field
from pathlib import Path
from typing import Iterator, Mapping

from pcsim.connection import ask_once
from pcsim.errors import Error
from pcsim.parts import STATUS
from pcsim.places import socket_of

from . import namespaces
from .folders import Folder
from .topology import JSON, Node, Topology

ANSWER_S = 2.0
AT_ONCE = 4 * (os.cpu_count() or 1)  # nodes that may be starting at a time


@dataclass
class Member:
    """One node: `running` is its command, `working` its line of exec."""

    node: Node
    space: int  # descriptor of its network namespace
    state: str = "waiting"
    running: int | None = None
    working: int | None = None
    lines: list[str] = field(default_factory=list)


class StartFailed(Exception):
    """A node has not started; the text says how, `node` which."""

    def __init__(self, node: str, text: str) -> None:
        super().__init__(text)
        self.node = node


def how(status: int) -> str:
    """The end of a process in words."""
    code = os.waitstatus_to_exitcode(status)
    return f"signal {-code}" if code < 0 else f"status {code}"


class Crew:
    """All of a lab's nodes."""

    def __init__(self, topology: Topology, spaces: list[int], home: int, folder: Folder,
                 environment: Mapping[str, str], wire_places: Mapping[str, str]) -> None:
        self._folder, self._home = folder, home
        self._wire_places = wire_places
        self._environment = {**environment, "PCSIM_LAB": topology.name}
        self.members = {node.name: Member(node, space, lines=list(node.exec))
                        for node, space in zip(topology.nodes, spaces)}
        self._waiting = list(self.members.values())
        self._starting: list[Member] = []
        self._owners: dict[int, Member] = {}

    @property
    def starting(self) -> bool:
        """Whether some are not where they should get to."""
        return bool(self._waiting or self._starting)

    @property
    def started(self) -> int:
        """How many are."""
        return len(self.members) - len(self._waiting) - len(self._starting)

    def proceed(self) -> None:
        """Starts some more, and looks whether those that were started are there."""
        while self._waiting and len(self._starting) < AT_ONCE:
            member = self._waiting.pop(0)
            member.state = "starting"
            self._starting.append(member)
            if member.node.command:
                member.running = self._spawn(member, list(member.node.command))
        for member in list(self._starting):
            if member.working is None and self._is_there(member):
                self._work(member)

    def _is_there(self, member: Member) -> bool:
        instance = member.node.instance
        if instance is None:
            return True
        path = socket_of(instance)
        if not path.exists():
            return False
        # A socket that nobody listens at yet, or one of an instance of yesterday.
        with contextlib.suppress(Error, TimeoutError):
            return ask_once(path, STATUS, ANSWER_S).pid == member.running
        return False

    def _work(self, member: Member) -> None:
        """Its next line, or none is left."""
        if member.lines:
            member.working = self._spawn(member, ["/bin/sh", "-c", member.lines[0]])
            return
        member.state = "running" if member.running is not None else "ready"
        self._starting.remove(member)

    def _spawn(self, member: Member, command: list[str]) -> int:
        node = member.node
        environment = {**self._environment, **self.variables(node), **node.environment}
        log = str(self._folder.log(node.name))
        actions = [(os.POSIX_SPAWN_OPEN, 0, "/dev/null", os.O_RDONLY, 0),
                   (os.POSIX_SPAWN_OPEN, 1, log, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o600),
                   (os.POSIX_SPAWN_DUP2, 1, 2)]
        try:
            with namespaces.within(member.space, self._home):
                pid = os.posix_spawnp(command[0], command, environment, file_actions=actions,
                                      setsid=True, setsigmask=[], setsigdef=[signal.SIGPIPE])
        except OSError as problem:
            raise StartFailed(node.name, f"'{command[0]}' can't be run: {problem.strerror}"
                              ) from None
        self._owners[pid] = member
        return pid

    def variables(self, node: Node) -> dict[str, str]:
        """What programs in a node are told of it."""
        return {"PCSIM_NODE": node.name, "PCSIM_WIRE": self._wire_places[node.name]}

    def reap(self) -> None:
        """Notes who has ended; orphans that nobody knows, too."""
        while True:
            try:
                pid, status = os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                return
            if pid == 0:
                return
            member = self._owners.pop(pid, None)
            if member is not None:
                self._note_end(member, pid, status)

    def _note_end(self, member: Member, pid: int, status: int) -> None:
        if pid == member.running:
            early = member.state == "starting"
            member.running, member.state = None, f"ended ({how(status)})"
            if early or self.starting:
                raise StartFailed(member.node.name, f"ended with {how(status)}")
            return
        member.working = None
        line = member.lines.pop(0)
        if status != 0:
            raise StartFailed(member.node.name, f"'{line}' ended with {how(status)}")
        self._work(member)


@dataclass
class Usage:
    """What the processes of a node take: memory in KiB, processor time in ms."""

    processes: int = 0
    pss_kib: int = 0
    private_kib: int = 0
    cpu_ms: int = 0

    def to_json(self) -> JSON:
        """As it is told."""
        return dict(vars(self))


def usage(crew: Crew) -> dict[str, Usage]:
    """Of each node, by the network namespace that a process is in."""
    found = {name: Usage() for name in crew.members}
    by_space = {os.fstat(member.space).st_ino: found[name] for name, member in crew.members.items()}
    for process, inode in processes():
        if inode in by_space:
            add(by_space[inode], process)
    return found


def processes() -> Iterator[tuple[Path, int]]:
    """All processes of the lab with their network namespaces."""
    for process in Path("/proc").iterdir():
        if process.name.isdigit():
            with contextlib.suppress(OSError):
                yield process, (process / "ns" / "net").stat().st_ino


def add(total: Usage, process: Path) -> None:
    """Adds one process, if it is still there."""
    try:
        rollup = (process / "smaps_rollup").read_text(encoding="ascii", errors="replace")
        times = (process / "stat").read_text(encoding="utf-8", errors="replace").rpartition(")")[2]
    except OSError:
        return
    kib = {line.split(":")[0]: int(line.split()[-2]) for line in rollup.splitlines()
           if line.endswith(" kB")}
    total.processes += 1
    total.pss_kib += kib.get("Pss", 0)
    total.private_kib += kib.get("Private_Clean", 0) + kib.get("Private_Dirty", 0)
    total.cpu_ms += sum(map(int, times.split()[11:13])) * 1000 // os.sysconf("SC_CLK_TCK")
