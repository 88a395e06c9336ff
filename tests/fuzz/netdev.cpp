// What the PC says of its interfaces: the text of /proc/net/dev and the answers of a PHY, whatever
// they are, against a naive reading of them.
//
// The first bytes are the PHY's registers and the way in which reads are cut; then comes the text
// of a first reading and, behind a byte 0xFF, that of the next.
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "pcsim/system.h"
#include "platform/port/pcSimPort.h"
#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/host.h"
#include "tests/fuzz/support/input.h"
#include "tests/fuzz/support/library.h"

namespace {

using namespace pcsim::fuzz;

constexpr size_t kLineLength = 511;
constexpr uint32_t kColumns = 16;
constexpr uint32_t kMaxReadings = 3;
constexpr uint32_t kPort = 0x00010001;

struct Phy {
    uint16_t status, advertised, partner;
    uint8_t fails;  // bit n: the n-th request fails
    uint8_t requests = 0;

    int answer(unsigned long request, void* argument) {
        auto& block = *reinterpret_cast<mii_ioctl_data*>(&static_cast<ifreq*>(argument)->ifr_ifru);
        if ((fails >> requests++ & 1) != 0) return -1;
        if (request == SIOCGMIIPHY) block.phy_id = 7;
        if (request != SIOCGMIIREG) return 0;
        FUZZ_SAME(block.phy_id, 7u);
        block.val_out = block.reg_num == MII_BMSR        ? status
                        : block.reg_num == MII_ADVERTISE ? advertised
                                                         : partner;
        return 0;
    }
};

// The numbers of the line of an interface, as many as it has.
std::vector<uint64_t> columnsOf(const std::string& text, const std::string& wanted) {
    size_t at = 0;
    for (int line = 0; at < text.size(); ++line) {
        const size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
        const size_t length = std::min(end - at, kLineLength);
        const std::string piece(text.substr(at, length).c_str());  // up to a NUL
        at += length;
        if (line < 2) continue;
        const char* from = piece.c_str();
        const auto isBlank = [](char c) { return std::isspace(static_cast<uint8_t>(c)) != 0; };
        while (isBlank(*from)) ++from;
        std::string name;
        while (*from != '\0' && *from != ':' && !isBlank(*from)) name += *from++;
        if (*from == ':') {
            const char* digits = from + 1;
            while (std::isdigit(static_cast<uint8_t>(*digits)) != 0) ++digits;
            if (*digits == ':' && digits > from + 1) name.append(from, digits), from = digits;
            ++from;
        }
        if (name != wanted) continue;
        std::vector<uint64_t> numbers;
        for (char* next; numbers.size() < kColumns; from = next) {
            numbers.push_back(strtoull(from, &next, 10));
            if (next != from) continue;
            numbers.pop_back();
            break;
        }
        return numbers;
    }
    return {};
}

struct Link {
    int32_t result;
    uint32_t link, duplex, speed, flowControl;
};

// The contract of the link query, ability by ability.
Link linkOf(const Phy& phy, uint32_t untouched) {
    if ((phy.fails & 3) != 0) return {-1, 0, untouched, untouched, untouched};
    if ((phy.status & BMSR_LSTATUS) == 0) return {0, 0, 0, 0, 0};
    if ((phy.fails & 12) != 0) return {-1, 1, untouched, untouched, untouched};
    const uint32_t common = phy.advertised & phy.partner;
    const uint32_t pause = (common & LPA_PAUSE_CAP) != 0 ? 3 : 0;
    if ((common & LPA_100FULL) != 0) return {0, 1, 1, HAL_PORT_SPEED_100, pause};
    if ((common & LPA_100HALF) != 0) return {0, 1, 0, HAL_PORT_SPEED_100, 0};
    if ((common & LPA_10FULL) != 0) return {0, 1, 1, HAL_PORT_SPEED_10, pause};
    if ((common & LPA_10HALF) != 0) return {0, 1, 0, HAL_PORT_SPEED_10, 0};
    return {-1, 1, untouched, untouched, untouched};
}

void checkLink(Phy& phy) {
    constexpr uint32_t kUntouched = 0x5A5A;
    const Link expected = linkOf(phy, kUntouched);
    uint32_t link = 9, duplex = kUntouched, speed = kUntouched, flow = kUntouched, extra = 9;
    phy.requests = 0;
    FUZZ_SAME(pcSimCardPortLinkInfo(kPort, &link, &duplex, &speed, &flow, &extra), expected.result);
    FUZZ_SAME(link, expected.link);
    FUZZ_SAME(extra, 0u);
    FUZZ_SAME(duplex, expected.duplex);
    FUZZ_SAME(speed, expected.speed);
    FUZZ_SAME(flow, expected.flowControl);
}

// Where the columns are told, in the order of the text; null: nowhere.
constexpr HalCounter64 PortStatsRecord::*kPlaces[kColumns] = {
    &PortStatsRecord::receivedBytes,
    &PortStatsRecord::receivedPackets,
    &PortStatsRecord::receiveErrors,
    nullptr,
    nullptr,
    &PortStatsRecord::receiveFrameErrors,
    nullptr,
    &PortStatsRecord::receivedMulticastPackets,
    &PortStatsRecord::transmittedBytes,
    &PortStatsRecord::transmittedPackets,
    &PortStatsRecord::transmitErrors,
    &PortStatsRecord::transmitDrops,
    nullptr,
    &PortStatsRecord::collisions,
    nullptr,
    nullptr};

class Counters {
public:
    // Reads the counters of the port and compares them with what the text says.
    void read(const std::string& text, const std::string& name, bool clears) {
        PortStatsRecord record{};
        if (clears) std::copy(std::begin(current_), std::end(current_), baseline_);
        const std::vector<uint64_t> columns = columnsOf(text, name);
        std::copy(columns.begin(), columns.end(), current_);
        FUZZ_SAME(clears ? pcSimCardPortGetStatsReadClear(kPort, &record)
                         : pcSimCardPortGetStats(kPort, &record),
                  0);
        for (uint32_t i = 0; i < kColumns; ++i) {
            if (kPlaces[i] == nullptr) continue;
            uint64_t expected = current_[i] - baseline_[i];
            // With the bytes of the frame check.
            if (i == 0 || i == 8) expected += 4 * (current_[i + 1] - baseline_[i + 1]);
            const uint64_t told = record.*kPlaces[i];
            FUZZ_SAME(told, expected);
        }
    }

private:
    uint64_t current_[kColumns]{};
    uint64_t baseline_[kColumns]{};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    freshLibrary();
    Input input(bytes, size);
    const uint8_t how = input.byte();
    const uint8_t cut = input.byte();
    Phy phy{.status = input.half(),
            .advertised = input.half(),
            .partner = input.half(),
            .fails = static_cast<uint8_t>((how & 8) != 0 ? input.byte() : 0)};
    library().ioctl = [&](unsigned long request, void* argument) {
        return phy.answer(request, argument);
    };
    uint32_t reads = 0;
    if (cut != 0) library().shortRead = [&](size_t wanted) { return 1 + (cut * ++reads) % wanted; };
    host().formatted = (how & 16) != 0;
    if ((how & 32) != 0) traceUpTo(6, 0xFF);
    host().interfaceOffset = how & 3;
    pcSimSystemNumPorts = 100;
    checkLink(phy);

    phy.fails = 0;
    phy.status |= BMSR_LSTATUS;
    const std::string name = "eth" + std::to_string(1 + host().interfaceOffset);
    Counters counters;
    std::string text(reinterpret_cast<const char*>(input.rest()), input.left());
    for (uint32_t i = 0; i < kMaxReadings; ++i) {
        const size_t end = std::min(text.find('\xFF'), text.size());
        const std::string file = text.substr(0, end);
        library().file = &file;
        counters.read(file, name, (how >> (6 + (i & 1)) & 1) != 0);
        text.erase(0, end + 1);
        if (text.empty()) break;
    }
    library().file = nullptr;
    FUZZ_CHECK(library().openFiles <= 2);  // the socket, and the table where it is left open
    FUZZ_SAME(liveBlocks(), 0u);
    return 0;
}
