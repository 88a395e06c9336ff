"""Streams of events: in order, without gaps, from the past, with a snapshot, until they end."""
import threading

import pcsim
import pytest
from pcsim.events import Feed
from pcsim.protocol import Notified

EVENT = {"number": 7, "timeMs": 1, "source": "port", "text": "x"}


def test_a_feed_takes_what_is_notified():
    feed = Feed(snapshot=["show ports"])
    shows = {"show ports": {"ports": []}}
    feed.take(Notified("snapshot", {"stream": 1, "sequence": 0, "timeMs": 0, "shows": shows}))
    feed.take(Notified("output", {"text": "x"}))
    feed.take(Notified("lost", {"stream": 1, "sequence": 1, "count": 5}))
    feed.take(Notified("event", {"stream": 1, "sequence": 2, **EVENT}))
    assert (feed.shows, feed.lost) == (shows, 5)
    assert [event.number for event in feed.events] == [7]
    assert feed.events[0].more == {}
    assert dict(feed.opening.params) == {"snapshot": ["show ports"]}


def test_a_gap_is_an_error():
    feed = Feed()
    feed.take(Notified("event", {"stream": 1, "sequence": 0, **EVENT}))
    with pytest.raises(pcsim.ProtocolError, match="expected notification 1 of the stream but got 2"):
        feed.take(Notified("event", {"stream": 1, "sequence": 2, **EVENT}))


@pytest.mark.usefixtures("lab")
class TestStream:
    """On a real switch."""

    def test_from_now_on(self, switch):
        with switch.events() as events:
            assert events.take(0.05) is None
            switch.cable(1).pull()
            switch.time.warp(1000)
            texts = [next(events).text for _ in range(3)]
        assert texts[0] == "Cable 1 pulled" and "Port 1:1 link down" in texts
        with pytest.raises(StopIteration):
            next(events)

    def test_of_some_sources(self, switch):
        with switch.events(sources=["port"]) as events:
            switch.cable(1).pull()
            switch.time.warp(1000)
            assert next(events).source == "port"
        with pytest.raises(pcsim.ProtocolError):
            switch.events(sources=[1])

    def test_about_something(self, switch):
        with switch.events(since=0, about="1:3") as events:
            assert next(events).text.startswith("Port 1:3 link up")

    def test_from_the_past_and_on(self, switch):
        with switch.events(since=3) as events:
            last = switch.log()[-1].number
            assert [next(events).number for _ in range(3, last + 1)] == list(range(3, last + 1))
            switch.cable(1).pull()
            assert next(events).number == last + 1

    def test_the_past_alone(self, switch):
        assert list(switch.events(follow=False)) == switch.log()
        assert list(switch.events(since=3, follow=False, sources=["env"], about="Fans")) == [
            event for event in switch.log(about="Fans") if event.source == "env"]

    def test_a_snapshot_comes_first(self, switch):
        with switch.events(snapshot=["show vlans"], since=0) as events:
            next(events)
            assert list(events.shows) == ["show vlans"]
            assert events.shows["show vlans"]["vlans"] == []
        with switch.events(snapshot=True, since=0) as events:
            next(events)
            assert "show ports" in events.shows

    def test_it_does_not_hold_up_the_switch(self, switch):
        heard = []

        def hear():
            for event in switch.events(sources=["card"]):
                heard.append(event.text)
                if "removed" in event.text:
                    break
        thread = threading.Thread(target=hear)
        thread.start()
        for _ in range(1000):
            switch.card(1).remove()
            switch.card(1).insert()
            thread.join(0.02)
            if not thread.is_alive():
                break
        assert heard[-1] == "Slot 1 PCSimStack removed"

    def test_it_ends_with_the_instance(self):
        with pcsim.Switch() as switch:
            events = switch.events()
            switch.shutdown()
        with pytest.raises(pcsim.ConnectionLost, match="the instance has ended the connection"):
            next(events)
