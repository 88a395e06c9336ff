// The PHY of a port: restart, shutdown and the link query, request by request.
#include <sys/socket.h>
#include <unistd.h>

#include "platform/port/hostInterfaces.h"
#include "tests/platform/port/port_fixture.h"

namespace {

using namespace pcsim::test;

using Texts = std::vector<std::string>;

constexpr uint32_t kPort = frontPanel(1, 5);
constexpr uint32_t kKept = 0xDEADBEEF;

struct Link {
    int32_t result = -99;
    uint32_t link = kKept;
    uint32_t duplex = kKept;
    uint32_t speed = kKept;
    uint32_t flowControl = kKept;
    uint32_t extra = kKept;
    bool operator==(const Link&) const = default;
};

void PrintTo(const Link& link, std::ostream* out) {
    *out << "result " << link.result << " link " << link.link << " duplex " << link.duplex
         << " speed " << link.speed << " flow " << link.flowControl << " extra " << link.extra;
}

Link query(uint32_t instance) {
    Link link;
    link.result = pcSimCardPortLinkInfo(instance, &link.link, &link.duplex, &link.speed,
                                        &link.flowControl, &link.extra);
    return link;
}

constexpr Link kDown{.result = 0, .link = 0, .duplex = 0, .speed = 0, .flowControl = 0, .extra = 0};

// --- Restart and shutdown ------------------------------------------------------------------------

TEST_F(PortTest, RestartResetsThePhyAtTheAddressItWasGiven) {
    phys["eth5"].id = 31;
    EXPECT_EQ(pcSimCardPortRestart(kPort), 0);
    EXPECT_EQ(requests, (Texts{"eth5 phy", "eth5#31 write 0 = 8000"}));
    EXPECT_EQ(host().incidentTexts(), (Texts{"Restarting port 1:5."}));
    EXPECT_EQ(host().incidents[0].function, "pcSimCardPortRestart");
}

TEST_F(PortTest, ShutdownAdvertisesNothingAndRenegotiates) {
    phys["eth5"].id = 31;
    EXPECT_EQ(pcSimCardPortShutDown(kPort), 0);
    EXPECT_EQ(requests, (Texts{"eth5 phy", "eth5#31 write 4 = 0001", "eth5#31 write 0 = 1200"}));
    EXPECT_TRUE(host().incidents.empty());
}

TEST_F(PortTest, RestartStopsAtTheRequestThatFails) {
    phys["eth5"];
    for (int failing = 1; failing <= 2; ++failing) {
        requests.clear();
        failRequest = failing;
        EXPECT_EQ(pcSimCardPortRestart(kPort), -1);
        EXPECT_EQ(requests.size(), static_cast<size_t>(failing));
    }
}

TEST_F(PortTest, ShutdownStopsAtTheRequestThatFails) {
    for (int failing = 1; failing <= 3; ++failing) {
        phys["eth5"].registers = {{0, 0x3100}, {4, 0x01E1}};
        requests.clear();
        failRequest = failing;
        EXPECT_EQ(pcSimCardPortShutDown(kPort), -1);
        EXPECT_EQ(requests.size(), static_cast<size_t>(failing));
        EXPECT_EQ(phys["eth5"].registers[0], 0x3100) << "not renegotiated";
        EXPECT_EQ(phys["eth5"].registers[4], failing < 3 ? 0x01E1 : 0x0001);
    }
}

TEST_F(PortTest, TheHostMapsPortsToInterfaces) {
    host().hwPortMapping = [](uint32_t slot, uint32_t port) { return slot * 10 + port; };
    phys["eth37"];
    EXPECT_EQ(pcSimCardPortRestart(frontPanel(3, 7)), 0);
    EXPECT_EQ(pcSimCardPortShutDown(frontPanel(3, 7)), 0);
    host().hwPortMapping = [](uint32_t, uint32_t) { return 0xFFFFFFFFu; };
    requests.clear();
    EXPECT_EQ(pcSimCardPortRestart(kPort), -1);
    host().hwPortMapping = [](uint32_t, uint32_t) { return 0x80000000u; };
    EXPECT_EQ(pcSimCardPortRestart(kPort), -1);
    EXPECT_EQ(requests, (Texts{"eth-1 phy", "eth-2147483648 phy"}));
}

// --- The socket ----------------------------------------------------------------------------------

TEST_F(PortTest, OneSocketServesAllRequestsAndStaysOpen) {
    linkUp("eth5");
    linkUp("eth0");
    pcSimCardPortShutDown(kPort);
    const int32_t opened = skfd;
    EXPECT_GE(opened, 0);
    pcSimCardPortRestart(kPort);
    query(kPort);
    query(ofType(2, 1, 1));
    PortStatsRecord record{};
    pcSimCardPortGetStats(kPort, &record);
    EXPECT_EQ(skfd, opened);
    EXPECT_EQ(libc().socketsOpened, 1u);
    EXPECT_EQ(libc().descriptorsClosed, 0u);
    EXPECT_EQ(libc().socketArguments[0], AF_INET);
    EXPECT_EQ(libc().socketArguments[1], SOCK_DGRAM);
    EXPECT_EQ(libc().socketArguments[2], 0);
}

TEST_F(PortTest, ASocketMayHaveDescriptorZero) {
    close(0);  // a host without standard input
    linkUp("eth5");
    EXPECT_EQ(query(kPort).link, 1u);
    EXPECT_EQ(skfd, 0);
    EXPECT_EQ(pcSimCardPortRestart(kPort), 0);
    EXPECT_EQ(libc().socketsOpened, 1u);
}

TEST_F(PortTest, ASocketOfTheHostIsUsedAsItIs) {
    skfd = 12345;
    linkUp("eth5");
    EXPECT_EQ(query(kPort).link, 1u);
    EXPECT_EQ(libc().socketsOpened, 0u);
}

TEST_F(PortTest, WithoutASocketRestartAndLinkQuerySaySoAndShutdownDoesNot) {
    libc().failSocket = true;
    int32_t result = -99;
    EXPECT_EQ(printed([&] { result = pcSimCardPortRestart(kPort); }),
              "pcSimCardPortRestart ioctl failed");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(printed([&] { result = pcSimCardPortShutDown(kPort); }), "");
    EXPECT_EQ(result, -1);
    Link link;
    EXPECT_EQ(printed([&] { link = query(kPort); }), "pcSimCardPortLinkInfo ioctl failed");
    EXPECT_EQ(link, (Link{.result = -1, .link = 0}));
    EXPECT_LT(skfd, 0);
    EXPECT_TRUE(requests.empty());

    libc().failSocket = false;
    linkUp("eth5");
    EXPECT_EQ(pcSimCardPortRestart(kPort), 0) << "each call tries again";
}

// --- The link query ------------------------------------------------------------------------------

struct AbilityRow {
    uint16_t advertised;
    uint16_t partner;
    uint32_t duplex;
    uint32_t speed;
    uint32_t flowControl;
};

const AbilityRow kAbilities[] = {
    // Each ability alone, and each against those below it.
    {0x0100, 0x0100, 1, 2, 0},
    {0x0080, 0x0080, 0, 2, 0},
    {0x0040, 0x0040, 1, 1, 0},
    {0x0020, 0x0020, 0, 1, 0},
    {0x01E1, 0x01E1, 1, 2, 0},
    {0x00E1, 0x01E1, 0, 2, 0},
    {0x01E1, 0x0061, 1, 1, 0},
    {0x0021, 0x01E1, 0, 1, 0},
    // Only what both have counts.
    {0x0180, 0x00A0, 0, 2, 0},
    {0x0140, 0x0060, 1, 1, 0},
    // Pause needs both ends and full duplex.
    {0x0500, 0x0500, 1, 2, 3},
    {0x05E1, 0x05E1, 1, 2, 3},
    {0x0440, 0x0440, 1, 1, 3},
    {0x0500, 0x0100, 1, 2, 0},
    {0x0100, 0x0500, 1, 2, 0},
    {0x0480, 0x0480, 0, 2, 0},
    {0x0420, 0x0420, 0, 1, 0},
    // Neighbouring bits mean nothing.
    {0xFB1F | 0x0020, 0xFB1F | 0x0020, 1, 2, 0},
};

TEST_F(PortTest, TheBestCommonAbilityIsInForce) {
    for (const AbilityRow& row : kAbilities) {
        SCOPED_TRACE(testing::Message() << std::hex << row.advertised << " & " << row.partner);
        phys["eth5"] = {.id = 9,
                        .registers = {{1, 0x7809 | 0x0004}, {4, row.advertised}, {5, row.partner}}};
        requests.clear();
        EXPECT_EQ(query(kPort), (Link{.result = 0,
                                      .link = 1,
                                      .duplex = row.duplex,
                                      .speed = row.speed,
                                      .flowControl = row.flowControl,
                                      .extra = 0}));
        EXPECT_EQ(requests, (Texts{"eth5 phy", "eth5#9 read 1", "eth5#9 read 4", "eth5#9 read 5"}));
    }
}

TEST_F(PortTest, AbilitiesOfGigabitAloneCannotBeNegotiated) {
    for (const auto& [instance, text] :
         {std::pair{kPort, "Capabilities cannot be negotiated on port 5\n"},
          std::pair{ofType(2, 1, 0), "Capabilities cannot be negotiated on port 0\n"}}) {
        linkUp("eth5", 0xFE1F);
        linkUp("eth0", 0x0400);
        Link link;
        EXPECT_EQ(printed([&, port = instance] { link = query(port); }), text);
        EXPECT_EQ(link, (Link{.result = -1, .link = 1, .extra = 0}));
    }
}

TEST_F(PortTest, NoLinkIsDownWithTheOtherOutputsZero) {
    phys["eth5"].registers = {{1, static_cast<uint16_t>(~0x0004)}, {4, 0x05E1}, {5, 0x05E1}};
    EXPECT_EQ(query(kPort), kDown);
    EXPECT_EQ(requests, (Texts{"eth5 phy", "eth5#0 read 1"}));
}

TEST_F(PortTest, ADisabledPortIsDownWithoutALookAtItsPhy) {
    linkUp("eth5");
    portInfo[1][5] = 1;
    EXPECT_EQ(query(kPort), (Link{.result = 0, .link = 0, .extra = 0}));
    EXPECT_TRUE(requests.empty());
    EXPECT_EQ(host().queries, (Texts{"halGetHwPortMapping(1, 5)"}));
    portInfo[1][5] = 0xFE;
    EXPECT_EQ(query(kPort).link, 1u);
}

TEST_F(PortTest, ADisabledPortNumberDoesNotStopTheManagementPort) {
    linkUp("eth0");
    portInfo[1][1] = 1;
    EXPECT_EQ(query(ofType(2, 1, 1)).link, 1u);
}

TEST_F(PortTest, TheLastInterfaceIsQueriedAndTheNextIsAbsent) {
    pcSimSystemNumPorts = 5;
    linkUp("eth5");
    linkUp("eth6");
    linkUp("eth-1");
    EXPECT_EQ(query(frontPanel(1, 5)).link, 1u);
    requests.clear();
    EXPECT_EQ(query(frontPanel(1, 6)), kDown);
    host().hwPortMapping = [](uint32_t, uint32_t) { return 0xFFFFFFFFu; };
    EXPECT_EQ(query(frontPanel(1, 1)), kDown) << "numbers are compared unsigned";
    EXPECT_TRUE(requests.empty());
}

TEST_F(PortTest, TheManagementPortIsEth0) {
    pcSimSystemNumPorts = 0;
    linkUp("eth0", 0x0500);
    for (const uint32_t instance : {ofType(2, 1, 1), ofType(2, 9, 0), ofType(2, 255, 65535)}) {
        requests.clear();
        EXPECT_EQ(
            query(instance),
            (Link{.result = 0, .link = 1, .duplex = 1, .speed = 2, .flowControl = 3, .extra = 0}));
        EXPECT_EQ(requests[0], "eth0 phy");
    }
    EXPECT_TRUE(host().queries.empty()) << "the mapping is for front-panel ports";
}

TEST_F(PortTest, OtherPortTypesHaveNoLink) {
    for (uint32_t type = 0; type < 256; ++type) {
        if (type == 0 || type == 2) continue;
        EXPECT_EQ(query(ofType(type, 1, 5)), (Link{.result = -1, .link = 0, .extra = 0})) << type;
    }
    EXPECT_TRUE(requests.empty());
}

TEST_F(PortTest, AFailingRequestLeavesWhatIsNotKnownYet) {
    for (int failing = 1; failing <= 4; ++failing) {
        linkUp("eth5");
        requests.clear();
        failRequest = failing;
        EXPECT_EQ(query(kPort), (Link{.result = -1, .link = failing > 2 ? 1u : 0u, .extra = 0}));
        EXPECT_EQ(requests.size(), static_cast<size_t>(failing));
    }
}

// --- Hostile instances ---------------------------------------------------------------------------

TEST_F(PortTest, NoInstanceReachesOutsideTheTables) {
    host().hwPortMapping = [](uint32_t, uint32_t) { return 1u; };
    linkUp("eth0");
    linkUp("eth1");
    counterTable(tableWith("eth1", std::vector<uint64_t>(16, 5)));
    const uint8_t mac[6] = {};
    const HalPortAutoNeg config{};
    printed([&] {
        for (uint32_t type : {0u, 1u, 2u, 3u, 5u, 6u, 255u})
            for (uint32_t slot : {0u, 10u, 11u, 127u, 128u, 255u})
                for (uint32_t port : {0u, 1u, 256u, 257u, 32768u, 65535u}) {
                    const uint32_t instance = ofType(type, slot, port);
                    uint32_t state;
                    HalPortMediaType media{};
                    PortStatsRecord record{};
                    pcSimIsPortDisabled(instance);
                    pcSimCardPortEnable(instance, 0);
                    pcSimCardPortEnable(instance, 1);
                    pcSimCardPortEnableJumbo(instance, 1, 1);
                    pcSimCardPortConfigAutoNeg(instance, &config);
                    pcSimCardPortRestart(instance);
                    pcSimCardPortShutDown(instance);
                    pcSimCardPortSetRouterAddress(instance, mac);
                    pcSimCardPortLinkChange(instance, 1);
                    pcSimCardPortEnableRcv(instance, 1);
                    pcSimCardPortSetLinkLED(instance, 1);
                    pcSimCardPortSetForwardingState(instance, 1, 2, 3, 4, nullptr, 5, 6);
                    pcSimCardPortGetForwardingState(instance, 1, &state);
                    pcSimCardPortSyncSetMirroredState(instance);
                    pcSimCardPortSyncSetForwardingState(instance);
                    pcSimCardPortConfigVlanStat(instance, 1);
                    pcSimCardPortConfigIPG(instance, 1);
                    pcSimCardPortGetMediaType(instance, &media);
                    linkUp("eth1");
                    query(instance);
                    pcSimCardPortGetStats(instance, &record);
                    pcSimCardPortGetStatsReadClear(instance, &record);
                    pcSimCardPortZeroStats(instance);
                    pcSimPortInit(slot);
                }
    });
    for (const auto& row : portInfo)
        for (const uint8_t state : row) ASSERT_EQ(state, 0);
    EXPECT_LE(openTables(), 1);
}

}  // namespace
