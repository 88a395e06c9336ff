"""What the commands of the program do, each with its parsed arguments."""
from __future__ import annotations

import json
import os
import shutil
import sys
from argparse import Namespace
from pathlib import Path
from typing import NoReturn

from . import capture as capturing
from . import graph as drawing
from . import quantities
from .control import ask
from .folders import Folder, all_folders
from .kinds import Programs
from .problems import BadInput, LabError, some
from .quantities import CARRIES, PARSERS
from .reader import checked_name, read
from .starting import end
from .starting import up as bring_up
from .tables import table
from .topology import JSON, Endpoint, Topology


def up(given: Namespace) -> None:
    """Brings a lab up."""
    if given.name is not None:
        try:
            checked_name(given.name)
        except ValueError as problem:
            raise BadInput(f"--name is '{given.name}'; expected {problem}") from None
    topology = read(Path(given.file), Programs(), given.name)
    terminal = sys.stderr.isatty() and not given.quiet

    def progress(done: int, of: int) -> None:
        if terminal:
            print(f"\r{done} of {of} nodes", end="" if done < of else "\r\x1b[K", file=sys.stderr,
                  flush=True)
    seconds = bring_up(topology, given.timeout, progress)
    if not given.quiet:
        print(f"Lab '{topology.name}' is up: {len(topology.nodes)} nodes, {len(topology.links)} "
              f"cables, {seconds:.1f} s")


def down(given: Namespace) -> None:
    """Ends labs, or removes what those have left that ended by themselves."""
    folders = all_folders()
    if given.all:
        chosen = folders
    elif given.lab is not None:
        chosen = [folder for folder in folders if folder.name == given.lab]
        if not chosen:
            raise missing(given.lab, folders)
    else:
        chosen = [only(folders)]
    for folder in chosen:
        end(folder)


def missing(name: str, folders: list[Folder]) -> BadInput:
    """There is none of that name."""
    names = [folder.name for folder in folders]
    return BadInput(f"there is no lab '{name}'; " + (f"expected {some(names)}" if names else
                                                    "none is up, 'up FILE' starts one"))


def only(folders: list[Folder]) -> Folder:
    """The one lab, where none is named."""
    if not folders:
        raise BadInput("no lab is up; 'up FILE' starts one")
    if len(folders) > 1:
        raise BadInput(f"{len(folders)} labs are up; expected the name of one: "
                       f"{some(folder.name for folder in folders)}")
    return folders[0]


def living(name: str | None) -> Folder:
    """The lab of that name, or the only one."""
    folders = all_folders()
    if name is None:
        alive = [folder for folder in folders if folder.alive()]
        folder = only(alive or folders)
    else:
        found = [folder for folder in folders if folder.name == name]
        if not found:
            raise missing(name, folders)
        folder = found[0]
    if not folder.alive():
        raise LabError(f"lab '{folder.name}' has ended; 'down {folder.name}' cleans up, and 'up' "
                       "starts it again")
    return folder


def list_labs(given: Namespace) -> None:
    """All labs of this user."""
    found: list[JSON] = []
    for folder in all_folders():
        topology = folder.topology()
        found.append({"name": folder.name, "state": "up" if folder.alive() else "ended",
                      "nodes": len(topology.nodes), "links": len(topology.links),
                      "file": topology.file})
    if given.json:
        print(json.dumps(found, indent=1))
    elif found:
        print(table(("Lab", "State", "Nodes", "Cables", "File"),
                    [tuple(lab.values()) for lab in found], ("Nodes", "Cables")))
    else:
        print("No lab is up")


def show(given: Namespace) -> None:
    """Nodes and cables of a lab."""
    data, _ = ask(living(given.lab).control, "show")
    if given.json:
        print(json.dumps(data, indent=1))
        return
    print(f"Lab '{data['name']}', up for {data['up_s']:.0f} s")
    heads = ("Node", "Kind", "State", "Ports up", "PSS KiB", "Private KiB", "CPU s", "Instance")
    print(table(heads, [node_row(node) for node in data["nodes"]], heads[3:7]))
    if data["links"]:
        print("\nCables")
        print(table(("End", "End", "State", "Limits"), [link_row(each) for each in data["links"]]))


def node_row(node: JSON) -> tuple[object, ...]:
    """A row of `show`."""
    took = (node["pss_kib"], node["private_kib"], f"{node['cpu_ms'] / 1000:.2f}") \
        if node.get("processes") else (None, None, None)
    return (node["name"], node["kind"], node["state"], f"{node['ports_up']}/{node['ports']}", *took,
            node["instance"])


def link_row(link: JSON) -> tuple[object, ...]:
    """The same for a cable."""
    return (*link["endpoints"], link["state"], quantities.limits(link))


def become(command: list[str], environment: dict[str, str] | None = None) -> NoReturn:
    """Becomes another program."""
    sys.stdout.flush()
    try:
        os.execvpe(command[0], command, {**os.environ, **(environment or {})})
    except OSError as problem:
        raise LabError(f"{command[0]} can't be run: {problem.strerror}") from None


