"""What a switch is put through, as data: how often in a simulated hour each of it happens."""
import faults
from model import EMPTY, OFF, OPERATIONAL

VLANS = range(2, 14)
PREFIX_OF = {4: "20.{}.0.0/16", 6: "fd00:{:x}::/32"}
MOST_BINDINGS = 12  # of a list: longer ones get an index, whose size is up to addresses


def vlan_churn(soak):
    """A VLAN comes or goes."""
    vlan = soak.pick(VLANS)
    if vlan not in soak.model.vlans:
        soak.run(f"vlan create {vlan}")
        soak.model.vlans[vlan] = {}
    elif soak.chance.random() < 0.3:
        soak.run(f"vlan delete {vlan}")
        soak.model.vlan_gone(vlan)


def member_churn(soak):
    """A port joins a VLAN, or leaves it."""
    if not soak.model.vlans:
        return
    vlan = soak.pick(soak.model.vlans)
    port = soak.pick(soak.plain_ports)
    members = soak.model.vlans[vlan]
    if port not in members:
        tagged = soak.chance.random() < 0.5
        soak.run(f"vlan {vlan} add {port}{' tagged' if tagged else ''}")
        members[port] = tagged
    elif soak.chance.random() < 0.4:
        soak.run(f"vlan {vlan} remove {port}")
        soak.model.member_gone(vlan, port)
        del members[port]


def learn(soak):
    """Addresses are seen on a port."""
    if not (members := soak.model.members()):
        return
    for _ in range(soak.chance.randint(1, 8)):
        vlan, port = soak.pick(members)
        mac = f"02:00:00:00:00:{soak.chance.randrange(1, 120):02x}"
        static = soak.chance.random() < 0.05
        known = soak.model.fdb.get((mac, vlan))
        if known and known[1]:
            soak.run(f"fdb del {mac} vlan {vlan}")
            del soak.model.fdb[mac, vlan]
            continue
        soak.run(f"fdb add {mac} vlan {vlan} port {port}{' static' if static else ''}")
        soak.model.fdb[mac, vlan] = (port, static, soak.now_s)


def flush(soak):
    """Dynamic addresses are flushed, of a VLAN or all."""
    vlan = soak.pick([None, *soak.model.vlans])
    soak.run(f"fdb flush{f' vlan {vlan}' if vlan else ''}")
    soak.warp(1)
    soak.model.flush(vlan)


def age(soak):
    """How long addresses stay."""
    soak.model.age_s = soak.pick([0, 60, 300, 900, 7200])
    soak.run(f"fdb age {soak.model.age_s}")
    soak.warp(2)


def neighbor_churn(soak):
    """A neighbor is resolved, moves, or is lost."""
    key = (soak.pick([0, 0, 1]), soak.neighbor(), 0)
    key = (key[0], key[1][0], key[1][1])
    text = f"{key[1]} vlan {key[2]}"
    if key in soak.model.neighbors and soak.chance.random() < 0.5:
        soak.run(f"neighbor del {text} vr {key[0]}")
        del soak.model.neighbors[key]
    elif ports := soak.model.ports():
        port, mac = soak.pick(ports), f"02:00:00:01:00:{soak.chance.randrange(256):02x}"
        soak.run(f"neighbor add {text} mac {mac} port {port} vr {key[0]}")
        soak.model.neighbors[key] = (mac, port)


def hops_of(soak, family):
    """Some next hops, and how they are said."""
    hops = set()
    for _ in range(soak.chance.randint(0, 3)):
        address, vlan = soak.neighbor()
        hops.add((address if family == 4 else f"fe80::{address.split('.')[3]}", vlan))
    return hops, "".join(f" via {address} vlan {vlan}" for address, vlan in sorted(hops))


def route_churn(soak):
    """A route comes, changes, or goes, of either family."""
    family = soak.pick([4, 4, 6])
    routes, vr = soak.model.routes[family], soak.pick([0, 0, 1])
    key = (vr, PREFIX_OF[family].format(soak.chance.randrange(1, 200)))
    hops, said = hops_of(soak, family)
    if key not in routes or soak.chance.random() < 0.2:
        soak.run(f"route add {key[1]}{said} vr {vr}")
        routes[key] = routes.get(key, set()) | hops
    elif hops and soak.chance.random() < 0.4:
        soak.run(f"route replace {key[1]}{said} vr {vr}")
        routes[key] = hops
    else:
        soak.run(f"route del {key[1]} vr {vr}")
        del routes[key]


