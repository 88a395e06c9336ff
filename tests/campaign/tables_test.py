"""What a campaign says of itself: tables, failures, reports and progress, as exact texts."""
import io
import json
import sys
import time
from dataclasses import replace
from pathlib import Path
from xml.dom import minidom

import pytest
from pcsim.campaign import CampaignError, Fault, Outcome, Result, Results
from pcsim.campaign.progress import Progress, duration
from pcsim.campaign.reports import junit, tap, write_report
from pcsim.campaign.results import Identity
from pcsim.campaign.tables import ranges, report

PASSED = Result("none", 1, "stack", "a.so", Outcome.PASSED, 0.0254, status=0)
FAILED = Result("slow cards", 3, "chassis", "a.so", Outcome.FAILED, 0.5,
                'a.pcsim:4: expected "1" & <2>', 1, command="cd /x && pcsim -f a.pcsim",
                log="a\x00b\n")
FAULTS = (Fault("none"), Fault("slow cards", ("fault open", "fault calloc")),
          Fault("fault getMgmtPort", ("fault getMgmtPort",)))


@pytest.fixture
def results(folder):
    """A file with a few."""
    with Results(Path("a.db"), write=True) as made:
        made.begin(Identity({}, (), FAULTS), resume=False)
        for seed in (1, 2, 3, 7):
            made.add(replace(PASSED, seed=seed))
            made.add(replace(FAILED, seed=seed))
        made.add(replace(FAILED, seed=5, outcome=Outcome.TIMEOUT, reason="still running after 1 s"))
        made.add(replace(PASSED, fault="fault getMgmtPort"))
        made.add(replace(FAILED, fault="fault getMgmtPort", seed=2, outcome=Outcome.CRASHED,
                         reason="killed by signal 4 (Illegal instruction)"))
        yield made


TABLE = """\
Runs
  Fault              Shape    Passed  Failed  Crashed  Timeout
  -----------------  -------  ------  ------  -------  -------
  none               stack         4       0        0        0
  slow cards         chassis       0       4        0        1
  fault getMgmtPort  chassis       0       0        1        0
  fault getMgmtPort  stack         1       0        0        0
"""

FAILURES = """
Not passed
  failed: slow cards, chassis, seeds 1-3, 7
    a.pcsim:4: expected "1" & <2>
    rule    fault open
    rule    fault calloc
    repeat  cd /x && pcsim -f a.pcsim
  timeout: slow cards, chassis, seed 5
    still running after 1 s
    rule    fault open
    rule    fault calloc
    repeat  cd /x && pcsim -f a.pcsim
  crashed: fault getMgmtPort, chassis, seed 2
    killed by signal 4 (Illegal instruction)
    repeat  cd /x && pcsim -f a.pcsim"""


def test_the_end_of_a_campaign_is_told(results):
    assert report(results) == TABLE + FAILURES


def test_many_kinds_of_failures_are_told_later(results):
    told = report(results, 1)
    assert told.startswith(TABLE) and told.count("repeat") == 1
    assert told.endswith("\n  and 2 more: pcsim-campaign --show a.db")


def test_libraries_are_a_column_where_there_are_several(results):
    results.add(replace(PASSED, library="longer/b.so"))
    assert report(results).splitlines()[1:5] == [
        "  Fault              Shape    Library      Passed  Failed  Crashed  Timeout",
        "  -----------------  -------  -----------  ------  ------  -------  -------",
        "  none               stack    a.so              4       0        0        0",
        "  none               stack    longer/b.so       1       0        0        0"]


def test_a_campaign_without_runs_is_an_empty_table(folder):
    with Results(Path("a.db"), write=True) as empty:
        empty.begin(Identity({}, (), FAULTS), resume=False)
        assert report(empty) == "Runs\n  Fault  Shape  Passed\n  -----  -----  ------"


@pytest.mark.parametrize("numbers, expected", [
    ([1], "1"), ([3, 1, 2], "1-3"), ([1, 3, 4, 9], "1, 3-4, 9")])
def test_seeds_are_told_as_ranges(numbers, expected):
    assert ranges(numbers) == expected


