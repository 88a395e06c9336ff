"""Cables of a lab that is up: what nodes see of them when they are pulled, moved and shaped, and when
the far end goes.
"""
import json
import time

import pcsim
import pytest
from conftest import PAIR, eventually, run

CABLES = [["sw1:eth1", "sw2:eth1"], ["sw1:eth2", "sw2:eth2"], ["h1:eth1", "h2:eth1"]]


@pytest.fixture(scope="module")
def lab(shared_labs):
    """One for all tests."""
    shared_labs.up(PAIR)
    return shared_labs


@pytest.fixture
def pair(lab):
    """It, with all cables where the file has them."""
    yield lab
    there = [link["endpoints"] for link in lab.show()["links"]]
    for ends in there:
        if ends not in CABLES:
            lab.ask("disconnect", ends[0])
    for ends in CABLES:
        if ends not in there:
            lab.ask("connect", *ends)
    for node in ("sw1", "h1"):
        lab.ask("link", node, "up")
    assert eventually(lambda: lab.states() == ["up"] * 3)


def test_hosts_reach_each_other(pair):
    server = ("import socket; s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM); "
              "s.bind(('10.0.0.2', 9)); print(s.recv(9).decode())")
    client = ("import socket, time; s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)\n"
              "for _ in range(100): s.sendto(b'hello', ('10.0.0.2', 9)); time.sleep(0.05)")
    pair.ask("exec", "h1", "--", "sh", "-c", f"python3 -c \"{client}\" >/dev/null 2>&1 &")
    assert pair.ask("exec", "h2", "--", "python3", "-c", server) == "hello\n"


def told(switch, text):
    """How often a switch has told of something."""
    return [event.text for event in switch.events(sources=["port"], since=0, follow=False)
            ].count(text)


def state(pair, end):
    """That of the cable there."""
    return next(link["state"] for link in pair.show()["links"] if end in link["endpoints"])


def test_a_port_that_is_disabled_is_an_event_at_the_far_end(pair):
    with pcsim.connect("pair.sw1") as near, pcsim.connect("pair.sw2") as far:
        assert eventually(lambda: far.port("1:1").link == near.port("1:1").link == "up")
        before = told(far, "Port 1:1 link down")
        near.port("1:1").disable()
        # Two polls of the far end, and a moment.
        assert eventually(lambda: told(far, "Port 1:1 link down") == before + 1, within=3)
        assert (far.port("1:1").link, far.port("1:2").link) == ("down", "up")
        assert (state(pair, "sw1:eth1"), state(pair, "sw1:eth2")) == ("sw1:eth1 down", "up")
        near.port("1:1").enable()
        assert eventually(lambda: far.port("1:1").link == near.port("1:1").link == "up", within=3)
        assert told(far, "Port 1:1 link down") == before + 1


def test_ports_disabled_at_both_ends_come_back_in_either_order(pair):
    with pcsim.connect("pair.sw1") as one, pcsim.connect("pair.sw2") as two:
        for first, second in ((one, two), (two, one)):
            for switch in (one, two):
                switch.port("1:1").disable()
            assert eventually(
                lambda: state(pair, "sw1:eth1") == "sw1:eth1 down and sw2:eth1 down")
            first.port("1:1").enable()
            time.sleep(1.2)
            assert first.port("1:1").link == "down"
            second.port("1:1").enable()
            assert eventually(lambda: one.port("1:1").link == two.port("1:1").link == "up")


def test_a_cable_is_pulled_and_plugged(pair):
    with pcsim.connect("pair.sw2") as far:
        assert eventually(lambda: far.port("1:2").link == "up")
        before = told(far, "Port 1:2 link down")
        pair.ask("link", "sw1:eth2", "down")
        assert eventually(lambda: told(far, "Port 1:2 link down") == before + 1, within=3)
    assert (state(pair, "sw1:eth1"), state(pair, "sw1:eth2")) == ("up", "pulled")
    assert not pair.carrier("sw1", "eth2") and not pair.carrier("sw2", "eth2")
    pair.ask("link", "sw2:eth2", "up")
    assert eventually(lambda: pair.carrier("sw1", "eth2") and pair.carrier("sw2", "eth2"))


def test_all_cables_of_a_node_are_pulled_at_once(pair):
    pair.ask("link", "sw1", "down")
    assert sorted(pair.states()) == ["pulled", "pulled", "up"]
    pair.ask("link", "sw2", "up")
    assert eventually(lambda: pair.states() == ["up"] * 3)
    pair.ask("disconnect", "h1:eth1")
    done = run("link", "h1", "down")
    assert (done.returncode, done.stderr) == (
        2, "pcsim-lab: node 'h1' has no cables; 'connect' gives it some\n")


