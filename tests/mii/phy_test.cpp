// The emulated PHY against a scripted kernel: which answers of a driver it replaces, every
// register, and what writing does to the interface.
#include <gtest/gtest.h>
#include <linux/ethtool.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "mii/mii.h"

namespace {

using pcsim::mii::answer;

// A kernel with a few interfaces. Its calls may come from several threads.
struct Kernel {
    struct Card {
        int index;
        std::atomic<bool> up = true;
        bool partnerUp = true;
        bool running = true;        // what the flag says, when ethtool isn't there to say better
        int miiError = EOPNOTSUPP;  // 0: the driver has real MII
    };
    std::map<std::string, Card> cards;
    bool socket = true;
    bool ethtool = true;
    int flagsError = 0;  // of changing flags
    bool goes = false;   // an interface vanishes once its index is known
    std::atomic<uint32_t> calls = 0;
    std::atomic<uint32_t> flagChanges = 0;
    uint16_t realRegister = 0x1234;
};

Kernel* kernel;

int failing(int error) {
    errno = error;
    return -1;
}

int miiOfDriver(Kernel::Card& card, unsigned long request, ifreq* ifr) {
    if (card.miiError != 0) return failing(card.miiError);
    auto* const data = reinterpret_cast<mii_ioctl_data*>(&ifr->ifr_data);
    if (request == SIOCGMIIPHY) data->phy_id = 7;
    if (request == SIOCGMIIREG) data->val_out = kernel->realRegister;
    if (request == SIOCSMIIREG) kernel->realRegister = data->val_in;
    return 0;
}

int kernelIoctl(int, unsigned long request, void* argument) {
    ++kernel->calls;
    if (!kernel->socket) return failing(ENOTTY);
    auto* const ifr = static_cast<ifreq*>(argument);
    if (request == SIOCGIFNAME) return 0;
    const auto found = kernel->cards.find(ifr->ifr_name);
    if (found == kernel->cards.end()) return failing(ENODEV);
    Kernel::Card& card = found->second;
    switch (request) {
        case SIOCGMIIPHY:
        case SIOCGMIIREG:
        case SIOCSMIIREG:
            return miiOfDriver(card, request, ifr);
        case SIOCGIFINDEX:
            ifr->ifr_ifindex = card.index;
            return 0;
        case SIOCGIFFLAGS:
            if (kernel->goes) return failing(ENODEV);
            ifr->ifr_flags = static_cast<short>(IFF_MULTICAST | (card.up ? IFF_UP : 0) |
                                                (card.running ? IFF_RUNNING : 0));
            return 0;
        case SIOCSIFFLAGS:
            if (kernel->flagsError != 0) return failing(kernel->flagsError);
            EXPECT_NE(0, ifr->ifr_flags & IFF_MULTICAST) << "other flags are kept";
            card.up = (ifr->ifr_flags & IFF_UP) != 0;
            ++kernel->flagChanges;
            return 0;
        case SIOCETHTOOL: {
            if (!kernel->ethtool) return failing(EOPNOTSUPP);
            auto* const link = reinterpret_cast<ethtool_value*>(ifr->ifr_data);
            EXPECT_EQ(uint32_t{ETHTOOL_GLINK}, link->cmd);
            link->data = card.up && card.partnerUp ? 1 : 0;
            return 0;
        }
        default:
            return failing(ENOTTY);
    }
}

struct Asked {
    int result;
    int error;
    mii_ioctl_data data;
};

Asked ask(unsigned long request, const char* name, mii_ioctl_data in = {}) {
    ifreq ifr{};
    strncpy(ifr.ifr_name, name, IFNAMSIZ - 1);
    memcpy(&ifr.ifr_data, &in, sizeof(in));
    Asked asked{};
    errno = 0;
    asked.result = answer(kernelIoctl, 3, request, &ifr);
    asked.error = errno;
    memcpy(&asked.data, &ifr.ifr_data, sizeof(in));
    return asked;
}

uint16_t get(const char* name, uint16_t number, uint16_t phy = 1) {
    const Asked asked = ask(SIOCGMIIREG, name, {.phy_id = phy, .reg_num = number});
    EXPECT_EQ(0, asked.result);
    EXPECT_EQ(0, asked.error);
    return asked.data.val_out;
}

int set(const char* name, uint16_t number, uint16_t value, uint16_t phy = 1) {
    return ask(SIOCSMIIREG, name, {.phy_id = phy, .reg_num = number, .val_in = value}).result;
}

class PhyTest : public testing::Test {
protected:
    PhyTest() {
        kernel = &kernel_;
        kernel_.cards["eth0"].index = 2;
        kernel_.cards["eth1"].index = 3;
    }
    Kernel::Card& eth1() { return kernel_.cards["eth1"]; }

