// Port counters: the columns, the baseline, and the ways in which there is nothing to report.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "platform/port/hostInterfaces.h"
#include "tests/platform/port/port_fixture.h"

namespace {

using namespace pcsim::test;

using Texts = std::vector<std::string>;
using Columns = std::vector<uint64_t>;
using Statistics = int32_t(uint32_t, PortStatsRecord*);

constexpr uint32_t kPort = frontPanel(1, 5);

const Columns kZeros(16, 0);

struct Operation {
    const char* name;
    Statistics* get;
};
const Operation kOperations[] = {
    {"pcSimCardPortGetStats", pcSimCardPortGetStats},
    {"pcSimCardPortGetStatsReadClear", pcSimCardPortGetStatsReadClear},
};

// Byte offset of the counter of each column, 0 where the column is thrown away.
const size_t kColumnOffsets[16] = {100, 4,   340, 292, 324, 300, 0, 20,
                                   116, 124, 356, 348, 0,   380, 0, 0};
const size_t kReported[] = {4, 20, 100, 116, 124, 300, 308, 316, 340, 348, 356, 380};

class StatisticsTest : public PortTest {
protected:
    StatisticsTest() {
        linkUp("eth5");
        linkUp("eth0");
    }

    static PortStatsRecord filled() {
        PortStatsRecord record;
        std::memset(&record, 0xA5, sizeof record);
        return record;
    }

    // What a statistics operation reports of port 1:5 when its line reads 'columns'.
    PortStatsRecord read(const Columns& columns, Statistics* get = pcSimCardPortGetStats) {
        counterTable(tableWith("eth5", columns));
        PortStatsRecord record = filled();
        EXPECT_EQ(get(kPort, &record), 0);
        return record;
    }

