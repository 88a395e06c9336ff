"""A pcsim as a switch of Mininet, each test in namespaces of a lab's own."""
import contextlib
import io
import os
import re
import signal
from importlib.util import find_spec

import pcsim
import pytest
from conftest import NO_NAMESPACES, eventually, in_lab

with contextlib.suppress(ModuleNotFoundError):
    from mininet.link import TCLink
    from mininet.log import lg, setLogLevel
    from mininet.net import Mininet
    from pcsim.mininet import CLI, PcSim

TREE = {f"s{child}": f"s{(child + 1) // 3}" for child in range(2, 11)}  # three below each


@pytest.fixture(autouse=True)
def with_mininet(run_folder):
    """Ends the run as skipped where there is none."""
    if find_spec("mininet") is None:
        pytest.exit("skipped: there is no Mininet; expected Debian's package mininet",
                    NO_NAMESPACES)
    return run_folder


def networked(work):
    """The test runs where it may do anything to the network."""
    def test():
        in_lab(work)
    return test


@contextlib.contextmanager
def network(cables, **params):
    """Switches and their cables, started: (near, far)."""
    net = Mininet(switch=PcSim, link=TCLink, controller=None)
    for name in sorted({name for cable in cables for name in cable[:2]}):
        net.addSwitch(name, **params)
    for near, far, *options in cables:
        net.addLink(near, far, **(options[0] if options else {}))
    try:
        net.start()
        yield net
    finally:
        net.stop()


def said_by(net, tmp_path, *lines):
    """What Mininet's command line answers to these lines."""
    script = tmp_path / "script"
    script.write_text("\n".join((*lines, "")))
    said = io.StringIO()
    before = lg.handlers[0].stream
    setLogLevel("output")
    lg.handlers[0].setStream(said)
    try:
        with open(os.devnull, encoding="ascii") as nothing:
            CLI(net, stdin=nothing, script=str(script))
    finally:
        lg.handlers[0].setStream(before)
        setLogLevel("warning")
    return said.getvalue()


def links(net, name):
    """The ports of a switch that have link."""
    return [port.port for port in net[name].pcsim.ports() if port.link == "up"]


def same(look, expected):
    """Whether it becomes so, in a while."""
    eventually(lambda: look() == expected, within=5)
    return look() == expected


@networked
def test_ten_switches_see_a_link_go_down_at_both_ends():
    with network(list(TREE.items())) as net:
        assert [each.name for each in pcsim.instances()] == sorted(
            f"mininet.s{number}" for number in range(1, 11))
        expected = {name: ["1:1"] for name in TREE}
        expected |= {"s1": ["1:1", "1:2", "1:3"]}
        expected |= {name: ["1:1", "1:2", "1:3", "1:4"] for name in ("s2", "s3")}
        assert same(lambda: {name: links(net, name) for name in expected}, expected)
        net.configLinkStatus("s1", "s2", "down")
        net["s1"].pcsim.wait_event("Port 1:1 link down", within=3)
        net["s2"].pcsim.wait_event("Port 1:1 link down", within=3)
        changed = {**expected, "s1": ["1:2", "1:3"], "s2": ["1:2", "1:3", "1:4"]}
        assert {name: links(net, name) for name in expected} == changed
        net.configLinkStatus("s1", "s2", "up")
        assert same(lambda: {name: links(net, name) for name in expected}, expected)
    assert pcsim.instances() == []


@networked
def test_a_disabled_port_is_an_event_at_the_far_end():
    with network([("s1", "s2")]) as net:
        net["s2"].pcsim.wait_event("Port 1:1 link up", within=3)
        net["s1"].pcsim.port("1:1").disable()
        net["s2"].pcsim.wait_event("Port 1:1 link down", within=3)


@networked
def test_interfaces_have_the_names_of_the_platform_and_of_mininet():
    with network([("core", "edge", {"port1": 3})], ports=4, shape="chassis", net="other") as net:
        core = net["core"]
        assert [intf.name for intf in core.intfList()] == ["eth0", "core-eth3"]
        assert core.cmd("cat /sys/class/net/eth3/address").strip() == core.intf("core-eth3").mac
        assert core.intf("core-eth3").isUp() and core.intf("core-eth3").status() == "OK"
        status = core.pcsim.status()
        assert (status.name, status.shape) == ("other.core", "chassis")
        assert sorted(name for name in core.cmd("ls /sys/class/net").split()
                      if name.startswith("eth")) == ["eth0", "eth1", "eth2", "eth3", "eth4"]
        assert same(lambda: [port.interface for port in core.pcsim.ports() if port.link == "up"],
                    ["eth3"])
        core.setIP("10.0.0.1/24")
        assert "10.0.0.1/24" in core.cmd("ip -4 address show eth0")