def test_tap():
    assert list(tap([PASSED, replace(FAILED, fault="a # b\\")])) == [
        "TAP version 14",
        "ok 1 - none, seed 1, stack, a.so", "  ---", "  duration_ms: 25.400", "  ...",
        "not ok 2 - a \\# b\\\\, seed 3, chassis, a.so", "  ---",
        '  message: "a.pcsim:4: expected \\"1\\" & <2>"', "  severity: fail",
        "  outcome: failed", '  repeat: "cd /x && pcsim -f a.pcsim"', "  duration_ms: 500.000",
        "  ...", "1..2"]
    assert list(tap([])) == ["TAP version 14", "1..0"]


def test_junit():
    crashed = replace(FAILED, outcome=Outcome.CRASHED, reason="killed", log="")
    text = "\n".join(junit([PASSED, FAILED, crashed]))
    suite = minidom.parseString(text).documentElement
    assert {name: suite.getAttribute(name) for name in ("tests", "failures", "errors", "time")} == {
        "tests": "3", "failures": "1", "errors": "1", "time": "1.025"}
    assert text.splitlines()[2:6] == [
        '  <testcase classname="none.stack.a.so" name="seed 1" time="0.025"/>',
        '  <testcase classname="slow cards.chassis.a.so" name="seed 3" time="0.500">',
        "    <failure type=\"failed\" message='a.pcsim:4: expected \"1\" &amp; &lt;2&gt;'>"
        "cd /x &amp;&amp; pcsim -f a.pcsim</failure>",
        "    <system-out>a?b"]
    assert '<error type="crashed" message="killed">' in text


def test_a_report_that_cannot_be_written_is_told(results, folder):
    with pytest.raises(CampaignError) as told:
        write_report("tap", folder, results)
    assert str(told.value) == f"report {folder} can't be written: Is a directory"


def test_progress_without_a_terminal_is_a_line_now_and_then(monkeypatch):
    now = [100.0]
    monkeypatch.setattr(time, "monotonic", lambda: now[0])
    stream = io.StringIO()
    progress = Progress(stream)
    progress.begin(1000, 100)
    for at in range(1, 301):
        now[0] = 100 + at * 0.3
        progress.add(PASSED if at % 100 else FAILED)
    progress.end()
    assert stream.getvalue().splitlines() == [
        "200 of 1000 runs, 1 not passed, about 4 min left",
        "300 of 1000 runs, 2 not passed, about 3 min left",
        "400 of 1000 runs, 3 not passed, about 3 min left"]


class Terminal(io.StringIO):
    """Says that it is one."""

    def isatty(self):
        return True


def test_progress_on_a_terminal_is_a_bar():
    pytest.importorskip("tqdm")
    stream = Terminal()
    progress = Progress(stream)
    progress.begin(4, 1)
    progress.add(FAILED)
    progress.add(PASSED)
    progress.add(PASSED)
    progress.end()
    last = stream.getvalue().split("\r")[-1]
    assert "100%" in last and "4/4" in last and "1 not passed" in last


def test_a_terminal_without_the_package_of_bars_has_lines(monkeypatch):
    monkeypatch.setitem(sys.modules, "tqdm", None)
    monkeypatch.setattr("pcsim.campaign.progress.LINE_S", 0.0)
    stream = Terminal()
    progress = Progress(stream)
    progress.begin(2, 0)
    progress.add(PASSED)
    progress.add(PASSED)
    progress.end()
    assert [line.split(", about")[0] for line in stream.getvalue().splitlines()] == [
        "1 of 2 runs, 0 not passed", "2 of 2 runs, 0 not passed"]


@pytest.mark.parametrize("seconds, expected", [
    (0.4, "0 s"), (119, "119 s"), (120, "2 min"), (3599, "59 min"), (7500, "2 h 5 min")])
def test_durations(seconds, expected):
    assert duration(seconds) == expected


def test_a_message_is_json_in_tap():
    line = next(line for line in tap([FAILED]) if "message" in line)
    assert json.loads(line.split(": ", 1)[1]) == FAILED.reason
