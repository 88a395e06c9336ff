"""The patch panel of a lab: where the cables of all nodes end.

Each interface of a node is one end of a pair; the other end stands in the panel's namespace. A
cable joins two ends there. So whatever becomes of cables, the nodes' interfaces stay, with their
names, indices and counters, and captures and shaping are nothing that a node could see.

An interface has carrier while its end on the panel is up. It is, as long as there is a cable,
nobody has pulled it, and the interface at its other end is up: what that node does to its interface
is heard by a monitor, and is all that decides, so no order of events ends wrong.
"""
from __future__ import annotations

import socket
from dataclasses import dataclass
from typing import Iterable, Sequence

from . import links, namespaces
from .netlink import Monitor, Netlink, Request, State
from .problems import BadInput, LabError, some
from .topology import Carries, Endpoint, Link, Node, Shaping

ETH_P_ALL = 0x0003
SOL_PACKET, PACKET_AUXDATA = 263, 8
FIRST_INDEX = 2  # of a node's interfaces; 1 is the loopback
# Of the panel's ends. The kernel takes its time, up to a second, to let frames through a new
# carrier of an interface that has the number of its other end.
PANEL_INDEX = 1001


@dataclass
class End:
    """An interface of a node and its end on the panel."""

    endpoint: Endpoint
    index: int          # on the panel
    up: bool = True     # the node's interface
    carrier: bool = False
    gone: bool = False
    patched: bool = False  # whether the end on the panel is up
    cable: Cable | None = None


@dataclass
class Cable:
    """What joins two ends."""

    a: End
    b: End
    shaping: Shaping
    pulled: bool = False
    carries: Carries = Carries()

    def other(self, end: End) -> End:
        """The far one."""
        return self.b if end is self.a else self.a

    def link(self) -> Link:
        """As it is written."""
        return Link(self.a.endpoint, self.b.endpoint, self.shaping, self.pulled,
                    self.carries)


def address(number: int, index: int) -> str:
    """The hardware address of a node's interface: node and interface can be read in it."""
    return f"02:00:{number + 1 >> 8:02x}:{number + 1 & 255:02x}:{index >> 8:02x}:{index & 255:02x}"


