// A host that defines operations of its own: the platform calls those, and copes with what they
// answer.
#include "platform/port/pcSimTrunk.h"

#include <functional>
#include <utility>

#include "tests/platform/port/port_fixture.h"

using namespace pcsim::test;

// A link query that finds every port up, whatever its type.
extern "C" int32_t pcSimCardPortLinkInfo(uint32_t, uint32_t* link, uint32_t*, uint32_t*, uint32_t*,
                                         uint32_t*) noexcept {
    *link = 1;
    return 0;
}

// A trunk that takes no ports.
extern "C" int32_t pcSimTrunkAddPorts(const HalPif*, uint32_t count, const uint32_t* instances,
                                      uint32_t flag) noexcept {
    host().calls.push_back("pcSimTrunkAddPorts " + std::to_string(count) + " " +
                           std::to_string(*instances) + " " + std::to_string(flag));
    return -1;
}

// A question for the own slot within which the host reads counters.
static std::function<void()> whenAsked;
extern "C" int32_t pcSimGetMySlotNum() noexcept {
    if (whenAsked) std::exchange(whenAsked, nullptr)();
    return 1;
}

namespace {

TEST_F(PortTest, OfAReadingInsideAnotherOneTableStaysOpen) {
    counterTable(tableWith("eth0", std::vector<uint64_t>(16, 1)));
    PortStatsRecord record{};
    whenAsked = [&] {
        EXPECT_EQ(pcSimCardPortGetStats(ofType(2, 3, 1), &record), 0);
        EXPECT_EQ(openTables(), 2);
    };
    EXPECT_EQ(pcSimCardPortGetStats(ofType(2, 2, 1), &record), 0);
    EXPECT_FALSE(whenAsked);
    EXPECT_EQ(libc().filesOpened, 2u);
    EXPECT_EQ(openTables(), 1);
    EXPECT_EQ(pcSimCardPortGetStats(ofType(2, 1, 1), &record), 0);
    EXPECT_EQ(counterAt(record, 4), 1u);
    EXPECT_EQ(libc().filesOpened, 2u) << "the one that was left open is read";
    EXPECT_EQ(openTables(), 0);
}

TEST_F(PortTest, AnUnknownPortTypeThatIsUpFailsAndKeepsTheTableOpen) {
    counterTable(tableWith("eth5", std::vector<uint64_t>(16, 1)));
    for (int i = 0; i < 1000; ++i) {
        PortStatsRecord record{};
        ASSERT_EQ(pcSimCardPortGetStats(ofType(6, 1, 5), &record), -1);
        ASSERT_EQ(pcSimCardPortGetStatsReadClear(ofType(255, 1, 5), &record), -1);
        ASSERT_EQ(counterAt(record, 4), 0u);
    }
    EXPECT_EQ(libc().filesOpened, 1u);
    EXPECT_EQ(openTables(), 1);
    PortStatsRecord record{};
    EXPECT_EQ(pcSimCardPortGetStats(frontPanel(1, 5), &record), 0);
    EXPECT_EQ(counterAt(record, 4), 1u);
    EXPECT_EQ(openTables(), 0);
}

TEST_F(PortTest, AMemberThatIsRefusedIsReportedAndTheWalkGoesOn) {
    host().addPif(ofType(1, 0, 7), 0, 7);
    host().addPif(frontPanel(2, 3), 2, 3)->trunkInstance = ofType(1, 0, 7);
    host().addPif(frontPanel(2, 4), 2, 4)->trunkInstance = ofType(1, 0, 7);
    int32_t result = -99;
    EXPECT_EQ(printed([&] { result = pcSimTrunkSyncSlot(2); }),
              "Trunk_add_ports failed: port 2:3\nTrunk_add_ports failed: port 2:4\n");
    EXPECT_EQ(result, 0);
    EXPECT_EQ(host().calls, (std::vector<std::string>{"pcSimTrunkAddPorts 1 131075 0",
                                                      "pcSimTrunkAddPorts 1 131076 0"}));
}

}  // namespace
