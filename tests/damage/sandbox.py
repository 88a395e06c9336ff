"""A place where programs can be killed without anybody noticing: a network, mount, PID and IPC
namespace of its own, with empty folders for what programs leave in the usual ones.
"""
import os
import subprocess
import sys
from pathlib import Path

TREE = Path(__file__).resolve().parents[2]
INSIDE = "--inside"
SKIPPED = 77
SPACES = ("--mount", "--net", "--ipc", "--pid", "--fork", "--mount-proc", "--kill-child")
ROOTLESS = ("--user", "--map-root-user")
EMPTY = ("/run", "/dev/shm", "/var/tmp", "/tmp")  # folders of the system that programs may use


def enter() -> None:
    """Goes there by running this program once more, inside. Ends it with 77 where that is not
    possible."""
    if INSIDE in sys.argv:
        sys.argv.remove(INSIDE)
        settle()
        return
    said = ""
    for more in ((), ROOTLESS) if os.geteuid() == 0 else (ROOTLESS,):
        command = ["unshare", *more, *SPACES]
        tried = subprocess.run([*command, "mount", "-t", "tmpfs", "tmpfs", "/run"],
                               capture_output=True, text=True, check=False)
        if tried.returncode == 0:
            os.execvp(command[0], [*command, sys.executable, *sys.argv, INSIDE])
        said = said or tried.stderr.strip()
    print(f"skipped: this machine cannot make namespaces: {said}")
    sys.exit(SKIPPED)


def settle() -> None:
    """Empties what is seen of the system's folders, and has the loopback work."""
    used = {TREE, Path(os.environ.get("PCSIM", TREE)).resolve()}
    for folder in EMPTY:
        # What the tests themselves are run from stays to be seen.
        if folder == "/run" or not any(path.is_relative_to(folder) for path in used):
            mount("tmpfs", folder)
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)


def mount(kind: str, folder: str, *options: str) -> None:
    """A file system of its own there."""
    subprocess.run(["mount", "-t", kind, *options, kind, folder], check=True)
