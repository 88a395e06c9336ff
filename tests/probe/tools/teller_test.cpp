// Recordings as text and as JSON: the lines of a trace.
#include "probe/tools/teller.h"

#include <gtest/gtest.h>

#include "tests/probe/tools/maker.h"

namespace pcsim::probe::test {
namespace {

bool all(const Event&) {
    return true;
}

std::string text(const Recording& recording, const ToldFn& told = all, bool memory = false) {
    std::string lines;
    tellText(recording, told, memory, [&](const std::string& line) { lines += line; });
    return lines;
}

Maker several() {
    Maker maker;
    maker.state("mcLogMess", 0x9000, words({1}));
    maker.make("pcSimFanReadTemp", {1, 0x1000}, 0, {},
               {{"temperature", 0x1000, words({2501}), false, true}});
    maker.call("pcSimCardPortEnable", {0x00010003, 1});
    maker.print("a \"line\"\n");
    maker.make("halGetHwPortMapping", {1, 3}, 3);
    maker.returns();
    return maker;
}

TEST(Show, CallsAreTheLinesOfATrace) {
    EXPECT_EQ(text(several().recording),
              "> pcSimFanReadTemp slot 1 -> 0 temperature 2501\n"
              "> pcSimCardPortEnable portInstance 1:3 enable 1 ...\n"
              "    print \"a \\\"line\\\"\\n\"\n"
              "    < halGetHwPortMapping slot 1 port 3 -> 3\n"
              "> pcSimCardPortEnable -> 0\n");
}

TEST(Show, WhatIsNotAskedForIsLeftOut) {
    const Recording recording = several().recording;
    EXPECT_EQ(text(recording, [](const Event& call) { return call.call == 3; }),
              "< halGetHwPortMapping slot 1 port 3 -> 3\n");
}

TEST(Show, MemoryIsToldByItsPath) {
    EXPECT_EQ(text(
                  several().recording, [](const Event& call) { return call.call == 1; }, true),
              "state mcLogMess\n"
              "        mcLogMess 0x9000 01000000\n"
              "> pcSimFanReadTemp slot 1 -> 0 temperature 2501\n"
              "        temperature 0x1000 c5090000\n");
}

TEST(Show, HandlesHaveNames) {
    Maker maker;
    maker.make("pcSimIpAdjLookup", {0, 1, 2, 1}, 0xF000);
    maker.make("_pcSimIpAdjFree", {0xF000});
    const std::string told = text(maker.recording);
    EXPECT_NE(told.find("-> adjacency#1\n> _pcSimIpAdjFree entry adjacency#1\n"), std::string::npos)
        << told;
}

TEST(Show, ACallThatNeverReturnedIsToldAsBegun) {
    Maker maker;
    maker.call("pcSimCardPortEnable", {0x00010003, 1});
    EXPECT_EQ(text(maker.recording), "> pcSimCardPortEnable portInstance 1:3 enable 1 ...\n");
}

TEST(Show, EachEventIsADocument) {
    std::string lines;
    tellJson(
        several().recording, [](const Event& call) { return call.call != 3; },
        [&](const std::string& line) { lines += line; });
    EXPECT_NE(lines.find("\"event\": \"print\", \"text\": \"a \\\"line\\\"\\n\"}\n"),
              std::string::npos)
        << lines;
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 5);
    EXPECT_EQ(lines.find("{\"call\": 1, \"thread\": 1, \"depth\": 0, \"event\": \"call\", "
                         "\"side\": \"platform\", \"name\": \"pcSimFanReadTemp\""),
              0u)
        << lines;
}

}  // namespace
}  // namespace pcsim::probe::test
