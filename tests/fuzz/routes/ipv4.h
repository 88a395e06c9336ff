// IPv4 routes and adjacencies against maps of them.
#ifndef PCSIM_TESTS_FUZZ_ROUTES_IPV4_H
#define PCSIM_TESTS_FUZZ_ROUTES_IPV4_H

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "pcsim/l3.h"
#include "tests/fuzz/support/exact.h"
#include "tests/fuzz/support/input.h"

namespace pcsim::fuzz {

class IPv4Routes {
public:
    explicit IPv4Routes(Input& input) : input_(input) {}

    void step();
    // Compares everything.
    void check() const;
    // Deletes everything.
    void end();
    size_t blocks() const;

private:
    struct Hop {
        uint32_t gateway;  // network byte order
        uint32_t vlan;
        bool operator==(const Hop&) const = default;
    };
    using Hops = std::vector<Hop>;  // newest first
    // VR, inverted mask, prefix: the order of the table.
    using Key = std::tuple<uint32_t, uint32_t, uint32_t>;
    // VR, address and VLAN, bytes swapped: the order of bytes in memory.
    using AdjacencyKey = std::tuple<uint32_t, uint32_t, uint32_t>;
    struct Adjacency {
        pcSimIpAdjRec record{};
        std::vector<Key> users;  // routes, in the order in which their next hops were attached
    };
    struct Operation {
        Key key;
        uint32_t vrId;
        Hops slots;  // in the request's order, some twice
        int32_t count;
        Exact<pcSimIPv4FibReq> request;
    };
    // What an operation will ask for, one letter each: a Route, a next Hop, an Adjacency.
    struct Needs {
        std::string memory;
        std::string insertions;
    };

    uint32_t vr();
    uint32_t address();
    uint32_t vlan();
    Exact<pcSimIPv4FibReq> makeRequest(uint32_t vrId, uint32_t prefix, uint32_t mask,
                                       int32_t count) const;
    Operation operation();
    static AdjacencyKey adjacencyKey(uint32_t vrId, const Hop& hop);
    static Key hostKey(uint32_t vrId, uint32_t address);
    Needs needsOf(const Operation& made, bool isNew) const;
    bool fail(const Needs& needs, const char* forgiven);

    void add(bool exclusive);
    void remove();
    void flush();
    void addAdjacency();
    void removeAdjacency();
    void lookUpAdjacency();
    void directRoute();

    void attach(const Key& key, Hops& hops, const Hop& hop);
    void release(const Key& key, const Hop& hop);
    void freeIfUnused(const AdjacencyKey& key);
    template <typename Predicate>
    void erase(const Key& key, Hops& hops, Predicate predicate);

    void checkRoute(const pcSimIPv4FibRoute& route, const Key& key, const Hops& hops) const;
    void checkAdjacency(const pcSimIpAdjEntry& entry, const AdjacencyKey& key) const;
    void checkDump() const;

    Input& input_;
    std::map<Key, Hops> routes_;
    std::map<AdjacencyKey, Adjacency> adjacencies_;
};

}  // namespace pcsim::fuzz

#endif
