// The IPv4 adjacency table.
#include "platform/l3/pcSimIpAdj.h"

#include <arpa/inet.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "pcsim/host.h"
#include "platform/base/dump.h"
#include "platform/base/trace.h"

extern "C" {
// A host without a global record has all its switches off.
extern HalGlobal gHal __attribute__((weak));
}

namespace {

HalTreeRoot pcSimIpAdjTree;

// The adjacencies that look-ups have met last, each in the place that its key gives it. A table of
// routes has few gateways, which a descent of the tree would look for again for every next hop.
constexpr uint32_t kRecentPlaces = 1024;
pcSimIpAdjEntry* recent[kRecentPlaces];
bool anyIsRecent;

pcSimIpAdjEntry*& recentPlace(uint32_t vrId, uint32_t ip, uint32_t vlan) noexcept {
    // Neighbouring addresses, VLANs and virtual routers have places far from each other.
    const uint32_t hash = ntohl(ip) * 0x9E3779B1 + vlan * 0x85EBCA6B + vrId * 0xC2B2AE35;
    return recent[hash / (UINT32_MAX / kRecentPlaces + 1)];
}

pcSimIpAdjEntry* remember(pcSimIpAdjEntry* entry) noexcept {
    const pcSimIpAdjRec& record = entry->record;
    recentPlace(record.vrId, record.ipAddr.words[0], record.vlan) = entry;
    anyIsRecent = true;
    return entry;
}

// All of them, so that none is left of the one that goes, whatever has become of its key.
void forgetRecent() noexcept {
    if (anyIsRecent) memset(recent, 0, sizeof recent);
    anyIsRecent = false;
}

// The key is what lies before the carried part of a record.
constexpr size_t kKeyWords = offsetof(pcSimIpAdjRec, reserved28) / sizeof(uint32_t);
constexpr uint32_t kNoKey[kKeyWords] = {};

// An entry as far as its key goes: what a look-up hands to the tree. Much shorter to clear than an
// entry, and every next hop of every route begins with a look-up.
struct KeyNode {
    HalTreeNode node;
    uint32_t refCount;
    pcSimFibLinks nextHops;
    uint32_t vrId;
    uint32_t family;
    HalIpAddress ipAddr;
    uint32_t vlan;
};
static_assert(offsetof(KeyNode, vrId) == offsetof(pcSimIpAdjEntry, record.vrId));
static_assert(offsetof(KeyNode, vlan) == offsetof(pcSimIpAdjEntry, record.vlan));

bool assertionsAreOn() noexcept {
    return &gHal != nullptr && (gHal.switches15 & HAL_GLOBAL_ASSERT) != 0;
}

const uint32_t* keyOf(const HalTreeNode* node) noexcept {
    return &reinterpret_cast<const pcSimIpAdjEntry*>(node)->record.vrId;
}

// The order is that of the bytes in memory, so VR 256 comes before VR 1: the first word that
// differs decides, by its first byte that differs.
int32_t compareKeys(const uint32_t* a, const uint32_t* b) noexcept {
    for (size_t i = 0; i < kKeyWords; ++i)
        if (a[i] != b[i]) return htonl(a[i]) > htonl(b[i]) ? 1 : -1;
    return 0;
}

// Apart from the comparison of nodes, which runs for every step down the tree.
[[gnu::noinline, gnu::cold]] int32_t compareNullNodes(const HalTreeNode* a,
                                                      const HalTreeNode* b) noexcept {
    if (assertionsAreOn()) __builtin_trap();
    printf("%s-%d invalid ipiAdjComp args:  n1  %08x  n2 %08x !!!\n\n", "pcSimIpAdjComp", 75,
           static_cast<uint32_t>(reinterpret_cast<uintptr_t>(a)),
           static_cast<uint32_t>(reinterpret_cast<uintptr_t>(b)));
    return compareKeys(a != nullptr ? keyOf(a) : kNoKey, b != nullptr ? keyOf(b) : kNoKey);
}

// Look-ups know IPv4 addresses alone, so every entry is kept under such a key, whatever else the
// HAL has left in its record: the entry could not be found again under another.
void setKey(pcSimIpAdjEntry& entry, uint32_t vrId, uint32_t ip, uint32_t vlan) noexcept {
    entry.record.vrId = vrId;
    entry.record.family = HAL_IP_FAMILY_IPV4;
    entry.record.ipAddr = {.words = {ip, 0, 0, 0}};
    entry.record.vlan = vlan;
}

void setRecord(pcSimIpAdjEntry& entry, const pcSimIpAdjRec& record) noexcept {
    entry.record = record;
    setKey(entry, record.vrId, record.ipAddr.words[0], record.vlan);
}

// A new entry under that key, without references. Null when there is no memory or the tree refuses
// it.
pcSimIpAdjEntry* create(uint32_t vrId, uint32_t ip, uint32_t vlan) noexcept {
    auto* const entry = static_cast<pcSimIpAdjEntry*>(calloc(1, sizeof(pcSimIpAdjEntry)));
    if (entry == nullptr) return nullptr;
    entry->nextHops = {&entry->nextHops, &entry->nextHops};
    setKey(*entry, vrId, ip, vlan);
    if (p2BtreeInsert(&entry->node, &pcSimIpAdjTree, pcSimIpAdjComp) == -1) {
        free(entry);
        return nullptr;
    }
    pcsim::newestAdjacency = entry;
    return remember(entry);
}

}  // namespace