class Panel:
    """All ends and cables. `spaces` are the network namespaces of the nodes, in their order."""

    def __init__(self, nodes: Sequence[Node], spaces: Sequence[int], home: int,
                 monitor_buffer: int = 8 << 20) -> None:
        self._kernel = Netlink()
        self._home = home
        self._spaces = list(spaces)
        self.ends: dict[Endpoint, End] = {}
        self._of_space: list[dict[int, End]] = [{} for _ in spaces]  # by index there
        self.cables: list[Cable] = []
        self._make(nodes)
        self.monitor = Monitor(monitor_buffer)
        self._switch_on(nodes)
        self.resync()

    def _make(self, nodes: Sequence[Node]) -> None:
        """All pairs, all ends down."""
        requests = [links.name_namespace(space, number)
                    for number, space in enumerate(self._spaces)]
        for number, node in enumerate(nodes):
            for position, interface in enumerate(node.interfaces):
                end = End(Endpoint(node.name, interface), PANEL_INDEX + len(self.ends))
                node_index = FIRST_INDEX + position
                self.ends[end.endpoint] = end
                self._of_space[number][node_index] = end
                requests += links.make(
                    links.Pair(end.index, f"p{end.index}", node_index, interface,
                               address(number, position), node.silent, self._spaces[number]),
                    str(end.endpoint))
        self._kernel.perform(requests)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as control:
            for end in self.ends.values():
                namespaces.keep_tags_in_frames(control, f"p{end.index}")

    def _switch_on(self, nodes: Sequence[Node]) -> None:
        """The nodes' interfaces; what they do with them from here on is theirs."""
        for space, node in zip(self._spaces, nodes):
            with namespaces.within(space, self._home):
                kernel = Netlink()
            kernel.perform([links.set_up(FIRST_INDEX + position, True)
                            for position in range(len(node.interfaces))])
            kernel.close()

    def end(self, endpoint: Endpoint) -> End:
        """That end. BadInput when there is none."""
        found = self.ends.get(endpoint)
        if found is not None:
            return found
        own = [each.interface for each in self.ends if each.node == endpoint.node]
        if own:
            raise BadInput(f"node '{endpoint.node}' has no interface '{endpoint.interface}'; "
                           f"expected {some(own)}")
        names = list(dict.fromkeys(each.node for each in self.ends))
        raise BadInput(f"there is no node '{endpoint.node}' with interfaces; expected "
                       f"{some(names)}")

    def cable(self, endpoint: Endpoint) -> Cable:
        """The cable there. BadInput when there is none."""
        found = self.end(endpoint).cable
        if found is None:
            raise BadInput(f"{endpoint} has no cable; 'connect' gives it one")
        return found

    def connect(self, wanted: Iterable[Link]) -> None:
        """Lays cables."""
        requests: list[Request] = []
        try:
            for link in wanted:
                requests += self._lay(link)
            self._kernel.perform(requests)
        except OSError as problem:
            raise LabError(problem.strerror) from problem
        finally:
            self._settle(self.ends.values())

    def _lay(self, link: Link) -> list[Request]:
        a, b = self.end(link.a), self.end(link.b)
        for end in (a, b):
            if end.cable is not None:
                far = end.cable.other(end).endpoint
                raise BadInput(f"{end.endpoint} has a cable to {far} already; "
                               f"'disconnect {end.endpoint}' takes it away")
        if a is b:
            raise BadInput(f"{a.endpoint} can't be connected with itself; expected another end")
        cable = Cable(a, b, link.shaping, link.pulled, link.carries)
        a.cable = b.cable = cable
        self.cables.append(cable)
        found = [links.redirect(a.index, b.index), links.redirect(b.index, a.index)]
        if link.shaping != Shaping():
            found += links.shape(a.index, link.shaping) + links.shape(b.index, link.shaping)
        return found

    def disconnect(self, endpoint: Endpoint) -> Link:
        """Takes the cable away, and with it what it did to frames."""
        cable = self.cable(endpoint)
        self.cables.remove(cable)
        requests = []
        for end in (cable.a, cable.b):
            end.cable = None
            requests += [links.end_redirect(end.index), *links.shape(end.index, Shaping())]
        self._kernel.perform(requests)
        self._settle((cable.a, cable.b))
        return cable.link()

    def pull(self, endpoint: Endpoint, pulled: bool) -> None:
        """Pulls the cable there out of both ends, or plugs it in again."""
        cable = self.cable(endpoint)
        cable.pulled = pulled
        self._settle((cable.a, cable.b))

    def shape(self, endpoint: Endpoint, shaping: Shaping) -> None:
        """Changes what a cable does to frames. When it can't be, nothing has changed."""
        cable = self.cable(endpoint)
        try:
            self._shape(cable, shaping)
        except OSError as problem:
            self._shape(cable, cable.shaping)
            raise LabError(problem.strerror) from problem
        cable.shaping = shaping

    def _shape(self, cable: Cable, shaping: Shaping) -> None:
        for end in (cable.a, cable.b):
            self._kernel.perform(links.shape(end.index, shaping))

    def hear(self) -> None:
        """Follows what nodes have done to their interfaces."""
        heard = self.monitor.read()
        if heard is None:
            self.resync()
            return
        touched = []
        for space, state in heard:
            if not 0 <= space < len(self._of_space):
                continue
            end = self._of_space[space].get(state.index)
            if end is None:
                continue
            self._note(end, state)
            touched.append(end)
        self._settle(end.cable.other(end) for end in touched if end.cable is not None)

    def resync(self) -> None:
        """Asks for the state of everything, for when messages were lost."""
        self.monitor.read()
        for number, ends in enumerate(self._of_space):
            seen = {state.index: state for state in links.states(self._kernel, number)}
            for index, end in ends.items():
                if index in seen:
                    self._note(end, seen[index])
                else:
                    end.up, end.carrier, end.gone = False, False, True
        self._settle(self.ends.values())

    def _note(self, end: End, state: State) -> None:
        end.gone = state.gone
        end.up = state.up and not state.gone
        end.carrier = state.carrier and not state.gone

    def _settle(self, ends: Iterable[End]) -> None:
        """Brings ends of the panel into the state that they should have."""
        requests = []
        for end in ends:
            cable = end.cable
            wanted = cable is not None and not cable.pulled and cable.other(end).up
            if wanted != end.patched:
                end.patched = wanted
                requests.append(links.set_up(end.index, wanted))
        self._kernel.perform(requests)

    def capture(self, endpoint: Endpoint) -> socket.socket:
        """A socket that reads each frame that passes there: those of the node come in, those for
        it go out."""
        found = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, 0)
        found.setsockopt(SOL_PACKET, PACKET_AUXDATA, 1)
        found.bind((f"p{self.end(endpoint).index}", ETH_P_ALL))
        return found
