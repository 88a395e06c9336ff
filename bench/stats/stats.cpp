// What a statistics read costs, beside the kernel's own time for the same line.
//
// In a network namespace of its own the benchmark makes 100 interfaces, eth0 to eth99, and reads
// the counters of three of them in turn, in one run: through the platform; by opening the kernel's
// table, reading it up to and with the line, and closing it, which is the least anybody can do; and
// by the plain road of stdio and sscanf. The PHY is answered by this program itself (veth has
// none), and the link query is timed on its own.
//
// Without the permission to make a namespace, or without veth, it says so and measures nothing.
#include <fcntl.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "bench/machine.h"
#include "platform/port/hostInterfaces.h"
#include "platform/port/pcSimPort.h"

// --- The host ------------------------------------------------------------------------------------

extern "C" {

uint32_t halGetHwPortMapping(uint32_t, uint32_t port) {
    return port;
}

// A PHY whose link is up with 100 Mbps, full duplex.
int ioctl(int, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    auto* block = reinterpret_cast<mii_ioctl_data*>(&va_arg(arguments, ifreq*)->ifr_ifru);
    va_end(arguments);
    if (request == SIOCGMIIPHY) block->phy_id = 0;
    if (request == SIOCGMIIREG) block->val_out = block->reg_num == MII_BMSR ? BMSR_LSTATUS : 0x0100;
    return 0;
}
}

namespace {

constexpr int kInterfaces = 100;
constexpr uint32_t kMeasured[] = {1, 50, 99};
constexpr char kTable[] = "/proc/net/dev";

int rounds = 301;
constexpr int kReadingsPerRound = 20;

// Leaves the program when there is nothing to measure here, which is not a failure.
[[noreturn]] void skip(const char* reason) {
    std::printf("skipped: %s\n", reason);
    std::exit(0);
}

bool writeFile(const char* path, const std::string& text) {
    const int file = open(path, O_WRONLY);
    if (file < 0) return false;
    const bool whole = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(file);
    return whole;
}

// A network namespace of our own; one of a user namespace, where we are root, if we aren't.
bool enterNamespace() {
    if (unshare(CLONE_NEWNET) == 0) return true;
    const std::string user = std::to_string(getuid());
    const std::string group = std::to_string(getgid());
    return unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0 &&
           writeFile("/proc/self/uid_map", "0 " + user + " 1") &&
           writeFile("/proc/self/setgroups", "deny") &&
           writeFile("/proc/self/gid_map", "0 " + group + " 1");
}

void makeInterfaces() {
    if (!enterNamespace()) skip("this machine doesn't let us make a network namespace");
    FILE* ip = popen("ip -batch - 2>/dev/null", "w");
    if (ip == nullptr) skip("can't run ip (package iproute2)");
    for (int i = 0; i < kInterfaces; i += 2)
        std::fprintf(ip, "link add eth%d type veth peer name eth%d\n", i, i + 1);
    if (pclose(ip) != 0 || if_nametoindex("eth99") == 0)
        skip("can't make veth interfaces with ip (package iproute2)");
}

// --- The contenders ------------------------------------------------------------------------------

// Bytes of the table up to and with an interface's line.
size_t lengthUpTo(uint32_t number) {
    const int table = open(kTable, O_RDONLY);
    std::string text;
    char chunk[4096];
    for (ssize_t length; (length = read(table, chunk, sizeof chunk)) > 0;)
        text.append(chunk, static_cast<size_t>(length));
    close(table);
    const size_t line = text.find("eth" + std::to_string(number) + ":");
    if (line == std::string::npos) std::abort();
    return text.find('\n', line) + 1;
}

void readKernel(size_t length) {
    const int table = open(kTable, O_RDONLY);
    char chunk[4096];
    while (length > 0) {
        const ssize_t got = read(table, chunk, std::min(length, sizeof chunk));
        if (got <= 0) std::abort();
        length -= static_cast<size_t>(got);
    }
    close(table);
}

void readPlain(uint32_t number) {
    FILE* table = std::fopen(kTable, "r");
    char wanted[32];
    std::snprintf(wanted, sizeof wanted, "eth%u", number);
    char line[512];
    for (int i = 0; i < 2; ++i)
        if (std::fgets(line, sizeof line, table) == nullptr) std::abort();
    while (std::fgets(line, sizeof line, table) != nullptr) {
        char* name = line + std::strspn(line, " ");
        char* colon = std::strchr(name, ':');
        if (colon == nullptr) continue;
        *colon = '\0';
        if (std::strcmp(name, wanted) != 0) continue;
        unsigned long long n[16];
        if (std::sscanf(colon + 1,
                        "%llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu "
                        "%llu %llu",
                        n, n + 1, n + 2, n + 3, n + 4, n + 5, n + 6, n + 7, n + 8, n + 9, n + 10,
                        n + 11, n + 12, n + 13, n + 14, n + 15) != 16)
            std::abort();
        break;
    }
    std::fclose(table);
}

void readPlatform(uint32_t number) {
    PortStatsRecord record;
    if (pcSimCardPortGetStats(1 << 16 | number, &record) != 0) std::abort();
}

void queryLink(uint32_t number) {
    uint32_t link;
    uint32_t others[4];
    if (pcSimCardPortLinkInfo(1 << 16 | number, &link, &others[0], &others[1], &others[2],
                              &others[3]) != 0 ||
        link != 1)
        std::abort();
}

// --- Measuring -----------------------------------------------------------------------------------

struct Contender {
    std::function<void()> run;
    std::vector<double> microseconds;

