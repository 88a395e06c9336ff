"""Where things are: the program, the folder of the sockets, the instances that live there."""
from __future__ import annotations

import os
import shutil
import tempfile
from pathlib import Path

from .errors import StartFailed

# Where a build in the tree leaves the program, seen from this package in the tree.
BUILT = Path(__file__).resolve().parents[2] / "build" / "i386" / "pcsim"


def find_program(program: str | os.PathLike[str] | None = None) -> str:
    """The pcsim to start: the given one, that of $PCSIM, of PATH, or of the tree's build."""
    named = os.fspath(program) if program is not None else os.environ.get("PCSIM")
    if named:
        found = shutil.which(named)
        if found is None:
            raise StartFailed(f"'{named}' is not a program that can be run; expected a pcsim")
        return found
    found = shutil.which("pcsim") or shutil.which(str(BUILT))
    if found is None:
        raise StartFailed(f"there is no pcsim; expected one in $PCSIM, in PATH or as {BUILT}")
    return found


def run_folder() -> Path:
    """The folder of the user's sockets, whether it is there or not."""
    if given := os.environ.get("PCSIM_RUN_DIR"):
        return Path(given)
    if session := os.environ.get("XDG_RUNTIME_DIR"):
        return Path(session) / "pcsim"
    return Path(os.environ.get("TMPDIR") or tempfile.gettempdir()) / f"pcsim-{os.getuid()}"


def socket_of(name: str) -> Path:
    """The socket of the instance of that name."""
    if not name or "/" in name:
        raise ValueError(f"'{name}' is no name of an instance; expected letters, digits, '.', '_' "
                         "and '-'")
    return run_folder() / f"{name}.sock"


def socket_names() -> list[str]:
    """The names of all sockets in the folder; some may be of instances that are gone."""
    return sorted(path.stem for path in run_folder().glob("*.sock"))
