// The IPv4 adjacency table.
#include <gtest/gtest.h>

#include "tests/platform/l3/support.h"

namespace {

using namespace pcsim::test;
using testing::KilledBySignal;

#define EXPECT_TRAP(statement) EXPECT_EXIT(statement, KilledBySignal(SIGILL), "")

constexpr Mac kMac = {{0x00, 0x11, 0x22, 0x33, 0x44, 0x55}};
constexpr Mac kOtherMac = {{0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
const char* const kHost = "255.255.255.255";

TEST(Adjacency, AddMakesOneEntryAndItsHostRoute) {
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5, kMac, 0x00010003);
    EXPECT_EQ(pcSimIpAdjAdd(&added), 0);
    pcSimIpAdjEntry* entry = adjacency(0, "10.0.0.1", 5);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->refCount, 1u);
    EXPECT_EQ(std::memcmp(&entry->record, &added, sizeof added), 0);

    pcSimIPv4FibRoute* route = route4(0, "10.0.0.1", kHost);
    ASSERT_NE(route, nullptr);
    EXPECT_EQ(hopsOf(route), (Hops{{"10.0.0.1", 5}}));
    EXPECT_EQ(route->nextHops->adjacency, entry);
    EXPECT_EQ(route->nextHops->route, route);
    // The list runs through head and next hop, forwards and backwards.
    EXPECT_EQ(entry->nextHops.next, &route->nextHops->links);
    EXPECT_EQ(entry->nextHops.previous, &route->nextHops->links);
    EXPECT_EQ(route->nextHops->links.next, &entry->nextHops);
    EXPECT_EQ(route->nextHops->links.previous, &entry->nextHops);
}

TEST(Adjacency, AddingAgainUpdatesInPlace) {
    pcSimIpAdjRec added = record(0, "10.0.0.1", 5, kMac);
    EXPECT_EQ(pcSimIpAdjAdd(&added), 0);
    pcSimIpAdjEntry* entry = adjacency(0, "10.0.0.1", 5);
    added = record(0, "10.0.0.1", 5, kOtherMac, 0x00020009);
    std::memset(added.reserved40, 0x5A, sizeof added.reserved40);
    added.reserved28[1] = 0x77;
    EXPECT_EQ(pcSimIpAdjAdd(&added), 0);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), entry);
    EXPECT_EQ(std::memcmp(&entry->record, &added, sizeof added), 0);
    EXPECT_EQ(entry->refCount, 1u);
    EXPECT_EQ(walk<pcSimIPv4FibRoute>(gIPv4FibTable).size(), 1u);
    EXPECT_EQ(hopsOf(route4(0, "10.0.0.1", kHost)).size(), 1u);
}

TEST(Adjacency, VrVlanAndAddressTellEntriesApart) {
    for (const auto& [vrId, address, vlan] : {std::tuple{0u, "10.0.0.1", 5u},
                                              {1u, "10.0.0.1", 5u},
                                              {0u, "10.0.0.2", 5u},
                                              {0u, "10.0.0.1", 6u}}) {
        const pcSimIpAdjRec added = record(vrId, address, vlan);
        EXPECT_EQ(pcSimIpAdjAdd(&added), 0);
    }
    // VLAN 6 finds the host route that VLAN 5 has made and leaves it alone.
    EXPECT_EQ(adjacency(0, "10.0.0.1", 6)->refCount, 0u);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5)->refCount, 1u);
    EXPECT_EQ(adjacency(1, "10.0.0.1", 5)->refCount, 1u);
    EXPECT_EQ(adjacency(0, "10.0.0.2", 5)->refCount, 1u);
    EXPECT_EQ(walk<pcSimIPv4FibRoute>(gIPv4FibTable).size(), 3u);
    EXPECT_EQ(hopsOf(route4(0, "10.0.0.1", kHost)), (Hops{{"10.0.0.1", 5}}));
}

