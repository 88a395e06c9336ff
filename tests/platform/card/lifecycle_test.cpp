// Cards from power-up to diagnostics: answers, messages, host calls and delayed reports.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "platform/card/pcSimCard.h"
#include "platform/card/pcSimCardDB.h"
#include "platform/port/pcSimPort.h"
#include "tests/support/host.h"
#include "tests/support/image.h"

namespace {

using namespace pcsim::test;
using Lines = std::vector<std::string>;

// A request that reports later.
struct Request {
    const char* operation;
    int32_t (*run)(int32_t slot);
    const char* message;  // for slot 3
    uint32_t state;
    uint32_t delayMs;
};

const Request kRequests[] = {
    {"pcSimCardPowerEnable", [](int32_t slot) { return pcSimCardPowerEnable(slot, 1); },
     "Turn on power to Slot-3", 7, 2000},
    {"pcSimCardPowerEnable", [](int32_t slot) { return pcSimCardPowerEnable(slot, -1); },
     "Turn on power to Slot-3", 7, 2000},
    {"pcSimCardPowerEnable", [](int32_t slot) { return pcSimCardPowerEnable(slot, 0); },
     "Turn off power to Slot-3", 3, 2000},
    {"pcSimCardRunExtPost", [](int32_t slot) { return pcSimCardRunExtPost(slot, 123); },
     "Run extended post on Slot-3 with max time of 123 msec", 9, 10000},
    {"pcSimCardRunExtPost", [](int32_t slot) { return pcSimCardRunExtPost(slot, -7); },
     "Run extended post on Slot-3 with max time of -7 msec", 9, 10000},
    {"pcSimCardStartDownload", [](int32_t slot) { return pcSimCardStartDownload(slot, "os.img"); },
     "Start downloading Slot-3 - image os.img", 11, 5000},
    {"pcSimCardStartBooting", [](int32_t slot) { return pcSimCardStartBooting(slot); },
     "Start booting Slot-3", 13, 5000},
    {"pcSimCardDiagnosticsRun", [](int32_t slot) { return pcSimCardDiagnosticsRun(slot); },
     "Run diag on Slot-3.", 15, 5000},
};

class Lifecycle : public testing::Test {
protected:
    Lifecycle() { host().attachComponents(); }

    static void forget() {
        host().calls.clear();
        host().queries.clear();
        host().incidents.clear();
        host().tasks.clear();
    }

