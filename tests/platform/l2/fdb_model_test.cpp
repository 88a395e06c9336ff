// Millions of random operations on the forwarding database against a plain map.
//
// The map knows the address that each slot holds and the slot of each address. Every answer of the
// table is foretold from it, but which entry of a full bucket goes: chance decides, and the model
// checks that the answer is one of the eight and carries that entry's handle.
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <set>
#include <unordered_map>

#include "tests/platform/l2/fdb_support.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"
#include "tests/support/seed.h"

namespace {

using namespace pcsim::test;

#ifdef __SANITIZE_ADDRESS__
constexpr int kOperations = 150000;
#else
constexpr int kOperations = 2000000;
#endif

struct Address {
    uint32_t vlan;
    Mac mac;
    auto operator<=>(const Address&) const = default;
};

struct Held {
    Address address;
    uint32_t handle;
    HalFdbRecord record;
};

class Model {
public:
    explicit Model(uint32_t seed) : random_(seed) {
        // Few buckets and many addresses for each, so that buckets fill and overflow; some VLANs
        // share an id.
        for (uint32_t vlan = 0; vlan < 12; ++vlan)
            vlanIfs_.push_back(host().addVlanIf(vlan + 1, static_cast<uint16_t>(vlan / 2 * 7)));
        for (uint64_t start = 0x000496000000; macs_.size() < 600; start += 0x10000)
            for (const Mac& mac : macsOfOneBucket(15, start)) macs_.push_back(mac);
    }

    void run(int operations) {
        for (int i = 0; i < operations && !testing::Test::HasFailure(); ++i) {
            switch (random_() % 8) {
                case 0:
                case 1:
                case 2:
                    learn(pick());
                    break;
                case 3:
                case 4:
                case 5:
                    lookUp(pick());
                    break;
                case 6:
                    remove(pick());
                    break;
                default:
                    read(pick());
                    break;
            }
            if (i % 1024 == 0) host().queries.clear();
        }
        EXPECT_GT(evictions_, operations / 100);
        EXPECT_GT(hits_, operations / 100);
        compareDump();
        compareTable();
    }

private:
    Address pick() {
        const uint32_t r = random_();
        return {r % static_cast<uint32_t>(vlanIfs_.size()) + 1, macs_[(r >> 8) % macs_.size()]};
    }
    HalVlanIf* vlanIfOf(const Address& address) { return vlanIfs_[address.vlan - 1]; }
    uint32_t firstOf(const Address& address) {
        return referenceBucket(address.mac, vlanIfOf(address)->vlanId) * 8;
    }

    uint32_t allocate(const Address& address, uint32_t* handle) {
        const HalFdbKey key = keyOf(address.vlan, address.mac);
        HalFdbEntry* slot = nullptr;
        *handle = 0xDEAD;
        EXPECT_EQ(pcSimPCFamFdbAllocEntry(handle, &slot, &key), 0);
        return indexOf(slot);
    }

    // Allocates as foretold, retires what is evicted, adds.
    void learn(const Address& address) {
        const uint32_t first = firstOf(address);
        uint32_t handle = 0;
        const uint32_t index = allocate(address, &handle);
        const auto known = slots_.find(address);
        if (known != slots_.end()) {
            ++hits_;
            ASSERT_EQ(index, known->second);
            ASSERT_EQ(handle, held_.at(index).handle);
        } else {
            uint32_t free = first;
            while (free < first + 8 && held_.count(free) != 0) ++free;
            if (free < first + 8) {
                ASSERT_EQ(index, free);
                ASSERT_EQ(handle, 0u);
            } else {
                ++evictions_;
                ASSERT_EQ(index / 8, first / 8);
                ASSERT_EQ(handle, held_.at(index).handle);
                slots_.erase(held_.at(index).address);
            }
        }
        HalFdbRecord record = recordOf(address.vlan, address.mac, random_());
        record.valueA = random_();
        record.valueB = random_();
        const uint32_t newHandle = random_() | 1;
        ASSERT_EQ(pcSimPCFamFdbAddEntry(nullptr, newHandle, &pcSimFdbTable[index], &record), 0);
        slots_[address] = index;
        held_[index] = {address, newHandle, record};
    }

