"""What pcsim-web knows of an instance, from when on: events and answers come on connections of
their own, in any order."""
import asyncio
import time

import pytest
from pcsim.protocol import Notified
from pcsim_web.feed import Feed
from pcsim_web.instances import Instances
from pcsim_web.pending import Pending

STATUS = {"timeMs": 1000, "upMs": 1000, "stopped": True}


@pytest.fixture(name="feed")
def a_feed():
    """A feed that has seen all events from before it came."""
    feed = Feed("switch")
    feed.status, feed.status_at = STATUS, time.time()
    happen(feed, 1000, "door", "Somebody came")
    return feed


def happen(feed, time_ms, source, text):
    """An event is heard; it."""
    feed._heard(Notified("event", {"number": len(feed.events), "timeMs": time_ms, "source": source,
                                   "text": text, "stream": 1, "sequence": 1}))
    return feed.events[-1]


class Door:
    """Answers a batch with these documents, and lets something happen on the way."""

    def __init__(self, *documents, on_the_way=lambda: None):
        self._documents = documents
        self._on_the_way = on_the_way

    async def perform(self, call):
        self._on_the_way()
        await asyncio.sleep(0.02)
        return call.take({"results": [{"data": document} for document in self._documents]})


def ask(feed, names, door):
    """Asks for shows."""
    asyncio.run(feed._ask_shows(door, [(name, f"show {name}") for name in names]))


def shown(feed, moment, name="ports"):
    """The document of that moment."""
    return feed.history.at(moment).get(name)


def test_what_an_event_has_changed_is_so_from_the_event_on(feed):
    ask(feed, ["ports"], Door("up"))
    time.sleep(0.01)
    before = time.time()
    time.sleep(0.01)
    down = happen(feed, 2000, "port", "Port 1:1 link down")
    time.sleep(0.02)
    ask(feed, ["ports"], Door("down"))
    assert (shown(feed, before), shown(feed, down["at"])) == ("up", "down")


@pytest.mark.parametrize("clock", (1000.0004, 1000.0006))
def test_what_comes_within_a_millisecond_keeps_its_order(feed, monkeypatch, clock):
    monkeypatch.setattr("pcsim_web.feed.time.time", lambda: clock)
    ask(feed, ["ports"], Door("up"))
    down = happen(feed, 2000, "port", "Port 1:1 link down")
    assert shown(feed, down["at"]) == "up"
    ask(feed, ["ports"], Door("down"))
    assert shown(feed, down["at"]) == shown(feed, clock) == "down"


def test_what_is_asked_for_meanwhile_takes_nothing_of_it(feed):
    ask(feed, ["ports", "fans"], Door("up", "turning"))
    down = happen(feed, 2000, "port", "Port 1:1 link down")
    ask(feed, ["fans"], Door("standing"))
    ask(feed, ["ports"], Door("down"))
    assert shown(feed, down["at"]) == "down"
    assert shown(feed, down["at"], "fans") == "turning"


def test_an_answer_may_tell_of_an_event_that_comes_later(feed):
    ask(feed, ["ports"], Door("up"))
    came = []
    ask(feed, ["ports"], Door("down", on_the_way=lambda: came.append(
        happen(feed, 2000, "port", "Port 1:1 link down"))))
    assert shown(feed, came[0]["at"]) == "down"


def test_a_change_without_an_event_is_so_from_its_answer_on(feed):
    ask(feed, ["fans"], Door("turning"))
    asked = time.time()
    ask(feed, ["fans"], Door("standing"))
    assert shown(feed, asked + 0.01, "fans") == "turning"
    assert shown(feed, time.time(), "fans") == "standing"


def test_a_refused_show_keeps_its_last_document(feed):
    ask(feed, ["ports"], Door("up"))

    class Refusing:
        async def perform(self, call):
            return call.take({"results": [{"error": {"message": "there is none"}}]})
    ask(feed, ["ports"], Refusing())
    assert feed.shows == {"ports": "up"}
    ask(feed, ["ports"], Door("down"))
    assert feed.shows == {"ports": "down"}


def test_the_clock_of_an_event_is_that_of_its_moment(feed):
    event = happen(feed, 61_000, "card", "Slot 1 PCSimStack booting")
    assert feed.history.clock.at(event["at"]) == {"timeMs": 61_000, "stopped": True}


def test_events_of_before_have_the_time_that_the_clock_tells(feed):
    late = Feed("switch")
    late.status, late.status_at = {"timeMs": 60_000, "upMs": 50_000, "stopped": False}, 5000.0
    assert happen(late, 59_000, "port", "a second ago")["at"] == 4999.0
    assert happen(late, 1000, "boot", "longer ago than it runs: it was warped")["at"] == 4950.0
    assert abs(happen(late, 60_000, "port", "now")["at"] - time.time()) < 5
    assert abs(happen(late, 59_990, "port", "now")["at"] - time.time()) < 5
    assert late.history.marks.since(4999.5)[0][3] == 2


@pytest.mark.parametrize("named, alive, looker, ago, kept", [
    ([], False, None, 3599, True), ([], False, None, 3601, False), ([], True, None, 3601, True),
    ([], False, "a page", 3601, True), (["switch"], False, None, 3601, True)])
def test_one_that_has_ended_is_forgotten_with_its_past(feed, named, alive, looker, ago, kept):
    instances = Instances(named)
    instances.feeds["switch"] = feed
    feed.alive, feed.ended_at = alive, time.time() - ago
    feed.lookers = {looker} - {None}
    instances._forget_old(time.time())
    assert [each["name"] for each in instances.told()] == (["switch"] if kept else [])


async def ends(work, wake, step):
    """Whether a task ends that is cancelled so many steps of the loop behind a wake-up."""
    task = asyncio.ensure_future(work)
    for _ in range(5):
        await asyncio.sleep(0)
    wake()
    for _ in range(step):
        await asyncio.sleep(0)
    task.cancel()
    return bool((await asyncio.wait({task}, timeout=0.3))[0])


@pytest.mark.parametrize("step", range(5))
def test_an_end_that_meets_a_wake_up_is_an_end(feed, step):
    pending = Pending()
    pending._last = time.monotonic() + 60  # it rests
    pending.changed({"fans"})
    for work, wake in ((feed._keep_asking(None), feed._wake.set),
                       (pending.take(lambda: None), pending.whole)):
        assert asyncio.run(ends(work, wake, step))
