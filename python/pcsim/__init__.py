"""Drives pcsim, a simulated switch, from Python."""
from .errors import (CommandError, CommandFailed, ConnectionLost, Error, ExpectationFailed,
                     Interrupted, NotFound, ProtocolError, StartFailed, UsageError)
from .version import VERSION as __version__

__all__ = [
    "CommandError", "CommandFailed", "ConnectionLost", "Error", "ExpectationFailed", "Interrupted",
    "NotFound", "ProtocolError", "StartFailed", "UsageError", "__version__",
]
