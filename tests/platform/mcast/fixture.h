// What the multicast tests share: requests of exact size, the hooks that the test host defines, and
// the database as text.
#ifndef PCSIM_TESTS_MCAST_FIXTURE_H
#define PCSIM_TESTS_MCAST_FIXTURE_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/mcast/pcSimIPv4McDb.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"
#include "tests/support/tree.h"

namespace pcsim::test {

// An address in network byte order.
uint32_t ip(const char* dotted);

// A request whose block ends with its last entry, so that a sanitizer sees a read behind it.
class Request {
public:
    Request(uint32_t vr, uint32_t group, uint32_t source, uint32_t incomingVlan);
    Request(const char* group, const char* source, uint32_t incomingVlan, uint32_t vr = 0)
        : Request(vr, ip(group), ip(source), incomingVlan) {}

    Request& to(uint32_t vlan, uint16_t slot, uint16_t port, uint32_t portWord = 0,
                uint32_t vlanWord = 0);
    Request& count(int32_t claimed);

    operator const HalMcastRequest*() const {
        return reinterpret_cast<const HalMcastRequest*>(words_.data());
    }
    const HalMcastKey* key() const { return &static_cast<const HalMcastRequest*>(*this)->key; }

private:
    std::vector<uint32_t> words_;
};

// Calls of the four hooks, in order: "init", "release", "add", "del".
std::vector<std::string>& hooks();
int hookCalls(const std::string& name);

// A host with the VLANs 10 to 19 and the ports 1:1 to 3:4, and an empty database.
class Mcast : public testing::Test {
protected:
    void SetUp() override;

    // The groups of a virtual router in bucket and key order, each cache as
    // "group source iif: vlan[port ...] ...", an empty group as "group -".
    static std::vector<std::string> caches(uint32_t vr = 0);
    // "vlan: number of users" of each VLAN node, and "port: vlan(number of cache ports) ..." of
    // each port node.
    static std::vector<std::string> vlans();
    static std::vector<std::string> ports();

    static CacheNode* find(const Request& request);
    // Blocks that the library holds beside the group table.
    static int32_t blocks();
};

using Lines = std::vector<std::string>;

}  // namespace pcsim::test

#endif
