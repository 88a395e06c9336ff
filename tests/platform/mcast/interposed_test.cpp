// A host that defines operations itself: the platform calls those, and hands on what they answer.
#include "tests/platform/mcast/fixture.h"

using namespace pcsim::test;

namespace {

// What the host's operations answer, and which VLANs they were asked for.
int32_t answer;
std::vector<uint32_t> asked;

}  // namespace

extern "C" int32_t pcSimHalIpv4McHwVlanDel(uint32_t vlanInstance) noexcept {
    asked.push_back(vlanInstance);
    return answer;
}

namespace {

TEST_F(Mcast, AFlushOfEverythingEndsWithTheFirstVlanThatFails) {
    EXPECT_EQ(pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10).to(11, 1, 1)), 0);
    answer = 7;
    EXPECT_EQ(pcSimHalIpv4McHwFlushAll(), -1);
    EXPECT_EQ(asked, (std::vector<uint32_t>{10}));
    EXPECT_EQ(pcSimHalIpv4McHwCacheFlush(Request(0u, 0u, 0u, 0u)), -1);
    EXPECT_EQ(asked, (std::vector<uint32_t>{10, 10}));
    // That of one VLAN answers what the operation does.
    EXPECT_EQ(pcSimHalIpv4McHwCacheFlush(Request(0u, 0u, 0u, 12u)), 7);
    EXPECT_EQ(asked, (std::vector<uint32_t>{10, 10, 12}));
    EXPECT_EQ(caches(), (Lines{"225.0.0.1 10.0.0.1 10: 10[] 11[1:1]"}));
}

}  // namespace
