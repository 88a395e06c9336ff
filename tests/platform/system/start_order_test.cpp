// The steps of initialisation in their order, and the poll of the management link. The operations
// that they call are this executable's, as a host may replace them.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "pcsim/system.h"
#include "platform/base/ownSlot.h"
#include "platform/port/hostInterfaces.h"
#include "platform/system/pcSimSystem.h"
#include "tests/support/host.h"

namespace {

using namespace pcsim::test;
using Lines = std::vector<std::string>;

// What the link query answers.
struct Query {
    int32_t result = 0;
    uint32_t link = 0, duplex = 0, speed = 0, flowControl = 0;
} query;

HalSystemOps* const kTable = reinterpret_cast<HalSystemOps*>(0x1000);  // nobody looks into it
int32_t setupResult;

void note(const std::string& line) {
    host().calls.push_back(line);
}

}  // namespace

extern "C" {

uint32_t pcSimGetSystemNumberPorts() noexcept {
    // The shape is set before anything asks for the own slot.
    note("count, own slot " + std::to_string(pcSimGetMySlotNum()));
    return 6;
}
int32_t pcSimDeviceInit() noexcept {
    note("devices, " + std::to_string(pcSimSystemNumPorts) + " ports");
    return -1;  // stops nothing
}
int32_t pcSimHalIPv4McDbInit() noexcept {
    note("multicast");
    return -1;
}
int32_t pcSimStackSystemDBSetup(HalSystemOps* table) noexcept {
    note(table == kTable ? "stack setup" : "another table");
    return setupResult;
}
int32_t pcSimChassisSystemDBSetup(HalSystemOps* table) noexcept {
    note(table == kTable ? "chassis setup" : "another table");
    return setupResult;
}
int32_t pcSimCardPortLinkInfo(uint32_t portInstance, uint32_t* link, uint32_t* duplex,
                              uint32_t* speed, uint32_t* flowControl, uint32_t* extra) noexcept {
    char text[32];
    std::snprintf(text, sizeof text, "query %08x", portInstance);
    note(text);
    *link = query.link;
    *duplex = query.duplex;
    *speed = query.speed;
    *flowControl = query.flowControl;
    *extra = 99;
    return query.result;
}
int32_t pcSimDeviceCLIHook(const HalDeviceCli* cli) noexcept {
    note(reinterpret_cast<uintptr_t>(cli) == 0x2000 ? "device command" : "another command");
    return -2;
}
}

