"""Makes a run: starts pcsim, reads what it prints, and ends it when it takes too long.

Used by the threads of a pool and by the workers of a cluster alike. What a run prints is bounded:
its beginning and its end are kept. A process that is left behind, because whoever started it was
killed, is killed by the kernel.
"""
from __future__ import annotations

import contextlib
import functools
import os
import selectors
import shutil
import signal
import subprocess
import tempfile
import threading
import time
from pathlib import Path
from typing import IO

from .files import difference
from .outcome import judge
from .problems import CampaignError
from .runs import Job, Outcome, Result, Setup, environment_of

HEAD_BYTES = 64 * 1024
TAIL_BYTES = 192 * 1024
CHUNK_BYTES = 65536


class Text:
    """What comes out of a pipe: its beginning and its end."""

    def __init__(self) -> None:
        self._head = bytearray()
        self._tail = bytearray()
        self._left_out = 0

    def add(self, chunk: bytes) -> None:
        """The next bytes."""
        room = HEAD_BYTES - len(self._head)
        self._head += chunk[:room]
        self._tail += chunk[room:]
        if len(self._tail) > 2 * TAIL_BYTES:
            self._cut()

    def _cut(self) -> None:
        excess = max(0, len(self._tail) - TAIL_BYTES)
        self._left_out += excess
        del self._tail[:excess]

    def __str__(self) -> str:
        self._cut()
        between = f"\n... {self._left_out} bytes left out ...\n" if self._left_out else ""
        return (self._head.decode(errors="replace") + between
                + self._tail.decode(errors="replace"))


class Running:
    """The runs of this process that are under way, so that those of a campaign can be ended."""

    def __init__(self) -> None:
        self._lock = threading.Lock()
        self._processes: dict[subprocess.Popen[bytes], str] = {}
        self._ended: set[str] = set()

    def start(self, setup: Setup, job: Job) -> subprocess.Popen[bytes] | None:
        """Starts a run; none when its campaign was ended."""
        with rules_file(job) as rules, self._lock:
            if setup.campaign in self._ended:
                return None
            process = subprocess.Popen(
                [*guard(), *setup.command(job)], stdin=rules, stdout=subprocess.PIPE,
                stderr=subprocess.PIPE, cwd=setup.folder, process_group=0,
                env=environment_of(setup, run_folder()))
            self._processes[process] = setup.campaign
            return process

    def end(self, process: subprocess.Popen[bytes]) -> None:
        """Ends a run and all that it has started, and waits for it."""
        with self._lock:
            del self._processes[process]
            kill(process)
        process.wait()
        forget_socket(process.pid)

    def end_campaign(self, campaign: str) -> None:
        """Ends all its runs, and lets no more begin."""
        with self._lock:
            self._ended.add(campaign)
            for process, owner in self._processes.items():
                if owner == campaign:
                    kill(process)

    def has_ended(self, campaign: str) -> bool:
        """Whether it was ended."""
        return campaign in self._ended


RUNNING = Running()


def execute(setup: Setup, job: Job, worker: str = "") -> Result | None:
    """Makes a run. None when its campaign was ended meanwhile; CampaignError when what it is made
    of isn't what the campaign began with."""
    if differs := difference(setup.files):
        raise CampaignError(differs + (f" on {worker}" if worker else ""))
    begin = time.monotonic()
    try:
        process = RUNNING.start(setup, job)
    except OSError as problem:
        raise CampaignError(f"pcsim can't be started: {problem}") from problem
    if process is None:
        return None
    texts = Text(), Text()
    try:
        in_time = read_all(process, texts, begin + setup.timeout)
    finally:
        RUNNING.end(process)
    seconds = time.monotonic() - begin
    if RUNNING.has_ended(setup.campaign):
        return None
    output, errors = map(str, texts)
    status = process.returncode if in_time else None
    outcome, reason = judge(status, output, errors, setup.timeout)
    log = "" if outcome is Outcome.PASSED else output + errors
    return Result(*job.key, outcome, seconds, reason, status, worker, setup.repeat(job), log)


def read_all(process: subprocess.Popen[bytes], texts: tuple[Text, Text], end: float) -> bool:
    """Reads what it prints until it ends; whether it does so in time."""
    with selectors.DefaultSelector() as selector:
        for pipe, text in zip((process.stdout, process.stderr), texts):
            assert pipe is not None
            selector.register(pipe, selectors.EVENT_READ, text)
        while selector.get_map() and (left := end - time.monotonic()) > 0:
            for key, _ in selector.select(left):
                if chunk := os.read(key.fd, CHUNK_BYTES):
                    key.data.add(chunk)
                else:
                    selector.unregister(key.fileobj)
    for pipe in (process.stdout, process.stderr):
        assert pipe is not None
        pipe.close()
    try:
        process.wait(max(0.0, end - time.monotonic()))
    except subprocess.TimeoutExpired:
        return False
    return True


def rules_file(job: Job) -> IO[bytes]:
    """What a run reads as its plan: in memory, so that no file is left over and rules may be of
    any length."""
    if not job.rules:
        return open(os.devnull, "rb")
    file = os.fdopen(os.memfd_create("plan"), "w+b")
    file.write("".join(f"{rule}\n" for rule in job.rules).encode())
    file.seek(0)
    return file


def kill(process: subprocess.Popen[bytes]) -> None:
    """Ends it and what it has started, unless it is gone and its number may be another's."""
    if process.poll() is None:
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)


def forget_socket(number: int) -> None:
    """One that was killed leaves its socket."""
    for suffix in ("sock", "lock"):
        with contextlib.suppress(OSError):
            os.unlink(f"{run_folder()}/pcsim-{number}.{suffix}")


def forget_dead() -> None:
    """Those that went with a campaign that was killed have left theirs."""
    for path in Path(run_folder()).glob("pcsim-*.sock"):
        number = path.stem.removeprefix("pcsim-")
        if number.isdigit() and not Path("/proc", number).exists():
            forget_socket(int(number))


@functools.cache
def run_folder() -> str:
    """The folder of the runs' sockets. Pcsim makes it when it isn't there."""
    return str(Path(tempfile.gettempdir()) / f"pcsim-campaign-{os.getuid()}")


@functools.cache
def guard() -> tuple[str, ...]:
    """Goes before a command: the kernel kills it when the thread that has started it is gone."""
    program = shutil.which("setpriv")
    return (program, "--pdeathsig", "KILL", "--") if program is not None else ()
