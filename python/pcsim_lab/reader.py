"""Reads a lab file, in the format that container labs have, and says of each mistake in it where it
is and what would be right.
"""
from __future__ import annotations

import os
import re
from pathlib import Path
from typing import Mapping

from pcsim.places import socket_of

from . import kinds, quantities
from .kinds import KINDS, NAME, Keys, Programs
from .problems import BadInput, some
from .source import Value, load
from .topology import MANAGEMENT, SWITCHES, Carries, Endpoint, Link, Node, Shaping, Topology

LONGEST_PATH = 107  # of a socket
LONGEST_INTERFACE = 15
LINK_KEYS = ("endpoints", *quantities.PARSERS, *quantities.CARRIES)
PORT = re.compile(r"eth(0|[1-9]\d*)")


def read(path: Path, programs: Programs, name: str | None = None) -> Topology:
    """The lab of that file, under another name if one is given."""
    try:
        text = path.read_bytes().decode()
    except UnicodeDecodeError as problem:
        raise BadInput(f"{path}:1: this is no text: {problem.reason}") from None
    except OSError as problem:
        raise BadInput(f"{path} can't be read: {problem.strerror}; expected a lab file") from None
    return Reader(load(text, str(path)), str(path), programs, name).topology()


def checked_name(text: str) -> str:
    """A name that can stand in that of a socket. ValueError with what was expected."""
    if not NAME.fullmatch(text):
        raise ValueError("a name of letters, digits, '_' and '-', a letter or digit first")
    return text