namespace {

TEST(ModuleControl, HandsDeviceCommandsOnAndIgnoresTheAnswer) {
    EXPECT_EQ(pcSimModuleIoctl(7, 3, reinterpret_cast<void*>(0x2000)), 0);
    EXPECT_EQ(host().calls, Lines{"device command"});
}

TEST(ModuleControl, OfPresenceIsNoDeviceCommand) {
    uint32_t mask = 0x2000;
    for (const int32_t request : {0, 1, 2}) EXPECT_EQ(pcSimModuleIoctl(7, request, &mask), 0);
    EXPECT_EQ(host().calls, Lines{});
}

TEST(StartOrder, OfAStackable) {
    for (const int32_t result : {0, -5}) {
        host().calls.clear();
        setupResult = result;
        EXPECT_EQ(pcSimStackSystemInit(kTable), result);
        EXPECT_EQ(host().calls,
                  (Lines{"count, own slot 1", "halStartTimer(pcSimMgmtLinkPoll, 1, 0, 1000, 0)",
                         "devices, 6 ports", "multicast", "stack setup"}));
    }
}

TEST(StartOrder, OfAChassis) {
    for (const int32_t result : {0, -5}) {
        host().calls.clear();
        setupResult = result;
        EXPECT_EQ(pcSimChassisSystemInit(kTable), result);
        EXPECT_EQ(host().calls,
                  (Lines{"count, own slot 9", "halStartTimer(pcSimMgmtLinkPoll, 9, 0, 1000, 0)",
                         "devices, 6 ports", "multicast", "chassis setup"}));
    }
}

TEST(StartOrder, TheEntryHandsTheResultOn) {
    setupResult = -7;
    host().platformType = 2;
    EXPECT_EQ(platformSystemInit(kTable), -7);
    EXPECT_EQ(host().calls.back(), "chassis setup");
    host().platformType = 0;
    EXPECT_EQ(platformSystemInit(kTable), -7);
    EXPECT_EQ(host().calls.back(), "stack setup");
}

// One poll of 'slot': the host calls and link queries it made.
Lines poll(uint32_t slot) {
    host().calls.clear();
    host().queries.clear();
    pcSimMgmtLinkPoll(slot);
    return host().calls;
}

TEST(MgmtLinkPoll, ReportsChangesAlone) {
    query = {0, 0, 0, 0, 0};
    EXPECT_EQ(poll(9), Lines{"query 02090001"});  // down from the start
    query = {0, 1, 1, 2, 3};
    EXPECT_EQ(poll(9),
              (Lines{"query 02090001", "halNotifyLinkStateChange(02090001, 1, 1, 2, 3, 0, 0)"}));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(poll(9), Lines{"query 02090001"});
    query = {0, 1, 0, 1, 0};  // another speed is no change of the link
    EXPECT_EQ(poll(9), Lines{"query 02090001"});
    query = {0, 0, 4, 5, 6};
    EXPECT_EQ(poll(9),
              (Lines{"query 02090001", "halNotifyLinkStateChange(02090001, 0, 4, 5, 6, 0, 0)"}));
    EXPECT_EQ(poll(9), Lines{"query 02090001"});
}

TEST(MgmtLinkPoll, PassesTheLinkFlagOnAsItIs) {
    query = {0, 0x80000000u, 7, 8, 9};
    EXPECT_EQ(poll(1).back(), "halNotifyLinkStateChange(02010001, 2147483648, 7, 8, 9, 0, 0)");
    query.link = 2;
    EXPECT_EQ(poll(1), Lines{"query 02010001"});
}

TEST(MgmtLinkPoll, RemembersOneFlagForAllSlots) {
    query = {0, 1, 1, 2, 3};
    EXPECT_EQ(poll(1).size(), 2u);
    EXPECT_EQ(poll(2), Lines{"query 02020001"});
    query.link = 0;
    EXPECT_EQ(poll(2).back(), "halNotifyLinkStateChange(02020001, 0, 1, 2, 3, 0, 0)");
    EXPECT_EQ(poll(1), Lines{"query 02010001"});
}

TEST(MgmtLinkPoll, UsesPortOneForAnyManagementPortNumberButZero) {
    struct Row {
        int32_t number;
        const char* asked;
    };
    for (const Row& row : {Row{0, "query 02030000"}, Row{1, "query 02030001"},
                           Row{5, "query 02030001"}, Row{-1, "query 02030001"}}) {
        host().mgmtPort = row.number;
        EXPECT_EQ(poll(3), Lines{row.asked});
        EXPECT_EQ(host().queries, (Lines{"getMgmtPort(3)", "halIsCardOperational(3)"}));
    }
}

TEST(MgmtLinkPoll, LeavesACardAloneThatIsNotOperational) {
    query = {0, 1, 1, 2, 3};
    host().cardOperational = 0;
    EXPECT_EQ(poll(9), Lines{});
    host().cardOperational = -1;
    EXPECT_EQ(poll(9).size(), 2u);
    host().cardOperational = 0;
    query.link = 0;
    EXPECT_EQ(poll(9), Lines{});  // the loss is reported when the card is back
    host().cardOperational = 1;
    EXPECT_EQ(poll(9).size(), 2u);
}

TEST(MgmtLinkPoll, IgnoresAFailingQueryWhateverItSaysOfTheLink) {
    query = {-1, 1, 1, 2, 3};
    EXPECT_EQ(poll(9), Lines{"query 02090001"});
    query.result = 1;
    EXPECT_EQ(poll(9), Lines{"query 02090001"});
    query.result = 0;
    EXPECT_EQ(poll(9).size(), 2u);
    query = {-1, 0, 0, 0, 0};
    EXPECT_EQ(poll(9), Lines{"query 02090001"});
    query = {0, 1, 1, 2, 3};
    EXPECT_EQ(poll(9), Lines{"query 02090001"});  // still up
}

}  // namespace
