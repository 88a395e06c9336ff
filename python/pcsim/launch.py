"""A pcsim of one's own: how it is started, and how it ends.

It gets a pipe as standard input, which it reads to its end: whatever becomes of us, it goes with
us. What it prints is kept for messages.
"""
from __future__ import annotations

import contextlib
import itertools
import os
import subprocess
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path
from typing import IO, Sequence

from .connection import ask_once
from .errors import ConnectionLost, StartFailed
from .parts import STATUS
from .places import find_program, socket_of

PORTS_OF_SHAPE = {"stack": 12, "chassis": 16}  # at most
START_S = 30.0
END_S = 10.0
numbers = itertools.count(1)


@dataclass(frozen=True)
class Launch:
    """What is to be started."""

    ports: int | None = 4
    shape: str = "stack"
    stopped: bool = False
    program: str | os.PathLike[str] | None = None
    name: str | None = None
    options: Sequence[str] = ()
    wrapper: Sequence[str] = ()

    def command(self, name: str) -> list[str]:
        """The program and its arguments."""
        return [*self.wrapper, find_program(self.program), "--name", name,
                "--shape", self.shape, "--quiet",
                *(["--lab", str(self.ports)] if self.ports is not None else []),
                *(["--stopped"] if self.stopped else []), *self.options]


@dataclass
class Process:
    """A pcsim that was started."""

    launch: Launch
    name: str = ""
    _process: subprocess.Popen[bytes] | None = None
    _output: IO[bytes] | None = None
    _last: str = ""  # of the output, once it has ended

    @property
    def path(self) -> Path:
        """Its socket."""
        return socket_of(self.name)

    def start(self) -> None:
        """Starts it and waits until somebody answers at its socket."""
        self.name = self.launch.name or f"python-{os.getpid()}-{next(numbers)}"
        command, path = self.launch.command(self.name), self.path
        self._output = tempfile.TemporaryFile()
        try:
            # In a process group of its own: Ctrl-C is ours to handle.
            self._process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=self._output,
                                             stderr=subprocess.STDOUT, process_group=0)
            self._wait_for(path)
        except BaseException as problem:
            if self._process is not None:
                self._process.kill()
            self._end()
            self._process = None  # what has never been up has no end that could be wrong
            if isinstance(problem, OSError):
                raise StartFailed(f"{command[0]} can't be started: {problem}") from problem
            raise

    def _wait_for(self, path: Path) -> None:
        assert self._process is not None
        end = time.monotonic() + START_S
        while living(path) != self._process.pid:
            if self._process.poll() is not None:
                raise StartFailed(self.said() or f"pcsim ended with {self._process.returncode}")
            if time.monotonic() > end:
                raise StartFailed(f"nobody answers at {path} after {START_S:.0f} s; {self.said()}")
            time.sleep(0.002)

    def said(self) -> str:
        """The last of what it has printed."""
        if self._output is None:
            return self._last
        self._output.seek(0, os.SEEK_END)
        self._output.seek(max(0, self._output.tell() - 4000))
        return self._output.read().decode(errors="replace").strip()

    def farewell(self) -> str:
        """How it has ended, empty when it hasn't."""
        if self._process is None:
            return ""
        try:
            status = self._process.wait(2)
        except subprocess.TimeoutExpired:
            return ""
        how = f"signal {-status}" if status < 0 else f"status {status}"
        return f"pcsim ended with {how}; {self.said() or 'it said nothing'}"

    def stop(self, status: int | None) -> None:
        """Ends it by the end of its standard input, or by force. ConnectionLost if it should have
        ended with that status and has not."""
        ended = self._end()
        if ended is not None and status not in (None, ended):
            raise ConnectionLost(f"{self.farewell()}; expected status {status}")

    def _end(self) -> int | None:
        status = self._end_process()
        self._last = self.said()
        if self._output is not None:
            self._output.close()
            self._output = None
        return status

    def _end_process(self) -> int | None:
        if self._process is None:
            return None
        assert self._process.stdin is not None
        self._process.stdin.close()
        for force in (lambda: None, self._process.terminate, self._process.kill):
            force()
            with contextlib.suppress(subprocess.TimeoutExpired):
                return self._process.wait(END_S)
        return self._process.wait()


def living(path: Path) -> int | None:
    """The process that answers there. It need not be the one that was just started: names are
    taken."""
    try:
        return ask_once(path, STATUS, START_S).pid
    except (ConnectionLost, TimeoutError):
        return None
