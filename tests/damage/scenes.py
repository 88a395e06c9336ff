"""How those live who are killed: how each starts, what it is busy with, and how the next one of its
name has to come up, answer and end.
"""
import contextlib
import gzip
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path

from remains import OURS
from sandbox import TREE
from victims import FORMER, KEPT, LAB, LAB_LOAD, LOAD, NAME, PLAN, PREPARE, SCRIPT

sys.path[:0] = [str(TREE / "python")]
# pylint: disable=wrong-import-position
import pcsim
from pcsim.errors import ConnectionLost
from pcsim.places import find_program
from pcsim_lab import control
from pcsim_lab.folders import Folder
from pcsim_lab.problems import LabError

PATIENCE_S = 300.0  # the machine may have other work
PROGRAMS = Path(os.environ.setdefault("PCSIM", str(Path(find_program()).resolve()))).parent
GONE = (ConnectionLost, OSError, TimeoutError)


class Wrong(Exception):
    """What is not as it has to be."""


def need(true: object, text: str) -> None:
    """Wrong unless it is true."""
    if not true:
        raise Wrong(text)


class Scene:
    """One life in a folder of its own: `run` has what programs leave, `work` is where they work."""

    def __init__(self, folder: Path, options: tuple[str, ...]) -> None:
        self.folder, self.options = folder, options
        self.run, self.work = folder / "run", folder / "work"
        for each in (self.run, self.work, folder / "tmp", folder / "home"):
            each.mkdir(mode=0o700, parents=True)
        os.environ.update(PCSIM_RUN_DIR=str(self.run), TMPDIR=str(folder / "tmp"),
                          HOME=str(folder / "home"), PYTHONDONTWRITEBYTECODE="1",
                          PYTHONPATH=str(TREE / "python"))
        os.chdir(self.work)  # where names of files that a client gives begin
        self.busy = False  # whether its load has begun
        self._said = tempfile.TemporaryFile(dir="/dev/shm")

    def prepare(self) -> None:
        """What is there before it starts."""

    def start(self) -> int:
        """Starts it, and returns the process that is to be killed."""
        raise NotImplementedError

    def load(self) -> None:
        """Keeps it busy until it is gone."""

    def settle(self) -> None:
        """Waits until what goes by itself has gone; looks at what it has left."""

    def again(self) -> None:
        """The next one of its name comes up, answers and ends."""
        raise NotImplementedError

    def close(self) -> None:
        """What stood beside it ends."""
        self._said.close()

    # What scenes share.

    def spawn(self, *words: str | Path) -> subprocess.Popen[bytes]:
        """A program in a process group of its own."""
        process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=self._said,
                                   stderr=self._said, cwd=self.work, start_new_session=True)
        OURS.add(process.pid)
        return process

    def said(self) -> str:
        """The last of what programs have printed."""
        self._said.seek(0)
        return self._said.read()[-2000:].decode(errors="replace").strip()

    def ends(self, process: subprocess.Popen[bytes], what: str) -> None:
        """It has to, and well."""
        try:
            status = process.wait(PATIENCE_S)
        except subprocess.TimeoutExpired:
            process.kill()
            raise Wrong(f"{what} doesn't end: {self.said()}") from None
        need(status == 0, f"{what} ended with {status}: {self.said()}")

    def succeeds(self, *words: str | Path) -> str:
        """What a program prints that has to succeed."""
        done = subprocess.run(words, capture_output=True, text=True, cwd=self.work, check=False,
                              timeout=PATIENCE_S, stdin=subprocess.DEVNULL)
        need(done.returncode == 0, f"'{' '.join(map(str, words[1:]))}' ended with "
                                   f"{done.returncode}: {done.stderr}{done.stdout}")
        return done.stdout


def waiting(look: object, what: str, process: subprocess.Popen[bytes] | None = None) -> object:
    """What 'look' returns once it is true."""
    end = time.monotonic() + PATIENCE_S
    while True:
        with contextlib.suppress(*GONE, LabError):
            if found := look():
                return found
        need(process is None or process.poll() is None, f"{what}: it has ended")
        need(time.monotonic() < end, f"{what}: not within {PATIENCE_S:.0f} s")
        time.sleep(0.005)


class Switch(Scene):
    """A pcsim that serves, and is kept busy by a client at its socket."""

    name: str | None = NAME
    process: subprocess.Popen[bytes]

    def prepare(self) -> None:
        for name in KEPT:
            content = FORMER.encode()
            (self.work / name).write_bytes(gzip.compress(content) if name.endswith(".gz")
                                           else content)
        (self.work / "prepare").write_text(PREPARE)
        (self.work / "plan").write_text(PLAN)
        (self.work / "script").write_text(SCRIPT)

    def start(self) -> int:
        self.process = self.spawn(PROGRAMS / "pcsim", *self.options)
        return self.process.pid

    def socket_name(self) -> str:
        """That of the process that was started last."""
        return self.name or f"pcsim-{self.process.pid}"

    def connect(self) -> pcsim.Switch:
        """Once it answers."""
        def look() -> pcsim.Switch | None:
            if not (self.run / f"{self.socket_name()}.sock").exists():
                return None
            return pcsim.connect(self.socket_name(), timeout=PATIENCE_S)
        return waiting(look, "pcsim does not answer", self.process)

    def load(self) -> None:
        with contextlib.suppress(Wrong, *GONE), self.connect() as switch:
            switch.run("load prepare")
            self.busy = True
            while True:
                for line in LOAD:
                    switch.run(line)

    def settle(self) -> None:
        for name, whole in KEPT.items():
            content = (self.work / name).read_bytes()
            text = (gzip.decompress(content) if name.endswith(".gz") else content).decode()
            need(text == FORMER or re.fullmatch(whole, text, re.DOTALL),
                 f"{name} is neither what it was nor whole: {text[:40]!r} to {text[-40:]!r}")

    def again(self) -> None:
        self.process = self.spawn(PROGRAMS / "pcsim", "--lab", "3", "--serve", "--quiet",
                                  *(("--name", self.name) if self.name else ()))
        with self.connect() as switch:
            need(switch.status().pid == self.process.pid, "another process answers")
            need("1:1" in switch.run("show ports").text, "there are no ports")
            switch.run(f"load {self.work}/state.txt")
            for line in ("save {}/state.txt", "save {}/state.gz", "show running > {}/shown.txt"):
                switch.run(line.format(self.work))
        self.process.send_signal(signal.SIGTERM)
        self.ends(self.process, "the next pcsim")


