"""The last hour of a switch, as pcsim-web keeps it: documents, clock, marks, rates."""
import asyncio
import time
from types import SimpleNamespace

import pytest
from pcsim_web.history import Clock, History, KEPT_S, Marks, MOST_CHANGES, MOST_MARKS, Versions
from pcsim_web.pending import EVENTS_A_SECOND, EVENTS_AT_ONCE, Pending
from pcsim_web.rates import Meter, Rates, values_of

START = 1_000_000.0


# --- Documents ------------------------------------------------------------------------------------

def test_a_document_holds_until_the_next_one():
    versions = Versions()
    versions.add(10, {"link": "up"})
    versions.add(20, {"link": "down"})
    assert [versions.at(moment) for moment in (9.99, 10, 19.99, 20, 1e9)] == [
        None, {"link": "up"}, {"link": "up"}, {"link": "down"}, {"link": "down"}]


def test_what_was_in_force_an_hour_ago_is_kept():
    versions = Versions()
    for moment in (0, 1, 2, 3, KEPT_S + 2.5):
        versions.add(moment, moment)
    assert (versions.first, versions.at(1.9), versions.at(2.5)) == (2, None, 2)


def test_no_more_than_so_many_versions_are_kept():
    versions = Versions()
    for turn in range(MOST_CHANGES + 10):
        versions.add(turn / 100, turn)
    assert versions.first == 0.1
    assert versions.at(1e9) == MOST_CHANGES + 9


def test_documents_stay_in_the_order_in_which_they_came():
    versions = Versions()
    versions.add(20, "asked for by itself")
    versions.add(19, "caused by an event before that")
    assert versions.at(19.5) is None
    assert versions.at(20) == "caused by an event before that"


def test_a_history_tells_all_documents_of_a_moment():
    history = History()
    assert history.first(START) is None
    assert history.at(START) == {}
    history.changed(START, "ports", [1])
    history.changed(START + 5, "fans", [2])
    assert history.at(START + 1) == {"ports": [1]}
    assert history.at(START + 5) == {"ports": [1], "fans": [2]}
    assert history.first(START + 10) == START
    assert history.first(START + KEPT_S + 10) == START + 10


# --- Clock ----------------------------------------------------------------------------------------

def test_a_clock_goes_on_between_its_readings():
    clock = Clock()
    assert clock.at(START) == {"timeMs": 0, "stopped": True}
    clock.read(START, 5000, False)
    clock.read(START + 2, 7040, False)  # an answer that took its time
    assert clock.at(START - 1) == {"timeMs": 0, "stopped": True}
    assert clock.at(START + 3) == {"timeMs": 8000, "stopped": False}


def test_a_clock_that_was_stopped_and_warped_is_so_in_the_past():
    clock = Clock()
    clock.read(START, 1000, False)
    clock.read(START + 1, 2000, True)
    clock.read(START + 9, 2000, True)
    clock.read(START + 10, 62_000, True)
    clock.read(START + 20, 62_000, False)
    told = [(clock.at(START + after)["timeMs"], clock.at(START + after)["stopped"])
            for after in (0.5, 5, 9.99, 15, 21)]
    assert told == [(1500, False), (2000, True), (2000, True), (62_000, True), (63_000, False)]


def test_a_clock_stands_when_its_switch_has_ended():
    clock = Clock()
    clock.stop(START)
    clock.read(START, 1000, False)
    clock.stop(START + 2)
    assert clock.at(START + 50) == {"timeMs": 3000, "stopped": True}
    clock.read(START + 60, 10, False)
    assert clock.at(START + 61) == {"timeMs": 1010, "stopped": False}


# --- Marks ----------------------------------------------------------------------------------------

def test_what_happens_at_once_is_one_mark_of_its_source():
    marks = Marks()
    marks.add(START, "port", "Port 1:1 link down")
    marks.add(START + 0.1, "card", "Slot 1 removed")
    marks.add(START + 0.4, "port", "Port 1:2 link down")
    marks.add(START + 0.5, "port", "Port 1:3 link down")
    assert marks.since(START) == [[START + 0.4, "port", "Port 1:2 link down", 2],
                                  [START + 0.1, "card", "Slot 1 removed", 1],
                                  [START + 0.5, "port", "Port 1:3 link down", 1]]
    assert marks.add(START + 9, "lab", "Cable 12 pulled") is True
    assert marks.since(START + 9) == [[START + 9, "lab", "Cable 12 pulled", 1]]
    assert marks.since(START + 0.45)[:1] == [[START + 0.5, "port", "Port 1:3 link down", 1]]


