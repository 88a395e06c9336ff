// Statistics of several ports at a time: threads of the host, each with a port of its own. The
// library is the shipped one; its calls for files and sockets come here, so that a close of what is
// not its own, or no longer, is seen.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>

#include "platform/port/pcSimPort.h"
#include "platform/system/pcSimSystem.h"

namespace {

constexpr int kDescriptors = 256;
const char* const kTable = "/proc/net/dev";

std::mutex mutex;
bool libraryHas[kDescriptors];  // descriptors that the library has opened and not closed
const char* tableText = kTable;
std::atomic<bool> watching;
std::atomic<int> foreignCloses;
std::atomic<int> hostFilesLost;
std::atomic<int> socketsOpened;
std::atomic<int> tablesOpened;

int note(int descriptor) {
    if (descriptor >= 0 && descriptor < kDescriptors) libraryHas[descriptor] = true;
    return descriptor;
}

bool isNullDevice(int descriptor) {
    struct stat state {};
    return fstat(descriptor, &state) == 0 && S_ISCHR(state.st_mode);
}

// What any other thread of a host may do at any time: it opens a file, which gets the number that
// has just become free, and finds it to be its own until it closes it.
void hostUsesAFile() {
    const auto descriptor = static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDONLY));
    for (int i = 0; i < 20; ++i) sched_yield();
    if (!isNullDevice(descriptor)) ++hostFilesLost;
    syscall(SYS_close, descriptor);
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    const bool isTable = watching && std::strcmp(path, kTable) == 0;
    const std::lock_guard lock(mutex);
    const auto descriptor = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, isTable ? tableText : path, flags | O_LARGEFILE, 0600));
    if (!isTable) return descriptor;
    ++tablesOpened;
    return note(descriptor);
}

int close(int descriptor) {
    if (!watching) return static_cast<int>(syscall(SYS_close, descriptor));
    int result;
    {
        const std::lock_guard lock(mutex);
        if (descriptor < 0 || descriptor >= kDescriptors || !libraryHas[descriptor])
            ++foreignCloses;
        else
            libraryHas[descriptor] = false;
        result = static_cast<int>(syscall(SYS_close, descriptor));
    }
    hostUsesAFile();
    return result;
}

int socket(int domain, int type, int protocol) noexcept {
    if (!watching) return static_cast<int>(syscall(SYS_socket, domain, type, protocol));
    // The first waits a while for a second one.
    const int number = ++socketsOpened;
    for (int i = 0; number == 1 && socketsOpened == 1 && i < 5000; ++i) usleep(1000);
    const std::lock_guard lock(mutex);
    return note(static_cast<int>(syscall(SYS_socket, domain, type, protocol)));
}

// Every port has a link of 100 Mbps.
int ioctl(int, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    auto* const block = reinterpret_cast<mii_ioctl_data*>(&va_arg(arguments, ifreq*)->ifr_ifru);
    va_end(arguments);
    if (request == SIOCGMIIREG) block->val_out = block->reg_num == MII_BMSR ? BMSR_LSTATUS : 0x0100;
    return 0;
}

// A port of slot n is interface n. The host takes its time to say so.
uint32_t halGetHwPortMapping(uint32_t slot, uint32_t) {
    sched_yield();
    return slot;
}
}

namespace {

int libraryDescriptors() {
    int count = 0;
    for (const bool has : libraryHas) count += has;
    return count;
}

uint32_t portOf(uint32_t slot) {
    return slot << 16 | 1;
}

// Of the management port of a slot that is not the own one, the table is opened and left open.
uint32_t otherManagementPort() {
    return 2u << 24 | 9u << 16 | 1;
}

class Threads : public testing::Test {
protected:
    Threads() {
        pcSimSystemNumPorts = 12;
        watching = true;
    }
    ~Threads() override { watching = false; }

    // Runs 'work(slot)' on two slots side by side.
    template <typename Work>
    static void onTwoSlots(Work work) {
        std::atomic<int> ready = 0;
        std::array<std::thread, 2> threads;
        for (uint32_t slot : {1, 2})
            threads[slot - 1] = std::thread([&, slot] {
                ++ready;
                while (ready < 2) sched_yield();
                work(slot);
            });
        for (std::thread& thread : threads) thread.join();
    }

    static void expectNothingLost() {
        EXPECT_EQ(foreignCloses, 0);
        EXPECT_EQ(hostFilesLost, 0);
    }
};

TEST_F(Threads, TwoSlotsCloseNothingButTheirOwnTables) {
    onTwoSlots([](uint32_t slot) {
        for (int i = 0; i < 2000; ++i) {
            PortStatsRecord record{};
            EXPECT_EQ(pcSimCardPortGetStats(portOf(slot), &record), 0);
        }
    });
    expectNothingLost();
    EXPECT_EQ(tablesOpened, 4000);
    EXPECT_EQ(libraryDescriptors(), 1) << "the socket alone";
}

TEST_F(Threads, ATableThatIsLeftOpenIsTakenByOne) {
    onTwoSlots([](uint32_t slot) {
        for (int i = 0; i < 2000; ++i) {
            PortStatsRecord record{};
            const uint32_t port = (i + slot) % 3 == 0 ? portOf(slot) : otherManagementPort();
            EXPECT_EQ(pcSimCardPortGetStats(port, &record), 0);
        }
    });
    expectNothingLost();
    EXPECT_LE(libraryDescriptors(), 2) << "the socket, and a table at most";
}

// Each thread gets its own line, whatever the other does in between.
TEST_F(Threads, EachSlotReadsItsOwnLine) {
    const std::string path = testing::TempDir() + "pcsim-threads-" + std::to_string(getpid());
    std::ofstream(path) << "header\nheader\n"
                        << "    lo: 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n"
                        << "  eth1: 0 101 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n"
                        << "  eth2: 0 202 0 0 0 0 0 0 0 0 0 0 0 0 0 0\n";
    tableText = path.c_str();
    onTwoSlots([](uint32_t slot) {
        int lost = 0;
        for (int i = 0; i < 2000; ++i) {
            currstats[slot][1].receivedPackets = 0;  // what an earlier reading has left
            PortStatsRecord record{};
            EXPECT_EQ(pcSimCardPortGetStats(portOf(slot), &record), 0);
            lost += record.receivedPackets != uint64_t{101} * slot;
        }
        EXPECT_EQ(lost, 0);
    });
    expectNothingLost();
    unlink(path.c_str());
}

TEST_F(Threads, TheFirstTwoShareOneSocket) {
    onTwoSlots([](uint32_t slot) {
        uint32_t link = 0;
        uint32_t unused[4];
        EXPECT_EQ(pcSimCardPortLinkInfo(portOf(slot), &link, &unused[0], &unused[1], &unused[2],
                                        &unused[3]),
                  0);
        EXPECT_EQ(link, 1u);
    });
    EXPECT_EQ(socketsOpened, 2) << "they did not come together";
    EXPECT_EQ(libraryDescriptors(), 1);
    ASSERT_GE(skfd, 0);
    EXPECT_TRUE(libraryHas[skfd]);
    expectNothingLost();
}

}  // namespace