    void lookUp(const Address& address) {
        uint32_t handle = 0xDEAD;
        const int32_t result =
            pcSimPCFamFdbMacLookup(&handle, address.mac.data(), vlanIfOf(address));
        const auto known = slots_.find(address);
        ASSERT_EQ(result, known != slots_.end() ? 0 : -1);
        ASSERT_EQ(handle, known != slots_.end() ? held_.at(known->second).handle : 0xDEAD);
    }

    void remove(const Address& address) {
        const auto known = slots_.find(address);
        if (known == slots_.end()) return;
        ASSERT_EQ(pcSimPCFamFdbDeleteEntry(&pcSimFdbTable[known->second]), 0);
        held_.erase(known->second);
        slots_.erase(known);
    }

    void read(const Address& address) {
        const auto known = slots_.find(address);
        if (known == slots_.end()) return;
        HalFdbEntry* slot = &pcSimFdbTable[known->second];
        HalFdbRecord record{};
        ASSERT_EQ(pcSimPCFamFdbReadEntry(&slot, &record), 0);
        HalFdbRecord expected = held_.at(known->second).record;
        ASSERT_EQ(slot->port, expected.port);
        expected.port = 0;
        ASSERT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
    }

    void compareDump() {
        std::string expected =
            "Card Family pcSim SW FDB table:\n"
            "Buc. Ent.    MAC                  VlanInst      Port\n"
            "====================================================\n";
        for (const auto& [index, held] : std::map(held_.begin(), held_.end())) {
            const Mac& mac = held.address.mac;
            char line[100];
            std::snprintf(line, sizeof line,
                          "%04u %04u    %02x:%02x:%02x:%02x:%02x:%02x    %08x     %08x\n",
                          index / 8, index % 8, mac[0], mac[1], mac[2], mac[3], mac[4], mac[5],
                          held.address.vlan, held.record.port);
            expected += line;
        }
        expected += "In-use count: " + std::to_string(held_.size()) + "\n";
        DumpText dump;
        const pcSimDumpSink sink = dump.sink(0);
        EXPECT_EQ(pcSimPCFamFdbDump(&sink), 0);
        EXPECT_EQ(dump.text, expected);
    }

    // Nothing outside the model is in the table.
    void compareTable() {
        const HalFdbEntry zero{};
        for (uint32_t i = 0; i < HAL_FDB_ENTRIES; ++i) {
            const auto held = held_.find(i);
            if (held == held_.end()) {
                ASSERT_EQ(std::memcmp(&pcSimFdbTable[i], &zero, sizeof zero), 0) << i;
            } else {
                ASSERT_EQ(pcSimFdbTable[i].handle, held->second.handle);
            }
        }
    }

    std::mt19937 random_;
    std::vector<HalVlanIf*> vlanIfs_;
    std::vector<Mac> macs_;
    std::map<Address, uint32_t> slots_;        // address -> index of its entry
    std::unordered_map<uint32_t, Held> held_;  // index -> what it holds
    int evictions_ = 0;
    int hits_ = 0;
};

void runModel(int operations) {
    const uint32_t seed = modelSeed();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::srand(seed);
    Model(seed).run(operations);
    EXPECT_LE(libc().allocations, 1u) << "an operation allocated memory";
}

TEST(FdbModel, RandomOperationsMatchAMap) {
    HalFdbEntry* table = nullptr;
    ASSERT_EQ(pcSimPCFamFdbInit(&table), 0);
    runModel(kOperations);
    pcSimPCFamFdbCleanup();
}

// Without an init the platform uses the code that runs on any processor.
TEST(FdbModel, RandomOperationsMatchAMapInATableOfTheHosts) {
    std::vector<HalFdbEntry> table(HAL_FDB_ENTRIES);
    pcSimFdbTable = table.data();
    runModel(kOperations / 4);
    pcSimFdbTable = nullptr;
}

}  // namespace