def route_flush(soak):
    """All next hops by one gateway go, and all routes without any."""
    address, vlan = soak.neighbor()
    soak.run(f"route flush via {address}/32 vlan {vlan} vr 0")
    routes = soak.model.routes[4]
    for key in [key for key in routes if key[0] == 0]:
        routes[key].discard((address, vlan))
        if not routes[key]:
            del routes[key]
    # The host route of such a neighbor, too: it comes again with the neighbor.
    if (0, address, vlan) in soak.model.neighbors:
        soak.run(f"neighbor del {address} vlan {vlan} vr 0")
        del soak.model.neighbors[0, address, vlan]


def join(soak):
    """A group is joined by ports, or left by one."""
    members = soak.model.members()
    if not members:
        return
    iif = soak.pick(soak.model.vlans)
    leaving = [pair for pair in members if pair[0] != iif]
    outgoing = set(soak.chance.sample(leaving, min(len(leaving), soak.chance.randint(0, 4))))
    key = (soak.pick([0, 0, 1]), f"239.1.1.{soak.chance.randrange(1, 12)}",
           f"10.0.0.{soak.chance.randrange(1, 5)}", iif)
    said = "".join(f" oif {vlan} {port}" for vlan, port in sorted(outgoing))
    soak.run(f"mcast add {key[1]} {key[2]} iif {iif}{said} vr {key[0]}")
    vlans, ports = soak.model.caches.setdefault(key, ({iif}, set()))
    vlans |= {vlan for vlan, _ in outgoing}
    ports |= outgoing
    if key[0]:
        soak.model.kept_groups.add(key[:2])


def leave(soak):
    """A port leaves a group, or a cache goes."""
    if not soak.model.caches:
        return
    key = soak.pick(soak.model.caches)
    _, ports = soak.model.caches[key]
    said = f"{key[1]} {key[2]} iif {key[3]}"
    if ports and soak.chance.random() < 0.5:
        vlan, port = soak.pick(sorted(ports))
        soak.run(f"mcast oif del {said} oif {vlan} {port} vr {key[0]}")
        ports.discard((vlan, port))
    else:
        soak.run(f"mcast del {said} vr {key[0]}")
        soak.model.cache_gone(key)


def acl_churn(soak):
    """A list is loaded, given new rules, or deleted."""
    name, file = f"list{soak.chance.randrange(4)}", soak.pick(soak.acl_files)
    bound = [key for key, bound_to in soak.model.bindings.items() if bound_to == name]
    if name not in soak.model.lists:
        soak.run(f"acl load {name} {file}")
    elif bound or soak.chance.random() < 0.5:
        soak.run(f"acl refresh {name} {file}")
    else:
        soak.run(f"acl delete {name}")
        del soak.model.lists[name]
        return
    soak.model.lists[name] = soak.acl_files[file]


def bind(soak):
    """A list is bound to a VLAN on a port, or unbound; counters are read and cleared."""
    members = soak.model.members()
    if not members or not soak.model.lists:
        return
    vlan, port = soak.pick(members)
    key = (vlan, port, soak.chance.randrange(2))
    place = f"vlan {vlan} port {port} slot {key[2]}"
    held = soak.model.bindings.get(key)
    if held and soak.chance.random() < 0.5:
        if soak.model.lists[held][1]:
            soak.run(f"acl counters {held} {place} clear all")
        soak.run(f"acl unbind {held} {place}")
        del soak.model.bindings[key]
        return
    name = soak.pick(soak.model.lists)
    if name != held and list(soak.model.bindings.values()).count(name) < MOST_BINDINGS:
        soak.run(f"acl bind {name} {place}")
        soak.model.bindings[key] = name


def wide(soak):
    """A list is bound so often that the platform makes an index for it, and unbound everywhere."""
    names = [name for name in soak.model.lists if name not in soak.model.bindings.values()]
    free = [(*pair, slot) for pair in soak.model.members() for slot in (0, 1)
            if (*pair, slot) not in soak.model.bindings]
    if not names:
        return
    places = [f"{names[0]} vlan {vlan} port {port} slot {slot}"
              for vlan, port, slot in soak.chance.sample(free, min(len(free), 40))]
    for verb in ("bind", "unbind"):
        for place in places:
            soak.run(f"acl {verb} {place}")
        soak.chance.shuffle(places)


def kept_state(soak):
    """The state is kept, and gone back to at once: nothing may change."""
    soak.run("checkpoint soak")
    soak.run("restore soak")
    changed = soak.run("diff soak")["diff"]
    soak.demand(not changed, f"a state that was gone back to at once differs: {changed[:3]}")
    soak.run("checkpoint-remove soak")


