"""Messages to the kernel, byte by byte, and the kernel's answers."""
import struct

import pytest
from conftest import in_lab
from pcsim_lab import links, namespaces, netlink
from pcsim_lab.topology import Shaping


def test_attributes_are_padded_and_found_again():
    data = netlink.attribute(3, "eth1") + netlink.attribute(5, 7) + netlink.attribute(0x8006, b"abc")
    assert data == (b"\x09\0\x03\0eth1\0\0\0\0" + b"\x08\0\x05\0\x07\0\0\0" + b"\x07\0\x06\x80abc\0")
    assert netlink.attributes(data) == {3: b"eth1\0", 5: b"\x07\0\0\0", 6: b"abc"}


def test_what_is_cut_off_is_left_out():
    data = netlink.attribute(5, 7)
    assert netlink.attributes(data[:3]) == {}
    assert netlink.attributes(b"\0\0\0\0" + data) == {}
    assert list(netlink.messages(b"\x08\0\0\0" + bytes(12))) == []


def test_a_rate_alone_is_a_token_bucket():
    ended, made = links.shape(7, Shaping(rate=10_000_000))
    assert (ended.kind, made.kind) == (37, 36)
    assert made.body[:20] == struct.pack("=BxHiIII", 0, 0, 7, 0x10000, 0xFFFFFFFF, 0)
    found = netlink.attributes(made.body[20:])
    assert found[1] == b"tbf\0"
    options = netlink.attributes(found[2])
    # 1,250,000 byte/s; 12,500 at once, and 151,400 more may wait.
    assert struct.unpack("=BBHhHI", options[1][:12]) == (0, 1, 0, -1, 0, 1_250_000)
    assert struct.unpack("=III", options[1][24:]) == (163_900, 0, 0)
    assert options[6] == struct.pack("=I", 12_500)
    assert 4 not in options


def test_a_rate_beyond_32_bits_has_64():
    found = netlink.attributes(links.shape(7, Shaping(rate=10**11))[1].body[20:])
    options = netlink.attributes(found[2])
    assert options[1][8:12] == b"\xff\xff\xff\xff"
    assert options[4] == struct.pack("=Q", 12_500_000_000)


def test_everything_else_is_netem():
    found = netlink.attributes(
        links.shape(7, Shaping(8_000_000, 5000, 1000, 25.0))[1].body[20:])
    assert found[1] == b"netem\0"
    # Latency, queue, loss as a share of 2^32, gap, duplicates, jitter; times stand behind, in ns.
    assert struct.unpack("=IIIIII", found[2][:24]) == (0, 1000, 0x40000000, 0, 0, 0)
    options = netlink.attributes(found[2][24:])
    assert options[10] == struct.pack("=q", 5_000_000)
    assert options[11] == struct.pack("=q", 1_000_000)
    assert options[6] == struct.pack("=IiIi", 1_000_000, 0, 0, 0)


def test_everything_lost_is_no_overflow():
    found = netlink.attributes(links.shape(7, Shaping(loss=100.0))[1].body[20:])
    assert struct.unpack_from("=I", found[2], 8) == (0xFFFFFFFF,)


def test_no_shaping_ends_what_was():
    assert [request.kind for request in links.shape(7, Shaping())] == [37]


def test_a_refusal_says_what_was_refused_and_why():
    def work():
        kernel = netlink.Netlink()
        pair = links.Pair(5, "p5", 2, "eth1", bytes([2, 0, 0, 0, 0, 1]), True, namespaces.network())
        with pytest.raises(netlink.Refused) as raised:
            kernel.perform(links.make(pair, "a:eth1") + links.make(pair, "b:eth1"))
        names = [state.name for state in links_here(kernel)]
        return [raised.value.strerror, names]

    def links_here(kernel):
        found = kernel.dump(netlink.Request(links.GETLINK, links.link(0)))
        return [links.state(message) for message in found]
    said, names = in_lab(work)
    assert said == "cannot make interface b:eth1: File exists"
    assert "p5" in names and "eth1" in names
