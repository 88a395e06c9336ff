// IPv4 routes: the whole of the tables, compared with the model.
#include <arpa/inet.h>

#include <cstdarg>

#include "tests/fuzz/routes/ipv4.h"
#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/library.h"

namespace pcsim::fuzz {
namespace {

// A row of the dump of adjacencies, as the numbers that it is printed from: nothing is formatted.
struct Row {
    uint32_t vrId;
    uint32_t ip;
    uint32_t vlan;
    uint8_t mac[6];
    uint32_t port;
};
std::vector<Row> rows;

int addRow(uint32_t, const char* format, ...) {
    if (format[0] != '%') return 0;
    va_list arguments;
    va_start(arguments, format);
    Row row{.vrId = va_arg(arguments, uint32_t), .ip = 0, .vlan = 0, .mac = {}, .port = 0};
    for (int i = 0; i < 4; ++i) row.ip = row.ip << 8 | (va_arg(arguments, uint32_t) & 0xFF);
    row.vlan = va_arg(arguments, uint32_t);
    for (uint8_t& byte : row.mac) byte = static_cast<uint8_t>(va_arg(arguments, uint32_t));
    row.port = va_arg(arguments, uint32_t);
    va_end(arguments);
    rows.push_back(row);
    return 0;
}

const pcSimFibNextHop* hopOf(const pcSimFibLinks* links) {
    static_assert(offsetof(pcSimFibNextHop, links) == 0);
    return reinterpret_cast<const pcSimFibNextHop*>(links);
}

}  // namespace

void IPv4Routes::checkAdjacency(const pcSimIpAdjEntry& entry, const AdjacencyKey& key) const {
    const Adjacency& adjacency = adjacencies_.at(key);
    FUZZ_CHECK(isLive(&entry));
    FUZZ_SAME(std::memcmp(&entry.record, &adjacency.record, sizeof entry.record), 0);
    FUZZ_SAME(entry.refCount, adjacency.users.size());
    const pcSimFibLinks* previous = &entry.nextHops;
    for (const Key& user : adjacency.users) {
        const pcSimFibLinks* const links = previous->next;
        FUZZ_CHECK(links != &entry.nextHops && links->previous == previous);
        const pcSimFibNextHop& hop = *hopOf(links);
        FUZZ_CHECK(hop.adjacency == &entry);
        const pcSimIPv4FibRoute& route = *hop.route;
        FUZZ_CHECK(user == Key(route.vrId, ~ntohl(route.mask), ntohl(route.prefix)));
        previous = links;
    }
    FUZZ_CHECK(previous->next == &entry.nextHops && entry.nextHops.previous == previous);
}

void IPv4Routes::checkRoute(const pcSimIPv4FibRoute& route, const Key& key,
                            const Hops& hops) const {
    FUZZ_CHECK(isLive(&route));
    FUZZ_CHECK(key == Key(route.vrId, ~ntohl(route.mask), ntohl(route.prefix)));
    const pcSimFibNextHop* hop = route.nextHops;
    for (const Hop& expected : hops) {
        FUZZ_CHECK(hop != nullptr && isLive(hop));
        FUZZ_SAME(hop->gateway, expected.gateway);
        FUZZ_SAME(hop->vlan, expected.vlan);
        FUZZ_CHECK(hop->route == &route && hop->adjacency != nullptr);
        checkAdjacency(*hop->adjacency, adjacencyKey(route.vrId, expected));
        hop = hop->next;
    }
    FUZZ_CHECK(hop == nullptr);
}

// Adjacencies that nobody references are seen by the dump alone: a look-up would have the library
// remember them.
void IPv4Routes::checkDump() const {
    rows.clear();
    const pcSimDumpSink sink{.context = 0, .print = addRow};
    FUZZ_SAME(pcSimIpAdjDump(&sink), 0u);
    FUZZ_SAME(rows.size(), adjacencies_.size());
    size_t index = 0;
    for (const auto& [key, adjacency] : adjacencies_) {
        const Row& row = rows[index++];
        const pcSimIpAdjRec& record = adjacency.record;
        FUZZ_CHECK(row.vrId == record.vrId && row.ip == ntohl(record.ipAddr.words[0]));
        FUZZ_CHECK(row.vlan == record.vlan && row.port == record.port);
        FUZZ_SAME(std::memcmp(row.mac, record.mac, sizeof row.mac), 0);
    }
}

void IPv4Routes::check() const {
    HalTreeNode* node = p2BtreeFirst(&gIPv4FibTable);
    for (const auto& [key, hops] : routes_) {
        FUZZ_CHECK(node != nullptr);
        checkRoute(*reinterpret_cast<const pcSimIPv4FibRoute*>(node), key, hops);
        node = p2BtreeNext(node);
    }
    FUZZ_CHECK(node == nullptr);
    checkDump();
}

size_t IPv4Routes::blocks() const {
    size_t count = routes_.size() + adjacencies_.size();
    for (const auto& [key, hops] : routes_) count += hops.size();
    return count;
}

void IPv4Routes::end() {
    for (const auto& [key, hops] : routes_) {
        const auto& [vrId, mask, prefix] = key;
        const Exact<pcSimIPv4FibReq> all = makeRequest(vrId, htonl(prefix), htonl(~mask), 0);
        FUZZ_SAME(pcSimPCFamIPv4FibDeleteEntry(all), 0u);
    }
    routes_.clear();
    // Those with a port, and placeholders that were looked up.
    for (const auto& [key, adjacency] : adjacencies_) {
        const pcSimIpAdjRec& record = adjacency.record;
        if (pcSimIpAdjLookup(record.vrId, record.ipAddr.words[0], record.vlan, 0) != nullptr)
            pcSimIpAdjRemove(&record);
    }
    adjacencies_.clear();
    check();
    FUZZ_CHECK(gIPv4FibTable == nullptr);
}

}  // namespace pcsim::fuzz