TEST(Adjacency, AddAttachesNothingToAHostRouteOfTheHal) {
    EXPECT_EQ(pcSimPCFamIPv4FibAddEntry(Request4(0, "10.0.0.1", kHost, {{"10.0.0.9", 5}})), 0);
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5);
    EXPECT_EQ(pcSimIpAdjAdd(&added), 0);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5)->refCount, 0u);
    EXPECT_EQ(hopsOf(route4(0, "10.0.0.1", kHost)), (Hops{{"10.0.0.9", 5}}));
}

TEST(Adjacency, AddAgainRestoresAHostRouteThatTheHalDeleted) {
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5);
    EXPECT_EQ(pcSimIpAdjAdd(&added), 0);
    pcSimPCFamIPv4FibDeleteEntry(Request4(0, "10.0.0.1", kHost, {}));
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5)->refCount, 0u);
    EXPECT_EQ(pcSimIpAdjAdd(&added), 0);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5)->refCount, 1u);
    EXPECT_NE(route4(0, "10.0.0.1", kHost), nullptr);
}

TEST(Adjacency, AddResolvesAPlaceholder) {
    pcSimPCFamIPv4FibAddEntry(Request4(0, "10.1.0.0", "255.255.0.0", {{"10.0.0.1", 5}}));
    pcSimIpAdjEntry* placeholder = adjacency(0, "10.0.0.1", 5);
    ASSERT_NE(placeholder, nullptr);
    EXPECT_EQ(placeholder->refCount, 1u);
    const pcSimIpAdjRec empty = record(0, "10.0.0.1", 5, {}, 0);
    EXPECT_EQ(std::memcmp(&placeholder->record, &empty, sizeof empty), 0);
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5, kMac);
    EXPECT_EQ(pcSimIpAdjAdd(&added), 0);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), placeholder);
    EXPECT_EQ(placeholder->refCount, 2u);
    EXPECT_EQ(std::memcmp(&placeholder->record, &added, sizeof added), 0);
}

// The record's other bytes may not make an entry that look-ups miss, or disturb the tree's order.
TEST(Adjacency, EntriesAreKeptUnderTheKeyThatLookupsUse) {
    pcSimIpAdjRec odd = record(0, "10.0.0.1", 5, kMac);
    odd.family = 10;
    std::memset(&odd.ipAddr.words[1], 0xFF, 12);
    EXPECT_EQ(pcSimIpAdjAdd(&odd), 0);
    pcSimIpAdjEntry* entry = adjacency(0, "10.0.0.1", 5);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(pcSimIpAdjAdd(&odd), 0);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), entry);
    EXPECT_EQ(entry->refCount, 1u);
    pcSimIpAdjRemove(&odd);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(Adjacency, AddTakesTheRecordOfAnEntry) {
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5, kMac);
    pcSimIpAdjAdd(&added);
    pcSimIpAdjEntry* entry = adjacency(0, "10.0.0.1", 5);
    EXPECT_EQ(pcSimIpAdjAdd(&entry->record), 0);
    EXPECT_EQ(std::memcmp(&entry->record, &added, sizeof added), 0);
}

TEST(Adjacency, LookupCreatesOnRequestAlone) {
    EXPECT_EQ(pcSimIpAdjLookup(3, ip("10.0.0.1"), 7, 0), nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
    pcSimIpAdjEntry* entry = pcSimIpAdjLookup(3, ip("10.0.0.1"), 7, 1);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->refCount, 0u);
    EXPECT_EQ(entry->nextHops.next, &entry->nextHops);
    EXPECT_EQ(entry->nextHops.previous, &entry->nextHops);
    EXPECT_EQ(entry->record.vrId, 3u);
    EXPECT_EQ(entry->record.family, 2u);
    EXPECT_EQ(entry->record.ipAddr.words[0], ip("10.0.0.1"));
    EXPECT_EQ(entry->record.vlan, 7u);
    EXPECT_EQ(entry->record.port, 0u);
    EXPECT_EQ(pcSimIpAdjLookup(3, ip("10.0.0.1"), 7, 255), entry);
    EXPECT_EQ(gIPv4FibTable, nullptr) << "a placeholder has no host route";
}