namespace pcsim {

const pcSimIpAdjEntry* newestAdjacency;

pcSimIpAdjEntry* adjacencyFor(uint32_t vrId, uint32_t ip, uint32_t vlan) noexcept {
    pcSimIpAdjEntry* const entry = recentPlace(vrId, ip, vlan);
    if (entry != nullptr && entry->record.vrId == vrId && entry->record.ipAddr.words[0] == ip &&
        entry->record.vlan == vlan)
        return entry;
    return pcSimIpAdjLookup(vrId, ip, vlan, 1);
}

}  // namespace pcsim

extern "C" {

int32_t pcSimIpAdjAdd(const pcSimIpAdjRec* record) noexcept {
    if (record == nullptr) __builtin_trap();
    const uint32_t vrId = record->vrId;
    const uint32_t ip = record->ipAddr.words[0];
    const uint32_t vlan = record->vlan;
    pcSimIpAdjEntry* entry = pcSimIpAdjLookup(vrId, ip, vlan, 0);
    if (entry == nullptr) entry = create(vrId, ip, vlan);
    if (entry == nullptr) {
        const uint8_t* const mac = record->mac;
        TRACE_ADJACENCY(220,
                        "HAL IPADJ: Failed to Add Vr %d  IP %08x  Vlan %08x  "
                        "MAC %02x:%02x:%02x:%02x:%02x:%02x Port %08x",
                        vrId, ntohl(ip), vlan, mac[0], mac[1], mac[2], mac[3], mac[4], mac[5],
                        record->port);
        return -1;
    }
    setRecord(*entry, *record);

    // A host route that is there already stays as it is, also when it is for another VLAN.
    if (directRtLookup(vrId, ip) != nullptr) return 0;
    pcSimIPv4FibRoute* const route = directRtCreate(vrId, ip, vlan);
    if (route != nullptr)
        rtAttachIpAdjEntry(entry, route->nextHops);
    else
        TRACE_ADJACENCY(234, "HAL IPADJ: Failed to create direct RT for  Vr %d IP %08x  Vlan %08x ",
                        vrId, ntohl(ip), vlan);
    return 0;
}

// The host route may by now be one that the HAL has added itself. It is taken for the adjacency's
// own all the same: its newest next hop is let go and the route freed.
void pcSimIpAdjRemove(const pcSimIpAdjRec* record) noexcept {
    if (record == nullptr) __builtin_trap();
    const uint32_t ip = record->ipAddr.words[0];
    pcSimIpAdjEntry* const entry = pcSimIpAdjLookup(record->vrId, ip, record->vlan, 0);
    if (entry == nullptr) return;
    entry->record.port = 0;
    pcSimIPv4FibRoute* const route = directRtLookup(record->vrId, ip);
    if (route == nullptr) {
        _pcSimIpAdjFree(entry);
        return;
    }
    rtDeattachIpAdjEntry(route->nextHops);
    directRtFree(route);
}

uint32_t pcSimIpAdjDump(const pcSimDumpSink* sink) noexcept {
    DUMP_LINE(sink, "VR    IP               Vlan    MAC                Port");
    DUMP_LINE(sink, "==========================================================");
    for (HalTreeNode* node = p2BtreeFirst(&pcSimIpAdjTree); node != nullptr;
         node = p2BtreeNext(node)) {
        const pcSimIpAdjRec& record = reinterpret_cast<const pcSimIpAdjEntry*>(node)->record;
        const uint8_t* const ip = record.ipAddr.bytes;
        const uint8_t* const mac = record.mac;
        DUMP_PRINT(sink, "%04d  %03d.%03d.%03d.%03d  %06d  %02x:%02x:%02x:%02x:%02x:%02x  %08x\n",
                   record.vrId, ip[0], ip[1], ip[2], ip[3], record.vlan, mac[0], mac[1], mac[2],
                   mac[3], mac[4], mac[5], record.port);
    }
    return 0;
}

pcSimIpAdjEntry* pcSimIpAdjLookup(uint32_t vrId, uint32_t ip, uint32_t vlan,
                                  uint8_t createIt) noexcept {
    const KeyNode key{.node{},
                      .refCount = 0,
                      .nextHops{},
                      .vrId = vrId,
                      .family = HAL_IP_FAMILY_IPV4,
                      .ipAddr = {.words = {ip, 0, 0, 0}},
                      .vlan = vlan};
    HalTreeNode* const node = findNode(&key.node, pcSimIpAdjTree, pcSimIpAdjComp);
    if (node != nullptr) return remember(reinterpret_cast<pcSimIpAdjEntry*>(node));
    return createIt != 0 ? create(vrId, ip, vlan) : nullptr;
}

void _pcSimIpAdjFree(pcSimIpAdjEntry* entry) noexcept {
    if (entry == nullptr) __builtin_trap();
    if (entry->refCount != 0 || entry->record.port != 0) return;
    forgetRecent();
    p2BtreeDelete(&entry->node, &pcSimIpAdjTree);
    free(entry);
}

void rtAttachIpAdjEntry(pcSimIpAdjEntry* entry, pcSimFibNextHop* nextHop) noexcept {
    if (entry == nullptr || nextHop == nullptr) __builtin_trap();
    ++entry->refCount;
    nextHop->adjacency = entry;
    pcSimFibLinks* const tail = entry->nextHops.previous;
    nextHop->links = {&entry->nextHops, tail};
    tail->next = &nextHop->links;
    entry->nextHops.previous = &nextHop->links;
}

void rtDeattachIpAdjEntry(pcSimFibNextHop* nextHop) noexcept {
    if (nextHop == nullptr || nextHop->adjacency == nullptr) __builtin_trap();
    --nextHop->adjacency->refCount;
    pcSimFibLinks& links = nextHop->links;
    links.previous->next = links.next;
    links.next->previous = links.previous;
    links = {&links, &links};
    _pcSimIpAdjFree(nextHop->adjacency);
}

int32_t pcSimIpAdjComp(const HalTreeNode* a, const HalTreeNode* b) noexcept {
    if (a == nullptr || b == nullptr) [[unlikely]]
        return compareNullNodes(a, b);
    return compareKeys(keyOf(a), keyOf(b));
}

pcSimIPv4FibRoute* directRtLookup(uint32_t vrId, uint32_t address) noexcept {
    return pcSimIPv4FibDirectRtLookup(vrId, address);
}

pcSimIPv4FibRoute* directRtCreate(uint32_t vrId, uint32_t address, uint32_t vlan) noexcept {
    return pcSimIPv4FibDirectRtCreate(vrId, address, vlan);
}

void directRtFree(pcSimIPv4FibRoute* route) noexcept {
    pcSimIPv4FibDirectRtFree(route);
}
}
