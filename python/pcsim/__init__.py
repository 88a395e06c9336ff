"""Drives pcsim, a simulated switch, from Python."""
from .errors import (CommandError, CommandFailed, ConnectionLost, Error, ExpectationFailed,
                     Interrupted, NotFound, ProtocolError, StartFailed, UsageError)
from .records import (Card, Counters, Event, Fan, Fault, MacEntry, Neighbor, OperationCoverage,
                      Port, PowerSupply, Record, Route, Status, Vlan)
from .version import VERSION as __version__

__all__ = [
    "Card", "CommandError", "CommandFailed", "ConnectionLost", "Counters", "Error", "Event",
    "ExpectationFailed", "Fan", "Fault", "Interrupted", "MacEntry", "Neighbor", "NotFound",
    "OperationCoverage", "Port", "PowerSupply", "ProtocolError", "Record", "Route", "StartFailed",
    "Status", "UsageError", "Vlan", "__version__",
]
