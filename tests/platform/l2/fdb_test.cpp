// The forwarding database's life around its entries: hash, init and clean-up, flush, card
// operations, stubs.
#include <gtest/gtest.h>

#include <random>

#include "tests/platform/l2/fdb_support.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"
#include "tests/support/stubs.h"

namespace {

using namespace pcsim::test;

constexpr uint32_t kTableSize = 14680064;

// --- Hash -----------------------------------------------------------------------------------

TEST(FdbHash, KnownAddresses) {
    struct Row {
        Mac mac;
        uint32_t crc;
    };
    const Row rows[] = {
        {{0, 0, 0, 0, 0, 0}, 0x0000},
        {{0, 0, 0, 0, 0, 1}, 0xC0C1},
        {{1, 0, 0, 0, 0, 0}, 0xD101},
        {{'1', '2', '3', '4', '5', '6'}, 0x29E4},
        {{0x00, 0x04, 0x96, 0x12, 0x34, 0x56}, 0xB3EA},
        {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, 0x8F01},
        {{0x01, 0x80, 0xC2, 0x00, 0x00, 0x00}, 0xB73D},
        {{0x33, 0x33, 0x00, 0x00, 0x00, 0xFB}, 0x4440},
    };
    for (const Row& row : rows) EXPECT_EQ(pcSimFdbHash(row.mac.data()), row.crc);
}

TEST(FdbHash, EveryByteValueAtEveryPosition) {
    for (size_t position = 0; position < HAL_MAC_LENGTH; ++position) {
        for (uint32_t byte = 0; byte < 256; ++byte) {
            Mac mac = macOf(0xA5C30F96695Aull);
            mac[position] = static_cast<uint8_t>(byte);
            ASSERT_EQ(pcSimFdbHash(mac.data()), referenceHash(mac.data()))
                << "position " << position << " byte " << byte;
        }
    }
}

TEST(FdbHash, RandomAddresses) {
    std::mt19937_64 random(1);
    for (int i = 0; i < 200000; ++i) {
        const Mac mac = macOf(random());
        ASSERT_EQ(pcSimFdbHash(mac.data()), referenceHash(mac.data()));
    }
}

// --- Init and clean-up ----------------------------------------------------------------------

TEST(FdbInit, TableIsNullAtLoad) {
    EXPECT_EQ(pcSimFdbTable, nullptr);
}

TEST(FdbInit, MakesOneZeroedBlockAndStoresItTwice) {
    host().attachComponents();
    HalFdbEntry* table = nullptr;
    EXPECT_EQ(pcSimPCFamFdbInit(&table), 0);
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(pcSimFdbTable, table);
    EXPECT_EQ(libc().allocations, 1u);
    const auto* bytes = reinterpret_cast<const uint8_t*>(table);
    for (uint32_t i = 0; i < kTableSize; ++i) ASSERT_EQ(bytes[i], 0) << "byte " << i;

    ASSERT_EQ(host().incidents.size(), 1u);
    const Incident& incident = host().incidents[0];
    EXPECT_EQ(incident.text, "Initialize FDB HAL (SW) for cardFamily pcSim");
    EXPECT_EQ(incident.file, "pcSimFdb.c");
    EXPECT_EQ(incident.function, "pcSimPCFamFdbInit");
    EXPECT_EQ(incident.id, 0x570005u);
    EXPECT_EQ(incident.component, &host().fdb.record);
    EXPECT_EQ(pcSimPCFamFdbCleanup(), 0);
}

TEST(FdbInit, WithoutMemoryLeavesTheTableNull) {
    auto* const marker = reinterpret_cast<HalFdbEntry*>(0x10);
    HalFdbEntry* table = marker;
    libc().failNext();
    EXPECT_EQ(pcSimPCFamFdbInit(&table), -33);
    EXPECT_EQ(pcSimFdbTable, nullptr);
    EXPECT_EQ(table, marker);

    host().addVlanIf(5, 50);
    const HalFdbKey key = keyOf(5, macOf(1));
    uint32_t handle = 77;
    HalFdbEntry* slot = marker;
    EXPECT_EQ(pcSimPCFamFdbAllocEntry(&handle, &slot, &key), -17);
    EXPECT_EQ(pcSimPCFamFdbMacLookup(&handle, key.mac, host().vlanIfs[5]), -17);
    EXPECT_EQ(handle, 77u);
    EXPECT_EQ(slot, marker);
    EXPECT_EQ(pcSimPCFamFdbCleanup(), 0);
}

TEST(FdbInit, WorksAfterOneThatFailed) {
    HalFdbEntry* table = nullptr;
    libc().failNext();
    EXPECT_EQ(pcSimPCFamFdbInit(&table), -33);
    EXPECT_EQ(pcSimPCFamFdbInit(&table), 0);
    EXPECT_EQ(pcSimFdbTable, table);
    pcSimPCFamFdbCleanup();
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(FdbInit, SecondOneFreesNothingAndMakesANewTable) {
    HalFdbEntry* first = nullptr;
    HalFdbEntry* second = nullptr;
    EXPECT_EQ(pcSimPCFamFdbInit(&first), 0);
    first[0].port = 9;
    EXPECT_EQ(pcSimPCFamFdbInit(&second), 0);
    EXPECT_NE(first, second);
    EXPECT_EQ(pcSimFdbTable, second);
    EXPECT_EQ(second[0].port, 0u);
    EXPECT_EQ(first[0].port, 9u);
    EXPECT_EQ(libc().blocksInUse, 2);
    pcSimPCFamFdbCleanup();
    EXPECT_EQ(libc().blocksInUse, 1);
    std::free(first);
}

TEST(FdbInit, SecondOneWithoutMemoryLeavesTheTableNull) {
    HalFdbEntry* first = nullptr;
    HalFdbEntry* second = nullptr;
    EXPECT_EQ(pcSimPCFamFdbInit(&first), 0);
    libc().failNext();
    EXPECT_EQ(pcSimPCFamFdbInit(&second), -33);
    EXPECT_EQ(pcSimFdbTable, nullptr);
    EXPECT_EQ(second, nullptr);
    std::free(first);
}

TEST(FdbCleanup, FreesTheBlockAndKeepsThePointer) {
    HalFdbEntry* table = nullptr;
    ASSERT_EQ(pcSimPCFamFdbInit(&table), 0);
    host().attachComponents();
    EXPECT_EQ(pcSimPCFamFdbCleanup(), 0);
    EXPECT_EQ(libc().blocksInUse, 0);
    EXPECT_EQ(pcSimFdbTable, table);
    ASSERT_EQ(host().incidents.size(), 1u);
    EXPECT_EQ(host().incidents[0].text, "Clean up FDB HAL for cardFamily pcSim");
    EXPECT_EQ(host().incidents[0].function, "pcSimPCFamFdbCleanup");
}

TEST(FdbCleanup, TwiceOrBeforeAnInitFreesNothing) {
    EXPECT_EQ(pcSimPCFamFdbCleanup(), 0);
    HalFdbEntry* table = nullptr;
    ASSERT_EQ(pcSimPCFamFdbInit(&table), 0);
    EXPECT_EQ(pcSimPCFamFdbCleanup(), 0);
    EXPECT_EQ(pcSimPCFamFdbCleanup(), 0);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST(FdbCleanup, AHundredRoundsLeakNothing) {
    HalFdbEntry* table = nullptr;
    for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(pcSimPCFamFdbInit(&table), 0);
        ASSERT_EQ(pcSimPCFamFdbCleanup(), 0);
    }
    EXPECT_EQ(libc().allocations, 100u);
    EXPECT_EQ(libc().blocksInUse, 0);
}

// --- Flush ----------------------------------------------------------------------------------

struct Completion {
    uint32_t arguments[4];
};
std::vector<Completion> completions;

int32_t onFlushed(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    completions.push_back({{a, b, c, d}});
    return 31;
}

int32_t onOtherFlushed(uint32_t, uint32_t, uint32_t, uint32_t) {
    ADD_FAILURE() << "the refused callback was called";
    return 0;
}

TEST(FdbFlush, WithoutACallbackDoesNothing) {
    EXPECT_EQ(printed([] { EXPECT_EQ(pcSimPCFamFdbFlush(1, 2, nullptr, 3, 4), 0); }), "");
    EXPECT_TRUE(host().tasks.empty());
    EXPECT_EQ(pcSimFlushCallback(3, 4), 0);
}

TEST(FdbFlush, SchedulesTheCompletionAndLeavesEveryEntry) {
    HalFdbEntry* table = nullptr;
    ASSERT_EQ(pcSimPCFamFdbInit(&table), 0);
    const HalFdbRecord record = recordOf(5, macOf(0x1122));
    ASSERT_EQ(pcSimPCFamFdbAddEntry(nullptr, 1, &table[3], &record), 0);
    const std::vector<uint8_t> before(reinterpret_cast<uint8_t*>(table),
                                      reinterpret_cast<uint8_t*>(table) + kTableSize);

    EXPECT_EQ(pcSimPCFamFdbFlush(11, 12, onFlushed, 13, 14), 1);
    ASSERT_EQ(host().tasks.size(), 1u);
    const Task& task = host().tasks[0];
    EXPECT_EQ(task.function, &pcSimFlushCallback);
    EXPECT_EQ(task.argument1, 13u);
    EXPECT_EQ(task.argument2, 14u);
    EXPECT_EQ(task.delay, 100u);
    EXPECT_EQ(task.name, "pcSimFlushCallback");
    EXPECT_EQ(std::memcmp(table, before.data(), kTableSize), 0);
    EXPECT_TRUE(completions.empty());

    EXPECT_EQ(task.function(task.argument1, task.argument2), 31);
    ASSERT_EQ(completions.size(), 1u);
    const Completion& completion = completions[0];
    EXPECT_EQ(completion.arguments[0], 13u);
    EXPECT_EQ(completion.arguments[1], 14u);
    EXPECT_EQ(completion.arguments[2], 0u);
    EXPECT_EQ(completion.arguments[3], 0u);
    pcSimPCFamFdbCleanup();
}

TEST(FdbFlush, WorksBeforeTheInit) {
    EXPECT_EQ(pcSimPCFamFdbFlush(0, 0, onFlushed, 1, 2), 1);
    EXPECT_EQ(host().tasks.size(), 1u);
}

TEST(FdbFlush, TheSameCallbackIsTakenAgain) {
    EXPECT_EQ(printed([] {
                  EXPECT_EQ(pcSimPCFamFdbFlush(0, 0, onFlushed, 1, 2), 1);
                  EXPECT_EQ(pcSimPCFamFdbFlush(0, 0, onFlushed, 3, 4), 1);
              }),
              "");
    EXPECT_EQ(host().tasks.size(), 2u);
}

TEST(FdbFlush, AnotherCallbackIsRefusedButTheFirstIsScheduled) {
    EXPECT_EQ(pcSimPCFamFdbFlush(0, 0, onFlushed, 1, 2), 1);
    EXPECT_EQ(printed([] { EXPECT_EQ(pcSimPCFamFdbFlush(0, 0, onOtherFlushed, 3, 4), 1); }),
              "pcSimPCFamFdbFlush - Not support different callback for fdb flush\n");
    ASSERT_EQ(host().tasks.size(), 2u);
    EXPECT_EQ(host().tasks[1].function(3, 4), 31);
    ASSERT_EQ(completions.size(), 1u);
    EXPECT_EQ(completions[0].arguments[0], 3u);
    EXPECT_EQ(pcSimPCFamFdbFlush(0, 0, nullptr, 5, 6), 0);
    EXPECT_EQ(host().tasks.size(), 2u);
}

TEST(FdbFlush, TheCallbackSurvivesTheCleanUp) {
    HalFdbEntry* table = nullptr;
    ASSERT_EQ(pcSimPCFamFdbInit(&table), 0);
    pcSimPCFamFdbFlush(0, 0, onFlushed, 1, 2);
    pcSimPCFamFdbCleanup();
    EXPECT_EQ(pcSimFlushCallback(8, 9), 31);
    EXPECT_EQ(printed([] { pcSimPCFamFdbFlush(0, 0, onOtherFlushed, 3, 4); }),
              "pcSimPCFamFdbFlush - Not support different callback for fdb flush\n");
}

// --- Card operations and stubs --------------------------------------------------------------

TEST(FdbCard, OperationsTraceTheSlotName) {
    struct Row {
        HalCardFdbInitFn* operation;
        const char* function;
        int32_t slot;
        const char* text;
    };
    const Row rows[] = {
        {pcSimCardFdbSyncHw, "pcSimCardFdbSyncHw", 1, "Sync Fdb Hw for Slot-1"},
        {pcSimCardFdbInit, "pcSimCardFdbInit", 8, "Init Fdb Hw for Slot-8"},
        {pcSimCardFdbCleanup, "pcSimCardFdbCleanup", -1, "Cleanup Fdb Hw for Slot--1"},
    };
    host().attachComponents();
    for (const Row& row : rows) {
        SCOPED_TRACE(row.function);
        host().incidents.clear();
        EXPECT_EQ(row.operation(row.slot), 0);
        ASSERT_EQ(host().incidents.size(), 1u);
        EXPECT_EQ(host().incidents[0].text, row.text);
        EXPECT_EQ(host().incidents[0].function, row.function);
        EXPECT_EQ(host().incidents[0].file, "pcSimFdb.c");
        EXPECT_EQ(host().incidents[0].id, 0x570005u);
    }
}

TEST(FdbCard, ASilentTraceAsksForNoName) {
    host().attachComponents();
    host().fdb.set(5, 0xFF);
    EXPECT_EQ(pcSimCardFdbInit(1), 0);
    EXPECT_EQ(host().fdb.counters[5], 0u);
    host().fdb.set(6, 0x00);
    EXPECT_EQ(pcSimCardFdbInit(1), 0);
    EXPECT_EQ(host().fdb.counters[5], 1u);
    EXPECT_TRUE(host().incidents.empty());
    EXPECT_TRUE(host().queries.empty());
}

TEST(FdbCard, StubsReturnZero) {
    host().attachComponents();
    expectStubs({PCSIM_FDB_STUBS(PCSIM_STUB_ROW)}, 9);
}

}  // namespace
