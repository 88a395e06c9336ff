// Port configuration: the state byte, the traces, the prints, the answers that never change.
#include <cstring>

#include "tests/platform/port/port_fixture.h"
#include "tests/support/stubs.h"

namespace {

using namespace pcsim::test;

constexpr uint32_t kPort = frontPanel(2, 5);

using Texts = std::vector<std::string>;

// --- Traces --------------------------------------------------------------------------------------

struct TraceRow {
    const char* operation;
    std::function<int32_t()> call;
    const char* text;
};

HalPortAutoNeg autoNeg(uint32_t on) {
    return {.on = on};
}

// Every operation that traces, with the text of the incident. halPortInstName of the test host
// gives "slot:port" with the type as part of the slot.
const TraceRow kTraces[] = {
    {"pcSimCardDeferUpdatePortStart", [] { return pcSimCardDeferUpdatePortStart(3, 7); },
     "Start slot 3 port sync 7"},
    {"pcSimCardDeferUpdatePortEnd", [] { return pcSimCardDeferUpdatePortEnd(3, 7); },
     "End slot 3 port sync 7"},
    {"pcSimCardDeferUpdatePortEnd", [] { return pcSimCardDeferUpdatePortEnd(~0u, ~0u); },
     "End slot -1 port sync -1"},
    {"pcSimCardPortEnable", [] { return pcSimCardPortEnable(ofType(1, 2, 5), 1); },
     "Enabling port 258:5."},
    {"pcSimCardPortEnable", [] { return pcSimCardPortEnable(ofType(2, 2, 5), 0); },
     "Disabling port 514:5."},
    {"pcSimCardPortEnableJumbo", [] { return pcSimCardPortEnableJumbo(kPort, 1, 9216); },
     "Enabling Jumbo frame support on port 2:5 size 9216"},
    {"pcSimCardPortEnableJumbo", [] { return pcSimCardPortEnableJumbo(kPort, 0, 1518); },
     "Disabling Jumbo frame support on port 2:5 size 1518"},
    {"pcSimCardPortConfigAutoNeg",
     [] {
         const HalPortAutoNeg config = autoNeg(1);
         return pcSimCardPortConfigAutoNeg(kPort, &config);
     },
     "Configuring port 2:5 auto on "},
    {"pcSimCardPortConfigAutoNeg",
     [] {
         const HalPortAutoNeg config = autoNeg(0);
         return pcSimCardPortConfigAutoNeg(kPort, &config);
     },
     "Configuring port 2:5 auto off "},
    {"pcSimExtPortLinkUp", [] { return pcSimCardPortLinkChange(frontPanel(1, 1), 1); },
     "Link up processing for port 0:0."},
    {"pcSimExtPortLinkDown", [] { return pcSimCardPortLinkChange(frontPanel(4, 9), 0); },
     "Link down processing for port 3:8."},
    {"pcSimExtPortLinkDown", [] { return pcSimCardPortLinkChange(frontPanel(0, 0), 0); },
     "Link down processing for port -1:-1."},
    {"pcSimCardPortEnableRcv", [] { return pcSimCardPortEnableRcv(kPort, 1); },
     "Enable receiver for 2:5."},
    {"pcSimCardPortEnableRcv", [] { return pcSimCardPortEnableRcv(kPort, 0); },
     "Disable receiver for 2:5."},
    {"pcSimCardPortSetLinkLED", [] { return pcSimCardPortSetLinkLED(kPort, 0x1A); },
     "port 2:5 LED set to color 1a."},
    {"pcSimCardPortSetForwardingState",
     [] { return pcSimCardPortSetForwardingState(kPort, 64, 1, 2, 3, nullptr, 4, 5); },
     "set fwd state for 2:5-64."},
    {"pcSimCardPortGetForwardingState",
     [] {
         uint32_t state = 0;
         return pcSimCardPortGetForwardingState(kPort, 9, &state);
     },
     "get fwd state for 2:5."},
    {"pcSimCardPortSyncSetMirroredState", [] { return pcSimCardPortSyncSetMirroredState(kPort); },
     "set mirror state for 2:5."},
    {"pcSimCardPortSyncSetForwardingState",
     [] { return pcSimCardPortSyncSetForwardingState(kPort); }, "sync fwd state for 2:5."},
    {"pcSimCardPortConfigVlanStat", [] { return pcSimCardPortConfigVlanStat(kPort, 4094); },
     "port 2:5 set to gather vlan stats for vlan ID 4094."},
    {"pcSimCardPortConfigIPG", [] { return pcSimCardPortConfigIPG(kPort, 12); },
     "port 2:5 configured to new ipg of 12"},
};

TEST_F(PortTest, EachOperationTracesItsTextAndReturnsZero) {
    for (const TraceRow& row : kTraces) {
        SCOPED_TRACE(row.text);
        host().incidents.clear();
        int32_t result = -99;
        printed([&] { result = row.call(); });
        EXPECT_EQ(result, 0);
        ASSERT_EQ(host().incidents.size(), 1u);
        const Incident& incident = host().incidents[0];
        EXPECT_EQ(incident.text, row.text);
        EXPECT_EQ(incident.function, row.operation);
        EXPECT_EQ(incident.file, "pcSimPort.c");
        EXPECT_EQ(incident.id, 0x550005u);
        EXPECT_EQ(incident.component, &host().port.record);
        EXPECT_TRUE(requests.empty());
    }
}

TEST_F(PortTest, TracesAreCountedAsClassFiveFromLevelSix) {
    host().port.set(5, 0xFF);
    pcSimCardPortConfigIPG(kPort, 12);
    EXPECT_EQ(host().port.counters[5], 0u);
    host().port.set(6, 0x20);
    pcSimCardPortConfigIPG(kPort, 12);
    host().port.set(6, 0xDF);
    pcSimCardPortConfigIPG(kPort, 12);
    EXPECT_EQ(host().port.counters[5], 2u);
    EXPECT_EQ(host().incidents.size(), 1u);
    EXPECT_EQ(host().queries, (Texts{"halPortInstName(00020005)"}))
        << "a silent site asks for no name";
}

TEST_F(PortTest, EachOperationReturnsZeroInSilenceToo) {
    host().port.set(6, 0xDF);
    for (const TraceRow& row : kTraces) {
        SCOPED_TRACE(row.text);
        int32_t result = -99;
        printed([&] { result = row.call(); });
        EXPECT_EQ(result, 0);
    }
    EXPECT_EQ(host().port.counters[5], std::size(kTraces));
    EXPECT_TRUE(host().incidents.empty());
    EXPECT_TRUE(host().queries.empty()) << "no name is asked for in vain";
}

// --- State ---------------------------------------------------------------------------------------

TEST_F(PortTest, PortsAreEnabledAndTheSocketClosedAtLoad) {
    const uint8_t zero[sizeof portInfo] = {};
    EXPECT_EQ(std::memcmp(portInfo, zero, sizeof portInfo), 0);
    EXPECT_EQ(skfd, -1);
}

TEST_F(PortTest, InitClearsPorts1To256OfTheSlot) {
    std::memset(portInfo, 0xFF, sizeof portInfo);
    EXPECT_EQ(pcSimPortInit(0), 0);
    EXPECT_EQ(portInfo[0][0], 0xFF);
    for (int port = 1; port <= 256; ++port) EXPECT_EQ(portInfo[0][port], 0) << port;
    EXPECT_EQ(portInfo[1][0], 0xFF);
    EXPECT_EQ(pcSimPortInit(10), 0);
    EXPECT_EQ(portInfo[10][0], 0xFF);
    EXPECT_EQ(portInfo[10][256], 0);
    EXPECT_EQ(portInfo[9][256], 0xFF);
}

TEST_F(PortTest, InitOfAnUnknownSlotChangesNothing) {
    std::memset(portInfo, 0xFF, sizeof portInfo);
    for (const uint32_t slot : {11u, 12u, 255u, 65536u, 0x7FFFFFFFu, 0xFFFFFFFFu})
        EXPECT_EQ(pcSimPortInit(slot), 0);
    for (const auto& row : portInfo)
        for (const uint8_t state : row) ASSERT_EQ(state, 0xFF);
}

TEST_F(PortTest, DisabledIsBitZeroOfTheStateWhateverTheType) {
    portInfo[2][5] = 0x01;
    EXPECT_EQ(pcSimIsPortDisabled(kPort), 1);
    EXPECT_EQ(pcSimIsPortDisabled(ofType(2, 2, 5)), 1);
    portInfo[2][5] = 0xFE;
    EXPECT_EQ(pcSimIsPortDisabled(kPort), 0);
    portInfo[10][256] = 0xFF;
    EXPECT_EQ(pcSimIsPortDisabled(frontPanel(10, 256)), 1);
}

TEST_F(PortTest, APortOutsideTheTablesIsNotDisabled) {
    std::memset(portInfo, 0xFF, sizeof portInfo);
    for (const uint32_t instance : {frontPanel(11, 1), frontPanel(0, 257), frontPanel(255, 65535)})
        EXPECT_EQ(pcSimIsPortDisabled(instance), 0) << std::hex << instance;
}

TEST_F(PortTest, DisableAndEnableMoveTheBitAndThePhy) {
    phys["eth5"].id = 7;
    portInfo[2][5] = 0x80;
    EXPECT_EQ(pcSimCardPortEnable(kPort, 0), 0);
    EXPECT_EQ(portInfo[2][5], 0x81);
    EXPECT_EQ(requests, (Texts{"eth5 phy", "eth5#7 write 4 = 0001", "eth5#7 write 0 = 1200"}));
    EXPECT_EQ(pcSimIsPortDisabled(kPort), 1);
    requests.clear();
    EXPECT_EQ(pcSimCardPortEnable(kPort, 1), 0);
    EXPECT_EQ(portInfo[2][5], 0x80);
    EXPECT_EQ(requests, (Texts{"eth5 phy", "eth5#7 write 0 = 8000"}));
    EXPECT_EQ(host().incidentTexts(),
              (Texts{"Disabling port 2:5.", "Enabling port 2:5.", "Restarting port 2:5."}));
}

TEST_F(PortTest, EnableSucceedsWithoutAPhy) {
    EXPECT_EQ(pcSimCardPortEnable(kPort, 0), 0);
    EXPECT_EQ(portInfo[2][5], 1);
    EXPECT_EQ(pcSimCardPortEnable(kPort, 1), 0);
    EXPECT_EQ(portInfo[2][5], 0);
}

TEST_F(PortTest, EnableOfOtherPortTypesTouchesNothing) {
    for (uint32_t type = 1; type < 256; ++type)
        EXPECT_EQ(pcSimCardPortEnable(ofType(type, 2, 5), 0), 0) << type;
    EXPECT_EQ(portInfo[2][5], 0);
    EXPECT_TRUE(requests.empty());
    EXPECT_EQ(host().incidents.size(), 255u);
}

TEST_F(PortTest, EnableOutsideTheTablesFailsWithoutAPhyAction) {
    std::memset(portInfo, 0x55, sizeof portInfo);
    for (const uint32_t instance : {frontPanel(11, 1), frontPanel(255, 1), frontPanel(0, 257),
                                    frontPanel(10, 257), frontPanel(255, 65535)}) {
        EXPECT_EQ(pcSimCardPortEnable(instance, 0), -1) << std::hex << instance;
        EXPECT_EQ(pcSimCardPortEnable(instance, 1), -1) << std::hex << instance;
    }
    for (const auto& row : portInfo)
        for (const uint8_t state : row) ASSERT_EQ(state, 0x55);
    EXPECT_TRUE(requests.empty());
    EXPECT_EQ(host().incidents.size(), 10u);
    EXPECT_EQ(pcSimCardPortEnable(frontPanel(10, 256), 0), 0);
    EXPECT_EQ(portInfo[10][256], 0x55);
}

// --- Prints --------------------------------------------------------------------------------------

struct AutoNegRow {
    HalPortAutoNeg config;
    const char* text;
};

const AutoNegRow kAutoNeg[] = {
    // On: duplex and speed only when given.
    {{.on = 1}, ""},
    {{.on = 1, .speed = 2, .fullDuplex = 1}, ""},
    {{.on = 1, .duplexGiven = 1}, "duplex half "},
    {{.on = 1, .fullDuplex = 9, .duplexGiven = 7}, "duplex full "},
    {{.on = 1, .speed = 1, .speedGiven = 1}, "speed 10 Mbps"},
    {{.on = 1, .speed = 2, .speedGiven = 1}, "speed 100 Mbps"},
    {{.on = 1, .speed = 3, .speedGiven = 1}, "speed 1000 Mbps"},
    {{.on = 1, .speed = 4, .speedGiven = 5}, "speed 10000 Mbps"},
    {{.on = 1, .speed = 0, .speedGiven = 1}, "speed No speed configured"},
    {{.on = 1, .speed = 5, .speedGiven = 1}, "speed No speed configured"},
    {{.on = 8, .speed = 2, .fullDuplex = 1, .speedGiven = 1, .duplexGiven = 1},
     "duplex full speed 100 Mbps"},
    // Off: both, given or not.
    {{.speed = 1}, "duplex half, speed 10 Mbps"},
    {{.speed = 2, .fullDuplex = 1}, "duplex full, speed 100 Mbps"},
    {{.speed = 3, .fullDuplex = 2, .speedGiven = 1, .duplexGiven = 1},
     "duplex full, speed 1000 Mbps"},
    {{.speed = 4}, "duplex half, speed 10000 Mbps"},
    {{.speed = 9}, "duplex half, speed Invalid speed"},
    {{.word0 = 1, .speed = 0}, "duplex half, speed Invalid speed"},
};

TEST_F(PortTest, AutoNegotiationIsPrintedWithoutALineEnd) {
    for (const AutoNegRow& row : kAutoNeg) {
        int32_t result = -99;
        EXPECT_EQ(printed([&] { result = pcSimCardPortConfigAutoNeg(kPort, &row.config); }),
                  row.text);
        EXPECT_EQ(result, 0);
    }
    EXPECT_TRUE(requests.empty());
}

TEST_F(PortTest, RouterAddressIsPrintedWithoutSeparators) {
    const uint8_t mac[6] = {0x00, 0x04, 0x96, 0x0A, 0xFF, 0x10};
    int32_t result = -99;
    EXPECT_EQ(printed([&] { result = pcSimCardPortSetRouterAddress(kPort, mac); }),
              "Setting port 2:5 with router address 0496aff10");
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(host().incidents.empty());
}

// --- Link changes --------------------------------------------------------------------------------

TEST_F(PortTest, LinkChangeIsSilentForOtherStatesAndTypes) {
    for (const uint32_t state : {2u, 3u, 0xFFFFFFFFu})
        EXPECT_EQ(pcSimCardPortLinkChange(kPort, state), 0);
    for (uint32_t type = 1; type < 256; ++type)
        for (const uint32_t state : {0u, 1u})
            EXPECT_EQ(pcSimCardPortLinkChange(ofType(type, 1, 1), state), 0);
    EXPECT_TRUE(host().incidents.empty());
}

// --- Forwarding state ----------------------------------------------------------------------------

std::vector<std::vector<uint32_t>> completions;

int32_t firstCallback(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    completions.push_back({1, a, b, c, d});
    return 77;
}
int32_t secondCallback(uint32_t a, uint32_t b, uint32_t c, uint32_t d) {
    completions.push_back({2, a, b, c, d});
    return 88;
}

TEST_F(PortTest, ForwardingStateSchedulesItsCompletion) {
    EXPECT_EQ(pcSimCardPortSetForwardingState(kPort, 1, 0, 0, 0, firstCallback, 11, 22), 1);
    ASSERT_EQ(host().tasks.size(), 1u);
    const Task& task = host().tasks[0];
    EXPECT_EQ(task.function, pcSimSetVpstCallback);
    EXPECT_EQ(task.argument1, 11u);
    EXPECT_EQ(task.argument2, 22u);
    EXPECT_EQ(task.delay, 50u);
    EXPECT_EQ(task.name, "pcSimSetVpstCallback");
    EXPECT_EQ(task.function(task.argument1, task.argument2), 77);
    EXPECT_EQ(completions, (std::vector<std::vector<uint32_t>>{{1, 11, 22, 0, 0}}));
}

TEST_F(PortTest, ForwardingStateWithoutACallbackSchedulesNothing) {
    EXPECT_EQ(pcSimCardPortSetForwardingState(kPort, 1, 0, 0, 0, nullptr, 11, 22), 0);
    EXPECT_TRUE(host().tasks.empty());
    EXPECT_EQ(pcSimSetVpstCallback(11, 22), 0);
}

TEST_F(PortTest, TheFirstForwardingCallbackStaysForEver) {
    const auto set = [](HalCompletionFn* callback) {
        return pcSimCardPortSetForwardingState(kPort, 1, 0, 0, 0, callback, 3, 4);
    };
    EXPECT_EQ(set(firstCallback), 1);
    int32_t result = -99;
    EXPECT_EQ(printed([&] { result = set(secondCallback); }),
              "pcSimCardPortSetForwardingState - Not support different callback for setvpst\n");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(printed([&] { set(firstCallback); }), "");
    EXPECT_EQ(set(nullptr), 0);
    ASSERT_EQ(host().tasks.size(), 3u);
    for (const Task& task : host().tasks)
        EXPECT_EQ(task.function(task.argument1, task.argument2), 77);
    EXPECT_EQ(completions, (std::vector<std::vector<uint32_t>>{
                               {1, 3, 4, 0, 0}, {1, 3, 4, 0, 0}, {1, 3, 4, 0, 0}}));
}

TEST_F(PortTest, ForwardingStateIsAlwaysThree) {
    uint32_t state = 0;
    EXPECT_EQ(pcSimCardPortGetForwardingState(kPort, 1, &state), 0);
    EXPECT_EQ(state, 3u);
}

// --- Answers that never change -------------------------------------------------------------------

TEST_F(PortTest, InterruptStatusIsOne) {
    EXPECT_EQ(pcSimCardPortGetIntStatus(), 1);
}

TEST_F(PortTest, MediaTypeTracesTheOldValuesAndStoresTheNew) {
    for (const uint32_t type : {0u, 2u, 6u, 255u}) {
        HalPortMediaType media{.primary = 17, .redundant = 0xFFFFFFFF};
        host().incidents.clear();
        EXPECT_EQ(pcSimCardPortGetMediaType(ofType(type, 2, 5), &media), 0);
        EXPECT_EQ(media.primary, 4u);
        EXPECT_EQ(media.redundant, 0u);
        EXPECT_EQ(host().incidentTexts(),
                  (Texts{"PCSimCardGetMediaType: Primary Media type = 17",
                         "PCSimCardGetMediaType: Redundant Media type = -1"}));
        EXPECT_EQ(host().incidents[0].function, "pcSimCardPortGetMediaType");
    }
}

TEST_F(PortTest, LogicalPortsHaveNoMediaType) {
    for (const uint32_t type : {1u, 3u, 4u, 5u}) {
        HalPortMediaType media{.primary = 17, .redundant = 18};
        EXPECT_EQ(pcSimCardPortGetMediaType(ofType(type, 2, 5), &media), -1);
        EXPECT_EQ(media.primary, 17u);
        EXPECT_EQ(media.redundant, 18u);
    }
    EXPECT_TRUE(host().incidents.empty());
}

TEST_F(PortTest, StubsReturnZeroWhateverTheArguments) {
    expectStubs({PCSIM_PORT_STUBS(PCSIM_STUB_ROW)}, 16);
    EXPECT_TRUE(requests.empty());
}

}  // namespace
