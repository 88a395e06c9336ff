#!/usr/bin/env python3
"""A disk that is full: each file that is written there is said to fail, in one line with its name;
a former one stays what it was, nothing else is left, and who has written goes on.

usage: full_disk.py [NAME...], of the checks below; all without names
"""
import contextlib
import os
import re
import subprocess
import sys
from pathlib import Path

import sandbox

DISK, ROOM = Path("/run/disk"), Path("/run/room")
DISK_SIZE = "6m"  # a recording takes 4 MiB of it at once
FORMER = "what was there before\n"
FULL = "No space left on device"
MANY = "".join(f"vlan create {number}\n" for number in range(2, 1000))
SCRIPT = "repeat 400\nexpect show ports -- count is 2\nend\n"
NO_LAB_YET = "name: small\ntopology:\n  nodes:\n    h1: {kind: linux}\n    h2: {kind: linux}\n" \
    "  links:\n    - endpoints: [\"h1:eth1\", \"h2:eth1\"]\n"


class Disk:
    """A small file system that is full, with former files on it."""

    def __init__(self, *names):
        self.names = {*names, "ballast"}
        for name in names:
            (DISK / name).write_text(FORMER)
        self.fill()

    @staticmethod
    def fill():
        """Takes all of its room."""
        with contextlib.suppress(OSError), open(DISK / "ballast", "ab", buffering=0) as ballast:
            while ballast.write(bytes(4096)):
                pass

    @staticmethod
    def free():
        """Gives it back."""
        os.truncate(DISK / "ballast", 0)

    def unharmed(self):
        """All is as it was."""
        found = {str(path.relative_to(DISK)) for path in DISK.rglob("*")}
        assert found == self.names, f"there is {found}"
        for name in self.names - {"ballast"}:
            content = (DISK / name).read_bytes()
            assert content == FORMER.encode(), f"{name} is now {content[:80]!r}"


def program(*words, status, folder=ROOM, **environment):
    """What a program says on standard error, which has to end with that status."""
    done = subprocess.run([str(PROGRAMS / words[0]), *map(str, words[1:])], text=True, cwd=folder,
                          stdin=subprocess.DEVNULL, capture_output=True, check=False, timeout=300,
                          env={**os.environ, **environment})
    assert done.returncode == status, f"{words} ended with {done.returncode}: {done.stderr}"
    return done.stderr


def one_line(said, *texts):
    """It is one, and has these in it."""
    assert said.count("\n") == 1 and all(text in said for text in texts), f"it said: {said}"


@contextlib.contextmanager
def switch():
    """One that answers before and after."""
    with pcsim.Switch(ports=2) as started:
        started.run(f"load {ROOM}/many")
        yield started
        assert "1:1" in started.run("show ports").text


def refused(started, line, *texts):
    """The line fails, and says these."""
    try:
        started.run(line)
    except pcsim.CommandError as problem:
        one_line(f"{problem.message}\n", *texts)
        return
    raise AssertionError(f"'{line}' succeeds")


def check_saves():
    """States, and what a line prints."""
    disk = Disk("state.txt", "state.gz", "shown.txt", "added.txt")
    with switch() as started:
        for line, name in (("save", "state.txt"), ("show running >", "shown.txt"),
                           ("show running >>", "added.txt")):
            refused(started, f"{line} {DISK}/{name}", f"{DISK}/{name} can't be written: {FULL}")
        refused(started, f"save {DISK}/state.gz", f"{DISK}/state.gz can't be packed")
        disk.unharmed()
        disk.free()
        started.run(f"save {DISK}/state.txt")
        assert "vlan create 999" in (DISK / "state.txt").read_text()


def check_recordings():
    """Recordings that can't begin, and those that end early."""
    disk = Disk("run.rec", "calls.txt")
    with switch() as started:
        refused(started, f"record {DISK}/run.rec",
                f"recording {DISK}/run.rec can't be made: {FULL}")
        started.run(f"calls on to {DISK}/calls.txt")
        started.run("vlan create 4000")
        refused(started, "calls off", f"trace {DISK}/calls.txt ends early: {FULL}")
        disk.unharmed()
        disk.free()
        started.run(f"calls on to {DISK}/calls.txt")
        started.run("vlan create 4001")
        disk.fill()
        started.run(f"load {ROOM}/fewer")
        refused(started, "calls off", f"trace {DISK}/calls.txt ends early: {FULL}")
        traced = (DISK / "calls.txt").read_text()
        assert traced.endswith("\n") and "\0" not in traced, f"the trace ends in {traced[-80:]!r}"


def check_recording_to_the_end():
    """What is recorded when the disk becomes full, and pcsim ends without 'record stop'."""
    Disk().free()
    said = program("pcsim", "--lab", "2", "--stopped", "-x", f"record {DISK}/run.rec",
                   "-f", ROOM / "again", status=1)
    one_line(said, f"recording {DISK}/run.rec ends early: the disk is full")
    said = program("pcsim-probe", "show", DISK / "run.rec", status=1)
    one_line(said, "is cut short", "good up to call")


