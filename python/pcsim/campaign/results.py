"""The file of a campaign: one SQLite database with what it is made of and what became of its runs.

Tables, of which others may read as well, also while the campaign runs:

    campaign   name, value         what it is made of, in words
    files      role, path, checksum    SHA-256 of pcsim, libraries, scenario, includes, plan, needs
    faults     name, rules, position   the entries of the plan, rules one a line
    runs       fault, seed, shape, library     what a run is called: there is one with this key
               outcome             passed, failed, crashed, timeout or refused
               seconds, status, reason, worker, ended
               command             the line for a shell that repeats it
               log                 what it has printed, compressed with zlib; none when passed

A result is committed before the next one is waited for, so a campaign that is killed has lost the
runs that were under way, and nothing else.
"""
from __future__ import annotations

import contextlib
import fcntl
import os
import sqlite3
import zlib
from collections import Counter
from pathlib import Path
from typing import IO, Any, Iterator, NamedTuple, Sequence

from .files import SHORT, File
from .plan import Fault
from .problems import CampaignError
from .runs import Key, Outcome, Result

FORMAT = "1"

SCHEMA = """
CREATE TABLE campaign (name TEXT PRIMARY KEY, value TEXT NOT NULL);
CREATE TABLE files (role TEXT NOT NULL, path TEXT NOT NULL, checksum TEXT NOT NULL,
                    PRIMARY KEY (role, path));
CREATE TABLE faults (name TEXT PRIMARY KEY, rules TEXT NOT NULL, position INTEGER NOT NULL);
CREATE TABLE runs (fault TEXT NOT NULL, seed INTEGER NOT NULL, shape TEXT NOT NULL,
                   library TEXT NOT NULL, outcome TEXT NOT NULL, seconds REAL NOT NULL,
                   status INTEGER, reason TEXT NOT NULL, worker TEXT NOT NULL,
                   command TEXT NOT NULL, log BLOB,
                   ended TEXT NOT NULL DEFAULT (datetime('now')),
                   PRIMARY KEY (fault, seed, shape, library))
"""
COLUMNS = "fault, seed, shape, library, outcome, seconds, reason, status, worker, command"
IN_ORDER = ("FROM runs LEFT JOIN faults ON faults.name = runs.fault "
            "ORDER BY faults.position, shape, library, seed")


class Identity(NamedTuple):
    """What a campaign is made of. Runs of another have no place in its file."""

    facts: dict[str, str]
    files: Sequence[File]
    faults: Sequence[Fault]