    void expectUntouched(const PortStatsRecord& record) {
        EXPECT_EQ(bytesOf(record), bytesOf(filled()));
    }
};

// --- Columns -------------------------------------------------------------------------------------

TEST_F(StatisticsTest, EachColumnHasItsCounter) {
    Columns columns;
    for (uint64_t i = 0; i < 16; ++i) columns.push_back((i + 1) << 33 | (i + 1));
    read(columns);
    PortStatsRecord expected{};
    for (size_t i = 0; i < 16; ++i)
        if (kColumnOffsets[i] != 0) setCounterAt(expected, kColumnOffsets[i], columns[i]);
    EXPECT_EQ(bytesOf(currstats[1][5]), bytesOf(expected));
}

TEST_F(StatisticsTest, EachColumnAloneReachesItsCounterAlone) {
    for (size_t column = 0; column < 16; ++column) {
        SCOPED_TRACE(column + 1);
        Columns columns = kZeros;
        columns[column] = 1000;
        const PortStatsRecord record = read(columns);
        for (const size_t offset : kReported) {
            uint64_t expected = offset == kColumnOffsets[column] ? 1000 : 0;
            if (offset == 100 && column == 1) expected = 4000;
            if (offset == 116 && column == 9) expected = 4000;
            EXPECT_EQ(counterAt(record, offset), expected) << offset;
        }
    }
}

TEST_F(StatisticsTest, OnlyTheReportedCountersAreWritten) {
    for (const Operation& operation : kOperations) {
        const PortStatsRecord record = read(Columns(16, 1), operation.get);
        PortStatsRecord expected = filled();
        for (const size_t offset : kReported)
            setCounterAt(expected, offset, counterAt(record, offset));
        EXPECT_EQ(bytesOf(record), bytesOf(expected)) << operation.name;
    }
}

TEST_F(StatisticsTest, BytesIncludeTheFrameCheck) {
    Columns columns = kZeros;
    columns[0] = 6400;
    columns[1] = 100;
    columns[8] = 1280;
    columns[9] = 20;
    const PortStatsRecord record = read(columns);
    EXPECT_EQ(counterAt(record, 100), 6400u + 400u);
    EXPECT_EQ(counterAt(record, 116), 1280u + 80u);
    EXPECT_EQ(counterAt(currstats[1][5], 100), 6400u);
    EXPECT_EQ(counterAt(currstats[1][5], 116), 1280u);
}

TEST_F(StatisticsTest, CountersAreFromTheBaselineAndWrapAtTwoToThe64) {
    std::memset(&prevstats[1][5], 0, sizeof(PortStatsRecord));
    for (const size_t offset : kReported) setCounterAt(prevstats[1][5], offset, ~0ull);
    const PortStatsRecord record = read(Columns(16, 9));
    for (const size_t offset : kReported) {
        const uint64_t current = offset == 308 || offset == 316 ? 0 : 9;
        const uint64_t expected = current + 1;
        const bool bytes = offset == 100 || offset == 116;
        EXPECT_EQ(counterAt(record, offset), bytes ? expected + 4 * 10 : expected) << offset;
    }
}

TEST_F(StatisticsTest, TheTwoUnfilledCountersReportTheHostsOwnDifference) {
    setCounterAt(currstats[1][5], 308, 50);
    setCounterAt(prevstats[1][5], 308, 20);
    setCounterAt(currstats[1][5], 316, 7);
    const PortStatsRecord record = read(kZeros);
    EXPECT_EQ(counterAt(record, 308), 30u);
    EXPECT_EQ(counterAt(record, 316), 7u);
}

// --- Baseline ------------------------------------------------------------------------------------

TEST_F(StatisticsTest, ReadAndClearReportsTheGrowthSinceThePreviousReading) {
    read(Columns(16, 100));
    PortStatsRecord record = read(Columns(16, 130), pcSimCardPortGetStatsReadClear);
    EXPECT_EQ(counterAt(record, 4), 30u);
    EXPECT_EQ(counterAt(record, 100), 30u + 4 * 30u);
    EXPECT_EQ(counterAt(record, 348), 30u) << "transmit drops move here";
    record = read(Columns(16, 130), pcSimCardPortGetStatsReadClear);
    for (const size_t offset : kReported) EXPECT_EQ(counterAt(record, offset), 0u) << offset;
    record = read(Columns(16, 131));
    EXPECT_EQ(counterAt(record, 4), 1u);
    EXPECT_EQ(counterAt(prevstats[1][5], 4), 130u);
    EXPECT_EQ(counterAt(prevstats[1][5], 292), 0u) << "unreported counters have no baseline";
    EXPECT_EQ(counterAt(prevstats[1][5], 324), 0u);
}

TEST_F(StatisticsTest, PlainReadingsLeaveTheBaseline) {
    read(Columns(16, 100));
    EXPECT_EQ(counterAt(read(Columns(16, 130)), 4), 130u);
    EXPECT_EQ(bytesOf(prevstats[1][5]), bytesOf(PortStatsRecord{}));
}

TEST_F(StatisticsTest, ReadAndClearMovesTheBaselineAlsoWhenTheTableCannotBeOpened) {
    read(Columns(16, 100));
    noCounterTable();
    PortStatsRecord record = filled();
    EXPECT_EQ(pcSimCardPortGetStatsReadClear(kPort, &record), -1);
    expectUntouched(record);
    EXPECT_EQ(counterAt(prevstats[1][5], 4), 100u);
}

TEST_F(StatisticsTest, ZeroingMovesTheBaselineButForTransmitDrops) {
    read(Columns(16, 100));
    setCounterAt(currstats[1][5], 308, 3);
    setCounterAt(currstats[1][5], 316, 4);
    EXPECT_EQ(pcSimCardPortZeroStats(kPort), 0);
    PortStatsRecord expected{};
    for (const size_t offset : kReported)
        if (offset != 348) setCounterAt(expected, offset, counterAt(currstats[1][5], offset));
    EXPECT_EQ(bytesOf(prevstats[1][5]), bytesOf(expected));
    const PortStatsRecord record = read(Columns(16, 100));
    for (const size_t offset : kReported)
        EXPECT_EQ(counterAt(record, offset), offset == 348 ? 100u : 0u) << offset;
}

TEST_F(StatisticsTest, ZeroingDoesNotReadTheTable) {
    read(Columns(16, 100));
    counterTable(tableWith("eth5", Columns(16, 150)));
    const uint32_t opened = libc().filesOpened;
    requests.clear();
    EXPECT_EQ(pcSimCardPortZeroStats(kPort), 0);
    EXPECT_EQ(libc().filesOpened, opened);
    EXPECT_TRUE(requests.empty());
    EXPECT_EQ(counterAt(read(Columns(16, 150)), 4), 50u);
}

TEST_F(StatisticsTest, ZeroingPort0ZeroesPorts1To256OfTheSlot) {
    for (auto& slot : currstats)
        for (PortStatsRecord& record : slot) setCounterAt(record, 4, 8);
    EXPECT_EQ(pcSimCardPortZeroStats(frontPanel(3, 0)), 0);
    for (uint32_t slot = 0; slot < 11; ++slot)
        for (uint32_t port = 0; port < 257; ++port)
            ASSERT_EQ(counterAt(prevstats[slot][port], 4), slot == 3 && port > 0 ? 8u : 0u)
                << slot << ":" << port;
}

TEST_F(StatisticsTest, ZeroingOnePortZeroesItAlone) {
    for (auto& slot : currstats)
        for (PortStatsRecord& record : slot) setCounterAt(record, 4, 8);
    EXPECT_EQ(pcSimCardPortZeroStats(frontPanel(10, 256)), 0);
    EXPECT_EQ(pcSimCardPortZeroStats(ofType(2, 9, 1)), 0);
    EXPECT_EQ(pcSimCardPortZeroStats(ofType(6, 0, 3)), 0);
    for (uint32_t slot = 0; slot < 11; ++slot)
        for (uint32_t port = 0; port < 257; ++port) {
            const bool zeroed =
                (slot == 10 && port == 256) || (slot == 9 && port == 1) || (slot == 0 && port == 3);
            ASSERT_EQ(counterAt(prevstats[slot][port], 4), zeroed ? 8u : 0u) << slot << ":" << port;
        }
}

// --- Nothing to report ---------------------------------------------------------------------------

TEST_F(StatisticsTest, LogicalPortsHaveNoCounters) {
    setCounterAt(currstats[1][5], 4, 8);
    for (const uint32_t type : {1u, 3u, 4u, 5u}) {
        for (const Operation& operation : kOperations) {
            PortStatsRecord record = filled();
            EXPECT_EQ(operation.get(ofType(type, 1, 5), &record), 0);
            expectUntouched(record);
        }
        EXPECT_EQ(pcSimCardPortZeroStats(ofType(type, 1, 5)), 0);
        EXPECT_EQ(pcSimCardPortZeroStats(ofType(type, 255, 65535)), 0);
    }
    EXPECT_EQ(counterAt(prevstats[1][5], 4), 0u);
    EXPECT_TRUE(requests.empty());
}

TEST_F(StatisticsTest, UnknownPortTypesAreDown) {
    counterTable(tableWith("eth5", Columns(16, 1)));
    for (const uint32_t type : {6u, 7u, 128u, 255u})
        for (const Operation& operation : kOperations) {
            PortStatsRecord record = filled();
            EXPECT_EQ(operation.get(ofType(type, 1, 5), &record), 0);
            expectUntouched(record);
        }
    EXPECT_EQ(libc().filesOpened, 0u);
}

TEST_F(StatisticsTest, APortThatIsDownLeavesTheRecordAndTheReading) {
    counterTable(tableWith("eth5", Columns(16, 1)));
    const std::function<void()> downs[] = {
        [this] { phys["eth5"].registers[1] = 0; },
        [this] { phys.erase("eth5"); },
        [] { portInfo[1][5] = 1; },
        [] { pcSimSystemNumPorts = 4; },
    };
    for (const auto& goDown : downs) {
        goDown();
        for (const Operation& operation : kOperations) {
            PortStatsRecord record = filled();
            EXPECT_EQ(operation.get(kPort, &record), 0);
            expectUntouched(record);
        }
        linkUp("eth5");
        portInfo[1][5] = 0;
        pcSimSystemNumPorts = 12;
    }
    EXPECT_EQ(libc().filesOpened, 0u);
    EXPECT_EQ(bytesOf(currstats[1][5]), bytesOf(PortStatsRecord{}));
}

TEST_F(StatisticsTest, WithoutASocketThereIsNothingToReport) {
    libc().failSocket = true;
    for (const Operation& operation : kOperations) {
        PortStatsRecord record = filled();
        int32_t result = -99;
        EXPECT_EQ(printed([&] { result = operation.get(kPort, &record); }),
                  "pcSimCardPortLinkInfo ioctl failed");
        EXPECT_EQ(result, 0);
        expectUntouched(record);
    }
}

TEST_F(StatisticsTest, APortThatIsUpWithoutACommonAbilityIsCounted) {
    linkUp("eth5", 0x0000);
    counterTable(tableWith("eth5", Columns(16, 3)));
    PortStatsRecord record = filled();
    int32_t result = -99;
    EXPECT_EQ(printed([&] { result = pcSimCardPortGetStats(kPort, &record); }),
              "Capabilities cannot be negotiated on port 5\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(counterAt(record, 4), 3u);
}

TEST_F(StatisticsTest, APortThatLosesItsPhyAfterTheLinkStateIsCounted) {
    counterTable(tableWith("eth5", Columns(16, 3)));
    failRequest = 3;
    PortStatsRecord record = filled();
    EXPECT_EQ(pcSimCardPortGetStats(kPort, &record), 0);
    EXPECT_EQ(counterAt(record, 4), 3u);
}

// Interfaces beyond those that the host counts are read as all others.
TEST_F(StatisticsTest, InterfacesAboveAHundredAreRead) {
    pcSimSystemNumPorts = 4000;
    for (const uint32_t number : {100u, 101u, 4000u}) {
        const std::string name = "eth" + std::to_string(number);
        linkUp(name);
        host().hwPortMapping = [number](uint32_t, uint32_t) { return number; };
        for (const uint64_t count : {3u, 7u}) {
            counterTable(tableWith(name, Columns(16, count)));
            PortStatsRecord record = filled();
            EXPECT_EQ(pcSimCardPortGetStats(kPort, &record), 0);
            EXPECT_EQ(counterAt(record, 4), count) << name;
        }
    }
}

TEST_F(StatisticsTest, PortsOutsideTheTablesAreReportedByName) {
    host().hwPortMapping = [](uint32_t, uint32_t) { return 5u; };
    counterTable(tableWith("eth5", Columns(16, 1)));
    const struct {
        uint32_t instance;
        const char* where;
    } rows[] = {{frontPanel(11, 1), "11:1"},
                {frontPanel(0, 257), "0:257"},
                {frontPanel(255, 65535), "255:65535"},
                {ofType(2, 11, 1), "11:1"},
                {ofType(2, 1, 300), "1:300"}};
    for (const auto& row : rows)
        for (const Operation& operation : kOperations) {
            PortStatsRecord record = filled();
            int32_t result = -99;
            EXPECT_EQ(printed([&] { result = operation.get(row.instance, &record); }),
                      std::string(operation.name) + "-Port " + row.where + " out of range.\n");
            EXPECT_EQ(result, -1);
            expectUntouched(record);
        }
    EXPECT_EQ(libc().filesOpened, 0u);
    for (const auto& goDown : {frontPanel(11, 1), frontPanel(0, 257)}) {
        phys["eth5"].registers[1] = 0;
        PortStatsRecord record = filled();
        EXPECT_EQ(printed([&] { EXPECT_EQ(pcSimCardPortGetStats(goDown, &record), 0); }), "")
            << "down comes first";
    }
}

TEST_F(StatisticsTest, ZeroingOutsideTheTablesIsReported) {
    const struct {
        uint32_t instance;
        const char* text;
    } rows[] = {
        {frontPanel(1, 257), "pcSimCardPortZeroStats-Port 1:257 out of range.\n"},
        {frontPanel(255, 65535), "pcSimCardPortZeroStats-Port 255:65535 out of range.\n"},
        {frontPanel(11, 4), "pcSimCardPortZeroStats-Port 11:4 out of range.\n"},
        {frontPanel(11, 0), "pcSimCardPortZeroStats-Port 11:1 out of range.\n"},
        {ofType(2, 200, 0), "pcSimCardPortZeroStats-Port 200:1 out of range.\n"},
    };
    for (const auto& row : rows) {
        int32_t result = -99;
        EXPECT_EQ(printed([&] { result = pcSimCardPortZeroStats(row.instance); }), row.text);
        EXPECT_EQ(result, -1);
    }
}

// The interface is asked for while the table is open, and the host is free to call.
TEST_F(StatisticsTest, AHostMayTakeAnotherPortsStatisticsOnTheWay) {
    linkUp("eth6");
    counterTable(tableWith("eth5", Columns(16, 5)));
    int32_t depth = 0;
    host().hwPortMapping = [&depth](uint32_t, uint32_t number) {
        PortStatsRecord record{};
        if (++depth == 2) pcSimCardPortGetStats(frontPanel(1, 6), &record);
        return number;
    };
    PortStatsRecord record = filled();
    EXPECT_EQ(pcSimCardPortGetStats(kPort, &record), 0);
    EXPECT_GE(depth, 4) << "the other port's was taken while the table was open";
    EXPECT_EQ(counterAt(record, 4), 5u);
    EXPECT_EQ(openTables(), 0);
    EXPECT_EQ(libc().descriptorsClosed, 2u);
}

// --- Port 0 and the management port --------------------------------------------------------------

TEST_F(StatisticsTest, Port0OfASlotHasARowOfItsOwn) {
    host().hwPortMapping = [](uint32_t, uint32_t) { return 5u; };
    counterTable(tableWith("eth5", Columns(16, 6)));
    PortStatsRecord record = filled();
    EXPECT_EQ(pcSimCardPortGetStats(frontPanel(4, 0), &record), 0);
    EXPECT_EQ(counterAt(record, 4), 6u);
    EXPECT_EQ(counterAt(currstats[4][0], 4), 6u);
}

TEST_F(StatisticsTest, TheOwnManagementPortReadsEth0) {
    setenv("VORN_SLOT_ID", "3", 1);
    counterTable(tableWith("eth0", Columns(16, 6)));
    PortStatsRecord record = filled();
    EXPECT_EQ(pcSimCardPortGetStats(ofType(2, 3, 1), &record), 0);
    EXPECT_EQ(counterAt(record, 4), 6u);
    EXPECT_EQ(counterAt(currstats[3][1], 4), 6u);
    EXPECT_EQ(openTables(), 0);
}

TEST_F(StatisticsTest, TheManagementPortOfAnotherSlotIsNotRead) {
    setenv("VORN_SLOT_ID", "3", 1);
    counterTable(tableWith("eth0", Columns(16, 6)));
    for (const Operation& operation : kOperations) {
        PortStatsRecord record = filled();
        EXPECT_EQ(operation.get(ofType(2, 4, 1), &record), 0);
        expectUntouched(record);
    }
    EXPECT_EQ(bytesOf(currstats[4][1]), bytesOf(PortStatsRecord{}));
}

TEST_F(StatisticsTest, AMissingTableIsReportedForAnotherSlotsManagementPortToo) {
    setenv("VORN_SLOT_ID", "3", 1);
    PortStatsRecord record = filled();
    EXPECT_EQ(pcSimCardPortGetStats(ofType(2, 4, 1), &record), -1);
    EXPECT_EQ(host().incidents.size(), 1u);
}

// --- The table's file ----------------------------------------------------------------------------

TEST_F(StatisticsTest, AMissingTableIsTracedUnderTheOperationsName) {
    for (const Operation& operation : kOperations) {
        host().incidents.clear();
        PortStatsRecord record = filled();
        EXPECT_EQ(operation.get(kPort, &record), -1);
        expectUntouched(record);
        ASSERT_EQ(host().incidents.size(), 1u);
        EXPECT_EQ(host().incidents[0].text,
                  "Can't open /proc/net/dev.  Limited output. file handle = (nil)");
        EXPECT_EQ(host().incidents[0].function, operation.name);
        EXPECT_EQ(host().incidents[0].id, 0x550005u);
    }
}

TEST_F(StatisticsTest, EachReadingOpensAndClosesTheTable) {
    for (int i = 0; i < 3; ++i) read(Columns(16, 1));
    counterTable(tableWith("eth7", Columns(16, 1)));
    PortStatsRecord record;
    EXPECT_EQ(pcSimCardPortGetStats(kPort, &record), 0);
    EXPECT_EQ(libc().filesOpened, 4u);
    EXPECT_EQ(libc().filesClosed + libc().descriptorsClosed, 4u);
    EXPECT_EQ(openTables(), 0);
}

TEST_F(StatisticsTest, ATableMayHaveDescriptorZero) {
    read(Columns(16, 1));
    counterTable(tableWith("eth5", Columns(16, 2)));
    close(0);  // a host without standard input, whose next file gets that number
    PortStatsRecord record = filled();
    EXPECT_EQ(pcSimCardPortGetStats(kPort, &record), 0);
    EXPECT_EQ(counterAt(record, 4), 2u);
    EXPECT_EQ(openTables(), 0);
    // One that is left open may have it, too.
    setenv("VORN_SLOT_ID", "3", 1);
    EXPECT_EQ(pcSimCardPortGetStats(ofType(2, 4, 1), &record), 0);
    EXPECT_EQ(openTables(), 1);
    EXPECT_EQ(fcntl(0, F_GETFD), FD_CLOEXEC) << "programs that the host starts get it, too";
    EXPECT_EQ(pcSimCardPortGetStats(kPort, &record), 0);
    EXPECT_EQ(openTables(), 0);
    EXPECT_EQ(libc().filesOpened, 3u);
}

TEST_F(StatisticsTest, ATableLeftOpenIsUsedAgainSoThatOneIsOpenAtMost) {
    setenv("VORN_SLOT_ID", "3", 1);
    counterTable(tableWith("eth5", Columns(16, 6)));
    for (int i = 0; i < 1000; ++i) {
        PortStatsRecord record = filled();
        ASSERT_EQ(kOperations[i % 2].get(ofType(2, 4, 1), &record), 0);
        ASSERT_EQ(openTables(), 1);
    }
    EXPECT_EQ(libc().filesOpened, 1u);
    // The next reading takes it from its start, and closes it.
    PortStatsRecord record = filled();
    EXPECT_EQ(pcSimCardPortGetStats(kPort, &record), 0);
    EXPECT_EQ(counterAt(record, 4), 6u);
    EXPECT_EQ(libc().filesOpened, 1u);
    EXPECT_EQ(openTables(), 0);
    EXPECT_EQ(counterAt(read(Columns(16, 7)), 4), 7u);
    EXPECT_EQ(libc().filesOpened, 2u);
}

}  // namespace