def test_cables_move(pair):
    pair.ask("disconnect", "sw1:eth1")
    pair.ask("disconnect", "h1:eth1")
    pair.ask("connect", "sw1:eth1", "h1:eth1")
    assert pair.carrier("sw1") and pair.carrier("h1")
    assert not pair.carrier("sw2") and not pair.carrier("h2")
    written = json.loads((pair.folder / "run" / "labs" / "pair" / "topology.json").read_text())
    assert sorted(link["endpoints"] for link in written["links"]) == [
        ["sw1:eth1", "h1:eth1"], ["sw1:eth2", "sw2:eth2"]]


def shaping(pair):
    """What the cable of the hosts does."""
    link = next(link for link in pair.show()["links"] if "h1:eth1" in link["endpoints"])
    return [link[name] for name in ("rate", "delay", "jitter", "loss")]


def test_a_cable_is_shaped(pair):
    pair.ask("link", "h1:eth1", "rate", "10mbit")
    assert shaping(pair) == [10_000_000, 0, 0, 0]
    assert "rate 10mbit" in pair.ask("show")
    pair.ask("link", "h2:eth1", "clear")
    assert shaping(pair) == [0, 0, 0, 0]


def test_delay_where_the_kernel_has_it(pair):
    done = run("link", "h1:eth1", "delay", "20ms", "jitter", "1ms", "loss", "0.1%")
    if done.returncode == 0:
        assert shaping(pair) == [0, 20_000, 1000, 0.1]
        pair.ask("link", "h1:eth1", "clear")
        return
    assert (done.returncode, done.stderr) == (
        1, "pcsim-lab: cannot make a cable late or lossy: this kernel doesn't know how; expected its "
           "module sch_netem\n")
    assert shaping(pair) == [0, 0, 0, 0]


WRONG = [
    (("link", "sw1:eth9", "down"),
     "node 'sw1' has no interface 'eth9'; expected eth0, eth1, eth2"),
    (("link", "sw9:eth1", "down"),
     "there is no node 'sw9' with interfaces; expected sw1, sw2, h1, h2"),
    (("link", "sw1:eth0", "down"), "sw1:eth0 has no cable; 'connect' gives it one"),
    (("link", "sw1", "clear"), "'sw1' is no endpoint; expected NODE:INTERFACE, such as sw1:eth1"),
    (("link", "sw7", "down"), "there is no node 'sw7'; expected sw1, sw2, h1, h2"),
    (("disconnect", "sw1:"), "'sw1:' is no endpoint; expected NODE:INTERFACE, such as sw1:eth1"),
    (("link", "sw1:eth1", "rate"), "'rate' is nothing that a cable does; expected up, down, clear, "
     "some of rate 10mbit, delay 5ms, jitter 1ms, loss 1%, or of speed 10, duplex half"),
    (("link", "sw1:eth1", "rate", "fast"),
     "rate is 'fast'; expected a rate from 8kbit to 30gbit, such as 10mbit"),
    (("link", "sw1:eth1", "speed", "7"), "speed is '7'; expected 10, 100 or auto"),
    (("link", "sw1:eth1", "duplex", "none"), "duplex is 'none'; expected half, full or auto"),
    (("link", "sw1:eth1", "jitter", "1ms"), "jitter is nothing without delay; expected both"),
    (("connect", "sw1:eth1", "h1:eth1"),
     "sw1:eth1 has a cable to sw2:eth1 already; 'disconnect sw1:eth1' takes it away"),
    (("exec", "sw3", "--", "true"), "there is no node 'sw3'; expected sw1, sw2, h1, h2"),
    (("exec", "sw1"), "there is no command; expected one, such as: exec sw1 -- ip link"),
    (("console", "h1"), "node 'h1' has no console; expected one of kind pcsim"),
    (("show", "other"), "there is no lab 'other'; expected pair"),
    (("down", "other"), "there is no lab 'other'; expected pair"),
    (("capture", "sw1:eth1", "--count", "0"),
     "argument --count: '0' is wrong; expected a number from 1 on; 'pcsim-lab capture --help' lists "
     "what there is"),
]


def test_what_is_wrong_is_said_in_one_line(pair):
    for arguments, said in WRONG:
        done = run(*arguments)
        assert (done.returncode, done.stderr) == (2, f"pcsim-lab: {said}\n")
    assert pair.states() == ["up"] * 3