def become_inside(folder: Folder, node: str, command: list[str], **environment: str) -> NoReturn:
    """Becomes a command in the namespaces of a node."""
    keeper = folder.keeper()
    if keeper is None:
        raise LabError(f"lab '{folder.name}' has ended")
    found, _ = ask(folder.control, "space", node=node)
    user = [f"--user=/proc/{keeper.pid}/ns/user", "--preserve-credentials"] \
        if keeper.user_namespace else []
    # The lab's mounts are not those of the folder that we stand in: it is looked up anew.
    become(["nsenter", *user, f"--mount=/proc/{keeper.pid}/ns/mnt",
            f"--pid=/proc/{keeper.pid}/ns/pid_for_children",
            f"--net=/proc/{keeper.pid}/fd/{found['descriptor']}", f"--wdns={os.getcwd()}", "--",
            *command], {"PCSIM_LAB": folder.name, **found["environment"], **environment})


def execute(given: Namespace) -> None:
    """Runs a command in a node."""
    command = given.command[1:] if given.command[:1] == ["--"] else given.command
    if not command:
        raise BadInput("there is no command; expected one, such as: exec sw1 -- ip link")
    become_inside(living(given.lab), given.node, command)


def shell(given: Namespace) -> None:
    """A shell in a node."""
    folder = living(given.lab)
    bash = shutil.which("bash")
    command = [bash, "--norc", "-i"] if bash else ["/bin/sh", "-i"]
    become_inside(folder, given.node, command, PS1=f"{given.node}.{folder.name}$ ")


def console(given: Namespace) -> None:
    """The console of a pcsim."""
    folder = living(given.lab)
    found, _ = ask(folder.control, "space", node=given.node)
    if found["instance"] is None:
        raise BadInput(f"node '{given.node}' has no console; expected one of kind pcsim")
    become([Programs().beside("pcsimctl"), found["instance"], *given.words])


def link(given: Namespace) -> None:
    """Pulls, plugs or shapes a cable."""
    control, words = living(given.lab).control, given.words
    if words in (["up"], ["down"]):
        ask(control, "pull", endpoint=given.endpoint, pulled=words == ["down"])
    elif words == ["clear"]:
        ask(control, "shape", endpoint=given.endpoint, values={})
        ask(control, "carry", endpoint=given.endpoint, values=dict.fromkeys(CARRIES, "auto"))
    else:
        values = dict(zip(words[::2], words[1::2]))
        methods: dict[str, set[str]] = {"shape": set(PARSERS), "carry": set(CARRIES)}
        method = next((name for name, known in methods.items() if known >= values.keys()), None)
        if not words or method is None or len(words) != 2 * len(values):
            raise BadInput(f"'{' '.join(words)}' is nothing that a cable does; expected up, down, "
                           "clear, some of rate 10mbit, delay 5ms, jitter 1ms, loss 1%, or of "
                           "speed 10, duplex half")
        ask(control, method, endpoint=given.endpoint, values=values)


def connect(given: Namespace) -> None:
    """Lays a cable."""
    ask(living(given.lab).control, "connect", endpoints=[given.a, given.b])


def disconnect(given: Namespace) -> None:
    """Takes a cable away."""
    ask(living(given.lab).control, "disconnect", endpoint=given.endpoint)


def graph(given: Namespace) -> None:
    """A picture of a lab that is up, or of a file."""
    states: dict[tuple[Endpoint, Endpoint], str] = {}
    topology: Topology
    if given.lab is not None and given.lab.endswith((".yml", ".yaml")):
        topology = read(Path(given.lab), Programs("pcsim"), None)
    else:
        folder = living(given.lab)
        data, _ = ask(folder.control, "show")
        topology = folder.topology()
        for each in data["links"]:
            a, b = map(Endpoint.of, each["endpoints"])
            states[a, b] = each["state"]
    if given.json:
        print(json.dumps(as_json(topology, states), indent=1))
    else:
        print(drawing.mermaid(topology) if given.mermaid else drawing.svg(topology, states))


def as_json(topology: Topology, states: dict[tuple[Endpoint, Endpoint], str]) -> JSON:
    """The picture as data."""
    return {"name": topology.name,
            "nodes": [{"name": node.name, "kind": node.kind, "instance": node.instance,
                       "interfaces": node.interfaces} for node in topology.nodes],
            "rows": drawing.rows(topology),
            "links": [{**each.to_json(), "state": states.get((each.a, each.b))}
                      for each in topology.links]}


def capture(given: Namespace) -> None:
    """Frames that pass at an interface."""
    folder = living(given.lab)
    _, source = ask(folder.control, "capture", endpoint=given.endpoint)
    keeper = folder.process()
    assert source is not None
    if keeper is None:
        raise LabError(f"lab '{folder.name}' has ended")
    with source:
        seen = capturing.run(source, keeper, given.endpoint, given.file, given.count)
    if given.file not in (None, "-"):
        print(f"{seen} frames in {given.file}")


