"""How soon a page is told, and how much of its time a switch is asked for."""
import asyncio
import time

import pytest
from pcsim_web import pending as news
from pcsim_web.feed import REST, SAVED_S, Budget
from pcsim_web.pending import SHORTEST_S, SOONEST_S, Pending


def asked(budget, now, took):
    """The time behind asking for so long, and behind the rest that follows."""
    return now + took + budget.rest(now, now + took)


def test_a_single_event_needs_no_rest():
    budget = Budget(0.0)
    assert asked(budget, 10.0, 0.01) == 10.01
    assert asked(budget, 10.01, 0.01) == 10.02


def test_a_storm_takes_a_sixth_of_the_time():
    budget, now, spent = Budget(0.0), 0.0, 0.0
    while now < 60:
        now = asked(budget, now, 0.02)
        spent += 0.02
    assert spent / now == pytest.approx(1 / (1 + REST), abs=0.01)


def test_what_is_saved_up_has_a_limit():
    budget = Budget(0.0)
    now = 1000.0
    for _ in range(int(SAVED_S / 0.01)):
        now = asked(budget, now, 0.01)
    assert now == pytest.approx(1000.0 + SAVED_S)
    rest = asked(budget, now, 0.01) - now - 0.01
    assert rest == pytest.approx(REST * 0.01)


def test_one_long_asking_rests_for_what_was_not_saved():
    assert Budget(0.0).rest(1000.0, 1001.0) == pytest.approx(REST * (1.0 - SAVED_S))


class Known:
    """What of a feed goes into messages."""

    name, alive, status_at, status = "a", True, 0.0, {}
    shows = {"ports": {"ports": []}}


def told(happen):
    """When messages come, in s since the first: (time, keys), with what happens in between."""
    async def run():
        pending, messages = Pending(), []
        pending.happened({"source": "port"})

        async def take():
            while True:
                message = await pending.take(Known)
                messages.append((time.monotonic(), message))
        taking = asyncio.ensure_future(take())
        while not messages:
            await asyncio.sleep(0.001)
        happen(pending)
        while len(messages) < 2:
            await asyncio.sleep(0.001)
        taking.cancel()
        return messages[1][0] - messages[0][0], messages[1][1]
    return asyncio.run(run())


def test_another_picture_follows_its_event_soon(monkeypatch):
    def change(pending):
        monkeypatch.setattr(news, "SHORTEST_S", 60)
        pending.changed({"ports"})
    took, message = told(change)
    assert message["shows"] == Known.shows
    assert took >= SOONEST_S * 0.9


def test_events_alone_wait_for_more():
    for happen in (lambda pending: pending.happened({"source": "port"}),
                   lambda pending: pending.changed(set())):
        took, _ = told(happen)
        assert took >= SHORTEST_S * 0.9
