"""The keeper of a lab: the first process of its PID namespace, which holds all its other namespaces
and its patch panel. When it ends, however it ends, the kernel ends everything in the lab.

It is started with the lab's folder and a descriptor. That is a socket to whoever starts the lab:
lines of JSON about how far it is. Should that one vanish before the lab is up, the lab vanishes
too.
"""
from __future__ import annotations

import contextlib
import json
import os
import selectors
import signal
import socket
import time
from dataclasses import replace
from pathlib import Path
from typing import Any, Callable, Mapping, TypeVar

from . import namespaces, quantities
from .control import Client, Method, listen
from .crew import Crew, StartFailed, usage
from .folders import Folder, Keeper, began
from .panel import Cable, End, Panel
from .problems import BadInput, LabError, some, told
from .reader import shaped
from .topology import JSON, Endpoint, Link, Shaping, Topology
from .wire import Wire

T = TypeVar("T")
LOOK_S = 0.01     # between two looks at nodes that are starting
FAREWELL_S = 2.0  # that nodes have to end by themselves


def main(path: str, descriptor: int) -> int:
    """Goes into namespaces of the lab's own; the child there is the keeper."""
    folder, starter = Folder(Path(path)), socket.socket(fileno=descriptor)
    try:
        rootless = namespaces.become_lab()
    except LabError as problem:
        tell(starter, failed=str(problem), status=problem.status)
        return 1
    ready, go = os.pipe()
    child = os.fork()
    if child:
        # The child can't tell its number out here, and waits until it stands in the folder.
        try:
            folder.write_keeper(Keeper(child, began(child) or 0, rootless))
        except OSError as problem:
            tell(starter, failed=told(problem), status=1)
            return 1
        os.write(go, b"!")
        return 0
    os.close(go)
    if not os.read(ready, 1):
        return 1
    os.close(ready)
    try:
        keep(folder, starter)
    except BrokenPipeError:
        folder.remove()  # nobody else will
    return 1


def tell(starter: socket.socket, **news: Any) -> None:
    """A line for who starts the lab."""
    starter.sendall(json.dumps(news).encode() + b"\n")


def keep(folder: Folder, starter: socket.socket) -> None:
    """Makes the lab, and keeps it until a signal comes. What goes wrong is told."""
    try:
        lab = Lab(folder, starter)
        lab.start()
        lab.run()
    except StartFailed as problem:
        tell(starter, failed=f"node '{problem.node}': {problem}", node=problem.node, status=1)
    except LabError as problem:
        tell(starter, failed=str(problem), status=problem.status)
    except OSError as problem:
        tell(starter, failed=told(problem), status=1)


