// Where the answers of the emulated PHY go: the caller's memory, which may not take them.
#include <gtest/gtest.h>
#include <linux/ethtool.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "mii/mii.h"

namespace {

using pcsim::mii::answer;

// A kernel with one interface, up and with carrier, whose driver has no MII.
int kernelIoctl(int, unsigned long request, void* argument) {
    auto* const ifr = static_cast<ifreq*>(argument);
    switch (request) {
        case SIOCGIFNAME:
            return 0;
        case SIOCGIFINDEX:
            ifr->ifr_ifindex = 3;
            return 0;
        case SIOCGIFFLAGS:
            ifr->ifr_flags = IFF_UP;
            return 0;
        case SIOCETHTOOL:
            reinterpret_cast<ethtool_value*>(ifr->ifr_data)->data = 1;
            return 0;
        default:
            errno = EOPNOTSUPP;
            return -1;
    }
}

// Two pages with a request for "eth1" at 'offset', of which the second is for reading alone.
struct HalfReadOnly {
    HalfReadOnly(size_t offset, mii_ioctl_data in)
        : pageSize(static_cast<size_t>(sysconf(_SC_PAGESIZE))),
          pages(static_cast<char*>(mmap(nullptr, 2 * pageSize, PROT_READ | PROT_WRITE,
                                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
        ifreq request{};
        strncpy(request.ifr_name, "eth1", IFNAMSIZ - 1);
        memcpy(&request.ifr_data, &in, sizeof in);
        bytes = pages + pageSize - offset;
        memcpy(bytes, &request, sizeof request);
        mprotect(pages + pageSize, pageSize, PROT_READ);
    }
    ~HalfReadOnly() { munmap(pages, 2 * pageSize); }
    HalfReadOnly(const HalfReadOnly&) = delete;
    HalfReadOnly& operator=(const HalfReadOnly&) = delete;

    int ask(unsigned long request) { return answer(kernelIoctl, 3, request, bytes); }
    mii_ioctl_data block() const {
        mii_ioctl_data data;
        memcpy(&data, bytes + offsetof(ifreq, ifr_data), sizeof data);
        return data;
    }

    size_t pageSize;
    char* pages;
    char* bytes;
};

// What an ordinary request reads.
uint16_t valueOf(uint16_t number) {
    HalfReadOnly request(sizeof(ifreq), {.phy_id = 1, .reg_num = number, .val_in = 0});
    EXPECT_EQ(0, request.ask(SIOCGMIIREG));
    return request.block().val_out;
}

TEST(AnswerMemoryTest, AnswerToReadOnlyMemoryIsAFault) {
    const mii_ioctl_data in{.phy_id = 1, .reg_num = MII_BMSR, .val_in = 0, .val_out = 0xABCD};
    // All of the request, its block, and the last byte of its block.
    for (const size_t writable : {size_t{0}, offsetof(ifreq, ifr_data),
                                  offsetof(ifreq, ifr_data) + sizeof(mii_ioctl_data) - 1}) {
        HalfReadOnly request(writable, in);
        for (const unsigned long code : {SIOCGMIIPHY, SIOCGMIIREG}) {
            errno = 0;
            EXPECT_EQ(-1, request.ask(code)) << writable;
            EXPECT_EQ(EFAULT, errno);
        }
        if (writable <= offsetof(ifreq, ifr_data)) {
            EXPECT_EQ(0xABCD, request.block().val_out);
        }
    }
}

TEST(AnswerMemoryTest, AnswerThatEndsBeforeReadOnlyMemoryIsNone) {
    HalfReadOnly request(offsetof(ifreq, ifr_data) + sizeof(mii_ioctl_data),
                         {.phy_id = 1, .reg_num = MII_BMSR, .val_in = 3, .val_out = 4});
    EXPECT_EQ(0, request.ask(SIOCGMIIREG));
    EXPECT_EQ(1, request.block().phy_id);
    EXPECT_EQ(MII_BMSR, request.block().reg_num);
    EXPECT_EQ(3, request.block().val_in);
    EXPECT_EQ(0x786d, request.block().val_out);
}

TEST(AnswerMemoryTest, RegisterIsWrittenFromReadOnlyMemory) {
    HalfReadOnly request(0, {.phy_id = 1, .reg_num = MII_ADVERTISE, .val_in = 0x0041});
    EXPECT_EQ(0, request.ask(SIOCSMIIREG));
    EXPECT_EQ(0x0041, valueOf(MII_ADVERTISE));
}

TEST(AnswerMemoryTest, BlockedSignalsStayWhatTheyAre) {
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
    EXPECT_EQ(0x786d, valueOf(MII_BMSR));
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < 32; ++signal)
        EXPECT_EQ(signal == SIGUSR1 ? 1 : 0, sigismember(&after, signal)) << signal;
}

}  // namespace
