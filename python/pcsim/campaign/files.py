"""The files that a campaign is made of, and whether they are still, and everywhere, the same.

A worker on another machine, or a build that ends in the middle of a campaign, would mix results of
two programs. So the checksums that the campaign began with go along with each of its runs.
"""
from __future__ import annotations

import functools
import hashlib
import os
import re
import shlex
from dataclasses import dataclass
from pathlib import Path
from typing import Iterable, Iterator, Mapping

from .problems import CampaignError

PACKAGE = Path(__file__).resolve().parent
SHORT = 12  # digits of a checksum, for people
INCLUDE = re.compile(r"\s*(i\w*)\s+(.+)")
VARIABLE = re.compile(r"\$(?:\{(\w+)\}|(\w+))")
DEEP = 16  # as many scripts as pcsim lets include each other


@dataclass(frozen=True)
class File:
    """A file in its role: pcsim, library, scenario, include, need or package."""

    role: str
    path: str
    checksum: str

    def __str__(self) -> str:
        return f"{self.role} {self.path}"


def file_of(role: str, path: str | os.PathLike[str]) -> File:
    """That file as it is now."""
    try:
        return File(role, os.fspath(path), checksum(path))
    except OSError as problem:
        raise CampaignError(f"{role} {os.fspath(path)} can't be read: "
                            f"{problem.strerror}") from problem


def package_file() -> File:
    """This package: workers must have the same one."""
    return File("package", "pcsim.campaign", checksum_of_package())


def checksum(path: str | os.PathLike[str]) -> str:
    """SHA-256 of a file, read again only when it has changed."""
    status = os.stat(path)
    return checksum_as_of(os.fspath(path), status.st_mtime_ns, status.st_size, status.st_ino)


@functools.lru_cache(maxsize=256)
def checksum_as_of(path: str, _changed: int, _size: int, _node: int) -> str:
    """The same, for a file of that time, size and place on the disk."""
    with open(path, "rb") as file:
        return hashlib.file_digest(file, "sha256").hexdigest()


@functools.cache
def checksum_of_package() -> str:
    """SHA-256 over the sources of this package, in the order of their names."""
    digest = hashlib.sha256()
    for source in sorted(PACKAGE.glob("*.py")):
        digest.update(source.name.encode() + b"\0" + source.read_bytes())
    return digest.hexdigest()


def difference(files: Iterable[File]) -> str:
    """What is not as it was when the campaign began, in a line; empty when all is."""
    for file in files:
        try:
            now = checksum_of_package() if file.role == "package" else checksum(file.path)
        except OSError as problem:
            return f"{file} can't be read: {problem.strerror}; expected {file.checksum[:SHORT]}"
        if now != file.checksum:
            return f"{file} is {now[:SHORT]}; expected {file.checksum[:SHORT]}"
    return ""


def includes_of(script: Path, variables: Mapping[str, str]) -> list[File]:
    """The scripts that a scenario includes, at any depth. Names that hang on what only the run
    knows are left out, and so are scripts that aren't there: the run tells of them."""
    found: dict[Path, File] = {}
    pending = [(script, 0)]
    while pending:
        path, depth = pending.pop()
        for name in included_names(path, variables):
            target = path.parent / name
            if depth < DEEP and target not in found and target.is_file():
                found[target] = file_of("include", target)
                pending.append((target, depth + 1))
    return sorted(found.values(), key=lambda file: file.path)


def included_names(script: Path, variables: Mapping[str, str]) -> Iterator[str]:
    """What its lines include; a verb may be typed as its beginning."""
    for line in script.read_text(encoding="utf-8", errors="replace").splitlines():
        matched = INCLUDE.match(line)
        if matched is None or not "include".startswith(matched[1]):
            continue
        try:
            words = shlex.split(matched[2], comments=True)
        except ValueError:
            continue
        yield from (VARIABLE.sub(lambda name: variables.get(name[1] or name[2], str(name[0])), word)
                    for word in words[:1])


def text_file(role: str, path: str, text: str) -> File:
    """A text as if it were a file."""
    return File(role, path, hashlib.sha256(text.encode()).hexdigest())
