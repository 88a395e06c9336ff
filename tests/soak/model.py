"""What a switch must hold after all that was asked of it, told naively: dicts and sets, no library.

Every rule of who goes with whom stands here once more, as contracts and documents say it; the driver
changes the model with each line that it runs, and the checks compare."""
from collections import Counter

OPERATIONAL, OFF, EMPTY, FAILED = "operational", "powered off", "empty", "failed"

# Sizes in bytes of the records that the library keeps, as a 32-bit compiler lays them out.
HANDLE = 4
ROUTE4, NEXT_HOP4, ROUTE6, NEXT_HOP6, ADJACENCY = 32, 28, 44, 40, 92
GROUP, CACHE, CACHE_IF, CACHE_PORT = 24, 56, 44, 48
MCAST_VLAN, MCAST_PORT, MCAST_VPIF = 32, 28, 36
ACL_LIST, ACL_INSTANCE, ACL_COUNTER = 80, 60, 16


class Model:  # pylint: disable=too-many-instance-attributes
    """All of a switch's state that the verbs can change."""

    def __init__(self, ports_of_slot, interfaces):
        self.ports_of_slot = ports_of_slot  # of all cards that have some
        self.interfaces = interfaces  # {port: number of its cable}
        self.cards = {slot: OPERATIONAL for slot in ports_of_slot}
        self.disabled, self.pulled = set(), set()
        self.vlans = {}  # {VLAN: {port: tagged}}
        self.fdb = {}  # {(mac, vlan): (port, static, seen at s)}
        self.age_s = 300
        self.neighbors = {}  # {(vr, address, vlan): (mac, port)}
        self.routes = {4: {}, 6: {}}  # {(vr, prefix): {(gateway, vlan)}}
        self.caches = {}  # {(vr, group, source, iif): ({vlans}, {(vlan, port)})}
        self.kept_groups = set()  # of routers but 0, for ever
        self.retired = Counter()  # caches and groups that the library keeps for ever, by size
        self.lists = {}  # {name: (bytes of its rules, counters)}
        self.bindings = {}  # {(vlan, port, slot): name}
        self.trunks = {}
        self.sampled = set()
        self.fans, self.supplies = set(), set()

    def ports(self):
        """Ports that are there."""
        return [f"{slot}:{port}" for slot, count in self.ports_of_slot.items()
                if self.cards[slot] == OPERATIONAL for port in range(1, count + 1)]

    def is_there(self, port):
        """Whether the card of a port is in service."""
        return self.cards[int(port.split(":")[0])] == OPERATIONAL

    def members(self):
        """(VLAN, port) of all memberships whose port is there."""
        return [(vlan, port) for vlan, members in self.vlans.items() for port in members
                if self.is_there(port)]

    def is_up(self, port):
        """Whether a port must have link."""
        return port in self.interfaces and port not in self.disabled and port not in self.pulled

    # --- what goes with what -------------------------------------------------------------------

    def pass_time(self, now_s):
        """Lets addresses age."""
        if self.age_s:
            self.fdb = {key: entry for key, entry in self.fdb.items()
                        if entry[1] or entry[2] + self.age_s > now_s}

    def flush(self, vlan=None):
        """Dynamic addresses go."""
        self.fdb = {key: entry for key, entry in self.fdb.items()
                    if entry[1] or vlan not in (None, key[1])}

    def port_gone(self, port):
        """A card takes its ports along, and they what hangs on them."""
        for vlan in self.vlans:
            self.member_gone(vlan, port)
        self.neighbors = {key: hop for key, hop in self.neighbors.items() if hop[1] != port}
        self.sampled.discard(port)
        self.disabled.discard(port)  # it comes back enabled

    def member_gone(self, vlan, port):
        """What hangs on a membership."""
        self.fdb = {key: entry for key, entry in self.fdb.items()
                    if key[1] != vlan or entry[0] != port}
        for _, ports in self.caches.values():
            ports.discard((vlan, port))
        self.bindings = {key: name for key, name in self.bindings.items()
                         if key[:2] != (vlan, port)}

    def vlan_gone(self, vlan):
        """A VLAN with all that is on it."""
        for port in self.vlans[vlan]:
            self.member_gone(vlan, port)
        for key in [key for key in self.caches if key[3] == vlan]:
            self.cache_gone(key)
        for vlans, _ in self.caches.values():
            vlans.discard(vlan)
        del self.vlans[vlan]

    def cache_gone(self, key):
        """The library keeps a deleted cache for ever, and router 0's emptied groups, too."""
        del self.caches[key]
        self.retired[CACHE] += 1
        if key[0] == 0 and not any(other[:2] == key[:2] for other in self.caches):
            self.retired[GROUP] += 1

    def card_gone(self, slot, state):
        """A card is switched off, or pulled."""
        if self.cards[slot] == OPERATIONAL:
            for port in self.ports():
                if port.startswith(f"{slot}:"):
                    self.port_gone(port)
        self.cards[slot] = state

    # --- the library's memory ------------------------------------------------------------------

    def adjacencies(self):
        """Neighbors, and gateways that routes hold a place for."""
        held = {(vr, *hop) for (vr, _), hops in self.routes[4].items() for hop in hops}
        return set(self.neighbors) | held

    def memory(self, boot):
        """{(room, size): blocks}, with those that are there from the boot on."""
        blocks = Counter(boot)
        blocks["rest", HANDLE] = (len(self.ports()) + len(self.members()) + len(self.trunks) +
                                  len(self.vlans))
        hosts = len(self.neighbors)
        for family, route, hop in ((4, ROUTE4, NEXT_HOP4), (6, ROUTE6, NEXT_HOP6)):
            blocks["l3", route] += len(self.routes[family]) + (hosts if family == 4 else 0)
            blocks["l3", hop] += (sum(map(len, self.routes[family].values())) +
                                  (hosts if family == 4 else 0))
        blocks["l3", ADJACENCY] += len(self.adjacencies())
        self._add_mcast(blocks)
        self._add_acl(blocks)
        return {key: count for key, count in blocks.items() if count}

    def _add_mcast(self, blocks):
        groups = {key[:2] for key in self.caches if key[0] == 0} | self.kept_groups
        ports = {pair for _, ports in self.caches.values() for pair in ports}
        in_use = {vlan for vlans, _ in self.caches.values() for vlan in vlans}
        for size, count in (
                (GROUP, len(groups) + self.retired[GROUP]),
                (CACHE, len(self.caches) + self.retired[CACHE]),
                (CACHE_IF, sum(len(vlans) for vlans, _ in self.caches.values())),
                (CACHE_PORT, sum(len(ports) for _, ports in self.caches.values())),
                (MCAST_VLAN, len(in_use)), (MCAST_VPIF, len(ports)),
                (MCAST_PORT, len({port for _, port in ports}))):
            blocks["mcast", size] += count

    def _add_acl(self, blocks):
        for size, _ in self.lists.values():
            blocks["acl", ACL_LIST] += 1
            blocks["acl", size] += 1
        blocks["acl", ACL_INSTANCE] += len({key[:2] for key in self.bindings})
        for name in self.bindings.values():
            if self.lists[name][1]:
                blocks["acl", self.lists[name][1] * ACL_COUNTER] += 1


def room_of(operation):
    """The part of the library that an operation belongs to, as far as sizes need telling apart."""
    for room, marks in (("mcast", ("Ipv4Mc", "IPv4Mc")), ("acl", ("Acl",)),
                        ("l3", ("Fib", "IpAdj"))):
        if any(mark in (operation or "") for mark in marks):
            return room
    return "rest"
