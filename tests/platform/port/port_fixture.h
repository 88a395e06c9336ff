// Fixture of the port tests: interfaces with scripted PHYs, and a counter table made of text.
#ifndef PCSIM_TESTS_PORT_PORT_FIXTURE_H
#define PCSIM_TESTS_PORT_PORT_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/port/pcSimPort.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"

namespace pcsim::test {

// The registers of one PHY, and its address.
struct Phy {
    uint16_t id = 0;
    std::map<uint16_t, uint16_t> registers;
};

constexpr uint32_t frontPanel(uint32_t slot, uint32_t port) {
    return slot << 16 | port;
}
constexpr uint32_t ofType(uint32_t type, uint32_t slot, uint32_t port) {
    return type << 24 | slot << 16 | port;
}

class PortTest : public testing::Test {
protected:
    PortTest();
    ~PortTest() override;

    // Interfaces by name. A request to any other fails, as does the 'failRequest'-th from now on.
    std::map<std::string, Phy> phys;
    int failRequest = 0;
    // What was asked, e.g. "eth1 phy", "eth1#7 read 1", "eth1#7 write 0 = 8000".
    std::vector<std::string> requests;

    // An interface whose link is up with the given common abilities.
    void linkUp(const std::string& name, uint16_t abilities = 0x0100);

    // Makes "/proc/net/dev" hold 'text', or fail to open.
    void counterTable(const std::string& text);
    void noCounterTable();
    // A table of one interface with 16 columns: the header, "lo", and the line.
    static std::string tableWith(const std::string& name, const std::vector<uint64_t>& columns);
    static const char* const kHeader;

    // How many descriptors of the counter table the process has open.
    int openTables() const;

private:
    int answer(unsigned long request, void* argument);
    std::string tablePath_;
};

// The counter at a byte offset of a record.
uint64_t counterAt(const PortStatsRecord& record, size_t offset);
void setCounterAt(PortStatsRecord& record, size_t offset, uint64_t value);

// The records byte for byte, for "untouched".
std::vector<uint8_t> bytesOf(const PortStatsRecord& record);

}  // namespace pcsim::test

#endif