@networked
def test_links_have_parameters():
    with network([("s1", "s2", {"bw": 10})]) as net:
        for name in ("s1", "s2"):
            assert "rate 10Mbit" in net[name].cmd("tc class show dev eth1")
        assert same(lambda: links(net, "s1"), ["1:1"])


@networked
def test_links_come_and_go_while_switches_run():
    with network([("s1", "s2")]) as net:
        net.addLink("s1", "s2", port1=4, port2=7)
        net["s1"].pcsim.wait_event("Port 1:4 link up", within=3)
        net["s2"].pcsim.wait_event("Port 1:7 link up", within=3)
        net.delLinkBetween(net["s1"], net["s2"], index=0)
        net["s1"].pcsim.wait_event("Port 1:1 link down", within=3)
        assert same(lambda: links(net, "s2"), ["1:7"])
        net.addLink("s2", "s1", port1=1, port2=1)
        assert same(lambda: [links(net, name) for name in ("s1", "s2")],
                    [["1:1", "1:4"], ["1:1", "1:7"]])


def test_the_command_line_has_consoles(tmp_path):
    in_lab(lambda: use_command_line(tmp_path))


def use_command_line(tmp_path):
    with network([("s1", "s2")], ports=2) as net:
        def said(line):
            return said_by(net, tmp_path, line)
        assert said("pcsim s1 port 1:2 disable") == net["s2"].pcsim.run("port 1:2 disable").text
        assert said("pcsim s1 show port 1:2") == net["s1"].pcsim.run("show port 1:2").text
        assert re.search(r"Admin +disabled", said("pcsim s1 show port 1:2"))
        assert said("pcsim s1 nonsense") == (
            "*** s1: 'nonsense' is not a verb; 'help' lists them all\n")
        for line, wrong in (("pcsim s3 show ports", "s3 show ports"), ("pcsim s1", "s1"),
                            ("pcsim", "")):
            assert said(line) == (f"*** '{wrong}' can't be run; expected a switch (s1, s2) and a "
                                  "line of its console\n")
        assert "eth2" in said("s1 ifconfig eth2")
        said("link s1 s2 down")
        net["s1"].pcsim.wait_event("Port 1:1 link down", within=3)


def test_a_switch_can_be_stopped_and_started_again(tmp_path):
    in_lab(lambda: start_again(tmp_path))


def start_again(tmp_path):
    with network([("s1", "s2")]) as net:
        said_by(net, tmp_path, "switch s1 stop")
        assert [each.name for each in pcsim.instances()] == ["mininet.s2"]
        assert said_by(net, tmp_path, "pcsim s1 show ports").startswith(
            "*** s1: there is no connection")
        said_by(net, tmp_path, "switch s1 start")
        assert same(lambda: links(net, "s1"), ["1:1"])


@networked
def test_one_that_has_died_is_told_and_the_others_end():
    said = io.StringIO()
    lg.handlers[0].setStream(said)
    with network([("s1", "s2")]) as net:
        os.kill(net["s1"].pcsim.status().pid, signal.SIGKILL)
    assert "*** s1: pcsim ended with signal 9; it said nothing; expected status 0\n" in (
        said.getvalue())
    assert pcsim.instances() == []


@networked
def test_what_cannot_be_is_told():
    net = Mininet(switch=PcSim, controller=None)
    for params, text in (
            ({"shape": "cube"}, "can't have the shape 'cube'; expected stack or chassis"),
            ({"ports": 13}, "can't have 13 ports; expected 1 to 12, which a stack has"),
            ({"ports": 0, "shape": "chassis"},
             "can't have 0 ports; expected 1 to 16, which a chassis has")):
        with pytest.raises(ValueError, match=re.escape(f"switch 's1' {text}")):
            net.addSwitch("s1", **params)
    net.addSwitch("s1", ports=1, program="no-such-pcsim")
    net.addSwitch("s2", ports=1)
    net.addLink("s1", "s2")
    with pytest.raises(ValueError, match="switch 's1' has no port 2; expected 1 to 1"):
        net.addLink("s1", "s2")
    with pytest.raises(pcsim.StartFailed, match="'no-such-pcsim' is not a program"):
        net.start()
    net.stop()


@networked
def test_a_name_that_is_taken_is_told_once():
    said = io.StringIO()
    lg.handlers[0].setStream(said)
    with network([("s1", "s2")]):
        other = Mininet(switch=PcSim, controller=None)
        other.addSwitch("s1")
        with pytest.raises(pcsim.StartFailed, match="'mininet.s1' runs already"):
            other.start()
        other.stop()
    assert "runs already" not in said.getvalue()
