"""Brings labs up and down, from outside of them."""
from __future__ import annotations

import contextlib
import importlib.util
import json
import os
import select
import signal
import socket
import subprocess
import sys
import time
from pathlib import Path
from typing import Any, Callable, Iterator

from pcsim.places import run_folder

from .folders import Folder
from .problems import BadInput, LabError, NoNamespaces
from .problems import told as told_of
from .topology import Topology

PROGRAM = Path(__file__).resolve().parent
GRACE_S = 4.0  # for a keeper, which gives its nodes less
KILL_S = 30.0  # that the kernel may take to end everything
Progress = Callable[[int, int], None]


def up(topology: Topology, timeout: float, progress: Progress = lambda *_: None) -> float:
    """Brings the lab up and returns the seconds that it took. When it can't be, nothing is left
    behind, and what is raised says why, with the last lines of the node that has failed."""
    if importlib.util.find_spec("pyroute2") is None:
        raise LabError("labs are made with pyroute2, which is missing; expected Debian's package "
                       "python3-pyroute2, or that of 'pip install pcsim[lab]'")
    folder = Folder.claim(topology)
    try:
        with interrupting(signal.SIGTERM):
            return start(folder, topology, timeout, progress)
    except OSError as problem:
        end(folder)
        raise LabError(f"lab '{topology.name}' can't be started: {told_of(problem)}") from problem
    except BaseException:
        end(folder)
        raise


@contextlib.contextmanager
def interrupting(number: signal.Signals) -> Iterator[None]:
    """A signal that would end us does so by way of whatever is to be cleaned up."""
    def interrupt(*_: object) -> None:
        raise KeyboardInterrupt
    before = signal.signal(number, interrupt)
    try:
        yield
    finally:
        signal.signal(number, before)


def start(folder: Folder, topology: Topology, timeout: float, progress: Progress) -> float:
    """Starts the keeper and waits until all nodes are there."""
    ours, theirs = socket.socketpair()
    environment = {**os.environ, "PCSIM_RUN_DIR": str(run_folder().absolute())}
    with ours, theirs, (folder.path / "keeper.log").open("wb") as log:
        command = [sys.executable, str(PROGRAM), "keep", str(folder.path), str(theirs.fileno())]
        keeper = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log,
                                  pass_fds=[theirs.fileno()], start_new_session=True,
                                  cwd=Path(topology.file).absolute().parent, env=environment)
        theirs.close()
        try:
            for news in told(ours, timeout, topology):
                if "failed" in news:
                    raise failure(folder, news)
                if "ready" in news:
                    return float(news["seconds"])
                progress(news["started"], news["of"])
        finally:
            keeper.wait()  # the lab's first process is its child, and goes on
    said = (folder.path / "keeper.log").read_text(errors="replace").strip().splitlines()
    raise LabError("the keeper of the lab has ended" + (f": {said[-1]}" if said else ""))


def told(source: socket.socket, timeout: float, topology: Topology) -> Iterator[dict[str, Any]]:
    """What the keeper tells, until it ends."""
    end_at, data = time.monotonic() + timeout, b""
    while True:
        source.settimeout(max(end_at - time.monotonic(), 0.001))
        try:
            piece = source.recv(1 << 16)
        except TimeoutError:
            raise LabError(f"lab '{topology.name}' is not up after {timeout:g} s; --timeout gives "
                           "it more") from None
        except ConnectionResetError:
            return
        if not piece:
            return
        *lines, data = (data + piece).split(b"\n")
        yield from map(json.loads, lines)


def failure(folder: Folder, news: dict[str, Any]) -> LabError:
    """What the keeper has told of its failure, as an exception."""
    kind = {each.status: each for each in (LabError, BadInput, NoNamespaces)}[news["status"]]
    last = folder.last_lines(news["node"]) if "node" in news else []
    return kind("\n".join([news["failed"] + ("; its last lines:" if last else ""),
                           *(f"    {line}" for line in last)]))


def end(folder: Folder) -> None:
    """Ends the lab and removes what is left of it."""
    keeper = folder.keeper()
    process = folder.process() if keeper is not None and keeper.pid != os.getpid() else None
    if process is not None:
        try:
            end_process(folder, process)
        finally:
            os.close(process)
    folder.remove()


def end_process(folder: Folder, process: int) -> None:
    """Asks a keeper to go, and makes it."""
    for number, patience in ((signal.SIGTERM, GRACE_S), (signal.SIGKILL, KILL_S)):
        with contextlib.suppress(ProcessLookupError):
            signal.pidfd_send_signal(process, number)
        if select.select([process], [], [], patience)[0]:
            return
    raise LabError(f"lab '{folder.name}' doesn't end; its keeper hangs in the kernel")