    static void expectMessage(const char* operation, const std::string& text) {
        ASSERT_EQ(host().incidents.size(), 1u) << operation;
        const Incident& incident = host().incidents[0];
        EXPECT_EQ(incident.text, text);
        EXPECT_EQ(incident.file, "pcSimCard.c");
        EXPECT_EQ(incident.function, operation);
        EXPECT_EQ(incident.component, &host().card.record);
        EXPECT_EQ(incident.id, 0x540005u);
    }
};

TEST_F(Lifecycle, RequestsReportLaterOnThePrimaryWithRemoteIo) {
    simulateRemoteIO = 1;
    for (const Request& request : kRequests) {
        SCOPED_TRACE(request.message);
        forget();
        EXPECT_EQ(request.run(3), 1);
        expectMessage(request.operation, request.message);
        const std::string schedule =
            "halScheduleTask(pcSimDelayRelyCallback, " + std::to_string(3 << 16 | request.state) +
            ", 0, " + std::to_string(request.delayMs) + ", \"pcSimDelayRelyCallback\")";
        EXPECT_EQ(host().calls, (Lines{"halAmIPrimary()", schedule}));

        // The host runs the task when the delay has passed.
        ASSERT_EQ(host().tasks.size(), 1u);
        const Task task = host().tasks[0];
        forget();
        EXPECT_EQ(task.function(task.argument1, 4711), 0);
        EXPECT_EQ(host().calls,
                  Lines{"halCardStatusUpdate(3, " + std::to_string(request.state) + ", 4711)"});
        expectMessage("pcSimDelayRelyCallback",
                      "Slot-3 state State" + std::to_string(request.state));
    }
}

TEST_F(Lifecycle, TheMessageComesBeforeTheHostIsAskedAndAfterItIsTold) {
    Lines sequence;
    host().sequence = &sequence;
    simulateRemoteIO = 1;
    pcSimCardStartBooting(3);
    EXPECT_EQ(sequence, (Lines{"getSlotName(3)", "Start booting Slot-3", "halAmIPrimary()",
                               "halScheduleTask(pcSimDelayRelyCallback, 196621, 0, 5000, "
                               "\"pcSimDelayRelyCallback\")"}));
    sequence.clear();
    pcSimDelayRelyCallback(0x3000D, 5);
    ASSERT_EQ(sequence.size(), 4u);
    EXPECT_EQ(sequence.front(), "halCardStatusUpdate(3, 13, 5)");
    EXPECT_EQ(sequence.back(), "Slot-3 state State13");
    sequence.clear();
    pcSimCardInternalLinkEnable(4, 9, 1);
    EXPECT_EQ(sequence, (Lines{"getSlotName(4)", "getSlotName(9)",
                               "Enable backplane link from Slot-4 to Slot-9."}));
    host().sequence = nullptr;
}

TEST_F(Lifecycle, ABackupTracesAndReportsNothing) {
    simulateRemoteIO = 1;
    host().primary = 0;
    for (const Request& request : kRequests) {
        forget();
        EXPECT_EQ(request.run(3), 0);
        expectMessage(request.operation, request.message);
        EXPECT_EQ(host().calls, Lines{"halAmIPrimary()"});
    }
}

TEST_F(Lifecycle, SlotsAboveEightReportNothing) {
    simulateRemoteIO = 1;
    for (const Request& request : kRequests) {
        for (const int32_t slot : {9, 10, 11, INT_MAX}) {
            forget();
            EXPECT_EQ(request.run(slot), 0);
            EXPECT_EQ(host().calls, Lines{"halAmIPrimary()"});
            EXPECT_EQ(host().incidents.size(), 1u);
        }
        for (const int32_t slot : {-1, 0, 1, 8}) {
            forget();
            EXPECT_EQ(request.run(slot), 1) << slot;
            ASSERT_EQ(host().tasks.size(), 1u);
            EXPECT_EQ(host().tasks[0].argument1, static_cast<uint32_t>(slot) << 16 | request.state);
        }
    }
}

TEST_F(Lifecycle, WithoutRemoteIoTheHostIsAskedAndNothingIsScheduled) {
    for (const Request& request : kRequests) {
        forget();
        EXPECT_EQ(request.run(3), 0);
        expectMessage(request.operation, request.message);
        EXPECT_EQ(host().calls, Lines{"halAmIPrimary()"});
    }
}

TEST_F(Lifecycle, EveryRequestReportsAlsoWhenOneIsUnderWay) {
    simulateRemoteIO = 1;
    EXPECT_EQ(pcSimCardStartBooting(2), 1);
    EXPECT_EQ(pcSimCardStartBooting(2), 1);
    EXPECT_EQ(host().tasks.size(), 2u);
}

TEST_F(Lifecycle, ReportsCarryNegativeSlotsAndTheLowHalfAsState) {
    EXPECT_EQ(pcSimDelayRelyCallback(0xFFFF0007u, 0), 0);
    EXPECT_EQ(pcSimDelayRelyCallback(0x0008FFFFu, 0xFFFFFFFFu), 0);
    EXPECT_EQ(host().calls, (Lines{"halCardStatusUpdate(-1, 7, 0)",
                                   "halCardStatusUpdate(8, 65535, 4294967295)"}));
    EXPECT_EQ(host().incidentTexts(), (Lines{"Slot--1 state State7", "Slot-8 state State65535"}));
}

TEST_F(Lifecycle, MessagesAreSilentBelowLevelSixAndCountedWhenMasked) {
    host().card.set(5, 0xFF);
    pcSimCardStartBooting(1);
    EXPECT_EQ(host().card.counters[5], 0u);
    host().card.set(6, 0xDF);
    pcSimCardStartBooting(1);
    EXPECT_EQ(host().card.counters[5], 1u);
    EXPECT_TRUE(host().incidents.empty());
    EXPECT_TRUE(host().queries.empty());  // no name is asked for in vain
    host().card.set(6, 0x20);
    pcSimCardStartBooting(1);
    EXPECT_EQ(host().card.counters[5], 2u);
    EXPECT_EQ(host().incidents.size(), 1u);
}

// An operation that is answered at once with 0 and one message.
struct Immediate {
    const char* operation;
    std::function<int32_t()> run;
    const char* message;
};

TEST_F(Lifecycle, ImmediateOperationsTraceAndAnswerZero) {
    const Immediate operations[] = {
        {"pcSimInit", [] { return pcSimInit(); }, "Software initialization for cards resources"},
        {"pcSimCardInit", [] { return pcSimCardInit(4); }, "Initializing resources for Slot-4."},
        {"pcSimCardCleanup", [] { return pcSimCardCleanup(4); },
         "Cleaning up resources for Slot-4."},
        {"pcSimCardPowerOnCheck", [] { return pcSimCardPowerOnCheck(4); },
         "Hardware access on Slot-4 established"},
        {"pcSimCardInternalLinkEnable", [] { return pcSimCardInternalLinkEnable(4, 9, 2); },
         "Enable backplane link from Slot-4 to Slot-9."},
        {"pcSimCardInternalLinkEnable", [] { return pcSimCardInternalLinkEnable(9, 4, 0); },
         "Disable backplane link from Slot-9 to Slot-4."},
        {"pcSimCardInternalLinkConfigLoadSharing",
         [] { return pcSimCardInternalLinkConfigLoadSharing(4, 9, -3); },
         "Config loadshare mode -3 on backplane link from Slot-4 to Slot-9."},
        {"pcSimMacIntEnable", [] { return pcSimMacIntEnable(4, 1); },
         "Enable mac interrupt for Slot-4."},
        {"pcSimMacIntEnable", [] { return pcSimMacIntEnable(4, 0); },
         "Disable mac interrupt for Slot-4."},
    };
    for (const Immediate& operation : operations) {
        SCOPED_TRACE(operation.message);
        forget();
        EXPECT_EQ(operation.run(), 0);
        expectMessage(operation.operation, operation.message);
        EXPECT_EQ(host().calls, Lines{});
    }
}

TEST_F(Lifecycle, ImmediateOperationsAnswerZeroInSilenceToo) {
    host().card.set(6, 0xDF);
    EXPECT_EQ(pcSimInit(), 0);
    EXPECT_EQ(pcSimCardInit(4), 0);
    EXPECT_EQ(pcSimCardCleanup(4), 0);
    EXPECT_EQ(pcSimCardPowerOnCheck(4), 0);
    EXPECT_EQ(pcSimCardInternalLinkEnable(4, 9, 2), 0);
    EXPECT_EQ(pcSimCardInternalLinkConfigLoadSharing(4, 9, -3), 0);
    EXPECT_EQ(pcSimMacIntEnable(4, 1), 0);
    EXPECT_EQ(host().card.counters[5], 7u);
    EXPECT_TRUE(host().incidents.empty());
}

TEST_F(Lifecycle, LinkInterruptsAreTracedByTheCardDatabase) {
    EXPECT_EQ(pcSimCardLinkIntrEnable(4, 1), 0);
    EXPECT_EQ(pcSimCardLinkIntrEnable(4, 0), 0);
    EXPECT_EQ(host().incidentTexts(),
              (Lines{"Enable link interrupt for Slot-4", "Disable link interrupt for Slot-4"}));
    for (const Incident& incident : host().incidents) {
        EXPECT_EQ(incident.file, "pcSimCardDB.c");
        EXPECT_EQ(incident.function, "pcSimCardLinkIntrEnable");
        EXPECT_EQ(incident.component, &host().card.record);
        EXPECT_EQ(incident.id, 0x540005u);
    }
    EXPECT_EQ(host().card.counters[5], 2u);
}

TEST_F(Lifecycle, InitialisingACardClearsThePortsOfItsSlotAlone) {
    portInfo[4][1] = portInfo[4][256] = portInfo[5][1] = 1;
    EXPECT_EQ(pcSimCardInit(4), 0);
    EXPECT_EQ(portInfo[4][1], 0);
    EXPECT_EQ(portInfo[4][256], 0);
    EXPECT_EQ(portInfo[5][1], 1);
    EXPECT_EQ(pcSimCardInit(11), 0);
    EXPECT_EQ(pcSimCardInit(-1), 0);
    EXPECT_EQ(portInfo[5][1], 1);
}

TEST_F(Lifecycle, InterruptMasksAreConstant) {
    uint32_t mask = 0;
    EXPECT_EQ(pcSimMacIntrGetMask(3, &mask), 0);
    EXPECT_EQ(mask, 0xFFFFFFFFu);
    EXPECT_EQ(pcSimCardLinkIntrMask(), 2);
    EXPECT_TRUE(host().incidents.empty());
}

TEST_F(Lifecycle, PresenceAtLoadLeavesSlot8And11To15Empty) {
    EXPECT_EQ(pcSimCardPresentMask, 0xFFFF06FFu);
    for (int32_t slot = 0; slot < 32; ++slot) {
        const bool empty = slot == 8 || (slot >= 11 && slot <= 15);
        EXPECT_EQ(pcSimIsCardHwPresent(slot), empty ? 0 : 5) << slot;
        EXPECT_EQ(pcSimIsCardHwPresent(slot + 32), empty ? 0 : 5) << slot;
        EXPECT_EQ(pcSimIsCardHwPresent(slot - 32), empty ? 0 : 5) << slot;
    }
}

TEST_F(Lifecycle, PresenceFollowsTheMask) {
    pcSimCardPresentMask = 0x6;
    for (int32_t slot = 0; slot < 32; ++slot)
        EXPECT_EQ(pcSimIsCardHwPresent(slot), slot == 1 || slot == 2 ? 5 : 0) << slot;
    EXPECT_EQ(pcSimIsCardHwPresent(INT_MIN + 1), 5);
}

TEST_F(Lifecycle, TemperatureAndOdometerFollowTheSlot) {
    struct Row {
        int32_t slot, temperature, odometer;
    };
    for (const Row& row :
         {Row{0, 2000, 0}, Row{4, 2040, 4000}, Row{10, 2100, 10000}, Row{-1, 1990, -1000}}) {
        int32_t value = 0;
        EXPECT_EQ(pcSimCardReadTemperature(row.slot, &value), 0);
        EXPECT_EQ(value, row.temperature);
        EXPECT_EQ(pcSimCardGetOdometer(row.slot, &value), 0);
        EXPECT_EQ(value, row.odometer);
    }
    int32_t value = 0;
    EXPECT_EQ(pcSimCardReadTemperature(INT_MAX, &value), 0);  // wraps, and that is all
    EXPECT_EQ(value, 1990);
}

TEST_F(Lifecycle, DiagnosticsAreNotSupported) {
    Filled<HalCardDiagnosticsResult> result;
    EXPECT_EQ(pcSimCardDiagnosticsGetResult(3, result.get()), 0);
    EXPECT_TRUE(result.is(Image(sizeof(HalCardDiagnosticsResult))
                              .zero(0, 13)
                              .u8(52, 0)
                              .u8(116, 0)
                              .text(2366, "Diag not supported")));
}

TEST_F(Lifecycle, IgnoredOperationsAnswerZeroAndDoNothing) {
    for (auto* operation : {pcSimCardOffline, pcSimCardOptionEnable, pcSimCardLEDSet,
                            pcSimCardSetOdometer, pcSimCardInitOdometer, pcSimMirEnable,
                            pcSimMirCfgPort, pcSimMirVlanCfgPort, pcSimMirTrunkCfgPort})
        EXPECT_EQ(operation(), 0);
    // The HAL passes arguments of its own.
    using WithArguments = int32_t (*)(uint32_t, void*, uint32_t);
    EXPECT_EQ(
        reinterpret_cast<WithArguments>(reinterpret_cast<void*>(pcSimCardLEDSet))(1, nullptr, 3),
        0);
    EXPECT_TRUE(host().calls.empty());
    EXPECT_TRUE(host().incidents.empty());
}

}  // namespace