class Nameless(Switch):
    """One that is called after its process: the next one has another name."""

    name = None


class Recording(Switch):
    """One that records and traces from before its first call."""

    def settle(self) -> None:
        super().settle()
        recording = self.work / "run.rec"
        if not recording.exists():
            return
        done = subprocess.run([PROGRAMS / "pcsim-probe", "show", recording], capture_output=True,
                              text=True, errors="replace", check=False, timeout=PATIENCE_S)
        need(done.returncode == 0 or "is cut short" in done.stderr,
             f"the recording can't be read: {done.stderr}")
        lines = (self.work / "calls.txt").read_text() if (self.work / "calls.txt").exists() else ""
        need(not lines or lines.endswith("\n"), f"the trace ends in {lines[-80:]!r}")


class Scripted(Switch):
    """One that runs a script and writes test reports of it."""

    def load(self) -> None:
        waiting((self.run / f"{NAME}.sock").exists, "there is no socket", self.process)
        self.busy = True


class OfLab(Scene):
    """What labs share."""

    process: subprocess.Popen[bytes]
    starts: subprocess.Popen[bytes] | None = None
    TOOL = PROGRAMS / "pcsim-lab"

    def prepare(self) -> None:
        (self.work / "lab.yml").write_text(LAB)

    def lab(self) -> Folder:
        """Its folder."""
        return Folder(self.run / "labs" / NAME)

    def up(self) -> None:
        """Brings it up."""
        self.succeeds(self.TOOL, "up", "--timeout", "300", "lab.yml")

    def ask(self, method: str, **params: object) -> object:
        """What the keeper answers."""
        answer, _ = control.ask(self.lab().control, method, patience_s=PATIENCE_S, **params)
        return answer

    def is_up(self) -> bool:
        """Whether the lab lives and all of its nodes do."""
        folder = self.lab()
        if not folder.alive():
            return False
        states = self.ask("look")["nodes"].values()
        return all(state in ("running", "ready") for state in states)

    def settle(self) -> None:
        """It is up as a whole, or as a whole not."""
        if self.starts is not None:  # who brings it up without being killed has to say how it went
            self.starts.wait(PATIENCE_S)
        waiting(lambda: not self.lab().alive() or self.is_up(), "the lab is neither up nor not")
        if self.lab().alive():
            self.succeeds(self.TOOL, "down", NAME)

    def again(self) -> None:
        self.up()
        need(self.is_up(), "the next lab is not up")
        need("1:1" in self.succeeds(self.TOOL, "console", "sw1", "show", "ports"), "no ports")
        listed = json.loads(self.succeeds(self.TOOL, "list", "--json"))
        need(len(listed) == 1, f"these labs are listed: {listed}")
        self.succeeds(self.TOOL, "down")


class StartingLab(OfLab):
    """'up' is killed."""

    def start(self) -> int:
        self.process = self.spawn(self.TOOL, "up", "--timeout", "300", "lab.yml")
        return self.process.pid

    def load(self) -> None:
        waiting(lambda: self.lab().control.exists(), "there is no keeper", self.process)
        self.busy = True


class StoppingLab(OfLab):
    """'down' is killed."""

    def prepare(self) -> None:
        super().prepare()
        self.up()

    def start(self) -> int:
        self.process = self.spawn(self.TOOL, "down")
        self.busy = True
        return self.process.pid

    def settle(self) -> None:
        # A keeper that was told to end ends, and nobody asks it again.
        waiting(lambda: not self.lab().alive() or self.is_up(), "the lab is neither up nor not")
        if self.lab().path.exists():
            self.succeeds(self.TOOL, "down")


class RunningLab(OfLab):
    """The keeper is killed, while cables are pulled and plugged."""

    def prepare(self) -> None:
        super().prepare()
        self.up()

    def start(self) -> int:
        return self.lab().keeper().pid

    def load(self) -> None:
        with contextlib.suppress(LabError, *GONE):
            while True:
                for turn in LAB_LOAD:
                    self.ask("pull", endpoint="sw1:eth1", pulled=turn == "pull")
                    self.busy = True


class StartingKeeper(OfLab):
    """The keeper is killed, from when there is one; 'up' says so and ends."""

    def start(self) -> int:
        self.starts = self.spawn(self.TOOL, "up", "--timeout", "300", "lab.yml")
        before = self.starts.pid

        def keeper() -> int | None:
            found = self.lab().keeper()
            return found.pid if found is not None and found.pid != before else None
        self.busy = True
        return waiting(keeper, "there is no keeper", self.starts)


def keep_busy(scene: Scene) -> tuple[threading.Thread, list[BaseException]]:
    """Its load, in a thread that ends with it; what goes wrong there is in the list."""
    wrong: list[BaseException] = []

    def run() -> None:
        try:
            scene.load()
        except Wrong:
            pass  # it was killed before it could be kept busy
        except BaseException as problem:  # whoever waits for the thread tells of it
            wrong.append(problem)
    thread = threading.Thread(target=run, daemon=True)
    thread.start()
    return thread, wrong
