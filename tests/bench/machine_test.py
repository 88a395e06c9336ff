"""How busy the machine was with other things."""
import os
import re
import time

import pytest
from bench.report import machine
from bench.report.machine import Machine


def between(monkeypatch, start, end):
    """A machine that has seen two readings of (busy, all, own) seconds."""
    readings = iter([start, end])
    monkeypatch.setattr(machine, "times", lambda: next(readings))
    return Machine()


def test_what_it_had_itself_is_not_others(monkeypatch):
    # 20 of 40 seconds busy, 6 of them its own.
    assert between(monkeypatch, (10, 100, 4), (30, 140, 10)).others() == pytest.approx(35)


def test_what_is_measured_is_not_others(monkeypatch):
    assert between(monkeypatch, (10, 100, 4), (30, 140, 10)).others(measured=10) == pytest.approx(10)


def test_rounding_below_nothing_is_nothing(monkeypatch):
    # The kernel counts ticks for the whole and finer for a process.
    assert between(monkeypatch, (10, 100, 4), (10.5, 140, 4.6)).others() == 0


def test_no_time_has_passed(monkeypatch):
    assert between(monkeypatch, (10, 100, 4), (10, 100, 4)).others() == 0


def test_readings_of_this_machine():
    before = machine.times()
    end = time.process_time() + 0.2
    while time.process_time() < end:
        pass
    after = machine.times()
    busy, every, own = (now - then for now, then in zip(after, before))
    assert own >= 0.19
    assert busy >= 0.1
    assert every >= busy


def test_text():
    text = Machine().text()
    assert re.fullmatch(rf"{os.cpu_count()} processors, of which others had \d+ % meanwhile", text)