def test_what_changes_nothing_of_the_picture_leaves_no_mark():
    marks = Marks()
    for source in ("call", "door", "pcSimPort"):
        assert marks.add(START, source, "something") is False
    assert marks.add(START, "lab", "12 frames into eth1") is False
    assert marks.since(0) == []


def test_marks_are_no_more_than_so_many():
    marks = Marks()
    for turn in range(MOST_MARKS + 5):
        marks.add(START + turn, "port", str(turn))
    assert len(marks.since(0)) == MOST_MARKS
    assert marks.since(0)[0][2] == "5"


# --- Rates ----------------------------------------------------------------------------------------

def counters(port, packets, size=100, errors=0):
    return {"port": port, "rxPackets": packets, "rxBytes": packets * size, "txPackets": 0,
            "txBytes": 0, "rxErrors": errors, "rxFrameErrors": None, "txErrors": errors,
            "txDrops": 0, "collisions": 0}


def report(*rows):
    return [{"data": {"counters": row}} for row in rows]


def test_all_errors_are_one_number_and_what_is_not_told_is_none():
    row = counters("1:1", 7, errors=2)
    assert values_of(row) == (7, 700, 0, 0, 4)
    assert values_of({}) == (0, 0, 0, 0, 0)


def test_a_rate_is_what_was_counted_in_the_time_between():
    meter = Meter()
    assert meter.read(START, report(counters("1:1", 100), counters("1:2", 0))) is None
    assert meter.read(START + 2, report(counters("1:1", 300, errors=1), counters("1:2", 0))) == {
        "1:1": [100.0, 10_000.0, 0.0, 0.0, 1.0], "1:2": [0.0] * 5}


def test_a_zeroed_counter_counts_from_zero():
    meter = Meter()
    meter.read(START, report(counters("1:1", 1000)))
    assert meter.read(START + 1, report(counters("1:1", 30))) == {
        "1:1": [30.0, 3000.0, 0.0, 0.0, 0.0]}


def test_a_port_has_a_rate_when_it_was_read_twice():
    meter = Meter()
    meter.read(START, report(counters("1:1", 1)))
    assert list(meter.read(START + 1, report(counters("1:1", 1), counters("2:1", 50)))) == ["1:1"]
    assert list(meter.read(START + 2, report(counters("2:1", 60)))) == ["2:1"]


def test_one_port_is_told_without_a_list():
    meter = Meter()
    meter.read(START, {"counters": counters("1:1", 1)})
    assert meter.read(START, {"counters": counters("1:1", 9)}) is None, "no time has passed"
    assert meter.read(START + 1, {"counters": counters("1:1", 10)})["1:1"][0] == 1.0


def test_rates_are_told_as_they_were():
    rates = Rates()
    rates.add(START, {"1:1": [1, 2, 3, 4, 5], "1:2": [0] * 5})
    rates.add(START + 1, {"1:1": [0] * 5, "1:2": [9, 0, 0, 0, 0.25]})
    assert rates.window(0, 1e11, 1, ["1:2", "1:1", "9:9"]) == {
        "step": 1, "times": [START, START + 1], "counts": [1, 1],
        "ports": {"1:2": [0, [9.0, 0.0, 0.0, 0.0, 0.2]], "1:1": [[1.0, 2.0, 3.0, 4.0, 5.0], 0],
                  "9:9": [0, 0]}}


def test_a_window_begins_behind_a_moment_and_ends_with_one():
    rates = Rates()
    for second in range(10):
        rates.add(START + second, {"1:1": [second] * 5})
    assert rates.window(START + 3, START + 6, 1, ["1:1"])["times"] == [
        START + 4, START + 5, START + 6]


