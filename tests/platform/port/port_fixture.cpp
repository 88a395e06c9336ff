// The scripted PHYs and the counter table, and the host state that each case starts with.
#include "tests/platform/port/port_fixture.h"

#include <dirent.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "platform/port/hostInterfaces.h"

namespace pcsim::test {

const char* const PortTest::kHeader =
    "Inter-|   Receive                                                |  Transmit\n"
    " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets errs "
    "drop fifo colls carrier compressed\n";

PortTest::PortTest() {
    host().attachComponents();
    pcSimSystemNumPorts = 12;
    libc().redirectedPath = "/proc/net/dev";
    noCounterTable();
    libc().ioctl = [this](int descriptor, unsigned long request, void* argument) {
        EXPECT_EQ(descriptor, skfd);
        return answer(request, argument);
    };
}

PortTest::~PortTest() {
    if (!tablePath_.empty()) unlink(tablePath_.c_str());
}

int PortTest::answer(unsigned long request, void* argument) {
    auto* ifr = static_cast<ifreq*>(argument);
    auto* block = reinterpret_cast<mii_ioctl_data*>(&ifr->ifr_ifru);
    const std::string name(ifr->ifr_name, strnlen(ifr->ifr_name, sizeof ifr->ifr_name));
    char text[64];
    switch (request) {
        case 0x8947:
            std::snprintf(text, sizeof text, " phy");
            EXPECT_EQ(block->phy_id, 0);
            break;
        case 0x8948:
            std::snprintf(text, sizeof text, "#%u read %u", block->phy_id, block->reg_num);
            break;
        case 0x8949:
            std::snprintf(text, sizeof text, "#%u write %u = %04x", block->phy_id, block->reg_num,
                          block->val_in);
            break;
        default:
            std::snprintf(text, sizeof text, " request %lx", request);
    }
    requests.push_back(name + text);
    const auto found = phys.find(name);
    if (found == phys.end() || (failRequest > 0 && --failRequest == 0)) {
        errno = EOPNOTSUPP;
        return -1;
    }
    if (request == SIOCGMIIPHY) block->phy_id = found->second.id;
    if (request == SIOCGMIIREG) block->val_out = found->second.registers[block->reg_num];
    if (request == SIOCSMIIREG) found->second.registers[block->reg_num] = block->val_in;
    return 0;
}

void PortTest::linkUp(const std::string& name, uint16_t abilities) {
    phys[name].registers = {{1, 0x0004}, {4, abilities}, {5, abilities}};
}

void PortTest::counterTable(const std::string& text) {
    if (tablePath_.empty()) {
        // Each case has a process, and so a table, of its own.
        tablePath_ = testing::TempDir() + "pcsim-counters-" + std::to_string(getpid());
    }
    std::ofstream(tablePath_, std::ios::binary | std::ios::trunc) << text;
    libc().redirectTo = tablePath_;
}

void PortTest::noCounterTable() {
    libc().redirectTo = "";
}

std::string PortTest::tableWith(const std::string& name, const std::vector<uint64_t>& columns) {
    std::string text = kHeader;
    text += "    lo: 900 901 902 903 904 905 906 907 908 909 910 911 912 913 914 915\n";
    text += "  " + name + ":";
    for (const uint64_t column : columns) text += " " + std::to_string(column);
    return text + "\n";
}

int PortTest::openTables() const {
    int count = 0;
    DIR* directory = opendir("/proc/self/fd");
    while (const dirent* entry = readdir(directory)) {
        char target[256] = {};
        const std::string path = std::string("/proc/self/fd/") + entry->d_name;
        if (readlink(path.c_str(), target, sizeof target - 1) > 0 && tablePath_ == target) ++count;
    }
    closedir(directory);
    return count;
}

uint64_t counterAt(const PortStatsRecord& record, size_t offset) {
    uint64_t value;
    std::memcpy(&value, reinterpret_cast<const uint8_t*>(&record) + offset, sizeof value);
    return value;
}

void setCounterAt(PortStatsRecord& record, size_t offset, uint64_t value) {
    std::memcpy(reinterpret_cast<uint8_t*>(&record) + offset, &value, sizeof value);
}

std::vector<uint8_t> bytesOf(const PortStatsRecord& record) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
    return {bytes, bytes + sizeof record};
}

}  // namespace pcsim::test
