"""Each method of a switch's parts does on a real switch what it says."""
from ipaddress import ip_address, ip_network

import pcsim
import pytest

pytestmark = pytest.mark.usefixtures("lab")


class TestPort:
    """Ports, cables and counters."""

    def test_states(self, switch):
        port = switch.port("1:1")
        shown = port.show()
        assert (shown.port, shown.interface, shown.admin, shown.link, shown.speed) == (
            "1:1", "eth1", "enabled", "up", 100)
        assert repr(port) == "<port 1:1>"
        port.disable()
        assert (port.admin, port.link) == ("disabled", "down")
        port.enable()
        port.restart()
        port.wait_link("up", within=3)
        assert (port.admin, port.link) == ("enabled", "up")
        port.autoneg(False, speed=10, duplex="half")
        port.autoneg(True)
        with pytest.raises(pcsim.CommandError, match="speed"):
            port.autoneg(False, speed=11)

    def test_cables(self, switch):
        cable = switch.cable(3)
        cable.pull()
        switch.port("1:3").wait_link("down", within=2)
        cable.plug()
        switch.port("1:3").wait_link(within=2)
        with pytest.raises(pcsim.CommandFailed):
            switch.cable(9).pull()

    def test_counters(self, switch):
        port = switch.port("1:2")
        switch.cable(2).send(7)
        assert port.counters().rx_packets == 7
        port.zero_counters()
        assert port.counters().rx_packets == 0
        switch.cable(2).send(3, out=True)
        assert port.read_and_clear().tx_packets == 3
        assert port.counters().tx_packets == 0


class TestCard:
    """Cards and what else is put in and pulled out."""

    def test_life(self, chassis):
        card = chassis.card(3)
        card.wait_state("operational", within=5)
        assert (card.show().card, card.state) == ("PCSimC2", "operational")
        card.diagnose()
        card.reset()
        card.power(False)
        assert card.state == "powered off"
        card.power(True)
        card.wait_state()
        card.remove()
        assert (card.show().card, card.state) == (None, "empty")
        card.insert()
        card.wait_state()
        with pytest.raises(pcsim.NotFound, match="there is no slot 11; there are 1, 2, 3, "):
            assert chassis.card(11).state
        assert [each.slot for each in chassis.cards()] == list(range(1, 11))

    def test_masks(self, chassis):
        chassis.module.cards(0b110)
        chassis.module.fans(0b1001)
        chassis.module.power(0b1110)
        chassis.time.warp(2000)
        assert [card.slot for card in chassis.cards() if card.state != "empty"] == [1, 2]
        assert [fan.fan for fan in chassis.fans() if fan.state == "present"] == [0, 3]
        assert [supply.supply for supply in chassis.power_supplies()
                if supply.state == "present"] == [1, 2, 3]

    def test_environment(self, switch):
        fan, supply = switch.fan(1), switch.power_supply(2)
        assert (fan.show().rpm, supply.show().input_mv) == (10001, 12000)
        fan.speed(60)
        switch.expect_event("Fan 1 speed set to 60 %")
        fan.odometer(500)
        fan.odometer()
        supply.odometer(5)
        supply.odometer()
        switch.expect_event("Power supply 2 odometer initialised")


