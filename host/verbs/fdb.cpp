// Verbs of the MAC table.
#include "host/verbs/host_verbs.h"

#include <algorithm>
#include <tuple>

#include "console/mac_address.h"
#include "host/l2/fdb_load.h"
#include "host/l2/l2_manager.h"
#include "host/ports/port_manager.h"
#include "host/verbs/load_answer.h"

namespace pcsim::host {

namespace {

constexpr uint64_t kDefaultAddresses = 20;

Fdb& fdbOf(Call& call) {
    return call.machine.l2().fdb();
}

const char* typeName(const MacEntry& entry) {
    return entry.isStatic ? "static" : "dynamic";
}

Cell ageCell(Call& call, const MacEntry& entry) {
    if (entry.isStatic) return {};
    return (call.context.scheduler.nowMs() - entry.seenMs) / 1000;
}

std::string nameOf(const MacEntry& entry) {
    return fmt::format("{} in VLAN {}", macText(entry.mac.data()), entry.vlanId);
}

// The port that 'port S:P' or 'trunk N' names, as entries hold it; 0 when neither is given.
uint32_t filterPort(Call& call) {
    if (call.has("trunk"))
        return call.machine.l2().trunks().existing(static_cast<uint32_t>(call.number("trunk")));
    if (!call.has("port")) return 0;
    return instanceOf(call);
}

void add(Call& call) {
    const MacAddress mac = macOf(call.text("mac"));
    checkTableMac(mac, call.given("static"));
    L2Manager& l2 = call.machine.l2();
    VlanIf& vlan = l2.vlan(call.vlan());
    const SlotPort at = call.port();
    const uint32_t port = l2.learningPort(vlan, at.slot, at.port);
    const Fdb::Added added = l2.fdb().add(mac, vlan, port, call.given("static"));
    if (added.outcome == Fdb::Outcome::kStaticKept)
        fail("{} is static; 'fdb del' it first", nameOf(l2.fdb().entry(added.handle)));
    if (added.evicted)
        call.context.events.note("l2", "{} took the place of {}",
                                 nameOf(l2.fdb().entry(added.handle)), nameOf(added.victim));
}

// The entry of the call's address and VLAN, as the platform finds it.
uint32_t handleOf(Call& call) {
    const MacAddress mac = macOf(call.text("mac"));
    L2Manager& l2 = call.machine.l2();
    VlanIf& vlan = l2.existingVlan(call.vlan());
    const uint32_t handle = l2.fdb().find(mac, vlan);
    const bool elsewhere =
        handle != 0 && call.has("port") && l2.fdb().entry(handle).port != filterPort(call);
    if (handle == 0 || elsewhere)
        fail("{} is not in VLAN {}{}", macText(mac.data()), vlan.record.vlanId,
             elsewhere ? fmt::format(" on {}; it is on {}", call.text("port"),
                                     portName(l2.fdb().entry(handle).port))
                       : "");
    return handle;
}

Report find(Call& call) {
    const uint32_t handle = handleOf(call);
    Fdb& fdb = fdbOf(call);
    const MacEntry& entry = fdb.entry(handle);
    const size_t index = fdb.slotIndex(entry);
    return Fields{"entry",
                  "MAC address " + macText(entry.mac.data()),
                  {{"mac", "MAC address", macText(entry.mac.data())},
                   {"vlan", "VLAN", entry.vlanId},
                   {"port", "Port", portName(entry.port)},
                   {"type", "Type", typeName(entry)},
                   {"ageS", "Age s", ageCell(call, entry)},
                   {"handle", "Handle", handle},
                   {"bucket", "Bucket", index / HAL_FDB_BUCKET_ENTRIES},
                   {"place", "Place in bucket", index % HAL_FDB_BUCKET_ENTRIES}}};
}

Report load(Call& call) {
    const std::string& path = call.text("file");
    const FdbLoad result =
        loadMacTable(call.context, call.machine.l2(), path, call.given("create-vlans"));
    Report report(Fields{"load",
                         "",
                         {{"lines", "Lines with an address", result.lines},
                          {"added", "Added", result.added},
                          {"refreshed", "Refreshed", result.refreshed},
                          {"moved", "Moved to another port", result.moved},
                          {"staticKept", "Static, kept", result.staticKept},
                          {"evicted", "Evicted on the way", result.evicted},
                          {"bad", "Not loaded", result.file.badLineCount()},
                          {"vlansMade", "VLANs made", result.vlansMade},
                          {"membersMade", "Memberships made", result.membersMade}}});
    return loadAnswer(call, std::move(report), result.file, result.used());
}

Report save(Call& call) {
    const std::string& path = call.text("file");
    OutputFile file(path);
    const uint64_t count = saveMacTable(call.machine.l2(), file, call.context.loop);
    file.keep();
    return savedAnswer(path, "addresses", "Addresses", count);
}

Report stats(Call& call) {
    Fdb& fdb = fdbOf(call);
    std::vector<uint8_t> fill(HAL_FDB_BUCKETS, 0);
    uint64_t statics = 0;
    fdb.forEach([&](uint32_t, const MacEntry& entry) {
        ++fill[fdb.slotIndex(entry) / HAL_FDB_BUCKET_ENTRIES];
        if (entry.isStatic) ++statics;
    });
    const auto fullest = std::max_element(fill.begin(), fill.end());
    const Fdb::Counts& counts = fdb.counts();
    Fields fields{
        "fdb",
        "MAC table",
        {{"entries", "Entries", fdb.size()},
         {"static", "Static", statics},
         {"places", "Places", HAL_FDB_ENTRIES},
         {"ageS", "Ageing s", fdb.ageS() != 0 ? Cell(fdb.ageS()) : Cell("off")},
         {"learned", "Added", counts.learned},
         {"refreshed", "Refreshed", counts.refreshed},
         {"moved", "Moved", counts.moved},
         {"evicted", "Evicted dynamic", counts.evicted},
         {"evictedStatic", "Evicted static", counts.evictedStatic},
         {"aged", "Aged out", counts.aged},
         {"flushed", "Flushed", counts.flushed},
         {"removed", "Removed, all causes", counts.removed},
         {"fullestBucket", "Fullest bucket", *fullest != 0 ? Cell(fullest - fill.begin()) : Cell()},
         {"fullestFill", "Entries in it", *fullest}}};
    Table table{"fill",
                "Buckets by fill",
                {{"entries", "Entries", Align::kRight},
                 {"buckets", "Buckets", Align::kRight},
                 {"percent", "%", Align::kRight}},
                {},
                "",
                ""};
    for (unsigned n = 0; n <= HAL_FDB_BUCKET_ENTRIES; ++n) {
        const auto buckets = std::count(fill.begin(), fill.end(), n);
        table.rows.push_back({n, buckets, 100.0 * static_cast<double>(buckets) / HAL_FDB_BUCKETS});
    }
    return Report(fields).add(std::move(table));
}

// The VLAN that 'vlan ID' names; 0 when it is not given.
uint16_t filterVlan(Call& call) {
    return call.has("vlan") ? call.machine.l2().existingVlan(call.vlan()).record.vlanId
                            : uint16_t{0};
}

// The start of an address, as its text begins.
std::string macPrefix(Call& call) {
    std::string prefix = call.textOr("prefix", "");
    for (char& c : prefix) {
        if (c >= 'A' && c <= 'F') c = static_cast<char>(c - 'A' + 'a');
        if (c == '-') c = ':';
    }
    const bool good = prefix.find_first_not_of("0123456789abcdef:") == std::string::npos;
    for (size_t i = 0; i < prefix.size(); ++i)
        if (!good || (prefix[i] == ':') != (i % 3 == 2))
            fail("'{}' is not the start of a MAC address; expected for example 00:11:2",
                 call.text("prefix"));
    return prefix;
}

Report showFdb(Call& call) {
    Fdb& fdb = fdbOf(call);
    const uint16_t vlanId = filterVlan(call);
    const uint32_t port = filterPort(call);
    const std::string prefix = macPrefix(call);
    std::vector<std::pair<const MacEntry*, uint32_t>> found;
    fdb.forEach([&](uint32_t handle, const MacEntry& entry) {
        if ((vlanId != 0 && entry.vlanId != vlanId) || (port != 0 && entry.port != port)) return;
        if (!prefix.empty() && !macText(entry.mac.data()).starts_with(prefix)) return;
        found.emplace_back(&entry, handle);
    });
    const RowRange range = rowRangeOf(call, kDefaultAddresses);
    const auto page = pageOf(found, range, 0, [](const auto& a, const auto& b) {
        return std::tie(a.first->vlanId, a.first->mac) < std::tie(b.first->vlanId, b.first->mac);
    });
    Table table{"entries",
                "MAC addresses",
                {{"mac", "MAC address"},
                 {"vlan", "VLAN", Align::kRight},
                 {"port", "Port"},
                 {"type", "Type"},
                 {"ageS", "Age s", Align::kRight},
                 {"handle", "Handle", Align::kRight},
                 {"bucket", "Bucket", Align::kRight}},
                {},
                "none",
                ""};
    for (const auto& [entry, handle] : page)
        table.rows.push_back({macText(entry->mac.data()), entry->vlanId, portName(entry->port),
                              typeName(*entry), ageCell(call, *entry), handle,
                              fdb.slotIndex(*entry) / HAL_FDB_BUCKET_ENTRIES});
    Pages pages;
    pages.note(table, range, found.size(), "addresses");
    return Report(std::move(table))
        .add(Fields{"matching",
                    "",
                    {{"matching", "Matching", found.size()}, {"shown", "Shown", page.size()}}})
        .add(pages.table());
}

}  // namespace

void addFdbVerbs(HostVerbs& verbs) {
    verbs.show(
        "show fdb [vlan <vlan>] [port <port>] [trunk <trunk:1-128>] [mac <prefix:text>] "
        "[limit <limit:1-1000000>] [from <from:0-1000000000>]",
        "addresses of the MAC table", showFdb);
    verbs.show("show fdb stats", "how full the MAC table is, and what became of entries", stats);
    verbs.show("fdb stats", "the same", stats);
    verbs.show("fdb find <mac:text> vlan <vlan> [port <port>]",
               "one address, looked up by the platform", find);
    verbs.action("fdb add <mac:text> vlan <vlan> port <port> [static]",
                 "learn an address on a port, or configure it", add);
    verbs.action("fdb del <mac:text> vlan <vlan> [port <port>]", "delete an address",
                 [](Call& call) { fdbOf(call).remove(handleOf(call)); });
    verbs.show("fdb load <file> [create-vlans]", "load lines of MAC VLAN SLOT:PORT [static]", load);
    verbs.show("fdb save <file>", "write the addresses as such lines", save);
    verbs.action("fdb flush [vlan <vlan>] [port <port>] [trunk <trunk:1-128>]",
                 "flush the dynamic addresses; they go when the platform has completed it",
                 [](Call& call) { fdbOf(call).flush(filterVlan(call), filterPort(call)); });
    verbs.action(
        "fdb age <seconds:0-1000000>", "when dynamic addresses go, 0 is never",
        [](Call& call) { fdbOf(call).setAge(static_cast<uint32_t>(call.number("seconds"))); });
    verbs.action("fdb dump", "the platform's own listing of its table",
                 [](Call& call) { fdbOf(call).dump(call.print); });
}

}  // namespace pcsim::host
