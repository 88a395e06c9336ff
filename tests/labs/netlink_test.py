"""Messages to the kernel, its answers, and what it tells by itself."""
import json
import struct
import subprocess

import pytest
from conftest import in_lab
from pcsim_lab import links, namespaces, netlink
from pcsim_lab.topology import Shaping

NEW, DELETED, OTHER = 16, 17, 24


def piece(*interfaces):
    """Messages as the kernel sends them: (kind, index, flags, bytes of attributes)."""
    return b"".join(struct.pack("=IHHIIBxHiII", 32 + rest, kind, 0, 0, 0, 0, 1, index, flags, 0)
                    + bytes(rest) for kind, index, flags, rest in interfaces)


def test_what_the_kernel_tells_of_interfaces():
    data = piece((NEW, 3, 0x10001, 0), (OTHER, 4, 1, 8), (DELETED, 5, 0, 12), (NEW, 6, 1, 4))
    assert netlink.told(data) == [netlink.State(3, True, True), netlink.State(5, False, False, True),
                                  netlink.State(6, True, False)]


def test_what_is_cut_off_is_left_out():
    data = piece((NEW, 3, 0x10001, 0), (NEW, 4, 1, 0))
    assert netlink.told(data[:-1]) == [netlink.State(3, True, True)]
    assert netlink.told(data[:31]) == []
    assert netlink.told(struct.pack("=I", 8) + data[4:]) == []


def pair():
    """Two ends in one namespace."""
    return links.Pair(5, "p5", 2, "eth1", "02:00:00:00:00:01", True, namespaces.network())


def queue(kernel, shaping):
    """What the kernel has behind the end on the panel then."""
    kernel.perform(links.shape(5, shaping))
    said = subprocess.run(["tc", "-json", "qdisc", "show", "dev", "p5", "root"], check=True,
                          capture_output=True, text=True).stdout
    return [[found["kind"], found.get("options", {})] for found in json.loads(said)
            if found["kind"] != "noqueue"]


@pytest.mark.parametrize("rate, options", (
    # 12,500 byte at once, and 151,400 more may wait; the fastest; the slowest.
    (10_000_000, {"rate": 1_250_000, "burst": 12_500, "lat": 121_120}),
    (30 * 10**9, {"rate": 3_750_000_000, "burst": 37_500_000, "lat": 50_000}),
    (8_000, {"rate": 1_000, "burst": 2_000, "lat": 151_400_000})))
def test_a_rate_alone_is_a_token_bucket(rate, options):
    def work():
        kernel = netlink.Netlink()
        kernel.perform(links.make(pair(), "a:eth1"))
        return [queue(kernel, Shaping(rate=rate)), queue(kernel, Shaping())]
    [[kind, found]], ended = in_lab(work)
    assert (kind, found["rate"], ended) == ("tbf", options["rate"], [])
    for name in ("burst", "lat"):
        assert found[name] == pytest.approx(options[name], rel=0.01), name


def test_everything_else_is_netem():
    # Times are in the kernel's ticks of 64 ns, the loss is a share of 2^32.
    found = links.netem(Shaping(8_000_000, 5000, 1000, 25.0))
    assert (found["limit"], found["gap"], found["duplicate"]) == (1000, 0, 0)
    assert found["delay"] == pytest.approx(5_000_000 / 64, rel=1e-6)
    assert found["jitter"] == pytest.approx(1_000_000 / 64, rel=1e-6)
    assert found["loss"] == pytest.approx(0x40000000, abs=1)
    assert found["attrs"][0][1]["rate"] == 1_000_000
    assert links.netem(Shaping(delay=1))["attrs"] == []
    assert links.netem(Shaping(loss=100.0))["loss"] == 0xFFFFFFFF


def test_no_shaping_ends_what_was():
    assert [request.about for request in links.shape(7, Shaping())] == ["end shaping"]


def test_a_refusal_says_what_was_refused_and_why():
    def work():
        kernel = netlink.Netlink()
        with pytest.raises(netlink.Refused) as raised:
            kernel.perform(links.make(pair(), "a:eth1") + links.make(pair(), "b:eth1"))
        with pytest.raises(netlink.Refused) as explained:
            kernel.perform([netlink.Request(links.RTM_NEWNSID, links.message(links.nsidmsg, []),
                                            about="number nothing")])
        kernel.perform([links.name_namespace(namespaces.network(), 7)])
        names = [state.index for state in links.states(kernel, 7)]
        return [raised.value.strerror, explained.value.strerror, names]
    said, why, indices = in_lab(work)
    assert said == "cannot make interface b:eth1: File exists"
    assert why == "cannot number nothing: Invalid argument (nsid is missing)"
    assert {2, 5} <= set(indices)
