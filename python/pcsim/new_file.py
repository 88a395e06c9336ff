"""Files that take the place of others once they are complete. Until then they have no name, so that
nothing is left of them when the process is killed; only file systems that know no such files have
them beside the others meanwhile. On the last step to where another one is they have the name
FILE.pcsim-new-N for a moment: what is left of a process that was killed then is removed by the next
that takes the step.
"""
from __future__ import annotations

import contextlib
import errno
import fcntl
import itertools
import os
import stat
import tempfile
from pathlib import Path
from typing import IO, Iterator


def is_replaceable(path: os.PathLike[str] | str) -> bool:
    """Whether a file of that name can be replaced by another one; a device or a pipe can't."""
    try:
        return stat.S_ISREG(os.stat(path).st_mode)
    except OSError:
        return True


class NewFile:
    """One that will replace the file of that name, for reading and writing. OSError when there can
    be no such file."""

    def __init__(self, path: os.PathLike[str] | str) -> None:
        self._target = Path(os.path.realpath(path))
        self._temporary: Path | None = None
        if self._target.is_dir():
            raise IsADirectoryError(errno.EISDIR, os.strerror(errno.EISDIR), str(path))
        try:
            self.descriptor = os.open(self._target.parent, os.O_TMPFILE | os.O_RDWR, 0o600)
            os.stat(self._link())
        except OSError:
            self.descriptor, name = tempfile.mkstemp(prefix=f"{self._target.name}.",
                                                     dir=self._target.parent)
            self._temporary = Path(name)
        os.fchmod(self.descriptor, mode_of(self._target))

    def _link(self) -> str:
        return f"/proc/self/fd/{self.descriptor}"

    def _give_name(self, name: Path) -> None:
        # Without a descriptor, which a whole path has no use for, links are not followed.
        os.link(self._link(), name, src_dir_fd=self.descriptor, follow_symlinks=True)

    def place(self) -> None:
        """Puts it where the other one is, at a stroke. OSError when that can't be: then nothing is
        changed."""
        if self._temporary is None:
            with contextlib.suppress(FileExistsError):
                # Where there is none yet, it needs no other name before.
                self._give_name(self._target)
                return
            self._temporary = self._take_name()
        self._temporary.replace(self._target)
        self._temporary = None
        fcntl.flock(self.descriptor, fcntl.LOCK_UN)

    def _take_name(self) -> Path:
        """A name of its own beside the target's, as only a rename puts a file where another is."""
        with contextlib.suppress(OSError):
            fcntl.flock(self.descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
        for number in itertools.count(1):
            name = self._target.with_name(f"{self._target.name}.pcsim-new-{number}")
            for _ in range(2):
                with contextlib.suppress(FileExistsError):
                    self._give_name(name)
                    return name
                if not remove_left(name):
                    break
        raise AssertionError("unreachable")

    def close(self) -> None:
        """Without place() before it, the file is gone and the other one as it was."""
        os.close(self.descriptor)
        if self._temporary is not None:
            self._temporary.unlink(missing_ok=True)


def remove_left(name: Path) -> bool:
    """Removes what a process has left that was killed on the last step, and whether that was it:
    whoever is still on it holds a lock."""
    try:
        file = os.open(name, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK)
    except OSError:
        return False
    try:
        fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        if not os.path.samestat(os.fstat(file), os.lstat(name)):
            return False
        name.unlink()
        return True
    except OSError:
        return False
    finally:
        os.close(file)


def mode_of(path: Path) -> int:
    """The rights of the file that is replaced, or those that a new one gets."""
    try:
        return stat.S_IMODE(path.stat().st_mode)
    except OSError:
        mask = os.umask(0)
        os.umask(mask)
        return 0o666 & ~mask


@contextlib.contextmanager
def whole_file(path: os.PathLike[str] | str, *, on_disk: bool = True) -> Iterator[IO[str]]:
    """A text that is in the file of that name when the block has ended, all or nothing of it, and
    on the disk unless that is not wanted. Into a device or a pipe it goes as it comes."""
    if not is_replaceable(path):
        with open(path, "w", encoding="utf-8") as pipe:
            yield pipe
        return
    new = NewFile(path)
    try:
        with open(new.descriptor, "w", encoding="utf-8", closefd=False) as file:
            yield file
        if on_disk:
            os.fsync(new.descriptor)
        new.place()
    finally:
        new.close()