TEST(Adjacency, RemoveTakesTheHostRouteAlong) {
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5);
    pcSimIpAdjAdd(&added);
    pcSimIpAdjRemove(&added);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), nullptr);
    EXPECT_EQ(gIPv4FibTable, nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(Adjacency, RemoveReadsVrAddressAndVlanAlone) {
    const pcSimIpAdjRec added = record(2, "10.0.0.1", 5);
    pcSimIpAdjAdd(&added);
    pcSimIpAdjRec other;
    std::memset(&other, 0xEE, sizeof other);
    other.vrId = 2;
    other.ipAddr.words[0] = ip("10.0.0.1");
    other.vlan = 5;
    pcSimIpAdjRemove(&other);
    EXPECT_EQ(adjacency(2, "10.0.0.1", 5), nullptr);
}

TEST(Adjacency, RemoveOfWhatIsNotThereDoesNothing) {
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5);
    pcSimIpAdjAdd(&added);
    for (const pcSimIpAdjRec& absent :
         {record(1, "10.0.0.1", 5), record(0, "10.0.0.2", 5), record(0, "10.0.0.1", 6)})
        pcSimIpAdjRemove(&absent);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5)->refCount, 1u);
    EXPECT_NE(route4(0, "10.0.0.1", kHost), nullptr);
}

TEST(Adjacency, RemoveLeavesWhatRoutesStillUse) {
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5, kMac);
    pcSimIpAdjAdd(&added);
    const Request4 first(0, "10.1.0.0", "255.255.0.0", {{"10.0.0.1", 5}});
    const Request4 second(0, "10.2.0.0", "255.255.0.0", {{"10.0.0.1", 5}});
    pcSimPCFamIPv4FibAddEntry(first);
    pcSimPCFamIPv4FibAddEntry(second);
    pcSimIpAdjRemove(&added);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5)->refCount, 2u);
    EXPECT_EQ(dumped(pcSimIpAdjDump),
              "VR    IP               Vlan    MAC                Port\n"
              "==========================================================\n"
              "0000  010.000.000.001  000005  00:11:22:33:44:55  00000000\n");
    pcSimPCFamIPv4FibDeleteEntry(first);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5)->refCount, 1u);
    pcSimPCFamIPv4FibDeleteEntry(second);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(Adjacency, RemoveWithoutHostRouteFreesTheEntry) {
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5);
    pcSimIpAdjAdd(&added);
    pcSimPCFamIPv4FibDeleteEntry(Request4(0, "10.0.0.1", kHost, {}));
    EXPECT_NE(adjacency(0, "10.0.0.1", 5), nullptr) << "it has a port";
    pcSimIpAdjRemove(&added);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

// The host route of the address is taken for the adjacency's own, whoever made it.
TEST(Adjacency, RemoveTakesTheHalsHostRouteAndLeavesAnUnreferencedEntry) {
    pcSimPCFamIPv4FibAddEntry(Request4(0, "10.0.0.1", kHost, {{"10.0.0.9", 5}}));
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5, kMac);
    pcSimIpAdjAdd(&added);
    pcSimIpAdjRemove(&added);
    EXPECT_EQ(route4(0, "10.0.0.1", kHost), nullptr);
    EXPECT_EQ(adjacency(0, "10.0.0.9", 5), nullptr) << "its placeholder went with it";
    pcSimIpAdjEntry* stays = adjacency(0, "10.0.0.1", 5);
    ASSERT_NE(stays, nullptr);
    EXPECT_EQ(stays->refCount, 0u);
    EXPECT_EQ(stays->record.port, 0u);
    // A second removal finds no host route any more and frees it.
    pcSimIpAdjRemove(&added);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(Adjacency, RemoveFreesTheNewestNextHopOfAHostRouteAlone) {
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5);
    pcSimIpAdjAdd(&added);
    pcSimPCFamIPv4FibAddEntry(Request4(0, "10.0.0.1", kHost, {{"10.0.0.9", 5}}));
    pcSimFibNextHop* older = route4(0, "10.0.0.1", kHost)->nextHops->next;
    pcSimIpAdjRemove(&added);
    EXPECT_EQ(adjacency(0, "10.0.0.9", 5), nullptr);
    pcSimIpAdjEntry* entry = adjacency(0, "10.0.0.1", 5);
    ASSERT_NE(entry, nullptr) << "the older next hop still references it";
    EXPECT_EQ(entry->refCount, 1u);
    EXPECT_EQ(entry->nextHops.next, &older->links);
    rtDeattachIpAdjEntry(older);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), nullptr);
    free(older);
}

