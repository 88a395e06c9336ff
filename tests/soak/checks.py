"""What pcsim shows, against the model; and what must be so whatever the model says."""
from collections import Counter
from pathlib import Path

from model import OPERATIONAL, room_of

ALL = 100_000  # rows of a listing
MAC_TABLE = 14_000_000  # bytes, at least: the platform has set a page of it apart


class Wrong(Exception):
    """Something isn't as it must be."""


def same(what, expected, seen):
    """Raises with the difference."""
    if expected == seen:
        return
    if isinstance(expected, (set, dict)):
        pairs = [set(side.items()) if isinstance(side, dict) else side for side in (expected, seen)]
        raise Wrong(f"{what}: missing {some(pairs[0] - pairs[1])}; "
                    f"too much {some(pairs[1] - pairs[0])}")
    raise Wrong(f"{what}: expected {expected}, shown {seen}")


def some(rows):
    """The first of many."""
    return f"{sorted(rows, key=str)[:6]}{f' of {len(rows)}' if len(rows) > 6 else ''}"


def ports_of(text):
    """The ports of '1:1-3, (2:1)'."""
    ports = set()
    for part in (text or "").replace("(", "").replace(")", "").split(","):
        if not (part := part.strip()) or part == "-":
            continue
        if ":" in part:
            slot, part = part.split(":")
        first, _, last = part.partition("-")
        ports |= {f"{slot}:{port}" for port in range(int(first), int(last or first) + 1)}
    return ports


def check_vlans(model, ask):
    """VLANs and memberships."""
    rows = ask("show vlans limit 5000")["vlans"]
    same("VLANs", set(model.vlans), {row["vlan"] for row in rows})
    for row in rows:
        members = model.vlans[row["vlan"]]
        for key, tagged in (("untagged", False), ("tagged", True)):
            same(f"{key} ports of VLAN {row['vlan']}",
                 {port for port, is_tagged in members.items() if is_tagged is tagged},
                 ports_of(row[key]))
    return sum(row["addresses"] for row in rows)


def check_fdb(model, ask, counted):
    """The MAC table, its counts, and those of the VLANs."""
    shown = {(row["mac"], row["vlan"]): (row["port"], row["type"])
             for row in ask(f"show fdb limit {ALL}")["entries"]}
    same("MAC addresses", {key: (port, "static" if static else "dynamic")
                           for key, (port, static, _) in model.fdb.items()}, shown)
    stats = ask("fdb stats")
    same("MAC addresses that are counted", len(shown), stats["fdb"]["entries"])
    same("static MAC addresses", sum(static for _, static, _ in model.fdb.values()),
         stats["fdb"]["static"])
    same("MAC addresses in buckets", len(shown),
         sum(row["entries"] * row["buckets"] for row in stats["fill"]))
    same("MAC addresses of all VLANs", len(shown), counted)
    same("those that came, less those that went", len(shown),
         stats["fdb"]["learned"] - stats["fdb"]["removed"])
    for mac, vlan in list(model.fdb)[:5]:
        same(f"{mac} as the platform finds it", model.fdb[mac, vlan][0],
             ask(f"fdb find {mac} vlan {vlan}")["entry"]["port"])


def check_l3(model, ask):
    """Neighbors, routes of both families, and the sizes of the tables."""
    shown = ask(f"show neighbors limit {ALL}")
    same("neighbors", {(*key, *hop) for key, hop in model.neighbors.items()},
         {(row["vr"], row["address"], row["vlan"], row["mac"], row["port"])
          for row in shown["neighbors"]})
    same("placeholders", model.adjacencies() - set(model.neighbors),
         {(row["vr"], row["address"], row["vlan"]) for row in shown["placeholders"]})
    routes = ask(f"show route limit {ALL}")
    hosts = {(vr, f"{address}/32", address, vlan) for vr, address, vlan in model.neighbors}
    sizes = {row["table"]: row for row in ask("show route summary")["tables"]}
    for family, more in ((4, hosts), (6, set())):
        expected = {(vr, prefix, *hop) for (vr, prefix), hops in model.routes[family].items()
                    for hop in hops or {(None, None)}} | more
        same(f"IPv{family} routes", expected,
             {(row["vr"], row["prefix"], row["gateway"], row["vlan"])
              for row in routes[f"ipv{family}Routes"]})
        same(f"IPv{family} routes that are counted", len(model.routes[family]) + len(more),
             sizes[f"ipv{family}"]["entries"])
    same("adjacencies that are counted", len(model.adjacencies()), sizes["adjacencies"]["entries"])


def check_mcast(model, ask):
    """Caches, their ports, and whether the platform is in step."""
    shown = ask(f"show mcast limit {ALL}")
    caches = {}
    for row in shown["caches"]:
        ports = caches.setdefault((row["vr"], row["group"], row["source"], row["iif"]), set())
        ports |= {(row["oif"], port) for port in ports_of(row["ports"])}
    same("multicast caches", set(model.caches), set(caches))
    for key, (_, ports) in model.caches.items():
        same(f"ports of cache {key}", ports, caches[key])
    totals = shown["totals"]
    same("multicast in step", (True, 0), (totals["inStep"], totals["abandoned"]))
    same("multicast caches in the chip", len(model.caches), totals["chipCaches"])
    same("multicast ports in the chip", sum(len(ports) for _, ports in model.caches.values()),
         totals["chipPorts"])