def test_longer_steps_are_means():
    rates = Rates()
    for second in range(7):
        rates.add(START + second, {"1:1": [second, 0, 0, 0, 6]})
    window = rates.window(0, 1e11, 5, ["1:1"])
    assert (window["times"], window["counts"]) == ([START + 4, START + 6], [5, 2])
    assert window["ports"]["1:1"] == [[2.0, 0.0, 0.0, 0.0, 6.0], [5.5, 0.0, 0.0, 0.0, 6.0]]


def test_a_mean_counts_a_port_that_has_gone_as_at_rest():
    rates = Rates()
    rates.add(START, {"1:1": [8] * 5, "1:2": [4] * 5})
    rates.add(START + 1, {"1:2": [2] * 5})
    rates.add(START + 2, {"1:1": [1] * 5, "1:2": [0] * 5})
    assert rates.window(0, 1e11, 10, ["1:1", "1:2"])["ports"] == {
        "1:1": [[3.0] * 5], "1:2": [[2.0] * 5]}


def test_time_in_which_nobody_looked_is_left_out():
    rates = Rates()
    rates.add(START, {"1:1": [1] * 5})
    rates.add(START + 60, {"1:1": [1] * 5})
    assert rates.window(0, 1e11, 1, ["1:1"])["times"] == [START, START + 60]


def test_rates_are_kept_for_an_hour_of_time_not_of_samples():
    rates = Rates()
    for moment in (0, 1, KEPT_S / 2, KEPT_S + 1):
        rates.add(START + moment, {"1:1": [1] * 5})
    assert rates.window(0, 1e11, 1, [])["times"] == [START + KEPT_S / 2, START + KEPT_S + 1]


# --- What a page is told --------------------------------------------------------------------------

@pytest.fixture(name="feed")
def a_feed():
    return SimpleNamespace(name="demo", alive=True, status_at=START, shows={"ports": [1]}, events=[],
                           status={"timeMs": 5, "stopped": False}, history=History())


def take(pending, feed):
    return asyncio.run(pending.take(lambda: feed))


def event(number, source="port"):
    return {"number": number, "source": source}


def test_news_are_told_once(feed):
    pending = Pending()
    pending.changed({"ports", "fans"})
    pending.happened(event(1))
    pending.lost(3)
    pending.measured(START, {"1:1": [1.26, 0, 0, 0, 0], "1:2": [0.0] * 5})
    told = take(pending, feed)
    assert abs(told.pop("at") - time.time()) < 5
    assert told == {
        "tell": "news", "instance": "demo", "alive": True,
        "now": {"at": START, "timeMs": 5, "stopped": False}, "shows": {"ports": [1]},
        "events": [event(1)], "lost": 3,
        "rates": {"at": START, "ports": {"1:1": [1.3, 0, 0, 0, 0]}}}
    pending.changed(set())
    assert take(pending, feed).keys() == {"tell", "instance", "alive", "at", "now", "shows"}


def test_all_is_told_anew_without_what_was_before(feed):
    pending = Pending()
    pending.happened(event(1))
    pending.whole()
    feed.events = [event(number) for number in range(300)]
    told = take(pending, feed)
    assert told["whole"] is True
    assert [each["number"] for each in told["events"]] == [*range(200, 300)]
    assert "summed" not in told


def test_of_too_many_events_the_newest_are_told_and_all_are_counted(feed):
    pending = Pending()
    for number in range(1000):
        pending.happened(event(number, "port" if number % 2 else "card"))
    told = take(pending, feed)
    assert [each["number"] for each in told["events"]] == [*range(1000 - EVENTS_AT_ONCE, 1000)]
    assert sum(told["summed"].values()) + len(told["events"]) == 1000
    assert told["summed"] == {"port": 450, "card": 450}


def test_a_storm_is_summed_up_however_often_a_page_is_told(feed):
    async def storm():
        pending, told, counted, messages = Pending(), 0, 0, 0
        begun = time.monotonic()
        for number in range(1500):
            pending.happened(event(number))
            if number % 100 == 99:
                message = await pending.take(lambda: feed)
                told += len(message["events"])
                counted += message.get("summed", {}).get("port", 0)
                messages += 1
                assert message["events"][-1]["number"] == number, "the newest is always told"
        return told, counted, messages, time.monotonic() - begun
    told, counted, messages, passed = asyncio.run(storm())
    assert told + counted == 1500
    assert told <= EVENTS_AT_ONCE + EVENTS_A_SECOND * passed + messages
