// Counters: read, clear, and what a refresh does to them.
#include <algorithm>
#include <cstring>

#include "tests/platform/acl/fixture.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

void fill(Where where, uint16_t counters) {
    std::memset(instance(where)->counters[where.slot], 0x55, counters * size_t{16});
}

// The counters that are all zero, by number; a counter that is neither zero nor filled fails.
std::vector<int> zeroed(Where where, uint16_t counters) {
    std::vector<int> numbers;
    const uint8_t* block = instance(where)->counters[where.slot];
    for (int n = 1; n <= counters; ++n, block += 16) {
        const auto zeros = std::count(block, block + 16, 0);
        EXPECT_TRUE(zeros == 0 || zeros == 16) << n;
        if (zeros == 16) numbers.push_back(n);
    }
    return numbers;
}

// A request about 'web' at 1:1 in slot 1, made in the memory that a test watches.
HalAclCounterRequest* requestIn(std::vector<uint32_t>& words, uint16_t entryCount) {
    auto* const request = reinterpret_cast<HalAclCounterRequest*>(words.data());
    std::strcpy(request->name, "web");
    request->vlan = 1;
    request->port = 1;
    request->key = 0;
    request->slot = 1;
    request->entryCount = entryCount;
    return request;
}

class AclCounter : public testing::Test {
protected:
    static constexpr Where kWhere{1, 1, 0, 1};

    void SetUp() override {
        addList("web", 4);
        bind("web", kWhere);
        bind("web", {2, 1, 0, 0});
        fill(kWhere, 4);
        fill({2, 1, 0, 0}, 4);
    }
    void TearDown() override {
        unbind(kWhere);
        unbind({2, 1, 0, 0});
        deleteList("web");
        EXPECT_EQ(blocks(), 0);
    }
};

TEST_F(AclCounter, ClearTakesTheNumberedCounters) {
    EXPECT_EQ(clearCounters(kWhere, {1}), 0);
    EXPECT_EQ(zeroed(kWhere, 4), (std::vector<int>{1}));
    EXPECT_EQ(clearCounters(kWhere, {4, 3}), 0);
    EXPECT_EQ(zeroed(kWhere, 4), (std::vector<int>{1, 3, 4}));
    EXPECT_EQ(zeroed({2, 1, 0, 0}, 4), std::vector<int>{}) << "another instance";
}

