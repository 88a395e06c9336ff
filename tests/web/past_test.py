"""The last hour, as a page asks for it: the switch as it was, when something happened, and the
rates of its ports."""
import time

import pcsim
import pytest

pytestmark = pytest.mark.usefixtures("lab")


@pytest.fixture(name="switch", scope="module")
def one_switch(run_folder):
    """A switch whose clock stands, for all tests of this file."""
    with pcsim.Switch(ports=4, stopped=True, name="past") as switch:
        yield switch


@pytest.fixture(name="page")
def one_page(switch, gateway, join):
    """A page that looks at the switch and has seen all of it."""
    page = join(gateway)
    page.instance(switch.name)
    page.ask("look", instance=switch.name)
    page.shows({"ports", "nics", "cards"})
    return page


def event_of(page, text):
    """The event, when it comes."""
    news = page.news(lambda news: text in str(news.get("events")))
    return next(event for event in news["events"] if text in event["text"])


def link_at(page, moment):
    """The link of port 1:3 then."""
    return page.ask("at", instance="past", time=moment)["shows"]["ports"]["ports"][2]["link"]


def wait_link(page, moment, link):
    """Waits until the link of then is known: what an event has changed is asked for behind it."""
    end = time.monotonic() + 20
    while link_at(page, moment) != link:
        assert time.monotonic() < end, link_at(page, moment)
        time.sleep(0.05)


def test_a_moment_is_shown_as_it_was(page, switch):
    before = time.time()
    switch.run("cable 3 pull")
    switch.time.warp(1000)
    down = event_of(page, "Port 1:3 link down")
    # From the event on, however long it took to ask.
    wait_link(page, down["at"], "down")
    assert link_at(page, before) == "up"
    switch.run("cable 3 plug")
    switch.time.warp(1000)
    up = event_of(page, "Port 1:3 link up")
    wait_link(page, up["at"], "up")
    assert link_at(page, (down["at"] + up["at"]) / 2) == "down"
    assert page.ask("at", instance="past", time=1)["shows"] == {}


def test_the_clock_of_the_past(page, switch):
    def clock():
        return page.ask("at", instance="past", time=time.time())["clock"]
    at = time.time()
    then = clock()
    assert then == {"timeMs": switch.time.now, "stopped": True}
    switch.time.warp(60_000)
    page.news(lambda news: news["now"]["timeMs"] == switch.time.now)
    assert clock() == {"timeMs": then["timeMs"] + 60_000, "stopped": True}
    assert page.ask("at", instance="past", time=at)["clock"] == then


def test_marks_lead_to_what_they_have_changed(page, switch):
    switch.run("cable 3 pull")
    switch.time.warp(1000)
    event = event_of(page, "Port 1:3 link down")
    assert event["mark"] is True
    answer = page.ask("changes", instance="past")
    assert answer["first"] <= event["at"]
    mark = next(mark for mark in reversed(answer["marks"]) if mark[1] == "port")
    assert mark == [event["at"], "port", "Port 1:3 link down", 1]
    wait_link(page, mark[0], "down")
    switch.run("cable 3 plug")
    switch.time.warp(1000)


def test_frames_leave_no_mark(page, switch):
    switch.run("cable 1 send 3")
    assert "mark" not in event_of(page, "3 frames into eth1")


def test_what_happened_before_pcsim_web_came_has_its_time(switch, start, join):
    switch.time.warp(1)
    switch.run("cable 4 pull")
    switch.time.warp(3_600_000)
    page = join(start())
    page.instance(switch.name)
    page.ask("look", instance=switch.name)
    page.shows({"ports"})
    events = page.ask("events", instance="past")["events"]
    times = [event["at"] for event in events]
    assert times == sorted(times), "the clock of the switch was warped, not turned back"
    assert time.time() - times[0] < 3600 + 600
    marks = page.ask("changes", instance="past")["marks"]
    assert all(mark[0] >= page.ask("changes", instance="past")["first"] for mark in marks)
    switch.run("cable 4 plug")
    switch.time.warp(1000)


def test_rates_of_a_port(page, switch):
    page.news(lambda news: "rates" in news)
    since = time.time()
    switch.run("cable 2 send 500")
    told = page.news(lambda news: news.get("rates", {}).get("ports", {}).get("1:2"))["rates"]
    assert set(told["ports"]) == {"1:2"}, "ports at rest are left out"
    answer = page.ask("rates", instance="past", ports=["1:2", "1:1"], since=since)
    assert len(answer["times"]) == len(answer["counts"]) == len(answer["ports"]["1:2"])
    assert answer["times"][-1] == told["at"]
    assert not any(answer["ports"]["1:1"])
    # Of all samples together it is what was sent: rates times the seconds between them.
    assert answer["ports"]["1:2"][-1] == told["ports"]["1:2"]
    packets = sum(sample[0] for sample in answer["ports"]["1:2"] if sample)
    assert 300 < packets < 700
    coarse = page.ask("rates", instance="past", ports=["1:2"], since=since, step=3600)
    assert sum(coarse["counts"]) >= len(answer["times"])
    none = page.ask("rates", instance="past", ports=["1:2"], since=since, until=since)
    assert none == {"step": 1, "times": [], "counts": [], "ports": {"1:2": []}}


@pytest.mark.parametrize("question, text", [
    ({"do": "at", "time": "now"}, "'time' is no number that can be; expected one from 0 to"),
    ({"do": "rates", "ports": ["1:1"], "step": 0}, "'step' is no number that can be; expected one"),
    ({"do": "rates", "ports": [], "until": -1}, "'until' is no number that can be; expected one"),
    ({"do": "changes", "instance": "nobody"}, "there is no instance 'nobody'; expected"),
])
def test_questions_that_are_wrong(page, question, text):
    assert page.refused(**{"instance": "past", **question}).startswith(text)
