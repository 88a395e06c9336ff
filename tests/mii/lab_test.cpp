// MII emulation on real interfaces that have none: the lab's.
#include <linux/capability.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tests/lab/laboratory.h"

namespace {

class MiiLabTest : public pcsim::test::LabTest {
protected:
    void SetUp() override {
        LabTest::SetUp();
        socket_ = socket(AF_INET, SOCK_DGRAM, 0);
    }
    void TearDown() override { close(socket_); }

    int call(unsigned long request, unsigned n, mii_ioctl_data& data) const {
        ifreq ifr{};
        snprintf(ifr.ifr_name, sizeof(ifr.ifr_name), "eth%u", n);
        memcpy(&ifr.ifr_data, &data, sizeof(data));
        const int result = ioctl(socket_, request, &ifr);
        memcpy(&data, &ifr.ifr_data, sizeof(data));
        return result;
    }

    uint16_t get(unsigned n, uint16_t number) const {
        mii_ioctl_data data{.phy_id = 1, .reg_num = number};
        EXPECT_EQ(0, call(SIOCGMIIREG, n, data)) << strerror(errno);
        return data.val_out;
    }

    void set(unsigned n, uint16_t number, uint16_t value) const {
        mii_ioctl_data data{.phy_id = 1, .reg_num = number, .val_in = value};
        EXPECT_EQ(0, call(SIOCSMIIREG, n, data)) << strerror(errno);
    }

    bool carrier(unsigned n) const { return lab_.ends().at(2 * n).carrier; }

    int socket_ = -1;
};

TEST_F(MiiLabTest, LinkFollowsTheCableAtOnce) {
    EXPECT_EQ(0x786d, get(2, 1));
    for (int round = 0; round < 10; ++round) {
        ASSERT_FALSE(lab_.pull(2));
        EXPECT_EQ(0x7849, get(2, 1));
        EXPECT_EQ(0x0000, get(2, 5));
        EXPECT_EQ(0x786d, get(1, 1)) << "no other port";
        ASSERT_FALSE(lab_.plug(2));
        EXPECT_EQ(0x786d, get(2, 1));
        EXPECT_EQ(0x45e1, get(2, 5));
    }
}

TEST_F(MiiLabTest, PartnerLosesCarrierWhileThePortAdvertisesNothing) {
    set(1, 4, 0x0001);
    EXPECT_TRUE(lab_.partnerHasCarrier(1));
    set(1, 0, 0x1200);
    EXPECT_FALSE(lab_.partnerHasCarrier(1));
    EXPECT_TRUE(lab_.partnerHasCarrier(2));
    EXPECT_EQ(0x7849, get(1, 1));
    set(1, 0, 0x8000);
    EXPECT_TRUE(lab_.partnerHasCarrier(1));
    EXPECT_TRUE(carrier(1));
    EXPECT_EQ(0x786d, get(1, 1));
    EXPECT_EQ(0x05e1, get(1, 4));
}

TEST_F(MiiLabTest, ResetOfAPulledPortShowsNoLink) {
    ASSERT_FALSE(lab_.pull(1));
    set(1, 4, 0x0001);
    set(1, 0, 0x1200);
    set(1, 0, 0x8000);
    EXPECT_EQ(0x7849, get(1, 1));
    ASSERT_FALSE(lab_.plug(1));
    EXPECT_EQ(0x786d, get(1, 1));
}

TEST_F(MiiLabTest, AbsentInterfaceIsAnError) {
    mii_ioctl_data data{};
    EXPECT_EQ(-1, call(SIOCGMIIPHY, 9, data));
    EXPECT_EQ(ENODEV, errno);
}

TEST_F(MiiLabTest, OrdinaryIoctlsWorkAsEver) {
    int pending = -1;
    EXPECT_EQ(0, ioctl(socket_, FIONREAD, &pending));
    EXPECT_EQ(0, pending);
    EXPECT_EQ(-1, ioctl(-1, FIONREAD, &pending));
    EXPECT_EQ(EBADF, errno);
}

TEST_F(MiiLabTest, WithoutPrivilegeTheKernelsRefusalStays) {
    __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    __user_cap_data_struct none[2] = {};
    ASSERT_EQ(0, syscall(SYS_capset, &header, none));
    mii_ioctl_data data{.phy_id = 1, .reg_num = 0, .val_in = 0x1200};
    for (const unsigned long request : {SIOCGMIIPHY, SIOCGMIIREG, SIOCSMIIREG}) {
        EXPECT_EQ(-1, call(request, 1, data));
        EXPECT_EQ(EPERM, errno);
    }
}

// Runs a foreign program with the module preloaded and returns what it prints.
std::string preloaded(const std::string& arguments, const char* program = PHY_PROGRAM) {
    const std::string command = std::string("ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=") +
                                MII_LIBRARY + " " + program + " " + arguments;
    FILE* const pipe = popen(command.c_str(), "r");
    char text[256] = "";
    std::string output;
    while (fgets(text, sizeof(text), pipe) != nullptr) output += text;
    pclose(pipe);
    return output;
}

TEST_F(MiiLabTest, ForeignProgramSeesAPhyWhenPreloaded) {
    EXPECT_EQ("eth1: phy 1: 3100 786d 5043 5310 05e1 45e1\n", preloaded("eth1"));
    EXPECT_EQ("7849\n", preloaded("eth1 down"));
    EXPECT_FALSE(lab_.partnerHasCarrier(1));
    EXPECT_EQ("7849\n", preloaded("eth1 get 1"));
    EXPECT_EQ("786d\n", preloaded("eth1 up"));
    EXPECT_TRUE(lab_.partnerHasCarrier(1));
    EXPECT_EQ("eth9: SIOCGMIIPHY: No such device\n", preloaded("eth9"));
}

TEST_F(MiiLabTest, ForeignProgramWithLongTimeSeesTheSame) {
    EXPECT_EQ("eth1: phy 1: 3100 786d 5043 5310 05e1 45e1\n",
              preloaded("eth1", PHY_TIME64_PROGRAM));
    EXPECT_EQ("7849\n", preloaded("eth1 down", PHY_TIME64_PROGRAM));
}

TEST_F(MiiLabTest, ReadOnlyRequestIsAFaultAsTheKernelsAnswersAre) {
    static const ifreq kRequest = {.ifr_ifrn = {"eth1"}, .ifr_ifru = {}};
    auto* const request = const_cast<ifreq*>(&kRequest);
    for (const unsigned long code : {SIOCGIFINDEX, SIOCGMIIPHY}) {
        errno = 0;
        EXPECT_EQ(-1, ioctl(socket_, code, request));
        EXPECT_EQ(EFAULT, errno);
    }
}

TEST_F(MiiLabTest, ForeignProgramSeesNoneOtherwise) {
    FILE* const pipe = popen(PHY_PROGRAM " eth1", "r");
    char text[256] = "";
    ASSERT_NE(nullptr, fgets(text, sizeof(text), pipe));
    pclose(pipe);
    EXPECT_STREQ("eth1: SIOCGMIIPHY: Operation not supported\n", text);
}

}  // namespace