class Results:
    """A campaign's file, open."""

    def __init__(self, path: Path, *, write: bool = False) -> None:
        self.path = path
        if not write and not path.is_file():
            raise CampaignError(f"{path} is not there; expected the file of a campaign")
        with contextlib.ExitStack() as opened:
            try:
                tables = self._open(opened, write)
            except (sqlite3.Error, OSError) as problem:
                raise CampaignError(f"{path} can't be opened: {problem}; expected the file of a "
                                    "campaign or the name of a new one") from problem
            self._empty = not tables
            if "campaign" not in tables if tables else not write:
                raise self._foreign()
            self._opened = opened.pop_all()

    def _open(self, opened: contextlib.ExitStack, write: bool) -> set[str]:
        """Opens the database; the names of its tables."""
        if write:
            self.path.parent.mkdir(parents=True, exist_ok=True)
            # Closed last: closing any descriptor of the file gives the database's own locks back.
            opened.enter_context(locked(self.path))
        self._database = sqlite3.connect(self.path, isolation_level=None)
        opened.callback(self._database.close)
        rows = self._database.execute("SELECT name FROM sqlite_master WHERE type = 'table'")
        return {name for name, in rows}

    def _foreign(self) -> CampaignError:
        return CampaignError(f"{self.path} is no campaign's file of this version; expected "
                             "another name")

    def __enter__(self) -> Results:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def close(self) -> None:
        """Nothing more is read or written."""
        self._opened.close()

    @contextlib.contextmanager
    def _telling(self, what: str, rest: str = "") -> Iterator[None]:
        """What goes wrong with the database, as an error of campaigns."""
        try:
            yield
        except sqlite3.Error as problem:
            raise CampaignError(f"{self.path} can't be {what}: {problem}{rest}") from problem

    def _writing(self) -> contextlib.AbstractContextManager[None]:
        return self._telling("written", "; what it has stays, and --resume goes on with it")

    def _rows(self, statement: str, *values: str) -> Iterator[tuple[Any, ...]]:
        """Those of a question."""
        with self._telling("read"):
            yield from self._database.execute(statement, values)

    def begin(self, identity: Identity, resume: bool) -> None:
        """Makes the tables of a new campaign; goes on with one that is made of the same."""
        if self._empty:
            self._make(identity)
        elif self.fact("format") != FORMAT:
            raise self._foreign()
        elif not resume:
            raise CampaignError(f"{self.path} has a campaign in it; expected --resume to go on "
                                "with it, or another name")
        elif differs := self._difference(identity):
            raise CampaignError(f"{self.path} is of another campaign: {differs}; expected "
                                "the same, or another --out")
        with self._writing():
            # Others read while results are added, and one costs no flush of the disk.
            self._database.execute("PRAGMA journal_mode = WAL")
            self._database.execute("PRAGMA synchronous = NORMAL")
            # What had not begun may do so now.
            self._database.execute("DELETE FROM runs WHERE outcome = ?", (str(Outcome.REFUSED),))

    def _make(self, identity: Identity) -> None:
        facts = {"format": FORMAT, **identity.facts}
        with self._telling("written"):
            self._database.execute("BEGIN")
            for statement in SCHEMA.split(";"):
                self._database.execute(statement)
            self._database.executemany("INSERT INTO campaign VALUES (?, ?)", facts.items())
            self._database.executemany("INSERT INTO files VALUES (?, ?, ?)", (
                (file.role, file.path, file.checksum) for file in identity.files))
            self._database.executemany("INSERT INTO faults VALUES (?, ?, ?)", (
                (fault.name, "\n".join(fault.rules), position)
                for position, fault in enumerate(identity.faults)))
            self._database.execute("COMMIT")
        self._empty = False

    def _difference(self, identity: Identity) -> str:
        """What it has begun with and isn't so now, in a line."""
        stored = {(role, path): checksum for role, path, checksum in self._rows(
            "SELECT role, path, checksum FROM files")}
        now = {(file.role, file.path): file.checksum for file in identity.files}
        for role, path in [*now, *stored]:
            before, after = (table.get((role, path)) for table in (stored, now))
            if before != after:
                return (f"{role} {path} is {short(after)}, and was {short(before)} when it began")
        for name, value in identity.facts.items():
            if (kept := self.fact(name)) != value:
                return f"{name} is '{value}', and was '{kept}' when it began"
        return ""

    def fact(self, name: str) -> str:
        """A row of the table 'campaign'."""
        row = next(self._rows("SELECT value FROM campaign WHERE name = ?", name), ("",))
        return str(row[0])

    def add(self, result: Result) -> bool:
        """Notes a result; whether it was the first of its run."""
        log = zlib.compress(result.log.encode()) if result.log else None
        with self._writing():
            added = self._database.execute(
                f"INSERT OR IGNORE INTO runs ({COLUMNS}, log) VALUES (?,?,?,?,?,?,?,?,?,?,?)",
                (*result.key, str(result.outcome), result.seconds, result.reason, result.status,
                 result.worker, result.command, log))
        return added.rowcount == 1

    def outcomes(self) -> dict[Key, Outcome]:
        """Those of the runs that have ended."""
        return {Key(*key): Outcome(outcome) for *key, outcome in self._rows(
            "SELECT fault, seed, shape, library, outcome FROM runs")}

    def all(self, *outcomes: Outcome) -> Iterator[Result]:
        """What became of the runs: by fault in the plan's order, shape, library and seed. Those
        with these outcomes, if any are given."""
        for row in self._rows(f"SELECT {COLUMNS}, log {IN_ORDER}"):
            result = result_of(*row)
            if not outcomes or result.outcome in outcomes:
                yield result

    def counts(self) -> dict[tuple[str, str, str], Counter[Outcome]]:
        """How many runs of each fault, shape and library have ended how."""
        counts: dict[tuple[str, str, str], Counter[Outcome]] = {}
        for fault, shape, library, outcome in self._rows(
                f"SELECT fault, shape, library, outcome {IN_ORDER}"):
            counts.setdefault((fault, shape, library), Counter())[Outcome(outcome)] += 1
        return counts

    def rules(self) -> dict[str, list[str]]:
        """The rules of each fault, as the plan has them."""
        return {name: rules.splitlines() for name, rules in self._rows(
            "SELECT name, rules FROM faults ORDER BY position")}


def result_of(*row: Any) -> Result:
    """What a row of COLUMNS and a log says."""
    values = dict(zip((*COLUMNS.split(", "), "log"), row))
    values["outcome"] = Outcome(values["outcome"])
    values["log"] = zlib.decompress(values["log"]).decode() if values["log"] else ""
    return Result(**values)


def short(checksum: str | None) -> str:
    """The first digits."""
    return checksum[:SHORT] if checksum else "no part of it"


def locked(path: Path) -> IO[bytes]:
    """The file, held against a second campaign until it is closed."""
    file = open(path, "ab")
    try:
        fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError as problem:
        file.close()
        raise CampaignError(f"{path} is in use by a campaign that runs; expected another name, "
                            "or its end") from problem
    except BaseException:
        file.close()
        raise
    return file


def default_path(out: str | os.PathLike[str] | None, scenario: str) -> Path:
    """Where the results go: the given file, one in the given folder, or one in the working
    directory that is called after the scenario."""
    name = f"{Path(scenario).stem}.campaign.db"
    if out is None:
        return Path(name)
    path = Path(out)
    return path if path.suffix == ".db" and not path.is_dir() else path / name
