// Entry, interface count and own slot.
#include "platform/system/pcSimSystem.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>

#include "pcsim/system.h"
#include "platform/base/ownSlot.h"
#include "platform/port/hostInterfaces.h"
#include "platform/port/pcSimPort.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"

namespace {

using namespace pcsim::test;
using Lines = std::vector<std::string>;

// Makes the PC have these interfaces, and notes the ones asked for.
struct Interfaces {
    explicit Interfaces(std::set<std::string> present) {
        libc().ioctl = [this, present](int, unsigned long request, void* argument) {
            EXPECT_EQ(request, 0x8927ul);
            const char* name = static_cast<const ifreq*>(argument)->ifr_name;
            EXPECT_LT(strnlen(name, IFNAMSIZ), static_cast<size_t>(IFNAMSIZ));
            asked.push_back(name);
            return present.count(name) != 0 ? 0 : -1;
        };
    }
    Lines asked;
};

std::set<std::string> upTo(uint32_t last) {
    std::set<std::string> names;
    for (uint32_t n = 0; n <= last; ++n) names.insert("eth" + std::to_string(n));
    return names;
}

TEST(InterfaceCount, StartsAtEth1AndEndsAtTheFirstGap) {
    struct Row {
        std::set<std::string> present;
        uint32_t count;
        Lines asked;
    };
    const Row rows[] = {
        {{"eth0", "eth1", "eth2"}, 2, {"eth1", "eth2", "eth3"}},
        {{"eth0"}, 0, {"eth1"}},
        {{}, 0, {"eth1"}},
        {{"eth1", "eth3"}, 1, {"eth1", "eth2"}},
        {{"eth1"}, 1, {"eth1", "eth2"}},
        {{"eth2", "eth3"}, 0, {"eth1"}},
    };
    for (const Row& row : rows) {
        Interfaces interfaces(row.present);
        EXPECT_EQ(pcSimGetSystemNumberPorts(), row.count);
        EXPECT_EQ(interfaces.asked, row.asked);
    }
    // A socket of its own each time, and none is left open.
    EXPECT_EQ(libc().socketsOpened, 6u);
    EXPECT_EQ(libc().descriptorsClosed, 6u);
    EXPECT_EQ(skfd, -1);
}

TEST(InterfaceCount, EndsAtAHundred) {
    for (const uint32_t last : {99u, 100u, 101u, 120u}) {
        Interfaces interfaces(upTo(last));
        EXPECT_EQ(pcSimGetSystemNumberPorts(), std::min(last, 100u));
        EXPECT_EQ(interfaces.asked.size(), 100u);
        EXPECT_EQ(interfaces.asked.back(), "eth100");
    }
}

TEST(InterfaceCount, WithoutASocketIsZeroAndTraced) {
    host().attachComponents();
    Interfaces interfaces(upTo(4));
    libc().failSocket = true;
    EXPECT_EQ(pcSimGetSystemNumberPorts(), 0u);
    EXPECT_TRUE(interfaces.asked.empty());
    EXPECT_EQ(libc().descriptorsClosed, 0u);
    ASSERT_EQ(host().incidents.size(), 1u);
    const Incident& incident = host().incidents[0];
    EXPECT_EQ(incident.text, "Unable to create a socket");
    EXPECT_EQ(incident.file, "pcSimSystem.c");
    EXPECT_EQ(incident.function, "pcSimGetSystemNumberPorts");
    EXPECT_EQ(incident.component, &host().sys.record);
    EXPECT_EQ(incident.id, 0x520001u);
    EXPECT_EQ(host().sys.counters[1], 1u);
}

TEST(OwnSlot, IsOneUntilTheShapeIsKnown) {
    EXPECT_EQ(pcSimGetMySlotNum(), 1);
}

// Initialises the shape on a PC with 'ports' interfaces.
void boot(int32_t platformType, uint32_t ports, HalSystemOps* table) {
    Interfaces interfaces(upTo(ports));
    host().platformType = platformType;
    EXPECT_EQ(platformSystemInit(table), 0);
    libc().ioctl = nullptr;
}

TEST(OwnSlot, FollowsTheShapeUnlessTheEnvironmentNamesOne) {
    struct Row {
        const char* value;
        int32_t slot;
    };
    const Row rows[] = {{"3", 3},   {"abc", 0},  {"", 0}, {"-4", -4},
                        {"7up", 7}, {" 12", 12}, {"0", 0}};
    HalSystemOps table;
    for (const bool chassis : {false, true, false}) {
        unsetenv("VORN_SLOT_ID");
        boot(chassis ? 2 : 1, 2, &table);
        EXPECT_EQ(pcSimGetMySlotNum(), chassis ? 9 : 1);
        for (const Row& row : rows) {
            setenv("VORN_SLOT_ID", row.value, 1);
            EXPECT_EQ(pcSimGetMySlotNum(), row.slot) << row.value;
        }
    }
}

TEST(Entry, TakesTwoForAChassisAndAnythingElseForAStackable) {
    for (const int32_t type : {0, 1, 2, 3, -2}) {
        HalSystemOps table;
        boot(type, 3, &table);
        EXPECT_EQ(host().calls[0], "dmGetPlatformType()");
        EXPECT_EQ(table.chassisGetInfo,
                  type == 2 ? pcSimChassisChassisGetInfo : pcSimStackChassisGetInfo);
        EXPECT_EQ(pcSimSystemNumPorts, 3u);
        host().calls.clear();
    }
}

TEST(Entry, StartsThePollAndTheDevicesAndNothingElse) {
    setenv("VORN_SLOT_ID", "5", 1);
    HalSystemOps table;
    boot(2, 4, &table);
    EXPECT_EQ(host().calls,
              (Lines{"dmGetPlatformType()", "halStartTimer(pcSimMgmtLinkPoll, 5, 0, 1000, 0)",
                     "halStartTimer(internal, 0, 0, 5000, 0)", "halRegisterDevice(record)"}));
    EXPECT_EQ(host().timers.size(), 2u);
}

TEST(Entry, GoesOnWithoutInterfacesOrASocket) {
    libc().failSocket = true;
    HalSystemOps table;
    EXPECT_EQ(platformSystemInit(&table), 0);
    EXPECT_EQ(pcSimSystemNumPorts, 0u);
    EXPECT_EQ(host().timers.size(), 2u);
    EXPECT_NE(table.chassisGetInfo, nullptr);
}

TEST(Entry, LeavesThePresenceMasksAlone) {
    HalSystemOps table;
    boot(1, 1, &table);
    uint32_t mask = 0x2A;
    for (const int32_t request : {0, 1, 2}) EXPECT_EQ(table.moduleIoctl(0, request, &mask), 0);
    boot(2, 1, &table);
    for (const char* name :
         {"pcSimCardPresentMask", "pcSimFanPresentMask", "pcSimPowerSupplyPresentMask"})
        EXPECT_EQ(*static_cast<uint32_t*>(dlsym(RTLD_DEFAULT, name)), 0x2Au) << name;
}

// A PC with eth0 to eth2 whose PHYs answer; the link comes and goes with every other register read.
int answerWithLinkGoingUpAndDown(int, unsigned long request, void* argument) {
    auto* interface = static_cast<ifreq*>(argument);
    if (request == 0x8927) return upTo(2).count(interface->ifr_name) != 0 ? 0 : -1;
    uint16_t mii[4];
    std::memcpy(mii, &interface->ifr_ifru, sizeof mii);
    static bool linkUp = false;
    if (request == 0x8948 && mii[1] == 1) linkUp = !linkUp;
    if (request == 0x8948) mii[3] = mii[1] == 1 ? (linkUp ? 0x782D : 0x7809) : 0x45E1;
    std::memcpy(&interface->ifr_ifru, mii, sizeof mii);
    return 0;
}

TEST(Entry, AThousandInitialisationsAndPollsLeakNothing) {
    libc().ioctl = answerWithLinkGoingUpAndDown;
    HalSystemOps table;
    EXPECT_EQ(platformSystemInit(&table), 0);
    for (const Timer& timer : host().timers) timer.callback(timer.argument);
    const int32_t blocks = libc().blocksInUse;
    const uint32_t open = libc().socketsOpened - libc().descriptorsClosed;
    host().calls.clear();
    for (int i = 0; i < 1000; ++i) {
        host().platformType = 1 + i % 2;
        host().timers.clear();
        ASSERT_EQ(platformSystemInit(&table), 0);
        ASSERT_EQ(host().timers.size(), 2u);
        for (const Timer& timer : host().timers) timer.callback(timer.argument);
    }
    EXPECT_EQ(libc().blocksInUse, blocks);
    EXPECT_EQ(libc().socketsOpened - libc().descriptorsClosed, open);
    EXPECT_EQ(libc().filesOpened, libc().filesClosed);
    // Every poll saw the link change and said so.
    EXPECT_EQ(std::count_if(host().calls.begin(), host().calls.end(),
                            [](const std::string& call) {
                                return call.rfind("halNotifyLinkStateChange(", 0) == 0;
                            }),
              1000);
}

}  // namespace
