// Emulated PHYs that several threads ask and tell at a time, under ThreadSanitizer: alone, while
// the process forks, while interfaces are renamed, and with a wire file, which the first ones map.
//
// usage: mii_races threads|fork|renames|wire
#include "mii/mii.h"

#include <linux/ethtool.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "mii/wire.h"

namespace {

using pcsim::mii::WireEnd;
using pcsim::mii::WireHeader;

constexpr int kRounds = 2000;
constexpr int kThreads = 3;
constexpr int kInterfaces = 4;
constexpr auto kRelaxed = std::memory_order_relaxed;

#define CHECK(condition)                                                         \
    do {                                                                         \
        if (!(condition)) {                                                      \
            std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
            std::abort();                                                        \
        }                                                                        \
    } while (false)

// A kernel whose drivers have no MII. What it knows it answers without an order among the threads,
// which would hide a race.
std::atomic<int> indexOf[kInterfaces] = {1, 2, 3, 4};  // by the number in the name
std::atomic<bool> isDown[kInterfaces + 1];             // by index

int failing(int error) {
    errno = error;
    return -1;
}

int kernelIoctl(int, unsigned long request, void* argument) {
    auto* const ifr = static_cast<ifreq*>(argument);
    if (request == SIOCGIFNAME) return 0;
    const int index = indexOf[(ifr->ifr_name[3] - '0') % kInterfaces].load(kRelaxed);
    switch (request) {
        case SIOCGIFINDEX:
            ifr->ifr_ifindex = index;
            return 0;
        case SIOCGIFFLAGS:
            ifr->ifr_flags = isDown[index].load(kRelaxed) ? 0 : IFF_UP | IFF_RUNNING;
            return 0;
        case SIOCSIFFLAGS:
            isDown[index].store((ifr->ifr_flags & IFF_UP) == 0, kRelaxed);
            return 0;
        case SIOCETHTOOL:
            reinterpret_cast<ethtool_value*>(ifr->ifr_data)->data = 1;
            return 0;
        default:
            return failing(EOPNOTSUPP);
    }
}

uint16_t phy(unsigned long request, int interface, uint16_t number, uint16_t value = 0) {
    ifreq ifr{};
    std::snprintf(ifr.ifr_name, sizeof ifr.ifr_name, "eth%d", interface);
    mii_ioctl_data data{.phy_id = 1, .reg_num = number, .val_in = value, .val_out = 0};
    std::memcpy(&ifr.ifr_data, &data, sizeof data);
    CHECK(pcsim::mii::answer(kernelIoctl, 3, request, &ifr) == 0);
    std::memcpy(&data, &ifr.ifr_data, sizeof data);
    return data.val_out;
}

// What threads tell the PHYs: whatever is read is one of these as a whole.
constexpr uint16_t kOffers[] = {0x05E1, 0x0061, 0x0181};

void askAndTell(int rounds) {
    for (int round = 0; round < rounds; ++round) {
        const int interface = round % kInterfaces;
        phy(SIOCSMIIREG, interface, MII_ADVERTISE, kOffers[round % 3]);
        phy(SIOCSMIIREG, interface, MII_BMCR, BMCR_ANENABLE | BMCR_ANRESTART);
        const uint16_t offered = phy(SIOCGMIIREG, interface, MII_ADVERTISE);
        CHECK(offered == kOffers[0] || offered == kOffers[1] || offered == kOffers[2]);
        phy(SIOCGMIIREG, interface, MII_BMSR);
        phy(SIOCGMIIREG, interface, MII_LPA);
    }
}

// Runs 'beside' next to threads that ask and tell.
template <typename Beside>
void withThreads(Beside beside) {
    pthread_barrier_t start;
    pthread_barrier_init(&start, nullptr, kThreads + 1);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&] {
            pthread_barrier_wait(&start);
            askAndTell(kRounds);
        });
    pthread_barrier_wait(&start);
    beside();
    for (std::thread& thread : threads) thread.join();
    pthread_barrier_destroy(&start);
}

// Children have the PHYs as they were, whatever the threads are about.
void forkOften() {
    for (int i = 0; i < 20; ++i) {
        const pid_t child = fork();
        CHECK(child >= 0);
        if (child == 0) {
            askAndTell(20);
            _exit(0);
        }
        int status = -1;
        CHECK(waitpid(child, &status, 0) == child);
        CHECK(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
}

// Two interfaces change names, as a HAL's user does to have the ports in order.
void renameOften() {
    for (int i = 0; i < kRounds; ++i) {
        indexOf[0].store(i % 2 == 0 ? 2 : 1, kRelaxed);
        indexOf[1].store(i % 2 == 0 ? 1 : 2, kRelaxed);
    }
}

// A file with a cable between eth0 and eth1, and one between eth2 and eth3.
void giveWire() {
    char path[] = "/tmp/pcsim-races-XXXXXX";
    const int file = mkstemp(path);
    CHECK(file >= 0);
    WireHeader header{.magic = "pcsim wire 1", .count = kInterfaces, .reserved = {}};
    CHECK(write(file, &header, sizeof header) == sizeof header);
    for (uint32_t i = 0; i < kInterfaces; ++i) {
        WireEnd end{};
        std::snprintf(end.interface, sizeof end.interface, "eth%u", i);
        end.partner = i ^ 1;
        end.carried = 0x01E0;
        CHECK(write(file, &end, sizeof end) == sizeof end);
    }
    close(file);
    setenv("PCSIM_WIRE", (path + std::string(":0:4")).c_str(), 1);
    // Mapped at the first question, which the threads ask together.
    withThreads(forkOften);
    unlink(path);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view way = argc == 2 ? argv[1] : "";
    if (way == "threads")
        withThreads([] { askAndTell(kRounds); });
    else if (way == "fork")
        withThreads(forkOften);
    else if (way == "renames")
        withThreads(renameOften);
    else if (way == "wire")
        giveWire();
    else
        return 2;
    return 0;
}