def check_reports():
    """Test reports of a run."""
    disk = Disk("report.tap", "report.xml")
    for form, name in (("tap", "report.tap"), ("junit", "report.xml")):
        said = program("pcsim", "--lab", "2", "--stopped", "--report", form, DISK / name, "-f",
                       ROOM / "script", status=1)
        one_line(said, f"report {DISK}/{name} can't be written: {FULL}")
    disk.unharmed()


def check_tools():
    """What is made of recordings."""
    program("pcsim", "--lab", "2", "--stopped", "-x", f"record {ROOM}/run.rec", "-x",
            "vlan create 10", "-x", "record stop", status=0)
    disk = Disk("trimmed.rec", "host.c", "run.json")
    said = program("pcsim-probe", "trim", ROOM / "run.rec", "--calls", "@pcSim*", "-o",
                   DISK / "trimmed.rec", status=1)
    one_line(said, f"recording {DISK}/trimmed.rec can't be made: {FULL}")
    said = program("pcsim-probe", "export", ROOM / "run.rec", "--c", "-o", DISK / "host.c",
                   status=1)
    one_line(said, f"file {DISK}/host.c can't be written: {FULL}")
    disk.unharmed()


def check_campaigns():
    """Reports, and the results themselves."""
    disk = Disk("report.tap", "report.xml")
    for form, name in (("tap", "report.tap"), ("junit", "report.xml")):
        said = program("pcsim-campaign", "--quiet", "--ports", "2", "--seeds", "40", "--out",
                       ROOM / f"{form}.db", "--report", form, DISK / name, ROOM / "small", status=1)
        one_line(said, f"report {DISK}/{name} can't be written: {FULL}")
    disk.unharmed()
    said = program("pcsim-campaign", "--quiet", "--ports", "2", "--out", DISK / "results.db",
                   ROOM / "small", status=1)
    one_line(said, f"{DISK}/results.db can't be")
    (DISK / "results.db").unlink(missing_ok=True)
    disk.unharmed()


def check_labs():
    """A lab that can't begin, one that goes on, and captures."""
    disk, run = Disk("frames.pcap"), {"PCSIM_RUN_DIR": str(DISK / "run")}
    lab = ROOM / "lab.yml"
    said = program("pcsim-lab", "up", lab, status=1, **run)
    one_line(said, str(DISK), FULL)
    assert not list((DISK / "run").glob("labs/*")) and not list((DISK / "run").glob("labs/.*"))
    disk.free()
    program("pcsim-lab", "up", lab, status=0, **run)
    disk.fill()
    try:
        said = program("pcsim-lab", "link", "h1:eth1", "down", status=1, **run)
        one_line(said, "/labs/small/topology.json", FULL)
        said = program("pcsim-lab", "capture", "h1:eth1", DISK / "frames.pcap", "--count", "1",
                       status=1, **run)
        assert said.endswith(f"{DISK}/frames.pcap can't be written: {FULL}\n"), said
        assert (DISK / "frames.pcap").read_text() == FORMER
        disk.free()
        program("pcsim-lab", "link", "h1:eth1", "up", status=0, **run)
        disk.fill()
    finally:
        program("pcsim-lab", "down", status=0, **run)
    assert not list((DISK / "run" / "labs").iterdir())


def prepare():
    """Where there is room, and where there is none."""
    for folder in (DISK, ROOM):
        folder.mkdir()
    for name in ("home", "tmp", "run"):
        (ROOM / name).mkdir(mode=0o700)
    os.environ.update(PCSIM_RUN_DIR=str(ROOM / "run"), HOME=str(ROOM / "home"),
                      TMPDIR=str(ROOM / "tmp"))
    fewer = "".join(f"vlan create {number}\n" for number in range(1000, 1100))
    again = "repeat 7000\nshow counters 1:1\nshow counters 1:2\nend\n"
    for name, text in (("many", MANY), ("fewer", fewer), ("again", again), ("script", SCRIPT),
                       ("small", "expect show ports -- count is 2\n"), ("lab.yml", NO_LAB_YET)):
        (ROOM / name).write_text(text)


def main():
    """Runs the checks; the status."""
    sandbox.enter()
    sys.path.insert(0, str(sandbox.TREE / "python"))
    import pcsim as package  # pylint: disable=import-outside-toplevel
    globals()["pcsim"] = package
    globals()["PROGRAMS"] = Path(package.places.find_program()).resolve().parent
    prepare()
    checks = {name.removeprefix("check_"): check for name, check in globals().items()
              if re.match("check_", name)}
    failed = 0
    for name in sys.argv[1:] or checks:
        sandbox.mount("tmpfs", str(DISK), "-o", f"size={DISK_SIZE}")
        try:
            checks[name]()
        except AssertionError as problem:
            failed += 1
            print(f"{name}: {problem}", flush=True)
        finally:
            subprocess.run(["umount", "-l", str(DISK)], check=True)
    print(f"{len(sys.argv[1:] or checks)} kinds of files, {failed} wrong")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