class Lab:
    """A lab, from the inside."""

    def __init__(self, folder: Folder, starter: socket.socket) -> None:
        self._folder = folder
        self._starter: socket.socket | None = starter
        self._topology = folder.topology()
        self._links = list(self._topology.links)
        self._events = selectors.DefaultSelector()
        self._ending: float | None = None
        self._told = -1
        self._began = time.monotonic()
        self._proc = namespaces.settle()
        home = namespaces.network()
        namespaces.no_ipv6()
        spaces = [namespaces.new_network(home, node.silent) for node in self._topology.nodes]
        self._spaces = dict(zip((node.name for node in self._topology.nodes), spaces))
        self._panel = Panel(self._topology.nodes, spaces, home)
        self._panel.connect(self._topology.links)
        self._wire = Wire(folder.wire, self._topology.nodes)
        self._wire.lay(self._topology.links)
        self._crew = Crew(self._topology, spaces, home, folder, os.environ, self._wire.places)
        self._methods: dict[str, Method] = {
            "show": self._show, "look": self._look, "space": self._space, "pull": self._pull,
            "shape": self._shape, "carry": self._carry, "connect": self._connect,
            "disconnect": self._disconnect, "capture": self._capture}

    def start(self) -> None:
        """Sees to it that all is heard that will come."""
        signals, wake = socket.socketpair()
        signals.setblocking(False)
        wake.setblocking(False)
        signal.set_wakeup_fd(wake.fileno())
        for number in (signal.SIGCHLD, signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            signal.signal(number, lambda *_: None)
        self._wake = wake
        control = listen(self._folder.control)
        self._watch(signals, lambda: self._hear_signals(signals))
        self._watch(self._panel.monitor, self._panel.hear)
        self._watch(control, lambda: self._accept(control))
        assert self._starter is not None
        self._watch(self._starter, self._lose_starter)

    def _watch(self, source: Any, hear: Callable[[], None]) -> None:
        self._events.register(source, selectors.EVENT_READ, hear)

    def run(self) -> None:
        """Until the lab ends."""
        while self._ending is None or (self._has_children() and time.monotonic() < self._ending):
            if self._crew.starting and self._ending is None:
                self._crew.proceed()
            self._tell_progress()
            waits = LOOK_S if self._crew.starting or self._ending is not None else None
            for key, _ in self._events.select(waits):
                key.data()

    def _has_children(self) -> bool:
        try:
            os.waitid(os.P_ALL, 0, os.WEXITED | os.WNOHANG | os.WNOWAIT)
            return True
        except ChildProcessError:
            return False

    def _tell_progress(self) -> None:
        if self._starter is None:
            return
        if self._crew.started != self._told:
            self._told = self._crew.started
            tell(self._starter, started=self._told, of=len(self._crew.members))
        if not self._crew.starting:
            tell(self._starter, ready=True, seconds=round(time.monotonic() - self._began, 3))
            self._events.unregister(self._starter)
            self._starter.close()
            self._starter = None

    def _lose_starter(self) -> None:
        """Nobody waits for the lab any more."""
        raise BrokenPipeError

    def _hear_signals(self, signals: socket.socket) -> None:
        numbers = signals.recv(256)
        self._crew.reap()
        if any(number != signal.SIGCHLD for number in numbers) and self._ending is None:
            self._ending = time.monotonic() + FAREWELL_S
            with contextlib.suppress(ProcessLookupError):
                os.kill(-1, signal.SIGTERM)

    def _accept(self, control: socket.socket) -> None:
        with contextlib.suppress(OSError):
            connection, _ = control.accept()
            client = Client(connection, self._methods)
            self._watch(connection, lambda: self._serve(client))

    def _serve(self, client: Client) -> None:
        if not client.serve():
            self._events.unregister(client.socket)
            client.socket.close()

    # The methods of the control socket.

    def _show(self, params: JSON) -> tuple[JSON, None]:
        del params
        used = usage(self._crew) if self._proc else {}
        nodes = []
        for name, member in self._crew.members.items():
            ends = [self._panel.ends[Endpoint(name, port)] for port in member.node.ports]
            nodes.append({
                "name": name, "kind": member.node.kind, "state": member.state,
                "instance": member.node.instance, "ports": len(ends),
                "ports_up": sum(end.carrier for end in ends),
                **(used[name].to_json() if name in used else {})})
        return {"name": self._topology.name, "file": self._topology.file,
                "up_s": round(time.monotonic() - self._began, 3), "nodes": nodes,
                "links": [described(cable) for cable in self._panel.cables]}, None

    def _look(self, params: JSON) -> tuple[JSON, None]:
        """What changes while a lab is up, for who asks often: it takes no look at processes."""
        del params
        return {"nodes": {name: member.state for name, member in self._crew.members.items()},
                "links": [described(cable) for cable in self._panel.cables]}, None

    def _space(self, params: JSON) -> tuple[JSON, None]:
        """Where others enter a node: a descriptor of ours."""
        name = params["node"]
        member = self._crew.members.get(name)
        if member is None:
            raise BadInput(f"there is no node '{name}'; expected {some(self._crew.members)}")
        return {"descriptor": member.space, "instance": member.node.instance,
                "environment": self._crew.variables(member.node)}, None

    def _changed(self) -> None:
        links = tuple(cable.link() for cable in self._panel.cables)
        self._topology = Topology(self._topology.name, self._topology.file, self._topology.nodes,
                                  links)
        self._wire.lay(links)
        self._folder.write_topology(self._topology)

    def _pull(self, params: JSON) -> tuple[None, None]:
        for end in self._cabled(params["endpoint"]):
            self._panel.pull(end, bool(params["pulled"]))
        self._changed()
        return None, None

    def _cabled(self, text: str) -> list[Endpoint]:
        """That end, or all of a node that have cables."""
        if ":" in text:
            return [endpoint(text)]
        if text not in self._crew.members:
            raise BadInput(f"there is no node '{text}'; expected {some(self._crew.members)}")
        found = [end.endpoint for end in self._panel.ends.values()
                 if end.endpoint.node == text and end.cable is not None]
        if not found:
            raise BadInput(f"node '{text}' has no cables; 'connect' gives it some")
        return found

    def _shape(self, params: JSON) -> tuple[None, None]:
        values = {key: parsed(quantities.PARSERS, key, text)
                  for key, text in params["values"].items()}
        shaping = shaped(values) if values else Shaping()
        if shaping.jitter and not shaping.delay:
            raise BadInput("jitter is nothing without delay; expected both")
        self._panel.shape(endpoint(params["endpoint"]), shaping)
        self._changed()
        return None, None

    def _carry(self, params: JSON) -> tuple[None, None]:
        values = {key: parsed(quantities.CARRIES, key, text)
                  for key, text in params["values"].items()}
        cable = self._panel.cable(endpoint(params["endpoint"]))
        cable.carries = replace(cable.carries, **values)
        self._changed()
        return None, None

    def _connect(self, params: JSON) -> tuple[None, None]:
        a, b = map(endpoint, params["endpoints"])
        self._panel.connect([Link(a, b)])
        self._changed()
        return None, None

    def _disconnect(self, params: JSON) -> tuple[JSON, None]:
        link = self._panel.disconnect(endpoint(params["endpoint"]))
        self._changed()
        return link.to_json(), None

    def _capture(self, params: JSON) -> tuple[None, socket.socket]:
        return None, self._panel.capture(endpoint(params["endpoint"]))


def endpoint(text: str) -> Endpoint:
    """NODE:INTERFACE. BadInput when it is something else."""
    node, _, interface = text.partition(":")
    if not node or not interface:
        raise BadInput(f"'{text}' is no endpoint; expected NODE:INTERFACE, such as sw1:eth1")
    return Endpoint(node, interface)


def parsed(parsers: Mapping[str, Callable[[str], T]], key: str, text: str) -> T:
    """The value of a word about a cable."""
    parse = parsers.get(key)
    if parse is None:
        raise BadInput(f"'{key}' is not known; expected {', '.join(parsers)}")
    try:
        return parse(text)
    except ValueError as problem:
        raise BadInput(f"{key} is '{text}'; expected {problem}") from None


def described(cable: Cable) -> JSON:
    """A cable with what is to be seen at its ends."""
    return {**cable.link().to_json(), "state": state(cable)}


def state(cable: Cable) -> str:
    """up, or why it is not."""
    if cable.pulled:
        return "pulled"
    off: list[End] = [end for end in (cable.a, cable.b) if not end.up]
    if off:
        return " and ".join(f"{end.endpoint} {'gone' if end.gone else 'down'}" for end in off)
    return "up" if cable.a.carrier and cable.b.carrier else "coming up"