class Reader:
    """One lab file on its way to a Topology."""

    def __init__(self, file: Value, path: str, programs: Programs, name: str | None) -> None:
        self._file, self._path, self._programs = file, path, programs
        top = file.keys(("name", "topology"))
        for key in ("name", "topology"):
            if key not in top:
                raise file.wrong(f"there is no '{key}'; expected 'name' and 'topology'")
        given = top["name"].parsed(checked_name)
        self._name = given if name is None else name
        self._parts = top["topology"].keys(("defaults", "kinds", "nodes", "links"))
        if "nodes" not in self._parts:
            raise top["topology"].wrong("'topology' has no 'nodes'; expected some")
        self._defaults = self._shared("defaults")
        self._of_kind = self._kinds()
        self._interfaces: dict[str, list[str]] = {}
        self._cabled: dict[Endpoint, int] = {}
        self._ports: dict[str, tuple[int, str]] = {}

    def _shared(self, key: str) -> Keys:
        """Keys that any kind may have."""
        if key not in self._parts or self._parts[key].empty:
            return {}
        self._parts[key].about = f"'{key}'"
        return self._parts[key].keys(kinds.ALL_KEYS)

    def _kinds(self) -> Mapping[str, Keys]:
        if "kinds" not in self._parts or self._parts["kinds"].empty:
            return {}
        found = {}
        for name, value in self._parts["kinds"].entries("kind"):
            if name not in KINDS:
                raise value.at_key().wrong(f"there is no kind '{name}'; expected {some(KINDS)}")
            if not value.empty:
                allowed = tuple(key for key in KINDS[name].keys if key != "kind")
                found[name] = value.keys(allowed)
        return found

    def topology(self) -> Topology:
        """The whole lab."""
        keys = {}
        for name, value in self._parts["nodes"].entries("node"):
            if not NAME.fullmatch(name):
                raise value.at_key().wrong(f"'{name}' is no name of a node; expected letters, "
                                           "digits, '_' and '-', a letter or digit first")
            keys[name] = (value, *self._keys(name, value))
            self._interfaces[name] = self._own_interfaces(name, *keys[name])
        if not keys:
            raise self._parts["nodes"].at_key().wrong("'nodes' is empty; expected some")
        links = tuple(self._links())
        nodes = tuple(self._node(name, *found) for name, found in keys.items())
        return Topology(self._name, self._path, nodes, links)

    def _keys(self, name: str, value: Value) -> tuple[str, Keys]:
        """The kind of a node, and its keys with those of its kind and the defaults."""
        about = f"node '{name}'"
        own: Keys = {}
        if not value.empty:
            own = value.keys(kinds.ALL_KEYS)
        kind_value = own.get("kind") or self._defaults.get("kind")
        if kind_value is None:
            raise value.at_key().wrong(f"{about} has no kind; expected {some(KINDS)}")
        kind = kind_value.choice(tuple(KINDS))
        if own:
            value.keys(KINDS[kind].keys)
        defaults = {key: found for key, found in self._defaults.items() if key in KINDS[kind].keys}
        found = {**defaults, **self._of_kind.get(kind, {}), **own}
        if kind == "hal" and "command" not in found:
            raise value.at_key().wrong(f"{about} has no command; expected that of a HAL")
        return kind, found

    def _own_interfaces(self, name: str, _: Value, kind: str, keys: Keys) -> list[str]:
        """Those that a node has without any cable."""
        shape = KINDS[kind].shape(keys)
        most = kinds.MOST_PORTS[shape]
        switch = kind in SWITCHES
        count = min(kinds.DEFAULT_PORTS, most) if switch else 0
        if "ports" in keys:
            why = f", as many as a {shape} has" if kind == "pcsim" else ""
            count = keys["ports"].number(1 if switch else 0, most, why)
        self._ports[name] = (count, kind)
        first = [MANAGEMENT] if switch else []
        return first + [f"eth{number}" for number in range(1, count + 1)]

    def _links(self) -> list[Link]:
        if "links" not in self._parts or self._parts["links"].empty:
            return []
        return [self._link(value) for value in self._parts["links"].items("a list of links")]

    def _link(self, value: Value) -> Link:
        value.about = "a link"
        keys = value.keys(LINK_KEYS)
        if "endpoints" not in keys:
            raise value.wrong("a link has no endpoints; expected [\"NODE:INTERFACE\", "
                              "\"NODE:INTERFACE\"]")
        ends = keys["endpoints"].items()
        if len(ends) != 2:
            raise keys["endpoints"].wrong(f"a link has {len(ends)} endpoints; expected two")
        a, b = map(self._endpoint, ends)
        shaping = shaped({key: keys[key].parsed(parse)
                          for key, parse in quantities.PARSERS.items() if key in keys})
        if shaping.jitter and not shaping.delay:
            raise keys["jitter"].wrong("a link has jitter without delay; expected both")
        carries = Carries(**{key: keys[key].parsed(parse)
                             for key, parse in quantities.CARRIES.items() if key in keys})
        return Link(a, b, shaping, carries=carries)

    def _endpoint(self, value: Value) -> Endpoint:
        text = value.text("NODE:INTERFACE")
        node, _, interface = text.partition(":")
        if not node or not interface:
            raise value.wrong(f"'{text}' is no endpoint; expected NODE:INTERFACE, such as sw1:eth1")
        if node not in self._interfaces:
            raise value.wrong(f"there is no node '{node}'; expected {some(self._interfaces)}")
        end = Endpoint(node, interface)
        if interface not in self._interfaces[node]:
            self._add_interface(value, end)
        if end in self._cabled:
            raise value.wrong(f"{end} has a cable already, in line {self._cabled[end]}; "
                              "expected another interface")
        self._cabled[end] = value.line
        return end

    def _add_interface(self, value: Value, end: Endpoint) -> None:
        """What a cable names and a node has not: a bare namespace gets it."""
        count, kind = self._ports[end.node]
        if kind in SWITCHES:
            what = (f"node '{end.node}' has {count} ports" if PORT.fullmatch(end.interface)
                    else f"node '{end.node}' has no interface '{end.interface}'")
            raise value.wrong(f"{what}; expected eth0 to eth{count}"
                              + ("" if what.endswith("'") else f" instead of '{end.interface}'"))
        name = end.interface
        if len(name) > LONGEST_INTERFACE or not re.fullmatch(r"[!-~]+", name) \
                or re.search(r"[/:%]", name) or name in (".", "..", "lo", "all", "default"):
            raise value.wrong(f"'{name}' is no name of an interface; expected at most "
                              f"{LONGEST_INTERFACE} letters, digits, '_', '.' and '-'")
        self._interfaces[end.node].append(name)

    def _node(self, name: str, value: Value, kind: str, keys: Keys) -> Node:
        instance = f"{self._name}.{name}" if kind == "pcsim" else None
        if instance and len(os.fsencode(socket_of(instance))) > LONGEST_PATH:
            raise value.at_key().wrong(
                f"the name of {socket_of(instance)} is too long for a socket; expected shorter "
                "names of node and lab, or a shorter PCSIM_RUN_DIR")
        environment = {}
        if "env" in keys and not keys["env"].empty:
            environment = {key: found.text() for key, found in keys["env"].entries("variable")}
        return Node(name, kind, tuple(self._interfaces[name]),
                    tuple(KINDS[kind].command(keys, self._programs, instance or name)), environment,
                    tuple(kinds.texts(keys["exec"])) if "exec" in keys else (), instance)


def shaped(values: Mapping[str, float]) -> Shaping:
    """Of what was parsed, by the names of its fields."""
    return Shaping(int(values.get("rate", 0)), int(values.get("delay", 0)),
                   int(values.get("jitter", 0)), values.get("loss", 0))
