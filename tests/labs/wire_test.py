"""Speed and duplex, as the emulated PHYs of two nodes resolve them over a cable."""
import json
import struct
from pathlib import Path

import pcsim
import pytest
from conftest import eventually, run
from pcsim.places import find_program
from pcsim_lab.topology import Carries, Endpoint, Link, Node
from pcsim_lab.wire import NO_PARTNER, Wire, abilities

# Prints or sets registers of PHYs; the library tests of real drivers have it.
PHY = Path(find_program()).resolve().with_name("phy")
LAB = """\
name: wired
topology:
  kinds:
    pcsim: {ports: 2}
  nodes:
    sw1: {kind: pcsim}
    sw2: {kind: pcsim}
    chip: {kind: hal, mii: true, ports: 1, command: [sh, -c, "exec sleep 600"]}
  links:
    - {endpoints: ["sw1:eth1", "sw2:eth1"], speed: 10}
    - endpoints: ["sw1:eth2", "sw2:eth2"]
"""
SLOW = [10, "half"]
USUAL = [100, "full"]


@pytest.fixture(name="wired", scope="module")
def one_lab(shared_labs):
    """Two switches and a node whose one port can be told anything."""
    shared_labs.up(LAB)
    return shared_labs


def seen(name, port):
    """Speed and duplex of a port that has link, as its switch tells them."""
    with pcsim.connect(f"wired.{name}") as switch:
        row = next(row for row in switch.show("ports")["ports"] if row["port"] == port)
        return [row["speed"], row["duplex"]]


def both(port, expected):
    """Whether both ends agree upon that, in a while."""
    return eventually(lambda: seen("sw1", port) == seen("sw2", port) == expected)


@pytest.mark.parametrize("carries, expected", (
    (Carries(), 0x01E0), (Carries("10"), 0x0060), (Carries("100"), 0x0180),
    (Carries(duplex="half"), 0x00A0), (Carries(duplex="full"), 0x0140),
    (Carries("10", "half"), 0x0020), (Carries("10", "full"), 0x0040),
    (Carries("100", "half"), 0x0080), (Carries("100", "full"), 0x0100)))
def test_what_a_cable_carries_is_bits_of_a_register(carries, expected):
    assert abilities(carries) == expected


def test_the_file_says_who_is_whose_partner(tmp_path):
    nodes = (Node("a", "pcsim", ("eth0", "eth1")), Node("b", "hal", ("eth1",)))
    a, b = Endpoint("a", "eth1"), Endpoint("b", "eth1")
    wire = Wire(tmp_path / "wire", nodes)
    assert wire.places == {"a": f"{tmp_path}/wire:0:2", "b": f"{tmp_path}/wire:2:1"}

    def ends():
        data = (tmp_path / "wire").read_bytes()
        assert data[:20] == b"pcsim wire 1\0\0\0\0" + struct.pack("=I", 3)
        assert len(data) == 32 + 3 * 32
        return [(name.rstrip(b"\0"), *words)
                for name, *words in struct.iter_unpack("=16sIIII", data[32:])]
    assert ends() == [(name, 0, NO_PARTNER, 0x01E0, 0) for name in (b"eth0", b"eth1", b"eth1")]
    wire.lay((Link(a, b, carries=Carries("10", "half")),))
    assert ends() == [(b"eth0", 0, NO_PARTNER, 0x01E0, 0), (b"eth1", 0, 2, 0x0020, 0),
                      (b"eth1", 0, 1, 0x0020, 0)]
    wire.lay(())
    assert ends() == [(name, 0, NO_PARTNER, 0x01E0, 0) for name in (b"eth0", b"eth1", b"eth1")]


def test_a_cable_of_the_file_carries_what_it_says(wired):
    assert both("1:1", [10, "full"]) and both("1:2", USUAL)
    rows = [line.split() for line in wired.ask("show").splitlines() if "sw1:eth" in line]
    assert rows == [["sw1:eth1", "sw2:eth1", "up", "speed", "10"],
                    ["sw1:eth2", "sw2:eth2", "up", "-"]]


def test_two_switches_follow_what_their_cable_carries(wired):
    for words, expected in ((("speed", "10", "duplex", "half"), SLOW),
                            (("speed", "100"), [100, "half"]),
                            (("duplex", "full", "speed", "auto"), USUAL),
                            (("speed", "10"), [10, "full"])):
        wired.ask("link", "sw2:eth2", *words)
        assert both("1:2", expected), words
        assert seen("sw1", "1:1") == [10, "full"], "another cable"
    written = json.loads((wired.folder / "run" / "labs" / "wired" / "topology.json").read_text())
    assert [link["speed"] for link in written["links"]] == ["10", "10"]
    wired.ask("link", "sw1:eth2", "clear")
    assert both("1:2", USUAL)


def told(wired, *words):
    """Tells the PHY of the node whose port can be told anything."""
    library = PHY.with_name("libpcsim-mii.so.0")
    # A sanitized library needn't come behind the sanitizer's.
    done = run("exec", "chip", "--", "env", "ASAN_OPTIONS=verify_asan_link_order=0",
               f"LD_PRELOAD={library}", str(PHY), "eth1", *words)
    assert done.returncode == 0, done.stderr


def test_a_speed_that_one_end_is_told_is_heard_at_the_other(wired):
    wired.ask("disconnect", "sw1:eth2")
    wired.ask("connect", "sw1:eth2", "chip:eth1")
    assert eventually(lambda: seen("sw1", "1:2") == USUAL)
    told(wired, "set", "0", "0x0100")  # 10 full, without negotiation
    assert eventually(lambda: seen("sw1", "1:2") == SLOW), "the duplex can't be heard"
    told(wired, "set", "0", "0x2100")
    assert eventually(lambda: seen("sw1", "1:2") == [100, "half"])
    wired.ask("link", "chip:eth1", "speed", "10")
    assert eventually(lambda: seen("sw1", "1:2") == [None, None]), "there is no link"
    told(wired, "set", "0", "0x8000")
    assert eventually(lambda: seen("sw1", "1:2") == [10, "full"])
