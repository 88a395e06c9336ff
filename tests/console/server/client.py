"""A client that says exactly what a test wants, and an instance to say it to."""
import json
import os
import socket
import subprocess
import sys
import tempfile
import time
from collections.abc import Sequence
from dataclasses import dataclass
from types import TracebackType
from typing import Any

Answer = dict[str, Any]
PATIENCE = 120.0  # seconds; more than any step takes on a slow build and a busy machine


class Client:
    """One connection."""

    def __init__(self, path: str) -> None:
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(PATIENCE)
        self.socket.connect(path)
        self.reader = self.socket.makefile("rb")
        self.number = 0
        self.notes: list[Answer] = []

    def close(self) -> None:
        self.reader.close()
        self.socket.close()

    def send_bytes(self, data: bytes) -> None:
        self.socket.sendall(data)

    def send(self, method: str, **parameters: Any) -> int:
        self.number += 1
        request = {"jsonrpc": "2.0", "id": self.number, "method": method, "params": parameters}
        self.send_bytes(json.dumps(request).encode() + b"\n")
        return self.number

    def read(self) -> Answer:
        """The next line, whatever it is; {} at the end."""
        line = self.reader.readline()
        return json.loads(line) if line else {}

    def answer(self, number: int) -> Answer:
        """The answer with that number; notifications before it are kept."""
        while answer := self.read():
            if answer.get("id") == number:
                return answer
            self.notes.append(answer)
        raise EOFError("the connection has ended")

    def ask(self, method: str, **parameters: Any) -> Answer:
        return self.answer(self.send(method, **parameters))

    def result(self, method: str, **parameters: Any) -> Answer:
        answer = self.ask(method, **parameters)
        assert "result" in answer, answer
        return answer["result"]

    def run(self, line: str, **parameters: Any) -> Answer:
        return self.result("run", line=line, **parameters)

    def error(self, method: str, **parameters: Any) -> Answer:
        answer = self.ask(method, **parameters)
        assert "error" in answer, answer
        return answer["error"]

    def note(self, method: str) -> Answer:
        """The parameters of the next notification, which is of that method."""
        note = self.notes.pop(0) if self.notes else self.read()
        assert note.get("method") == method, note
        return note["params"]


class Instance:
    """A pcsim that serves until the block ends."""

    def __init__(self, program: str, folder: str, name: str, *options: str,
                 before: Sequence[str] = ()) -> None:
        self.name, self.folder = name, folder
        self.path = f"{folder}/{name}.sock"
        self.process = subprocess.Popen(
            [program, *before, "--lab", "2", "--stopped", "--quiet", "--serve", "--name", name,
             *options],
            env=os.environ | {"PCSIM_RUN_DIR": folder}, stderr=subprocess.PIPE, text=True)
        until(self.answers)

    def __enter__(self) -> "Instance":
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        if self.process.poll() is None:
            self.process.terminate()
        _, said = self.process.communicate(timeout=PATIENCE)
        if kind is None:
            assert self.process.returncode in (0, 7), (self.process.returncode, said)
            assert said == "", said

    def answers(self) -> bool:
        try:
            client = self.client()
        except OSError:
            assert self.process.poll() is None, self.process.communicate()
            return False
        client.result("status")
        client.close()
        return True

    def client(self) -> Client:
        return Client(self.path)


def until(condition: Any, seconds: float = PATIENCE) -> None:
    end = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < end, "it took too long"
        time.sleep(0.01)


def scratch() -> tempfile.TemporaryDirectory[str]:
    return tempfile.TemporaryDirectory(prefix="pcsim-")


@dataclass
class Place:
    """What a case works with: the program, and a folder of its own."""
    pcsim: str
    folder: str

    def one(self) -> Instance:
        return Instance(self.pcsim, self.folder, "one")


def equal(got: object, expected: object) -> None:
    assert got == expected, f"got {got!r:.2000}\n  instead of {expected!r:.2000}"


def run_cases(cases: dict[str, Any]) -> None:
    """Those that the command line names, or all: PROGRAM PCSIM [CASE...]"""
    pcsim = os.path.abspath(sys.argv[1])
    for name in sys.argv[2:] or [name for name in cases if name.startswith("test_")]:
        with scratch() as folder:
            os.environ["PCSIM_RUN_DIR"] = folder
            begun = time.monotonic()
            cases[name](Place(pcsim, folder))
            print(f"{name}: {time.monotonic() - begun:.2f} s", flush=True)
