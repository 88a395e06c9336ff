// Keys chosen to hurt: everything in one bucket, and one block of addresses in every VLAN.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "tests/platform/l2/fdb_support.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"

namespace {

using namespace pcsim::test;

// Learns addresses as a HAL does and keeps count of those that had to go.
class Learner {
public:
    struct Address {
        uint32_t vlan;
        Mac mac;
    };

    void learn(uint32_t vlan, const Mac& mac) {
        const HalFdbKey key = keyOf(vlan, mac);
        uint32_t retired = 0xDEAD;
        HalFdbEntry* slot = nullptr;
        ASSERT_EQ(pcSimPCFamFdbAllocEntry(&retired, &slot, &key), 0);
        if (retired != 0) {
            ASSERT_LE(retired, addresses_.size());
            ASSERT_TRUE(present_[retired - 1]);
            present_[retired - 1] = false;
            ++evictions_;
        }
        addresses_.push_back({vlan, mac});
        present_.push_back(true);
        const HalFdbRecord record = recordOf(vlan, mac);
        const auto handle = static_cast<uint32_t>(addresses_.size());
        ASSERT_EQ(pcSimPCFamFdbAddEntry(nullptr, handle, slot, &record), 0);
        if (addresses_.size() % 1024 == 0) host().queries.clear();
    }

    // Every address that has not been retired is found, every other is not.
    void check() const {
        for (size_t i = 0; i < addresses_.size(); ++i) {
            uint32_t handle = 0;
            const int32_t result = pcSimPCFamFdbMacLookup(&handle, addresses_[i].mac.data(),
                                                          host().vlanIfs[addresses_[i].vlan]);
            ASSERT_EQ(result, present_[i] ? 0 : -1) << "address " << i;
            ASSERT_EQ(handle, present_[i] ? i + 1 : 0) << "address " << i;
        }
    }

    // What does not fit: addresses beyond the eighth of a bucket.
    size_t overflow() const {
        std::vector<uint32_t> counts(HAL_FDB_BUCKETS);
        size_t beyond = 0;
        for (const Address& address : addresses_) {
            const uint16_t vlanId = host().vlanIfs[address.vlan]->vlanId;
            if (++counts[referenceBucket(address.mac, vlanId)] > 8) ++beyond;
        }
        return beyond;
    }

    size_t evictions() const { return evictions_; }

private:
    std::vector<Address> addresses_;  // by handle minus 1
    std::vector<bool> present_;
    size_t evictions_ = 0;
};

class FdbHostile : public testing::Test {
protected:
    void SetUp() override {
        HalFdbEntry* table = nullptr;
        ASSERT_EQ(pcSimPCFamFdbInit(&table), 0);
    }
    void TearDown() override { pcSimPCFamFdbCleanup(); }
    Learner learner_;
};

TEST_F(FdbHostile, AHundredConsecutiveAddressesInEveryVlan) {
    constexpr uint32_t kVlans = 4094;
    for (uint32_t vlan = 1; vlan <= kVlans; ++vlan)
        host().addVlanIf(vlan, static_cast<uint16_t>(vlan));
    for (uint32_t vlan = 1; vlan <= kVlans; ++vlan)
        for (uint64_t i = 0; i < 100; ++i) learner_.learn(vlan, macOf(0x000496123400 + i));
    learner_.check();
    EXPECT_EQ(learner_.evictions(), learner_.overflow());
    EXPECT_EQ(libc().allocations, 1u);
}

TEST_F(FdbHostile, EveryAddressInOneBucket) {
    host().addVlanIf(1, 100);
    for (const Mac& mac : macsOfOneBucket(20000)) learner_.learn(1, mac);
    learner_.check();
    EXPECT_EQ(learner_.evictions(), 19992u);
    EXPECT_EQ(learner_.overflow(), 19992u);
    // The other buckets are as they were.
    const uint32_t bucket = referenceBucket(macOf(0x000496000000), 100);
    for (uint32_t i = 0; i < HAL_FDB_ENTRIES; ++i)
        ASSERT_EQ(pcSimFdbTable[i].inUse, i / 8 == bucket ? 1 : 0) << i;
}

TEST_F(FdbHostile, OneAddressInManyVlansOfOneId) {
    for (uint32_t vlan = 1; vlan <= 1000; ++vlan) host().addVlanIf(vlan, 100);
    for (uint32_t vlan = 1; vlan <= 1000; ++vlan) learner_.learn(vlan, macOf(0x000496123456));
    learner_.check();
    EXPECT_EQ(learner_.evictions(), 992u);
}

}  // namespace
