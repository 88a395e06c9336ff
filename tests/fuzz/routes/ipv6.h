// IPv6 routes against a map of them.
#ifndef PCSIM_TESTS_FUZZ_ROUTES_IPV6_H
#define PCSIM_TESTS_FUZZ_ROUTES_IPV6_H

#include <array>
#include <map>
#include <tuple>
#include <vector>

#include "pcsim/l3.h"
#include "tests/fuzz/support/exact.h"
#include "tests/fuzz/support/input.h"

namespace pcsim::fuzz {

class IPv6Routes {
public:
    explicit IPv6Routes(Input& input) : input_(input) {}

    void step();
    // Compares everything.
    void check() const;
    // Deletes everything.
    void end();
    size_t blocks() const;

private:
    using Address = std::array<uint8_t, 16>;
    struct Hop {
        Address gateway;
        uint32_t vlan;
        bool operator==(const Hop&) const = default;
    };
    using Hops = std::vector<Hop>;                        // newest first
    using Key = std::tuple<uint32_t, uint32_t, Address>;  // VR, inverted length, prefix
    struct Operation {
        Key key;
        Hops slots;
        Exact<pcSimIPv6FibReq> request;
    };

    Address address();
    Operation operation();
    bool fail(size_t memory, bool inserts);
    void add(bool exclusive);
    void remove();
    void flush();
    void directRoute();

    Input& input_;
    std::map<Key, Hops> routes_;
};

}  // namespace pcsim::fuzz

#endif
