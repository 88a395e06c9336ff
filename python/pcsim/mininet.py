"""A pcsim as a switch of Mininet.

    from pcsim.mininet import PcSim

    net = Mininet(topo=TreeTopo(depth=2, fanout=3), switch=PcSim, controller=None)
    net.start()
    net["s1"].pcsim.port("1:1").disable()

Mininet's command line gets a verb besides: `pcsim s1 show ports`.
"""
from __future__ import annotations

import os
from typing import Any, Sequence

from mininet import node  # type: ignore[import]
from mininet.cli import CLI  # type: ignore[import]
from mininet.log import error, output  # type: ignore[import]

from .errors import Error
from .launch import PORTS_OF_SHAPE
from .switch import Switch


class PcSim(node.Switch):  # type: ignore[misc]
    """A switch with the ports 1 to `ports`. `pcsim` is its client; the instance is named NET.NAME,
    with a `net` of their own for networks that are up at the same time."""

    def __init__(self, name: str, shape: str = "stack", ports: int = 8, net: str = "mininet",
                 program: str | os.PathLike[str] | None = None, options: Sequence[str] = (),
                 **params: Any) -> None:
        if shape not in PORTS_OF_SHAPE:
            raise ValueError(f"switch '{name}' can't have the shape '{shape}'; expected "
                             f"{' or '.join(PORTS_OF_SHAPE)}")
        if ports not in range(1, PORTS_OF_SHAPE[shape] + 1):
            raise ValueError(f"switch '{name}' can't have {ports} ports; expected 1 to "
                             f"{PORTS_OF_SHAPE[shape]}, which a {shape} has")
        # The platform's interfaces have fixed names: each switch has a namespace of its own.
        super().__init__(name, **{**params, "inNamespace": True})
        self.port_count = ports
        self._open_ports: set[int] = set()
        self._instance: dict[str, Any] = {
            "ports": None, "shape": shape, "name": f"{net}.{name}", "program": program,
            "options": options, "wrapper": ("mnexec", "-a", str(self.pid))}
        self.pcsim = Switch(**self._instance)
        # What a switch counts is what others have sent: ports say nothing of IPv6 by themselves.
        self.cmd("sysctl -qw net.ipv6.conf.{all,default}.disable_ipv6=1")
        self._add_open([0])
        self.cmd("ip link set end0 up")
        self.controlIntf = node.Intf("eth0", node=self, port=0)

    def defaultDpid(self, dpid: str | None = None) -> str:
        """Nothing here is OpenFlow, so names of switches need no number."""
        return dpid or ""

    def addIntf(self, intf: Any, port: int | None = None,
                moveIntfFn: Any = node.moveIntf) -> None:
        """Gives an end of a link the name that the platform looks for. What Mininet calls it, like
        s1-eth1, stays as its other name, which all tools take."""
        port = self.newPort() if port is None else port
        if port not in range(self.port_count + 1):
            raise ValueError(f"switch '{self.name}' has no port {port}; expected 1 to "
                             f"{self.port_count}")
        if port == 0:
            # It stands here already, and must not be looked for in the machine's own network.
            super().addIntf(intf, port, moveIntfFn=lambda *_: None)
            return
        super().addIntf(intf, port, moveIntfFn=moveIntfFn)
        if port in self._open_ports:
            self._open_ports.remove(port)
            self._ip(f"link del eth{port}")
        if intf.name != f"eth{port}":
            self._ip(f"link set {intf.name} down name eth{port}")
            self._ip(f"link property add dev eth{port} altname {intf.name}")

    def start(self, _controllers: Sequence[Any] = ()) -> None:
        """Starts pcsim; ports without a link have an interface without carrier."""
        self._add_open(sorted(set(range(1, self.port_count + 1))
                              - self._open_ports - set(self.intfs)))
        self.pcsim.start()

    def stop(self, deleteIntfs: bool = True) -> None:
        """Ends pcsim. The other nodes have to end as well, so a failure is told and not raised."""
        try:
            self.pcsim.close()
        except Error as problem:
            error(f"*** {self.name}: {problem}\n")
        self.pcsim = Switch(**self._instance)
        super().stop(deleteIntfs)

    def _add_open(self, ports: Sequence[int]) -> None:
        # One end of a pair whose other end is down has no carrier.
        for port in ports:
            self._ip(f"link add eth{port} type veth peer name end{port}")
        self._open_ports.update(ports)

    def _ip(self, words: str) -> None:
        said = self.cmd(f"ip {words}").strip()
        if said:
            raise Error(f"switch '{self.name}': 'ip {words}' says: {said}")


def do_pcsim(cli: Any, line: str) -> None:
    """Run a line of a pcsim's console.
       Usage: pcsim s1 show ports"""
    name, _, words = line.strip().partition(" ")
    names = [each.name for each in cli.mn.switches if isinstance(each, PcSim)]
    if name not in names or not words:
        error(f"*** '{line}' can't be run; expected a switch ({', '.join(names)}) and a line of "
              "its console\n")
        return
    try:
        cli.mn[name].pcsim.run(words, output=output)
    except Error as problem:
        error(f"*** {name}: {problem}\n")


CLI.do_pcsim = do_pcsim
