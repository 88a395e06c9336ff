"""What a lab leaves outside of itself: a folder, from which others know of it.

    RUN/labs/NAME/keeper.json     who holds the lab
    RUN/labs/NAME/topology.json   what it is made of, as it is now
    RUN/labs/NAME/control         the keeper's socket
    RUN/labs/NAME/wire            what emulated PHYs know of each other
    RUN/labs/NAME/logs/NODE.log   what its nodes have printed
"""
from __future__ import annotations

import contextlib
import errno
import fcntl
import json
import os
import shutil
import stat
from dataclasses import asdict, dataclass
from pathlib import Path
from typing import Any, Iterator

from pcsim.new_file import whole_file
from pcsim.places import run_folder

from .problems import BadInput, LabError
from .topology import Topology


@dataclass(frozen=True)
class Keeper:
    """The process that a lab lives and dies with; `began` tells it from later ones of its
    number."""

    pid: int
    began: int
    user_namespace: bool = False


def began(pid: int) -> int | None:
    """When a process began, in the kernel's ticks; None when there is none, or it has ended."""
    try:
        fields = Path(f"/proc/{pid}/stat").read_text(encoding="ascii", errors="replace")
    except OSError:
        return None
    state, *rest = fields.rpartition(")")[2].split()
    return None if state in "ZX" else int(rest[18])


def labs_folder() -> Path:
    """The folder of all labs of the user, which is made when it is missing."""
    top = run_folder()
    labs = top / "labs"
    try:
        top.mkdir(mode=0o700, parents=True, exist_ok=True)
        found = top.stat()
        if found.st_uid != os.geteuid() or stat.S_IMODE(found.st_mode) & 0o022:
            raise LabError(f"{top} is another user's or open to others; expected a folder of this "
                           "user's own, or another one in PCSIM_RUN_DIR")
        labs.mkdir(mode=0o700, exist_ok=True)
    except OSError as problem:
        raise LabError(f"folder {labs} can't be made: {problem.strerror}; expected another one in "
                       "PCSIM_RUN_DIR") from problem
    return labs


@contextlib.contextmanager
def one_at_a_time(folder: Path) -> Iterator[None]:
    """Nobody else is in here with the same folder."""
    descriptor = os.open(folder, os.O_RDONLY | os.O_DIRECTORY)
    try:
        fcntl.flock(descriptor, fcntl.LOCK_EX)
        yield
    finally:
        os.close(descriptor)


def write_json(path: Path, data: Any) -> None:
    """At a stroke: who reads it has the old or the new. An OSError names the file."""
    try:
        with whole_file(path, on_disk=False) as file:
            file.write(json.dumps(data, indent=1) + "\n")
    except OSError as problem:
        raise OSError(problem.errno, problem.strerror, str(path)) from problem


def remove_drafts(labs: Path) -> None:
    """Those of starts that were killed."""
    for draft in labs.glob(".*.*"):
        starter = draft.suffix[1:]
        if starter.isdecimal() and began(int(starter)) is None:
            shutil.rmtree(draft, ignore_errors=True)


class Folder:
    """That of one lab."""

    def __init__(self, path: Path) -> None:
        self.path = path.absolute()

    @classmethod
    def of(cls, name: str) -> Folder:
        """By the lab's name."""
        return cls(labs_folder() / name)

    @classmethod
    def claim(cls, topology: Topology) -> Folder:
        """Makes the folder, with this process as the keeper until there is one."""
        folder = cls.of(topology.name)
        draft = cls(folder.path.with_name(f".{topology.name}.{os.getpid()}"))
        try:
            (draft.path / "logs").mkdir(mode=0o700, parents=True)
            draft.path.chmod(0o700)
            draft.write_keeper(Keeper(os.getpid(), began(os.getpid()) or 0))
            draft.write_topology(topology)
            with one_at_a_time(folder.path.parent):
                remove_drafts(folder.path.parent)
                if folder.path.exists() and not folder.alive():
                    folder.remove()
                draft.path.rename(folder.path)
        except OSError as problem:
            shutil.rmtree(draft.path, ignore_errors=True)  # the sockets are those of the other
            if problem.errno not in (errno.ENOTEMPTY, errno.EEXIST):
                raise LabError(f"{problem.filename or folder.path.parent} can't be written: "
                               f"{problem.strerror}") from problem
            raise BadInput(f"lab '{topology.name}' is up already; 'down {topology.name}' ends "
                           "it, and --name gives another one a name of its own") from None
        return folder

    @property
    def name(self) -> str:
        """The lab's."""
        return self.path.name

    @property
    def control(self) -> Path:
        """The keeper's socket."""
        return self.path / "control"

    @property
    def wire(self) -> Path:
        """Where emulated PHYs meet."""
        return self.path / "wire"

    def log(self, node: str) -> Path:
        """What a node prints."""
        return self.path / "logs" / f"{node}.log"

    def keeper(self) -> Keeper | None:
        """Who holds the lab; None when that can't be told."""
        try:
            return Keeper(**json.loads((self.path / "keeper.json").read_bytes()))
        except (OSError, ValueError, TypeError):
            return None

    def process(self) -> int | None:
        """A descriptor of the keeper's process, for the caller to close; None when it has ended."""
        keeper = self.keeper()
        if keeper is None or began(keeper.pid) != keeper.began:
            return None
        try:
            process = os.pidfd_open(keeper.pid)
        except ProcessLookupError:
            return None
        if began(keeper.pid) == keeper.began:
            return process
        os.close(process)  # a later one of its number
        return None

    def write_keeper(self, keeper: Keeper) -> None:
        """Says who holds the lab."""
        write_json(self.path / "keeper.json", asdict(keeper))

    def alive(self) -> bool:
        """Whether its keeper lives. Who starts a lab hands it over, and may end before we look."""
        keeper, before = self.keeper(), None
        while keeper is not None and keeper != before:
            if began(keeper.pid) == keeper.began:
                return True
            keeper, before = self.keeper(), keeper
        return False

    def topology(self) -> Topology:
        """What the lab is made of."""
        try:
            return Topology.of(json.loads((self.path / "topology.json").read_bytes()))
        except (OSError, ValueError, TypeError, KeyError) as problem:
            raise LabError(f"the folder of lab '{self.name}' is damaged ({problem}); "
                           f"'down {self.name}' removes it") from None

    def write_topology(self, topology: Topology) -> None:
        """Says what the lab is made of."""
        write_json(self.path / "topology.json", topology.to_json())

    def last_lines(self, node: str, count: int = 10) -> list[str]:
        """The last of what a node has printed."""
        try:
            with self.log(node).open("rb") as log:
                log.seek(max(0, log.seek(0, os.SEEK_END) - 4000))
                return log.read().decode(errors="replace").splitlines()[-count:]
        except OSError:
            return []

    def remove(self) -> None:
        """The folder, and the sockets of its instances, which nobody has any more."""
        with contextlib.suppress(LabError):
            for node in self.topology().nodes:
                if node.instance is not None:
                    for kind in ("sock", "lock"):
                        (run_folder() / f"{node.instance}.{kind}").unlink(missing_ok=True)
        shutil.rmtree(self.path, ignore_errors=True)


def all_folders() -> list[Folder]:
    """Those of all labs, living or ended."""
    found = [path for path in labs_folder().iterdir() if path.is_dir()]
    return [Folder(path) for path in sorted(found) if not path.name.startswith(".")]