    void time() {
        using Clock = std::chrono::steady_clock;
        const auto start = Clock::now();
        for (int i = 0; i < kReadingsPerRound; ++i) run();
        const std::chrono::duration<double, std::micro> spent = Clock::now() - start;
        microseconds.push_back(spent.count() / kReadingsPerRound);
    }
    double median() {
        const auto middle =
            microseconds.begin() + static_cast<std::ptrdiff_t>(microseconds.size() / 2);
        std::nth_element(microseconds.begin(), middle, microseconds.end());
        return *middle;
    }
};

struct Row {
    uint32_t number;
    Contender kernel, platform, link, plain;
};

}  // namespace

int main(int argc, char** argv) {
    const pcsim::bench::Machine machine;
    if (argc > 1) rounds = std::max(1, std::atoi(argv[1]));
    makeInterfaces();
    pcSimSystemNumPorts = kInterfaces - 1;

    std::vector<Row> rows;
    for (const uint32_t number : kMeasured) {
        const size_t length = lengthUpTo(number);
        rows.push_back({number,
                        {[=] { readKernel(length); }, {}},
                        {[=] { readPlatform(number); }, {}},
                        {[=] { queryLink(number); }, {}},
                        {[=] { readPlain(number); }, {}}});
    }
    for (int round = 0; round < rounds; ++round)
        for (Row& row : rows)
            for (Contender* contender : {&row.kernel, &row.platform, &row.link, &row.plain})
                contender->time();

    std::printf("%d interfaces, median microseconds of %d rounds of %d readings each\n",
                kInterfaces, rounds, kReadingsPerRound);
    std::printf("%-9s %8s %8s %6s   %8s %6s   %10s\n", "interface", "kernel", "platform", "ratio",
                "stdio", "ratio", "link query");
    for (Row& row : rows) {
        const double kernel = row.kernel.median();
        const double platform = row.platform.median();
        const double plain = row.plain.median();
        std::printf("eth%-6u %8.2f %8.2f %6.2f   %8.2f %6.2f   %10.2f\n", row.number, kernel,
                    platform, platform / kernel, plain, plain / kernel, row.link.median());
    }
    machine.tell();
    return 0;
}
