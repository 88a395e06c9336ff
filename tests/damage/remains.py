"""What a killed program may leave behind: everything that can be seen of it from outside, before and
after. Nothing here knows what should be there.
"""
import os
import socket
import time
from pathlib import Path

PATIENCE_S = 120.0  # that the kernel may take to end all that hung on a process
LISTENS = "0A"     # the state of a socket in /proc/net/tcp

Seen = dict[str, set[str]]


def reap() -> None:
    """Collects children of the dead, which are ours in a PID namespace whose first process we are;
    those that we have started ourselves are somebody's to wait for."""
    for pid, state, parent in processes():
        if state == "Z" and parent == os.getpid() and pid not in OURS:
            try:
                os.waitpid(pid, os.WNOHANG)
            except ChildProcessError:
                pass


OURS: set[int] = set()


def processes() -> list[tuple[int, str, int]]:
    """(number, state, parent) of all but us."""
    found = []
    for name in os.listdir("/proc"):
        if not name.isdigit() or int(name) == os.getpid():
            continue
        try:
            fields = Path("/proc", name, "stat").read_text(errors="replace").rpartition(")")[2]
        except OSError:
            continue
        state, parent, *_ = fields.split()
        found.append((int(name), state, int(parent)))
    return found


def command(pid: int) -> str:
    """What a process is, for people."""
    try:
        words = Path("/proc", str(pid), "cmdline").read_bytes().split(b"\0")
    except OSError:
        return ""
    return " ".join(word.decode(errors="replace") for word in words).strip()


def running() -> set[str]:
    """Processes that have not ended."""
    reap()
    return {f"process {pid} {command(pid)}" for pid, state, _ in processes() if state not in "ZX"}


def networks() -> set[str]:
    """Network namespaces: of processes, and those that a name or a mount holds."""
    found = set()
    for pid, _, _ in processes():
        try:
            found.add(f"network namespace {os.readlink(f'/proc/{pid}/ns/net')}")
        except OSError:
            continue
    named = Path("/run/netns")
    if named.is_dir():
        found |= {f"network namespace {path}" for path in named.iterdir()}
    return found


def mounts() -> set[str]:
    """Mount points."""
    return {f"mount {line.split()[4]}"
            for line in Path("/proc/self/mountinfo").read_text(encoding="utf-8").splitlines()}


def interfaces() -> set[str]:
    """Of the network namespace that we are in."""
    return {f"interface {name}" for _, name in socket.if_nameindex()}


def sockets() -> set[str]:
    """Sockets with a name, abstract ones among them, and TCP ports that are listened on."""
    found = set()
    for line in Path("/proc/net/unix").read_text(errors="replace").splitlines()[1:]:
        fields = line.split(maxsplit=7)
        if len(fields) == 8:
            found.add(f"socket {fields[7]}")
    for table in ("tcp", "tcp6"):
        path = Path("/proc/net", table)
        lines = path.read_text(encoding="ascii").splitlines()[1:] if path.exists() else []
        found |= {f"{table} socket {line.split()[1]}" for line in lines
                  if line.split()[3] == LISTENS}
    return found


def shared() -> set[str]:
    """Shared memory, semaphores and queues."""
    found = {f"shared memory {path}" for path in Path("/dev/shm").iterdir()}
    for kind in ("shm", "sem", "msg"):
        path = Path("/proc/sysvipc", kind)
        if path.exists():
            found |= {f"{kind} {line.split()[1]}"
                      for line in path.read_text(encoding="ascii").splitlines()[1:]}
    return found


def files(*folders: Path) -> set[str]:
    """All below these folders."""
    return {f"file {path}" for folder in folders if folder.is_dir() for path in folder.rglob("*")}


def look(*folders: Path) -> Seen:
    """Everything, by kind."""
    return {"processes": running(), "networks": networks(), "mounts": mounts(),
            "interfaces": interfaces(), "sockets": sockets(), "shared": shared(),
            "files": files(*folders)}


def more(before: Seen, now: Seen) -> list[str]:
    """What is there now and was not before."""
    return sorted(each for kind, seen in now.items() for each in seen - before[kind])


def less(before: Seen, now: Seen) -> list[str]:
    """What was there before and is not now."""
    return more(now, before)


def at_rest(before: Seen, *folders: Path) -> Seen:
    """What is there once nothing ends any more: a process that is killed takes a moment to go, and
    what hangs on it another. What doesn't go is there at the end."""
    end = time.monotonic() + PATIENCE_S
    while True:
        now = look(*folders)
        passing = ("processes", "networks", "mounts", "interfaces", "sockets")
        if not any(now[kind] - before[kind] for kind in passing) or time.monotonic() > end:
            return now
        time.sleep(0.01)
