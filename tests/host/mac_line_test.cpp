// Lines of a MAC table file.
#include <gtest/gtest.h>

#include "host/l2/mac_line.h"

namespace pcsim::host {
namespace {

struct Row {
    const char* line;
    LineKind kind;
    const char* problem;
};

TEST(MacLineTest, EveryFormIsReadOrRefusedWithAReason) {
    static const Row kRows[] = {
        {"02:00:00:00:01:ab 10 1:2", LineKind::kEntry, ""},
        {"02-00-00-00-01-AB 10 1:2", LineKind::kEntry, ""},
        {"0200.0000.01aB 10 1:2", LineKind::kEntry, ""},
        {"\t02:00:00:00:01:ab\t10  1:2 \r", LineKind::kEntry, ""},
        {"02:00:00:00:01:ab 10 1:2 dynamic", LineKind::kEntry, ""},
        {"02:00:00:00:01:ab 10 1:2# comment", LineKind::kEntry, ""},
        {"", LineKind::kNothing, ""},
        {"  \t ", LineKind::kNothing, ""},
        {"# all of it", LineKind::kNothing, ""},
        {"02:00:00:00:01:a 10 1:2", LineKind::kBad, "'02:00:00:00:01:a' is not a MAC address"},
        {"02:00:00:00:01-ab 10 1:2", LineKind::kBad, "'02:00:00:00:01-ab' is not a MAC address"},
        {"02.00.00.00.01.ab 10 1:2", LineKind::kBad, "'02.00.00.00.01.ab' is not a MAC address"},
        {"0200.0000:01ab 10 1:2", LineKind::kBad, "'0200.0000:01ab' is not a MAC address"},
        {"02:00:00:00:01:ag 10 1:2", LineKind::kBad, "'02:00:00:00:01:ag' is not a MAC address"},
        {"02:00:00:00:01:ab", LineKind::kBad,
         "the line is not complete; expected MAC VLAN SLOT:PORT [static]"},
        {"02:00:00:00:01:ab 10", LineKind::kBad,
         "the line is not complete; expected MAC VLAN SLOT:PORT [static]"},
        {"02:00:00:00:01:ab 0 1:2", LineKind::kBad, "VLAN '0' is not a number from 1 to 4094"},
        {"02:00:00:00:01:ab 4095 1:2", LineKind::kBad,
         "VLAN '4095' is not a number from 1 to 4094"},
        {"02:00:00:00:01:ab -1 1:2", LineKind::kBad, "VLAN '-1' is not a number from 1 to 4094"},
        {"02:00:00:00:01:ab 4294967306 1:2", LineKind::kBad,
         "VLAN '4294967306' is not a number from 1 to 4094"},
        {"02:00:00:00:01:ab 10 1", LineKind::kBad, "'1' is not a port; expected SLOT:PORT"},
        {"02:00:00:00:01:ab 10 :2", LineKind::kBad, "':2' is not a port; expected SLOT:PORT"},
        {"02:00:00:00:01:ab 10 1:", LineKind::kBad, "'1:' is not a port; expected SLOT:PORT"},
        {"02:00:00:00:01:ab 10 1:65536", LineKind::kBad,
         "'1:65536' is not a port; expected SLOT:PORT"},
        {"02:00:00:00:01:ab 10 1:2 Static", LineKind::kBad,
         "'Static' is not known; expected static or dynamic"},
        {"02:00:00:00:01:ab 10 1:2 static 5", LineKind::kBad, "'5' is too much"},
    };
    for (const Row& row : kRows) {
        MacLine entry;
        std::string problem;
        EXPECT_EQ(parseMacLine(row.line, entry, problem), row.kind) << row.line;
        EXPECT_EQ(problem, row.problem) << row.line;
        if (row.kind != LineKind::kEntry) continue;
        EXPECT_EQ(entry.mac, (MacAddress{2, 0, 0, 0, 1, 0xAB})) << row.line;
        EXPECT_EQ(entry.vlanId, 10) << row.line;
        EXPECT_EQ(entry.port.slot, 1u) << row.line;
        EXPECT_EQ(entry.port.port, 2u) << row.line;
        EXPECT_FALSE(entry.isStatic) << row.line;
    }
}

TEST(MacLineTest, TheLastWordMakesItStatic) {
    MacLine entry;
    std::string problem;
    ASSERT_EQ(parseMacLine("02:00:00:00:01:ab 4094 1:2 static", entry, problem), LineKind::kEntry);
    EXPECT_TRUE(entry.isStatic);
    EXPECT_EQ(entry.vlanId, 4094);
}

TEST(MacLineTest, WhatIsNotTextIsNotShown) {
    MacLine entry;
    std::string problem;
    const std::string line("\x1b[2J\0\xff", 6);
    EXPECT_EQ(parseMacLine(line, entry, problem), LineKind::kBad);
    EXPECT_EQ(problem,
              "'?[2J?"
              "?' is not a MAC address");
}

}  // namespace
}  // namespace pcsim::host