def flap(soak):
    """A cable is pulled or plugged, or a port disabled or enabled."""
    port = soak.pick(soak.model.interfaces)
    if soak.chance.random() < 0.7:
        pulled = port in soak.model.pulled
        soak.run(f"cable {soak.model.interfaces[port]} {'plug' if pulled else 'pull'}")
        soak.model.pulled ^= {port}
    elif soak.model.is_there(port):
        soak.run(f"port {port} {'enable' if port in soak.model.disabled else 'disable'}")
        soak.model.disabled ^= {port}
    soak.warp(2)


def card_churn(soak):
    """A card is switched off or on, reset, pulled or put in."""
    slot = soak.pick(soak.model.cards)
    state = soak.model.cards[slot]
    verb = {OPERATIONAL: soak.pick(["power off", "remove", "reset"]), OFF: "power on",
            EMPTY: "insert"}[state]
    soak.run(f"card {slot} {verb}")
    if state == OPERATIONAL:
        soak.model.card_gone(slot, EMPTY if verb == "remove" else OFF)
    if verb not in ("power off", "remove"):
        soak.model.cards[slot] = OPERATIONAL
    soak.warp(30)


def trunk_churn(soak):
    """A trunk comes with a port, or goes."""
    number = soak.chance.randrange(1, 5)
    if number in soak.model.trunks:
        soak.run(f"trunk delete {number}")
        del soak.model.trunks[number]
        return
    soak.run(f"trunk create {number}")
    taken = set().union(*soak.model.trunks.values())
    free = [port for port in soak.trunk_ports if port not in taken]
    soak.model.trunks[number] = set(free[:1])
    for port in free[:1]:
        soak.run(f"trunk add {number} {port}")


def presence(soak):
    """Fans and power supplies come and go."""
    kind, units = soak.pick([("fans", range(4)), ("power", range(1, 5))])
    there = {unit for unit in units if soak.chance.random() < 0.7}
    soak.run(f"module {kind} {sum(1 << unit for unit in there)}")
    setattr(soak.model, "fans" if kind == "fans" else "supplies", there)
    soak.warp(6)


def small(soak):
    """Settings of which nothing stays, and questions that are answered with memory."""
    port = soak.pick(soak.model.ports() or ["none"])
    lines = ["device 0 restart", "device 3 enable", "device 5 status", "device 1 info",
             "device 1 state 2",
             "show capability PCSimC2", "show capability", "show devices", "fdb stats",
             "show family filled", "show coverage", "show events limit 5", "fdb dump", "mcast dump",
             "route dump", "neighbor dump", "show running"]
    lines += [f"fan {fan} speed 40" for fan in soak.model.fans]
    lines += [f"odometer power {unit} init" for unit in soak.model.supplies]
    if port != "none":
        lines += [f"poe port {port} enable", f"show poe port {port}",
                  f"show sflow {port}", f"counters read-clear {port}", f"port {port} restart",
                  f"show poe slot {port.split(':')[0]}"]
    for _ in range(3):
        line = soak.pick(lines)
        soak.run(line, may_fail=line in ("device 3 enable", f"port {port} restart"))


def sample(soak):
    """A port is sampled, or no more."""
    if not (ports := soak.model.ports()):
        return
    port = soak.pick(ports)
    soak.run(f"sflow {port} {'del' if port in soak.model.sampled else 'add'}")
    soak.model.sampled ^= {port}


def traffic(soak):
    """Frames are counted to the last one."""
    up = [port for port in soak.model.interfaces
          if soak.model.is_there(port) and soak.model.is_up(port)]
    if not up:
        return
    port, count = soak.pick(up), soak.chance.randrange(1, 500)
    soak.warp(2)
    soak.run(f"counters read-clear {port}")
    soak.run(f"cable {soak.model.interfaces[port]} send {count}")
    counted = soak.run(f"counters read-clear {port}")["counters"]["rxPackets"]
    soak.demand(counted == count, f"port {port} has counted {counted} of {count} frames")


# How often each happens in a simulated hour.
RATES = {
    vlan_churn: 6, member_churn: 12, learn: 30, flush: 1, age: 0.5,
    neighbor_churn: 20, route_churn: 50, route_flush: 1, join: 25, leave: 12,
    acl_churn: 3, bind: 12, wide: 0.5, kept_state: 0.5, flap: 8, card_churn: 3, trunk_churn: 2,
    presence: 1, small: 10, sample: 2, traffic: 2, faults.one: 6,
}
