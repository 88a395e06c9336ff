"""The socket of an instance, as anybody can speak with it: a line of JSON there and one back."""
import json
import os
import socket

PATIENCE_S = 60


class Failed(Exception):
    """A line that failed, by its message."""


class Socket:
    """A connection."""

    def __init__(self, path):
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.settimeout(PATIENCE_S)
        self._socket.connect(str(path))
        self._lines = self._socket.makefile("rb")

    def ask(self, method, **params):
        """The answer's object."""
        request = {"jsonrpc": "2.0", "id": 1, "method": method, "params": params}
        try:
            self._socket.sendall(json.dumps(request).encode() + b"\n")
            while "id" not in (answer := json.loads(self._lines.readline() or "{}")):
                if not answer:
                    raise Failed("the connection was closed")
            return answer
        except (OSError, ValueError) as problem:
            raise Failed(f"the connection is lost: {problem}") from problem

    def run(self, line):
        """Text and data."""
        answer = self.ask("run", line=line, folder=os.getcwd())
        if "error" in answer:
            raise Failed(answer["error"]["message"])
        return answer["result"]["text"], answer["result"]["data"]

    def close(self):
        """Ends it."""
        self._socket.close()
