"""Drives pcsim, a simulated switch, from Python.

    import pcsim

    with pcsim.Switch(ports=4, stopped=True) as switch:
        switch.port("1:1").disable()
        switch.wait_event("Port 1:1 link down", within=3)
"""
from .errors import (CommandError, CommandFailed, ConnectionLost, Error, ExpectationFailed,
                     Interrupted, NotFound, ProtocolError, StartFailed, UsageError)
from .events import AsyncEventStream, EventStream
from .parts import Answer
from .places import run_folder, socket_of
from .records import (Card, Counters, Event, Fan, Fault, MacEntry, Neighbor, OperationCoverage,
                      Port, PowerSupply, Record, Route, Status, Vlan)
from .switch import AsyncSwitch, Switch, connect, instances
from .version import VERSION as __version__

__all__ = [
    "Answer", "AsyncEventStream", "AsyncSwitch", "Card", "CommandError", "CommandFailed",
    "ConnectionLost", "Counters", "Error", "Event", "EventStream", "ExpectationFailed", "Fan",
    "Fault", "Interrupted", "MacEntry", "Neighbor", "NotFound", "OperationCoverage", "Port",
    "PowerSupply", "ProtocolError", "Record", "Route", "StartFailed", "Status", "Switch",
    "UsageError", "Vlan", "__version__", "connect", "instances",
    "run_folder", "socket_of",
]