class TestTables:
    """VLANs, MAC addresses, neighbors, routes."""

    @pytest.fixture(name="vlan", autouse=True)
    def vlan_with_a_port(self, switch):
        vlan = switch.vlan(10)
        vlan.create()
        vlan.add("1:1")
        return vlan

    def test_vlans(self, switch, vlan):
        assert (vlan.show().untagged, vlan.show().tagged) == ("1:1", None)
        vlan.add("1:2", tagged=True)
        vlan.remove("1:1")
        assert (vlan.show().untagged, vlan.show().tagged) == (None, "1:2")
        assert [each.vlan for each in switch.vlans()] == [10]
        vlan.delete()
        with pytest.raises(pcsim.NotFound, match="there is no vlan 10; there are none"):
            vlan.show()

    def test_addresses(self, switch, vlan, tmp_path):
        vlan.add("1:2")
        switch.fdb.add("02:00:00:00:00:01", 10, "1:1", static=True)
        switch.fdb.add("02:00:00:00:00:02", 10, "1:2")
        assert [(one.mac, one.type, one.port) for one in switch.fdb.entries(vlan=10)] == [
            ("02:00:00:00:00:01", "static", "1:1"), ("02:00:00:00:00:02", "dynamic", "1:2")]
        assert [one.mac for one in switch.fdb.entries(port="1:2")] == ["02:00:00:00:00:02"]
        assert len(switch.fdb.entries(limit=1)) == 1
        assert switch.fdb.find("02:00:00:00:00:01", 10).place is not None
        switch.fdb.flush(vlan=10)
        switch.time.warp(100)
        assert [one.mac for one in switch.fdb.entries()] == ["02:00:00:00:00:01"]
        switch.fdb.delete("02:00:00:00:00:01", 10)
        switch.fdb.age(60)
        assert (switch.fdb.stats()["entries"], switch.fdb.stats()["ageS"]) == (0, 60)
        file = tmp_path / "mac addresses.txt"
        file.write_text("02:00:00:00:00:03 20 1:3\n")
        switch.fdb.load(file, create_vlans=True)
        assert switch.fdb.entries()[0].vlan == 20

    def test_neighbors(self, switch):
        switch.neighbors.add(ip_address("10.0.0.1"), 10, "02:00:00:00:00:05", "1:1", vr=1)
        neighbor, = switch.neighbors.entries()
        assert (neighbor.address, neighbor.vr, neighbor.next_hops) == ("10.0.0.1", 1, 1)
        switch.neighbors.delete("10.0.0.1", 10, vr=1)
        assert switch.neighbors.entries() == []

    def test_routes(self, switch, tmp_path):
        prefix = ip_network("10.1.0.0/16")
        switch.routes.add(prefix, via=("10.0.0.1", 10))
        switch.routes.add(prefix, via=[("10.0.0.2", 10), ("10.0.0.3", 10)])
        switch.routes.add("fd00:1::/32")
        assert [route.gateway for route in switch.routes.entries()] == [
            "10.0.0.3", "10.0.0.2", "10.0.0.1", None]
        switch.routes.replace(prefix, via=("10.0.0.4", 10))
        assert [route.gateway for route in switch.routes.lookup("10.1.1.1")] == ["10.0.0.4"]
        assert switch.routes.lookup(ip_network("fd00:1::/32"))[0].prefix == "fd00:1::/32"
        switch.routes.flush(via="10.0.0.0/8")
        switch.routes.delete("fd00:1::/32")
        assert switch.routes.entries() == []
        file = tmp_path / "routes.txt"
        file.write_text("10.2.0.0/16\n10.3.0.0/16\n")
        switch.routes.load(file, via=("10.0.0.1", 10), vr=2)
        assert [route.vr for route in switch.routes.entries(vr=2)] == [2, 2]
        assert len(switch.routes.entries(limit=1)) == 1


class TestFault:
    """Faults, and what is told of calls."""

    def test_life(self, switch):
        fault = switch.fault("pcSimFanReadTemp", where={"slot": 2}, set={"temperature": 9000})
        assert fault.show().when == "where slot 2 set temperature 9000"
        fault.rest()
        assert fault.show().state == "off"
        fault.resume()
        other = switch.fault("pcSimFanReadTemp", after=1, count=2, delay=5, returns=-1)
        assert [each.rule for each in switch.faults()] == [fault.rule, other.rule] == [1, 2]
        fault.remove()
        assert [each.rule for each in switch.faults()] == [2]
        assert switch.fault("pcSimFanReadTemp", chance=50, seed=1).rule == 3
        switch.clear_faults()
        assert switch.faults() == []

    def test_networks_are_taken_as_a_whole(self, switch):
        switch.fault("ipv4FibAddEntry", where={"prefix": ip_network("10.0.0.0/8")})
        with pytest.raises(pcsim.CommandFailed):
            switch.routes.add("10.1.0.0/16")
        switch.routes.add("11.0.0.0/8")

    def test_it_ends_with_its_block(self, switch):
        with pytest.raises(KeyError), switch.fault("pcSimFanReadTemp"):
            raise KeyError
        assert switch.faults() == []

    def test_a_fault_that_can_not_apply_is_refused(self, switch):
        with pytest.raises(pcsim.CommandFailed, match="perhaps pcSimFanReadTemp"):
            switch.fault("pcSimFanReadTmp")
        with pytest.raises(ValueError, match="can't stand in a line"):
            switch.fault("pcSimFanReadTemp", where={"slot": 'a"'})

    def test_calls_and_coverage(self, switch, tmp_path):
        file = tmp_path / "calls of mine.txt"
        switch.calls(only=["pcSimCardPortRestart", "pcSimFan*"], to=file)
        switch.port("1:1").restart()
        switch.calls(on=False)
        assert "> pcSimCardPortRestart portInstance 1:1" in file.read_text()
        switch.times()
        switch.times(on=False)
        calls = {each.operation: each.calls for each in switch.coverage()}
        assert calls["pcSimCardPortRestart"] == 1
        assert len([name for name, count in calls.items() if not count]) > 100


class TestClock:
    """Time."""

    def test_stopped(self, switch):
        clock = switch.time
        assert (clock.now, clock.stopped) == (0, True)
        clock.warp(22_000)
        clock.sleep(500)
        assert clock.now == 22_500
        clock.run()
        assert not clock.stopped
        with pytest.raises(pcsim.CommandFailed):
            clock.warp(1)
        clock.stop()
        assert clock.stopped and clock.now >= 22_500


def test_what_can_be_asked_of_the_instance(switch):
    assert "show ports" in [verb["usage"] for verb in switch.describe()["verbs"]]
    assert "ports" in switch.complete("show po")
    assert switch.show("chassis")["chassis"]["shape"] == "stack"