TEST(Adjacency, RemoveWithAHostRouteWithoutNextHopsTraps) {
    pcSimPCFamIPv4FibAddEntry(Request4(0, "10.0.0.1", kHost, {}));
    const pcSimIpAdjRec added = record(0, "10.0.0.1", 5);
    pcSimIpAdjAdd(&added);
    EXPECT_TRAP(pcSimIpAdjRemove(&added));
}

TEST(Adjacency, AttachAppendsAndDetachUnlinks) {
    pcSimIpAdjEntry* entry = pcSimIpAdjLookup(0, ip("10.0.0.1"), 5, 1);
    pcSimFibNextHop hops[3]{};
    for (uint32_t i = 0; i < 3; ++i) {
        rtAttachIpAdjEntry(entry, &hops[i]);
        EXPECT_EQ(entry->refCount, i + 1);
        EXPECT_EQ(hops[i].adjacency, entry);
        EXPECT_EQ(entry->nextHops.previous, &hops[i].links);
    }
    EXPECT_EQ(entry->nextHops.next, &hops[0].links);
    EXPECT_EQ(hops[0].links.next, &hops[1].links);
    EXPECT_EQ(hops[1].links.next, &hops[2].links);
    EXPECT_EQ(hops[2].links.next, &entry->nextHops);
    EXPECT_EQ(hops[2].links.previous, &hops[1].links);
    EXPECT_EQ(hops[1].links.previous, &hops[0].links);
    EXPECT_EQ(hops[0].links.previous, &entry->nextHops);

    rtDeattachIpAdjEntry(&hops[1]);
    EXPECT_EQ(entry->refCount, 2u);
    EXPECT_EQ(hops[1].links.next, &hops[1].links);
    EXPECT_EQ(hops[1].links.previous, &hops[1].links);
    EXPECT_EQ(hops[1].adjacency, entry) << "left as it was";
    EXPECT_EQ(hops[0].links.next, &hops[2].links);
    EXPECT_EQ(hops[2].links.previous, &hops[0].links);
    rtDeattachIpAdjEntry(&hops[0]);
    EXPECT_EQ(entry->nextHops.next, &hops[2].links);
    rtDeattachIpAdjEntry(&hops[2]);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), nullptr) << "the last one frees it";
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(Adjacency, FreeKeepsWhatHasAPortOrAReference) {
    pcSimIpAdjEntry* entry = pcSimIpAdjLookup(0, ip("10.0.0.1"), 5, 1);
    entry->record.port = 1;
    _pcSimIpAdjFree(entry);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), entry);
    entry->record.port = 0;
    entry->refCount = 1;
    _pcSimIpAdjFree(entry);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), entry);
    entry->refCount = 0;
    _pcSimIpAdjFree(entry);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), nullptr);
}

TEST(Adjacency, ProgrammingErrorsTrap) {
    pcSimIpAdjEntry entry{};
    pcSimFibNextHop hop{};
    EXPECT_TRAP(pcSimIpAdjAdd(nullptr));
    EXPECT_TRAP(pcSimIpAdjRemove(nullptr));
    EXPECT_TRAP(_pcSimIpAdjFree(nullptr));
    EXPECT_TRAP(rtAttachIpAdjEntry(nullptr, &hop));
    EXPECT_TRAP(rtAttachIpAdjEntry(&entry, nullptr));
    EXPECT_TRAP(rtDeattachIpAdjEntry(nullptr));
    EXPECT_TRAP(rtDeattachIpAdjEntry(&hop));
    EXPECT_TRAP(directRtFree(nullptr));
}