    Kernel kernel_;
};

TEST_F(PhyTest, PhyOfACardWithoutMiiIsAtAddressOne) {
    const Asked asked = ask(SIOCGMIIPHY, "eth1", {.phy_id = 0});
    EXPECT_EQ(0, asked.result);
    EXPECT_EQ(0, asked.error) << "the driver's refusal leaves no trace";
    EXPECT_EQ(1, asked.data.phy_id);
    EXPECT_EQ(0x3100, asked.data.val_out) << "the register asked for is read along";
}

struct Row {
    uint16_t number;
    uint16_t withLink;
    uint16_t withoutLink;
};

class RegisterTest : public PhyTest, public testing::WithParamInterface<Row> {};

TEST_P(RegisterTest, FollowsTheCarrier) {
    const Row& row = GetParam();
    EXPECT_EQ(row.withLink, get("eth1", row.number));
    eth1().partnerUp = false;
    EXPECT_EQ(row.withoutLink, get("eth1", row.number));
    eth1().partnerUp = true;
    EXPECT_EQ(row.withLink, get("eth1", row.number));
    eth1().up = false;
    EXPECT_EQ(row.withoutLink, get("eth1", row.number));
}

INSTANTIATE_TEST_SUITE_P(Registers, RegisterTest,
                         testing::Values(Row{0, 0x3100, 0x3100}, Row{1, 0x786d, 0x7849},
                                         Row{2, 0x5043, 0x5043}, Row{3, 0x5310, 0x5310},
                                         Row{4, 0x05e1, 0x05e1}, Row{5, 0x45e1, 0x0000},
                                         Row{6, 0x0001, 0x0000}, Row{7, 0x2001, 0x2001},
                                         Row{8, 0, 0}, Row{9, 0, 0}, Row{31, 0, 0}),
                         [](const auto& row) { return std::to_string(row.param.number); });

TEST_F(PhyTest, CommonAbilitiesAreHundredFullWithPause) {
    EXPECT_EQ(0x0500, get("eth1", 4) & get("eth1", 5) & 0x0500);
}

TEST_F(PhyTest, LinkIsTheRunningFlagWhereEthtoolIsMissing) {
    kernel_.ethtool = false;
    EXPECT_EQ(0x786d, get("eth1", 1));
    eth1().running = false;
    EXPECT_EQ(0x7849, get("eth1", 1));
    EXPECT_EQ(0, get("eth1", 5));
    eth1().running = true;
    eth1().up = false;
    EXPECT_EQ(0x7849, get("eth1", 1)) << "a card that is down has no link, whatever its flag says";
}

TEST_F(PhyTest, OtherAddressesOfTheBusAreEmpty) {
    for (const uint16_t phy : std::initializer_list<uint16_t>{0, 2, 31}) {
        EXPECT_EQ(0xFFFF, get("eth1", 1, phy));
        EXPECT_EQ(0, set("eth1", 4, 0x0001, phy));
        EXPECT_EQ(0, set("eth1", 0, 0x1200, phy));
    }
    EXPECT_EQ(0x05e1, get("eth1", 4));
    EXPECT_TRUE(eth1().up);
}

TEST_F(PhyTest, RegisterNumbersHaveFiveBits) {
    EXPECT_EQ(0x786d, get("eth1", 0x21));
}

TEST_F(PhyTest, AdvertisingNothingAndRestartingTakesTheCardDown) {
    EXPECT_EQ(0, set("eth1", 4, 0x0001));
    EXPECT_EQ(0x0001, get("eth1", 4));
    EXPECT_EQ(0x786d, get("eth1", 1)) << "nothing changes before negotiation starts again";
    EXPECT_TRUE(eth1().up);
    EXPECT_EQ(0, set("eth1", 0, 0x1200));
    EXPECT_FALSE(eth1().up);
    EXPECT_EQ(0x1000, get("eth1", 0)) << "the restart bit clears itself";
    EXPECT_EQ(0x7849, get("eth1", 1));
    EXPECT_EQ(0x0001, get("eth1", 4));
    EXPECT_EQ(0x0000, get("eth1", 5));
    EXPECT_TRUE(kernel_.cards["eth0"].up) << "and no other card";
    EXPECT_EQ(0x05e1, get("eth0", 4));
}

TEST_F(PhyTest, ResetBringsTheCardBackWithItsDefaults) {
    set("eth1", 4, 0x0001);
    set("eth1", 0, 0x1200);
    EXPECT_EQ(0, set("eth1", 0, 0x8000));
    EXPECT_TRUE(eth1().up);
    EXPECT_EQ(0x3100, get("eth1", 0)) << "the reset bit clears itself";
    EXPECT_EQ(0x786d, get("eth1", 1));
    EXPECT_EQ(0x05e1, get("eth1", 4));
    EXPECT_EQ(0x45e1, get("eth1", 5));
}

TEST_F(PhyTest, ResetWakesACardThatWasDownBefore) {
    eth1().up = false;
    EXPECT_EQ(0, set("eth1", 0, 0x8000));
    EXPECT_TRUE(eth1().up);
}

TEST_F(PhyTest, RestartWithAnAbilityBringsTheCardBack) {
    set("eth1", 4, 0x0001);
    set("eth1", 0, 0x1200);
    EXPECT_EQ(0, set("eth1", 4, 0x0041));
    EXPECT_FALSE(eth1().up);
    EXPECT_EQ(0, set("eth1", 0, 0x1200));
    EXPECT_TRUE(eth1().up);
    EXPECT_EQ(0x0040, get("eth1", 4) & get("eth1", 5) & 0x01e0) << "10 full is all they share";
}

TEST_F(PhyTest, PauseAloneIsNothingToNegotiate) {
    set("eth1", 4, 0x0401);
    set("eth1", 0, 0x1200);
    EXPECT_FALSE(eth1().up);
}

TEST_F(PhyTest, AcknowledgeBitOfTheAdvertisementIsThePhysOwn) {
    set("eth1", 4, 0x45e1);
    EXPECT_EQ(0x05e1, get("eth1", 4));
}

TEST_F(PhyTest, PowerDownSilencesUntilItIsTakenBack) {
    EXPECT_EQ(0, set("eth1", 0, 0x3900));
    EXPECT_FALSE(eth1().up);
    EXPECT_EQ(0x3900, get("eth1", 0));
    EXPECT_EQ(0, set("eth1", 0, 0x3100));
    EXPECT_TRUE(eth1().up);
}

TEST_F(PhyTest, ForcedSpeedHasLinkWithoutAPartnersAbilities) {
    EXPECT_EQ(0, set("eth1", 0, 0x2100));
    EXPECT_TRUE(eth1().up);
    EXPECT_EQ(0x2100, get("eth1", 0));
    EXPECT_EQ(0x784d, get("eth1", 1));
    EXPECT_EQ(0, get("eth1", 5));
    EXPECT_EQ(0, get("eth1", 6));
}

TEST_F(PhyTest, SameControlAgainLeavesTheCardAlone) {
    eth1().up = false;
    EXPECT_EQ(0, set("eth1", 0, 0x3100));
    EXPECT_FALSE(eth1().up);
    EXPECT_EQ(0u, kernel_.flagChanges);
}

TEST_F(PhyTest, OtherRegistersAreReadOnly) {
    for (uint16_t number = 0; number < 32; ++number) {
        if (number == 0 || number == 4) continue;
        const uint16_t before = get("eth1", number);
        EXPECT_EQ(0, set("eth1", number, 0xA5A5));
        EXPECT_EQ(before, get("eth1", number)) << number;
    }
    EXPECT_EQ(0u, kernel_.flagChanges);
}

TEST_F(PhyTest, RealMiiPassesThroughInOneCall) {
    eth1().miiError = 0;
    EXPECT_EQ(7, ask(SIOCGMIIPHY, "eth1").data.phy_id);
    EXPECT_EQ(1u, kernel_.calls);
    EXPECT_EQ(0x1234, get("eth1", 1, 7));
    EXPECT_EQ(0, set("eth1", 0, 0x1200, 7));
    EXPECT_EQ(0x1200, kernel_.realRegister);
    EXPECT_EQ(3u, kernel_.calls);
    EXPECT_TRUE(eth1().up);
}

TEST_F(PhyTest, InterfaceThatVanishesWhileItIsAskedIsNotThere) {
    kernel_.goes = true;
    for (const unsigned long request : {SIOCGMIIPHY, SIOCGMIIREG, SIOCSMIIREG}) {
        ifreq ifr{};
        strcpy(ifr.ifr_name, "eth1");
        errno = 0;
        EXPECT_EQ(-1, answer(kernelIoctl, 3, request, &ifr));
        EXPECT_EQ(ENODEV, errno);
    }
    EXPECT_EQ(0u, kernel_.flagChanges);
}

TEST_F(PhyTest, OtherRequestsPassThroughInOneCall) {
    ifreq ifr{};
    strcpy(ifr.ifr_name, "eth1");
    EXPECT_EQ(0, answer(kernelIoctl, 3, SIOCGIFINDEX, &ifr));
    EXPECT_EQ(3, ifr.ifr_ifindex);
    errno = 0;
    EXPECT_EQ(-1, answer(kernelIoctl, 3, SIOCGIFMTU, &ifr));
    EXPECT_EQ(ENOTTY, errno);
    EXPECT_EQ(2u, kernel_.calls);
}

// Errors that a driver or the kernel may mean.
TEST_F(PhyTest, OtherErrorsStay) {
    for (const int error : {ENODEV, EPERM, EACCES, EIO, EFAULT, EBUSY, ETIMEDOUT, EBADF}) {
        eth1().miiError = error;
        for (const unsigned long request : {SIOCGMIIPHY, SIOCGMIIREG, SIOCSMIIREG}) {
            const Asked asked = ask(request, "eth1", {.phy_id = 1});
            EXPECT_EQ(-1, asked.result);
            EXPECT_EQ(error, asked.error);
        }
    }
}

TEST_F(PhyTest, AbsentCardStaysAnError) {
    const Asked asked = ask(SIOCGMIIPHY, "eth9");
    EXPECT_EQ(-1, asked.result);
    EXPECT_EQ(ENODEV, asked.error);
}

TEST_F(PhyTest, EveryWayToRefuseIsUnderstood) {
    for (const int error : {EOPNOTSUPP, ENOTTY, EINVAL}) {
        eth1().miiError = error;
        EXPECT_EQ(0x786d, get("eth1", 1));
    }
}

TEST_F(PhyTest, InvalidFromACardThatIsDownIsNoRefusal) {
    eth1().miiError = EINVAL;
    eth1().up = false;
    for (const unsigned long request : {SIOCGMIIPHY, SIOCGMIIREG, SIOCSMIIREG}) {
        const Asked asked = ask(request, "eth1", {.phy_id = 1, .val_in = 0x8000});
        EXPECT_EQ(-1, asked.result);
        EXPECT_EQ(EINVAL, asked.error);
    }
    EXPECT_FALSE(eth1().up);
}

TEST_F(PhyTest, InvalidFromACardThatThePhyTookDownIsARefusal) {
    eth1().miiError = EINVAL;
    set("eth1", 4, 0x0001);
    set("eth1", 0, 0x1200);
    EXPECT_FALSE(eth1().up);
    EXPECT_EQ(0x7849, get("eth1", 1));
    EXPECT_EQ(0, set("eth1", 0, 0x8000));
    EXPECT_TRUE(eth1().up);
}

TEST_F(PhyTest, MissingPermissionToTakeTheCardDownIsReported) {
    kernel_.flagsError = EPERM;
    EXPECT_EQ(0, set("eth1", 4, 0x0001));
    const Asked asked = ask(SIOCSMIIREG, "eth1", {.phy_id = 1, .reg_num = 0, .val_in = 0x1200});
    EXPECT_EQ(-1, asked.result);
    EXPECT_EQ(EPERM, asked.error);
    EXPECT_TRUE(eth1().up);
    EXPECT_EQ(0x786d, get("eth1", 1)) << "link is what it really is";
    kernel_.flagsError = 0;
    EXPECT_EQ(0, set("eth1", 0, 0x1200)) << "a second attempt works";
    EXPECT_FALSE(eth1().up);
}

TEST_F(PhyTest, SwitchedOffItLeavesTheDriversWord) {
    setenv("PCSIM_MII", "off", 1);
    for (const unsigned long request : {SIOCGMIIPHY, SIOCGMIIREG, SIOCSMIIREG}) {
        const Asked asked = ask(request, "eth1", {.phy_id = 1, .val_in = 0x1200});
        EXPECT_EQ(-1, asked.result);
        EXPECT_EQ(EOPNOTSUPP, asked.error);
    }
    setenv("PCSIM_MII", "on", 1);
    EXPECT_EQ(0x786d, get("eth1", 1));
}

TEST_F(PhyTest, DescriptorThatIsNoSocketIsLeftAlone) {
    kernel_.socket = false;
    for (const unsigned long request : {SIOCGMIIPHY, SIOCGMIIREG, SIOCSMIIREG}) {
        errno = 0;
        EXPECT_EQ(-1, answer(kernelIoctl, 0, request, nullptr)) << "there is no request to look at";
        EXPECT_EQ(ENOTTY, errno);
    }
}

TEST_F(PhyTest, RenamedCardKeepsItsPhyAndANewOneHasItsOwn) {
    set("eth1", 4, 0x0001);
    kernel_.cards["eth5"].index = 3;
    eth1().index = 4;
    EXPECT_EQ(0x0001, get("eth5", 4));
    EXPECT_EQ(0x05e1, get("eth1", 4));
}

TEST_F(PhyTest, SixHundredCardsRememberEachTheirOwn) {
    std::vector<std::string> names;
    for (int i = 0; i < 600; ++i) {
        names.push_back("eth" + std::to_string(100 + i));
        kernel_.cards[names.back()].index = 1000 + i;
    }
    for (int i = 0; i < 600; ++i) set(names[i].c_str(), 4, static_cast<uint16_t>(0x0200 + i));
    for (int i = 0; i < 600; ++i) EXPECT_EQ(0x0200 + i, get(names[i].c_str(), 4));
}

TEST_F(PhyTest, CardsBeyondTheTableStillWork) {
    for (int round = 0; round < 5000; ++round) {
        eth1().index = 10 + round;
        EXPECT_EQ(0x05e1, get("eth1", 4));
        ASSERT_EQ(0, set("eth1", 4, 0x0001));
        ASSERT_EQ(0, set("eth1", 0, 0x1200));
        ASSERT_EQ(0x0001, get("eth1", 4));
        ASSERT_FALSE(eth1().up);
        ASSERT_EQ(0, set("eth1", 0, 0x8000));
        ASSERT_EQ(0x05e1, get("eth1", 4));
        ASSERT_TRUE(eth1().up);
        ASSERT_EQ(0, set("eth1", 4, 0x0021));
    }
}

TEST_F(PhyTest, ThreadsWorkOnTheirOwnCardsAndOnOneTogether) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 2000;
    for (int t = 0; t < kThreads; ++t) kernel_.cards["eth1" + std::to_string(t)].index = 100 + t;
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &wrong] {
            const std::string own = "eth1" + std::to_string(t);
            for (int round = 0; round < kRounds; ++round) {
                const auto value = static_cast<uint16_t>(0x0021 + 32 * (round % 16));
                set(own.c_str(), 4, value);
                if (get(own.c_str(), 4) != value) ++wrong;
                set("eth1", 4, static_cast<uint16_t>(0x0101 * (t + 1)));
                const uint16_t shared = get("eth1", 4);
                if (shared % 0x0101 != 0 || shared == 0 || shared > 0x0404) ++wrong;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(0, wrong);
}

}  // namespace
