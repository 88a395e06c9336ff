// Verbs of multicast caches.
#include "host/verbs/host_verbs.h"

#include <arpa/inet.h>

#include "console/present.h"
#include "console/text.h"
#include "host/l2/l2_manager.h"
#include "host/mcast/loader.h"
#include "host/mcast/mcast_manager.h"
#include "host/ports/port_manager.h"
#include "host/verbs/load_answer.h"

namespace pcsim::host {

namespace {

uint32_t vlanInstanceOf(Call& call, const std::string& word) {
    const auto id = static_cast<uint16_t>(parseNumber("VLAN", word, 1, 4094));
    return call.machine.l2().vlan(id).record.instance;
}

// The cache that a command names; what it leaves open is 0.
McastKey keyOf(Call& call) {
    McastKey key;
    if (call.has("group")) key.group = parseMcastGroup(call.text("group"));
    if (call.has("source")) key.source = parseMcastSource(call.text("source"));
    if (call.has("iif")) key.incomingVlan = vlanInstanceOf(call, call.text("iif"));
    key.vr = virtualRouterOf(call);
    return key;
}

McastManager::OutgoingList outgoingOf(Call& call) {
    const auto& vlans = call.all("vlan");
    const auto& ports = call.all("port");
    McastManager::OutgoingList outgoing;
    for (size_t i = 0; i < vlans.size(); ++i) {
        const SlotPort at = parseSlotPort(ports[i]);
        call.machine.ports().port(at.slot, at.port);  // which tells the ports that there are
        outgoing.push_back({vlanInstanceOf(call, vlans[i]), portKey(at.slot, at.port)});
    }
    return outgoing;
}

std::string sourceText(uint32_t source) {
    return source == 0 ? "*" : ipv4Text(htonl(source));
}

Cell vlanCell(Call& call, uint32_t instance) {
    const VlanIf* vlan = call.context.records.vlanByInstance(instance);
    return vlan == nullptr ? Cell() : Cell(vlan->record.vlanId);
}

// What the cache has in common with the row above is not repeated for people.
std::vector<Cell> cacheCells(Call& call, const McastKey& key, const McastKey* above) {
    const bool sameGroup = above != nullptr && above->group == key.group;
    const bool same = above != nullptr && *above == key;
    const auto shown = [](Cell cell, bool hide) {
        const std::string text = hide ? "" : cell.text();
        return Cell(std::move(cell), text);
    };
    return {shown(Cell(ipv4Text(htonl(key.group))), sameGroup),
            shown(Cell(sourceText(key.source)), same), shown(Cell(key.vr), same),
            shown(vlanCell(call, key.incomingVlan), same)};
}

// One row for each outgoing VLAN; a cache without any has one row too. The incoming VLAN counts as
// outgoing only when packets leave by it again.
Table cacheTable(Call& call, const RowRange& range, Pages& pages, const std::string& group) {
    Table table{"caches",
                "Multicast caches",
                {{"group", "Group"},
                 {"source", "Source"},
                 {"vr", "VR", Align::kRight},
                 {"iif", "In", Align::kRight},
                 {"oif", "Out", Align::kRight},
                 {"ports", "Ports"}},
                {},
                "no caches",
                ""};
    const auto& caches = call.machine.mcast().copy().caches();
    const uint32_t wanted = group.empty() ? 0 : parseMcastGroup(group);
    const McastKey* above = nullptr;
    uint64_t matching = 0;
    for (const auto& [key, cache] : caches) {
        if (wanted != 0 && key.group != wanted) continue;
        if (!range.has(matching++)) continue;
        const McastKey* const shownKey = &key;
        const size_t rowsBefore = table.rows.size();
        const auto addRow = [&](Cell vlan, Cell ports) {
            table.rows.push_back(cacheCells(call, *shownKey, above));
            table.rows.back().push_back(std::move(vlan));
            table.rows.back().push_back(std::move(ports));
            above = shownKey;
        };
        for (const auto& [vlan, ports] : cache.vlans)
            if (vlan != key.incomingVlan || !ports.empty())
                addRow(vlanCell(call, vlan), ports.empty() ? Cell() : mcastPortsText(ports));
        if (table.rows.size() == rowsBefore) addRow(Cell(), Cell());
    }
    pages.note(table, range, matching, "caches");
    return table;
}

Report showMcast(Call& call) {
    McastManager& mcast = call.machine.mcast();
    const McastHooks& hooks = mcastHooks();
    const uint64_t caches = hooks.cachesMade - hooks.cachesReleased;
    const uint64_t ports = hooks.portsAdded - hooks.portsRemoved;
    const McastCopy& copy = mcast.copy();
    const bool inStep =
        caches == copy.caches().size() + mcast.abandoned() && ports == copy.portCount();
    const RowRange range = rowRangeOf(call);
    Pages pages;
    Report report(cacheTable(call, range, pages, call.textOr("group", "")));
    return report
        .add(Fields{"totals",
                    "Totals",
                    {{"caches", "Caches", copy.caches().size()},
                     {"ports", "Outgoing ports", copy.portCount()},
                     {"abandoned", "Refused, still held", mcast.abandoned()},
                     {"chipCaches", "Caches in the chip", caches},
                     {"chipPorts", "Ports in the chip", ports},
                     {"inStep", "In step", inStep}}})
        .add(pages.table());
}

void addCache(Call& call) {
    call.machine.mcast().add(keyOf(call), outgoingOf(call));
}

void changePorts(Call& call) {
    const McastManager::OutgoingList outgoing = outgoingOf(call);
    if (outgoing.empty()) fail("no outgoing port is named; expected oif VLAN SLOT:PORT");
    McastManager& mcast = call.machine.mcast();
    const McastKey key = keyOf(call);
    if (call.text("action") == "add") {
        mcast.addPorts(key, outgoing);
        return;
    }
    const size_t removed = mcast.removePorts(key, outgoing);
    if (removed == 0) fail("none of these ports is in {}", mcast.describe(key));
    call.print(counted(removed, "outgoing port", "outgoing ports") + " removed\n");
}

// A VLAN with all of its ports. Without its incoming VLAN a cache would be another one.
void removeVlan(Call& call) {
    const McastKey key = keyOf(call);
    const uint32_t vlanInstance = vlanInstanceOf(call, call.text("vlan"));
    McastManager& mcast = call.machine.mcast();
    if (vlanInstance == key.incomingVlan)
        fail("VLAN {} is the incoming one of {}; 'mcast del' deletes the cache", call.text("vlan"),
             mcast.describe(key));
    const McastManager::VlanRemoved removed = mcast.removeVlan(key, vlanInstance);
    if (removed.caches == 0)
        fail("VLAN {} is no outgoing one of {}", call.text("vlan"), mcast.describe(key));
    call.print(fmt::format("VLAN {} removed from {}, with {}\n", call.text("vlan"),
                           counted(removed.caches, "cache", "caches"),
                           counted(removed.ports, "outgoing port", "outgoing ports")));
}

Report findCache(Call& call) {
    const McastKey key = keyOf(call);
    McastManager& mcast = call.machine.mcast();
    bool held = mcast.copy().find(key) != nullptr;
    for (const McastKey& candidate : mcast.copy().keysOf(key.group, key.vr))
        held = held || (key.incomingVlan == 0 && candidate.source == key.source);
    const bool found = mcast.platformFinds(key);
    if (!held && !found) fail("there is no cache {}", mcast.describe(key));
    return Fields{"cache",
                  "Cache",
                  {{"group", "Group", ipv4Text(htonl(key.group))},
                   {"source", "Source", sourceText(key.source)},
                   {"vr", "Virtual router", key.vr},
                   {"iif", "Incoming VLAN",
                    key.incomingVlan == 0 ? Cell() : vlanCell(call, key.incomingVlan)},
                   {"held", "Added by this host", held},
                   {"found", "Found by the platform", found}}};
}

Report showStats(Call& call) {
    const McastKey key = keyOf(call);
    McastManager& mcast = call.machine.mcast();
    HalMcastStats stats{};
    if (!mcast.stats(key, stats))
        fail("the platform finds no cache {}{}", mcast.describe(key),
             key.source == 0 ? "; it never finds those of any source" : "");
    return Fields{"stats",
                  "Counters of " + mcast.describe(key),
                  {{"first0", "First pair", stats.first[0]},
                   {"first1", "", stats.first[1]},
                   {"second0", "Second pair", stats.second[0]},
                   {"second1", "", stats.second[1]}}};
}

void flushCaches(Call& call) {
    const McastKey key = keyOf(call);
    const size_t gone = call.machine.mcast().flush(key);
    const bool groupAlone = key.group != 0 && key.source == 0 && key.incomingVlan == 0;
    call.print(fmt::format("{} deleted{}\n", counted(gone, "cache", "caches"),
                           groupAlone ? ": by group alone the platform deletes nothing" : ""));
}

Report loadCaches(Call& call) {
    McastLoadOrder order;
    order.file = call.text("file");
    if (call.has("iif")) order.incomingVlan = vlanInstanceOf(call, call.text("iif"));
    order.vr = virtualRouterOf(call);
    order.sources = static_cast<uint32_t>(call.numberOr("sources", 1));
    order.outgoing = outgoingOf(call);
    if (order.incomingVlan == 0 && !order.outgoing.empty())
        fail("outgoing ports are of no use without an incoming VLAN; expected iif VLAN, too");
    order.each = static_cast<size_t>(call.numberOr("each", order.outgoing.size()));
    if (order.each > order.outgoing.size())
        fail("each cache can't take {} of {} outgoing ports", order.each, order.outgoing.size());
    const McastLoad load = loadMcast(call.context, call.machine.mcast(), order);
    call.context.events.note("mcast", "{}, {} from {}", counted(load.groups, "group", "groups"),
                             counted(load.caches, "new cache", "new caches"), order.file);
    Fields fields{"load",
                  "Loaded " + order.file,
                  {{"groups", "Groups", load.groups},
                   {"caches", "New caches", load.caches},
                   {"known", "Already there", load.known},
                   {"bad", "Bad lines", load.file.badLineCount()}}};
    return loadAnswer(call, fields, load.file, load.caches + load.known);
}

Report saveCaches(Call& call) {
    const std::string& path = call.text("file");
    OutputFile file(path);
    const uint64_t count = saveMcast(call.machine.mcast(), file, call.context.loop);
    file.keep();
    return savedAnswer(path, "caches", "Caches", count);
}

}  // namespace

void addMcastVerbs(HostVerbs& verbs) {
    verbs.show(
        "show mcast [group <group:ipv4>] [limit <limit:1-1000000>] [from <from:0-1000000000>]",
        "multicast caches by group, source and VLAN, with their outgoing ports", showMcast);
    verbs.action(
        "mcast add <group:ipv4> <source> iif <iif:vlan> [oif <vlan> <port>]* [vr <vr:u32>]",
        "add a cache, or outgoing ports to one; a source of * is any", addCache);
    verbs.action("mcast del <group:ipv4> <source> iif <iif:vlan> [vr <vr:u32>]", "delete a cache",
                 [](Call& call) { call.machine.mcast().remove(keyOf(call)); });
    verbs.show("mcast find <group:ipv4> <source> [iif <iif:vlan>] [vr <vr:u32>]",
               "ask the platform for a cache; by source alone it may miss one", findCache);
    verbs.action(
        "mcast oif <action:add|del> <group:ipv4> <source> iif <iif:vlan> [oif <vlan> <port>]* "
        "[vr <vr:u32>]",
        "outgoing ports of a cache; del with a source of * is for all of the group", changePorts);
    verbs.action("mcast oif del <group:ipv4> <source> iif <iif:vlan> vlan <vlan> [vr <vr:u32>]",
                 "a whole outgoing VLAN of a cache; with a source of * of all of the group",
                 removeVlan);
    verbs.action(
        "mcast flush [group <group:ipv4>] [source <source>] [iif <iif:vlan>] "
        "[vr <vr:u32>]",
        "delete caches as the platform understands the pattern; without one all", flushCaches);
    verbs.show("mcast stats <group:ipv4> <source> [iif <iif:vlan>] [vr <vr:u32>]",
               "counters of a cache", showStats);
    verbs.action("mcast dump", "the platform's own listing, of virtual router 2",
                 [](Call& call) { call.machine.mcast().dump(call.print); });
    verbs.show(
        "mcast load <file> [iif <iif:vlan>] [oif <vlan> <port>]* [each <each:0-100000>] "
        "[sources <sources:1-100000>] [vr <vr:u32>]",
        "add a cache per group (and source) of a file", loadCaches);
    verbs.show("mcast save <file>", "write all caches as lines that say all of it", saveCaches);
}

}  // namespace pcsim::host