TEST(Adjacency, HostRouteHelpersForward) {
    EXPECT_EQ(directRtLookup(1, ip("10.0.0.1")), nullptr);
    pcSimIPv4FibRoute* route = directRtCreate(1, ip("10.0.0.1"), 5);
    ASSERT_NE(route, nullptr);
    EXPECT_EQ(directRtLookup(1, ip("10.0.0.1")), route);
    EXPECT_EQ(pcSimIPv4FibDirectRtLookup(1, ip("10.0.0.1")), route);
    EXPECT_EQ(hopsOf(route), (Hops{{"10.0.0.1", 5}}));
    directRtFree(route);
    EXPECT_EQ(gIPv4FibTable, nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

// --- Order and dump ---------------------------------------------------------------------------

pcSimIpAdjEntry keyed(uint32_t vrId, const char* address, uint32_t vlan) {
    pcSimIpAdjEntry entry{};
    entry.record = record(vrId, address, vlan);
    return entry;
}

TEST(AdjacencyOrder, ComparesTheKeyBytesInMemory) {
    const struct {
        pcSimIpAdjEntry lower, higher;
    } pairs[] = {
        {keyed(256, "10.0.0.1", 5), keyed(1, "10.0.0.1", 5)},
        {keyed(0, "10.0.0.1", 5), keyed(1, "9.0.0.1", 5)},
        {keyed(0, "10.0.0.1", 5), keyed(0, "10.0.0.2", 1)},
        {keyed(0, "127.255.255.255", 5), keyed(0, "128.0.0.0", 5)},
        {keyed(0, "10.0.0.1", 256), keyed(0, "10.0.0.1", 5)},
        {keyed(0, "10.0.0.1", 5), keyed(0, "10.0.0.1", 6)},
    };
    for (const auto& pair : pairs) {
        EXPECT_LT(pcSimIpAdjComp(&pair.lower.node, &pair.higher.node), 0);
        EXPECT_GT(pcSimIpAdjComp(&pair.higher.node, &pair.lower.node), 0);
        EXPECT_EQ(pcSimIpAdjComp(&pair.lower.node, &pair.lower.node), 0);
    }
}

TEST(AdjacencyOrder, LooksAtNothingBehindTheKey) {
    pcSimIpAdjEntry a = keyed(1, "10.0.0.1", 5);
    pcSimIpAdjEntry b = a;
    b.record.reserved28[0] = 1;
    b.record.mac[0] = 1;
    b.refCount = 7;
    EXPECT_EQ(pcSimIpAdjComp(&a.node, &b.node), 0);
}

TEST(AdjacencyOrder, NullNodeIsReportedAndOrdersFirst) {
    const pcSimIpAdjEntry entry = keyed(1, "10.0.0.1", 5);
    char expected[128];
    const auto address = static_cast<unsigned>(reinterpret_cast<uintptr_t>(&entry.node));
    std::snprintf(expected, sizeof expected,
                  "pcSimIpAdjComp-75 invalid ipiAdjComp args:  n1  00000000  n2 %08x !!!\n\n",
                  address);
    EXPECT_EQ(printed([&] { EXPECT_LT(pcSimIpAdjComp(nullptr, &entry.node), 0); }), expected);
    std::snprintf(expected, sizeof expected,
                  "pcSimIpAdjComp-75 invalid ipiAdjComp args:  n1  %08x  n2 00000000 !!!\n\n",
                  address);
    EXPECT_EQ(printed([&] { EXPECT_GT(pcSimIpAdjComp(&entry.node, nullptr), 0); }), expected);
    gHal.switches15 = 0xDF;
    EXPECT_NE(printed([] { EXPECT_EQ(pcSimIpAdjComp(nullptr, nullptr), 0); }), "");
}

TEST(AdjacencyOrder, NullNodeTrapsWithTheAssertionSwitch) {
    const pcSimIpAdjEntry entry = keyed(1, "10.0.0.1", 5);
    gHal.switches15 = 0x20;
    EXPECT_TRAP(pcSimIpAdjComp(nullptr, &entry.node));
    EXPECT_TRAP(pcSimIpAdjComp(&entry.node, nullptr));
    EXPECT_EQ(pcSimIpAdjComp(&entry.node, &entry.node), 0);
}

const char* const kEmptyDump =
    "VR    IP               Vlan    MAC                Port\n"
    "==========================================================\n";

TEST(AdjacencyDump, EmptyTableIsTwoLines) {
    Sink sink;
    EXPECT_EQ(pcSimIpAdjDump(&sink.record), 0u);
    EXPECT_EQ(sink.pieces.size(), 2u);
    EXPECT_EQ(sink.text(), kEmptyDump);
    EXPECT_EQ(sink.contexts, (std::vector<uint32_t>{0xC0FFEE, 0xC0FFEE}));
    EXPECT_EQ(printed([] { EXPECT_EQ(pcSimIpAdjDump(nullptr), 0u); }), kEmptyDump);
}

TEST(AdjacencyDump, RowsFollowTheRawKeyOrder) {
    for (const pcSimIpAdjRec& added :
         {record(1, "10.0.0.1", 5, kMac, 0x00010002),
          record(256, "192.168.100.200", 4095, kOtherMac),
          record(0, "10.0.0.1", 1234567, kMac, 0x02010001), record(1, "2.0.0.1", 5, kMac, 0)})
        EXPECT_EQ(pcSimIpAdjAdd(&added), 0);
    pcSimPCFamIPv4FibAddEntry(Request4(12345, "0.0.0.0", "0.0.0.0", {{"1.2.3.4", 0}}));
    const std::string expected = std::string(kEmptyDump) +
                                 "0000  010.000.000.001  1234567  00:11:22:33:44:55  02010001\n"
                                 "0256  192.168.100.200  004095  aa:bb:cc:dd:ee:ff  00010005\n"
                                 "0001  002.000.000.001  000005  00:11:22:33:44:55  00000000\n"
                                 "0001  010.000.000.001  000005  00:11:22:33:44:55  00010002\n"
                                 "12345  001.002.003.004  000000  00:00:00:00:00:00  00000000\n";
    EXPECT_EQ(dumped(pcSimIpAdjDump), expected);
    EXPECT_EQ(printed([] { pcSimIpAdjDump(nullptr); }), expected);
}

// --- Traces -------------------------------------------------------------------------------------

const char* const kAddText =
    "HAL IPADJ: Failed to Add Vr 7  IP 0a000001  Vlan 00000005  MAC 00:11:22:33:44:55 Port "
    "00010003";
const char* const kRouteText =
    "HAL IPADJ: Failed to create direct RT for  Vr 7 IP 0a000001  Vlan "
    "00000005 ";

class AdjacencyTrace : public testing::Test {
protected:
    const pcSimIpAdjRec added_ = record(7, "10.0.0.1", 5, kMac, 0x00010003);
    HalEmsComponent* const trace_ = &host().trace.record;

    int32_t addFailingAt(uint32_t allocation) {
        libc().failNext(allocation);
        const int32_t result = pcSimIpAdjAdd(&added_);
        libc().failNone();
        return result;
    }
};

TEST_F(AdjacencyTrace, AddWithoutMemoryIsTracedAndChangesNothing) {
    host().trace.set(1, 0x01);
    EXPECT_EQ(addFailingAt(1), -1);
    ASSERT_EQ(host().incidents.size(), 1u);
    const auto& incident = host().incidents[0];
    EXPECT_EQ(incident.file, "pcSimIpAdj.c");
    EXPECT_EQ(incident.line, 220);
    EXPECT_EQ(incident.function, "pcSimIpAdjAdd");
    EXPECT_EQ(incident.component, trace_);
    EXPECT_EQ(incident.id, 0x680000u);
    EXPECT_EQ(incident.text, kAddText);
    EXPECT_EQ(adjacency(7, "10.0.0.1", 5), nullptr);
    EXPECT_EQ(gIPv4FibTable, nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST_F(AdjacencyTrace, FailedHostRouteIsTracedAndIgnored) {
    host().trace.set(1, 0x01);
    for (uint32_t allocation : {2u, 3u}) {
        SCOPED_TRACE(allocation);
        host().incidents.clear();
        EXPECT_EQ(addFailingAt(allocation), 0);
        ASSERT_EQ(host().incidents.size(), 1u);
        EXPECT_EQ(host().incidents[0].file, "pcSimIpAdj.c");
        EXPECT_EQ(host().incidents[0].line, 234);
        EXPECT_EQ(host().incidents[0].function, "pcSimIpAdjAdd");
        EXPECT_EQ(host().incidents[0].id, 0x680000u);
        EXPECT_EQ(host().incidents[0].text, kRouteText);
        ASSERT_NE(adjacency(7, "10.0.0.1", 5), nullptr);
        EXPECT_EQ(adjacency(7, "10.0.0.1", 5)->refCount, 0u);
        EXPECT_EQ(adjacency(7, "10.0.0.1", 5)->record.port, 0x00010003u);
        EXPECT_EQ(gIPv4FibTable, nullptr);
        EXPECT_EQ(libc().blocksInUse, 1);
        pcSimIpAdjRemove(&added_);
        EXPECT_EQ(libc().blocksInUse, 0);
    }
}

TEST_F(AdjacencyTrace, ComponentIsRegisteredAtTheFirstSiteAlone) {
    host().trace.open();
    EXPECT_EQ(pcSimIpAdjAdd(&added_), 0);
    EXPECT_TRUE(host().calls.empty()) << "no site was reached";
    addFailingAt(1);  // the entry is there: its update needs no memory
    EXPECT_TRUE(host().calls.empty());
    pcSimIpAdjRemove(&added_);
    addFailingAt(1);
    addFailingAt(1);
    EXPECT_EQ(host().calls, (std::vector<std::string>{"emsRegisterComponent(2, trace)"}));
    EXPECT_EQ(_ems_trace_ComponentHandle, trace_);
    EXPECT_EQ(host().incidents.size(), 2u);
    EXPECT_EQ(host().trace.counters[0], 2u);
}

TEST_F(AdjacencyTrace, HostThatCannotRegisterHearsNothing) {
    host().trace.open();
    host().registerFillsTrace = false;
    EXPECT_EQ(addFailingAt(1), -1);
    EXPECT_EQ(addFailingAt(1), -1);
    EXPECT_EQ(host().calls.size(), 2u) << "each site tries again";
    EXPECT_TRUE(host().incidents.empty());
    EXPECT_EQ(host().trace.counters[0], 0u);
}

TEST_F(AdjacencyTrace, LevelAndMaskDecide) {
    _ems_trace_ComponentHandle = trace_;
    const struct {
        uint16_t level;
        uint8_t mask;
        uint32_t counted, sent;
    } rows[] = {{0, 0xFF, 0, 0}, {1, 0xFE, 1, 0}, {1, 0x01, 1, 1}, {9, 0x01, 1, 1}};
    for (const auto& row : rows) {
        host().trace.set(row.level, row.mask);
        host().trace.counters[0] = 0;
        host().incidents.clear();
        EXPECT_EQ(addFailingAt(1), -1);
        EXPECT_EQ(host().trace.counters[0], row.counted);
        EXPECT_EQ(host().incidents.size(), row.sent);
    }
    EXPECT_TRUE(host().calls.empty()) << "a handle that is there is not registered";
}

TEST(AdjacencyFailure, LookupWithoutMemoryFindsNothing) {
    libc().failNext();
    EXPECT_EQ(pcSimIpAdjLookup(0, ip("10.0.0.1"), 5, 1), nullptr);
    EXPECT_EQ(adjacency(0, "10.0.0.1", 5), nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

}  // namespace