TEST_F(AclCounter, ClearOfNumberZeroTakesAll) {
    EXPECT_EQ(clearCounters(kWhere, {0}), 0);
    EXPECT_EQ(zeroed(kWhere, 4), (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(AclCounter, ClearOfNothingIsNothing) {
    EXPECT_EQ(clearCounters(kWhere, {}), 0);
    EXPECT_EQ(clearCounters({1, 1, 0, 0}, {0}), 0) << "a slot that is not bound";
    EXPECT_EQ(clearCounters({1, 1, 1, 1}, {0}), 0) << "another key";
    EXPECT_EQ(clearCounters({9, 1, 0, 1}, {0}), 0) << "an unknown instance";
    EXPECT_EQ(zeroed(kWhere, 4), std::vector<int>{});
}

TEST_F(AclCounter, NumbersAboveTheCountAreIgnored) {
    EXPECT_EQ(clearCounters(kWhere, {5, 6, 32768, 65535, 2}), 0);
    EXPECT_EQ(zeroed(kWhere, 4), (std::vector<int>{2}));
}

TEST_F(AclCounter, ClearDoesNotWriteToTheRequest) {
    std::vector<uint32_t> words((56 + 52) / 4, 0xEEEEEEEE);
    HalAclCounterRequest* const request = requestIn(words, 1);
    request->entries[0].counter = 1;
    const std::vector<uint32_t> before = words;
    EXPECT_EQ(pcSimIPv4AclClearCounter(request), 0);
    EXPECT_EQ(words, before);
}

TEST_F(AclCounter, GetWritesNothingForAStoredList) {
    std::vector<uint32_t> words((56 + 2 * 52) / 4, 0xEEEEEEEE);
    HalAclCounterRequest* const request = requestIn(words, 2);
    const std::vector<uint32_t> before = words;
    EXPECT_EQ(pcSimIPv4AclGetCounter(request), 0);
    EXPECT_EQ(words, before);
}

TEST_F(AclCounter, GetZeroesTheEntriesOfTheDynamicRules) {
    for (const char* name : {kDynamic, "\tDYNAMIC acl rules\t"}) {
        for (uint16_t count : {0, 1, 3}) {
            std::vector<uint8_t> bytes(56 + count * size_t{52}, 0xEE);
            auto* const request = reinterpret_cast<HalAclCounterRequest*>(bytes.data());
            std::strcpy(request->name, name);
            request->entryCount = count;
            std::vector<uint8_t> expected = bytes;
            for (size_t i = 0; i < count; ++i)
                std::fill_n(expected.begin() + static_cast<long>(56 + i * 52), 16, 0);
            EXPECT_EQ(pcSimIPv4AclGetCounter(request), 0);
            EXPECT_EQ(bytes, expected);
        }
    }
}

TEST_F(AclCounter, RefreshWithTheSameCountZeroesEveryBlockInPlace) {
    const uint8_t* block = instance(kWhere)->counters[1];
    EXPECT_EQ(refresh("web", 4), 0);
    EXPECT_EQ(instance(kWhere)->counters[1], block);
    EXPECT_EQ(zeroed(kWhere, 4), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(zeroed({2, 1, 0, 0}, 4), (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(AclCounter, RefreshResizesTheBlocksOfBothSlots) {
    for (uint16_t counters : {9, 2, 65535, 1}) {
        EXPECT_EQ(refresh("web", counters), 0);
        for (const Where& where : {kWhere, Where{2, 1, 0, 0}}) {
            EXPECT_EQ(zeroed(where, counters).size(), counters);
            fill(where, counters);
            EXPECT_EQ(clearCounters(where, {counters}), 0);
            EXPECT_EQ(zeroed(where, counters), (std::vector<int>{counters}));
        }
    }
}

TEST_F(AclCounter, RefreshToNoCountersAndBack) {
    const int32_t before = blocks();
    EXPECT_EQ(refresh("web", 0), 0);
    EXPECT_EQ(instance(kWhere)->counters[1], nullptr);
    EXPECT_EQ(blocks(), before - 2);
    EXPECT_EQ(clearCounters(kWhere, {0, 1}), 0);
    EXPECT_EQ(refresh("web", 0), 0);
    EXPECT_EQ(refresh("web", 2), 0);
    EXPECT_EQ(zeroed(kWhere, 2), (std::vector<int>{1, 2}));
    EXPECT_EQ(blocks(), before);
}

TEST_F(AclCounter, ARefreshWithoutMemoryLeavesTheBindingWithoutCounters) {
    const HalAclListRequest request = listRequest("web", 8);
    libc().failNext();
    EXPECT_NE(printed([&] { EXPECT_EQ(pcSimIPv4AclRefresh(&request), 0); }), "");
    // Slot 0 comes first.
    EXPECT_EQ(instance({2, 1, 0})->counters[0], nullptr);
    EXPECT_EQ(clearCounters({2, 1, 0, 0}, {0, 8}), 0);
    EXPECT_EQ(zeroed(kWhere, 8).size(), 8u);
    // The next refresh makes up for it.
    EXPECT_EQ(refresh("web", 8), 0);
    EXPECT_EQ(zeroed({2, 1, 0, 0}, 8).size(), 8u);
}

TEST(AclCounters, AListWithoutCountersNeedsNoBlock) {
    addList("web", 0);
    const int32_t before = blocks();
    EXPECT_EQ(bind("web", {1, 1, 0, 0}), 0);
    EXPECT_EQ(instance({1, 1, 0})->counters[0], nullptr);
    EXPECT_EQ(blocks(), before + 1);
    EXPECT_EQ(clearCounters({1, 1, 0, 0}, {0, 1, 2}), 0);
    unbind({1, 1, 0, 0});
    deleteList("web");
    EXPECT_EQ(blocks(), 0);
}

}  // namespace
