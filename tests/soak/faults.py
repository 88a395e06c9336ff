"""Faults: calls into the platform, and the platform's own of the C library and the tree, that fail,
and what must be as before behind them."""
from model import FAILED, OFF, OPERATIONAL


def memory_for_route(soak):
    """No memory for a route."""
    soak.refused("malloc", f"route add 30.{soak.chance.randrange(256)}.0.0/16 via 10.2.0.1 vlan 2")


def tree_for_route(soak):
    """The tree refuses a route. It has no gateway: one whose place is refused stops the process."""
    soak.refused("p2BtreeInsert", f"route add 31.{soak.chance.randrange(256)}.0.0/16")


def memory_for_next_hop(soak):
    """No memory for the second next hop: the first goes again, and its place, and the route."""
    prefix, gateways = soak.pick([
        (f"fd01:{soak.chance.randrange(256):x}::/32", ("fe80::1", "fe80::2")),
        (f"32.{soak.chance.randrange(256)}.0.0/16", ("10.2.0.1", "10.2.0.99"))])
    soak.refused("malloc after 2", f"route add {prefix} via {gateways[0]} vlan 2 "
                                   f"via {gateways[1]} vlan 2")


def memory_for_neighbor(soak):
    """No memory for an adjacency."""
    ports = soak.model.ports()
    if ports:
        soak.refused("calloc", f"neighbor add 10.99.0.{soak.chance.randrange(1, 250)} vlan 99 "
                               f"mac 02:00:00:00:00:99 port {soak.pick(ports)}")


def memory_for_binding(soak):
    """No memory for an instance, or for its counters, with which the instance goes again."""
    members = [pair for pair in soak.model.members() if (*pair, 0) not in soak.model.bindings
               and (*pair, 1) not in soak.model.bindings]
    counting = [name for name, (_, counters) in soak.model.lists.items() if counters]
    if members and counting:
        vlan, port = soak.pick(members)
        soak.refused(soak.pick(["calloc", "calloc after 1"]),
                     f"acl bind {soak.pick(counting)} vlan {vlan} port {port} slot 0")


def memory_for_vlan(soak):
    """No memory for a handle."""
    soak.refused("calloc", f"vlan create {soak.chance.randrange(60, 70)}")


def tree_for_group(soak):
    """The tree refuses a group."""
    if soak.model.vlans:
        soak.refused("p2BtreeInsert", f"mcast add 239.9.9.{soak.chance.randrange(1, 250)} 10.0.0.1 "
                                      f"iif {soak.pick(soak.model.vlans)}")


def address(soak):
    """The platform refuses an address."""
    members = soak.model.members()
    if members:
        vlan, port = soak.pick(members)
        soak.refused("pcSimPCFamFdbAddEntry", f"fdb add 02:00:00:00:99:99 vlan {vlan} port {port}")


def links(soak):
    """Every other request about an interface fails for a while."""
    soak.run(f"fault ioctl chance 50 seed {soak.chance.randrange(1, 1 << 30)}")
    soak.warp(10)
    soak.clear_faults()
    soak.warp(3)


def readings(soak):
    """Readings of fans fail and come again."""
    soak.run("fault pcSimFanReadTemp count 3")
    soak.warp(11)
    soak.clear_faults()
    soak.warp(6)


def card(soak):
    """A card that isn't powered on at the first attempt."""
    slot = soak.pick(soak.model.cards)
    if soak.model.cards[slot] not in (OFF, OPERATIONAL):
        return
    if soak.model.cards[slot] == OPERATIONAL:
        soak.run(f"card {slot} power off")
        soak.model.card_gone(slot, OFF)
        soak.warp(3)
    soak.run(f"fault pcSimCardPowerEnable count 1 where slot {slot} returns -1")
    soak.run(f"card {slot} power on", may_fail=True)
    soak.warp(1)
    soak.clear_faults(1)
    state = soak.card_state(slot)
    soak.demand(state == FAILED, f"slot {slot} is {state} after a refused power-on")
    soak.run(f"card {slot} power on")
    soak.model.cards[slot] = OPERATIONAL
    soak.warp(30)


ALL = (memory_for_route, tree_for_route, memory_for_next_hop, memory_for_neighbor,
       memory_for_binding, memory_for_vlan, tree_for_group, address, links, readings, card)


def one(soak):
    """One of them."""
    soak.pick(ALL)(soak)