def check_acl(model, ask):
    """Lists and bindings."""
    shown = ask(f"show acl limit {ALL}")
    bound = Counter(model.bindings.values())
    same("access lists", {(name, counters, bound[name])
                          for name, (_, counters) in model.lists.items()},
         {(row["name"], row["counters"], row["bound"]) for row in shown["lists"]})
    same("bindings", {(*key, name, "stored") for key, name in model.bindings.items()},
         {(row["vlan"], row["port"], row["slot"], row["list"], row["state"])
          for row in shown["bindings"]})


def check_ports(model, ask):
    """Cards, the front panel, trunks, sampling, fans and power supplies."""
    same("cards", model.cards, {row["slot"]: row["state"] for row in ask("show cards")["cards"]
                                if row["slot"] in model.cards})
    panel = {row["port"]: (row["admin"], row["link"]) for row in ask("show ports")["ports"]}
    expected = {port: ("disabled" if port in model.disabled else "enabled",
                       "up" if model.is_up(port) else "down") for port in model.ports()}
    same("ports", expected, panel)
    same("trunks", {(number, *sorted(ports)) for number, ports in model.trunks.items()},
         {(row["trunk"], *sorted(ports_of(row["members"]))) for row in ask("show trunks")["trunks"]})
    same("sampled ports", model.sampled, {row["port"] for row in ask("show sflow")["sampled"]})
    units = {row["unit"]: row["state"] for row in ask("show environment")["environment"]}
    for kind, there in (("fan", model.fans), ("supply", model.supplies)):
        same(f"{kind} units", there, {int(unit.split()[1]) for unit, state in units.items()
                                      if unit.startswith(kind) and state == "present"})
    same("slots in service", {slot for slot, state in model.cards.items() if state == OPERATIONAL},
         {int(unit.split()[1]) for unit, state in units.items()
          if unit.startswith("slot") and state == OPERATIONAL and int(unit.split()[1])
          in model.cards})


def blocks_by_room(shown):
    """{(room, size): blocks} of `show memory`."""
    blocks = Counter()
    for row in shown["blocks"]:
        blocks[room_of(row["operation"]), row["size"]] += row["blocks"]
    return dict(blocks)


def check_memory(model, ask, boot):
    """Every block of the library, by size."""
    shown = ask("show memory")
    blocks, sums = blocks_by_room(shown), shown["memory"]
    same("the library's blocks", model.memory(boot), blocks)
    same("blocks that are counted", sum(blocks.values()), sums["blocks"])
    same("bytes", sum(size * count for (_, size), count in blocks.items()), sums["bytes"])
    same("blocks that came, less those that went", sums["blocks"],
         sums["allocated"] + sums["takenOver"] - sums["handedOut"] - sums["freed"])
    same("blocks that were freed and had never come", 0, sums["freedOthers"])
    return sums


def timers_of(ask):
    """Timers that run on and on; of tasks how many there are."""
    rows = ask("show timers")["timers"]
    return sorted((row["name"], row["periodMs"]) for row in rows if row["periodMs"])


def tasks_of(ask):
    """Tasks but that of ageing, which is there while addresses are."""
    return [row["name"] for row in ask("show timers")["timers"]
            if not row["periodMs"] and row["name"] != "MAC ageing"]


def resident_of(pid):
    """Resident bytes without those of the MAC table, whose pages come with the addresses that fall
    into them: it is the one mapping of its own that is as large."""
    bytes_, size = 0, 0
    for line in Path(f"/proc/{pid}/smaps").read_text(encoding="utf-8").splitlines():
        words = line.split()
        if words[0] == "Size:":
            size = int(words[1]) * 1024
        elif words[0] == "Rss:" and not MAC_TABLE <= size < 2 * MAC_TABLE:
            bytes_ += int(words[1]) * 1024
    return bytes_


def process_of(pid):
    """What the process has: descriptors, threads, resident bytes."""
    status = Path(f"/proc/{pid}/status").read_text(encoding="ascii")
    fields = dict(line.split(":", 1) for line in status.splitlines())
    return {"descriptors": len(list(Path(f"/proc/{pid}/fd").iterdir())),
            "threads": int(fields["Threads"]), "resident": resident_of(pid),
            "peak": int(fields["VmHWM"].split()[0]) * 1024}


def check_tables(model, ask):
    """All tables."""
    check_fdb(model, ask, check_vlans(model, ask))
    check_l3(model, ask)
    check_mcast(model, ask)
    check_acl(model, ask)
    check_ports(model, ask)
    same("fault rules", [], ask("show faults")["faults"])
