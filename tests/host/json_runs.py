#!/usr/bin/env python3
"""--json makes one document of a run, however it goes. usage: json_runs.py PCSIM"""
import json
import os
import random
import select
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

PCSIM = sys.argv[1]
LAB = ["--lab", "2", "--stopped"]
failures = []


def check(good, what):
    if not good:
        failures.append(what)


def objects_of(form, output, what):
    """The objects of a document; of lines, each is one."""
    try:
        if form == "--json":
            document = json.loads(output)
            assert isinstance(document, list)
            return document
        return [json.loads(line) for line in output.splitlines()]
    except (ValueError, AssertionError) as error:
        failures.append(f"{what} {form}: {error}: {output[-300:]!r}")
        return []


def run(arguments, status=None, stdin="", form="--json"):
    """The objects that a run answers."""
    done = subprocess.run([PCSIM, form, *arguments], input=stdin, capture_output=True, text=True,
                          timeout=100, check=False)
    if status is not None:
        check(done.returncode == status,
              f"{arguments} ended with {done.returncode}, not {status}: {done.stderr}")
    return objects_of(form, done.stdout, arguments)


def kinds(objects):
    return [next(iter(one)) for one in objects]


def ended_runs(folder):
    """Whatever ends a run."""
    script = folder / "script"
    script.write_text("show ports\ninclude inner\necho far\n")
    (folder / "inner").write_text("show vlans\nfrob\n")
    (folder / "nul").write_bytes(b"echo a\necho \0\n")
    (folder / "latin").write_bytes(b"echo \xe4\xff\nfr\xe4b\n")
    for form in "--json", "--json=lines":
        lines = run([*LAB, "-f", str(script)], 1, form=form)
        check([one.get("command") for one in lines] ==
              ["show ports", "show vlans", "frob", "include inner"], f"a script: {lines}")
        check(lines[2]["error"] ==
              {"code": 2, "message": "'frob' is not a verb; 'help' lists them all",
               "right": "'help' lists them all", "file": str(folder / "inner"), "line": 2},
              f"a failing line: {lines}")
        check("error" not in lines[3] and lines[3]["failed"] == 1, f"an include: {lines}")
        lines = run([*LAB, "-k", "-f", str(script)], 1, form=form)
        check([one.get("command") for one in lines][-1] == "echo far", f"kept going: {lines}")
        lines = run([*LAB, "-f", str(folder / "nul")], 1, form=form)
        check(kinds(lines) == ["command", "error"] and lines[1]["error"]["line"] == 2,
              f"a script that can't be read on: {lines}")
        lines = run([*LAB, "-f", str(folder / "latin")], 1, form=form)
        check([one["command"] for one in lines] == ["echo \ufffd\ufffd", "fr\ufffdb"],
              f"bytes that are no text: {lines}")
        lines = run([*LAB, "-x", "quit 3", "-x", "echo far"], 3, form=form)
        check(lines == [{"command": "quit 3", "data": None}], f"quit: {lines}")
        check(run([*LAB], 0, form=form) == [], "no line")
        lines = run([*LAB], 1, 'events on\ncable 1 pull\ntime warp 2000\nfdb dump\n"', form)
        check({"command", "event"} <= set(kinds(lines)), f"events: {set(kinds(lines))}")


def runs_that_do_not_begin():
    """Each is one object, and the status is what it is without --json."""
    problems = (
        (["--frob"], 2, 2), (["--lab", "none"], 2, 2), (["word"], 2, 2), (["-D", "1=2"], 2, 2),
        (["-f", "/nowhere"], 1, 1), (["--library", "/nowhere", "-x", "echo a"], 1, 1),
        (["--report", "tap", "/nowhere/tap"], 1, 1), ([*LAB, "--plan", "/nowhere"], 1, 1))
    for form in "--json", "--json=lines":
        for arguments, status, code in problems:
            lines = run(arguments, status, form=form)
            check(kinds(lines) == ["error"] and lines[0]["error"]["code"] == code,
                  f"{arguments}: {lines}")
        check(kinds(run(["--version"], 0, form=form)) == ["text"], "--version")
        check(kinds(run(["--help"], 0, form=form)) == ["text"], "--help")
    check(kinds(run(["--json=5"], 2)) == ["error"], "--json=5")


def signalled_runs():
    """The document is whole when a signal ends the run, at any time."""
    chance = random.Random(1)
    for form in "--json", "--json=lines":
        for number in signal.SIGTERM, signal.SIGINT:
            for _ in range(6):
                arguments = [PCSIM, form, *LAB, "-x", "repeat 1000000", "-x", "show family",
                             "-x", "echo $n", "-x", "end"]
                with subprocess.Popen(arguments, stdout=subprocess.PIPE,
                                      stderr=subprocess.PIPE) as process:
                    start = os.read(process.stdout.fileno(), 1)
                    time.sleep(chance.random() * 0.2)  # by then the pipe is full
                    process.send_signal(number)
                    time.sleep(chance.random() * 0.2)
                    rest, errors = process.communicate(timeout=30)
                lines = objects_of(form, (start + rest).decode(), f"signal {number}")
                check(process.returncode == 1, f"a signal: {process.returncode}, {errors}")
                check(any(one.get("error", {}).get("code") == 4 for one in lines),
                      f"nobody told of signal {number}: {lines[-2:]}")


def reader_that_stops():
    """Nobody reads any more: the run ends all the same."""
    inside, outside = os.pipe()
    with subprocess.Popen([PCSIM, "--json", *LAB, "-x", "repeat 1000", "-x", "show family",
                           "-x", "end"], stdout=outside, stderr=subprocess.DEVNULL) as process:
        os.close(outside)
        select.select([inside], [], [], 20)
        time.sleep(0.5)
        process.terminate()
        try:
            process.wait(20)
        except subprocess.TimeoutExpired:
            process.kill()
            failures.append("a run that nobody reads doesn't end")
    os.close(inside)


with tempfile.TemporaryDirectory() as scratch:
    ended_runs(Path(scratch))
runs_that_do_not_begin()
signalled_runs()
reader_that_stops()
for failure in failures:
    print("FAILED:", failure)
sys.exit(1 if failures else 0)
