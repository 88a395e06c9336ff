// Which calls a sweep fails, and the rules that repeat them.
#include "probe/sweep.h"

#include <gtest/gtest.h>

namespace pcsim::probe {
namespace {

const CoverageData kCounted{1,
                            {{"pcSimFdbAdd", {3, 0, 0, 0, 0}},
                             {"pcSimFdbInit", {1, 0, 0, 0, 0}},
                             {"pcSimVlanAdd", {2, 0, 0, 0, 0}},
                             {"pcSimVlanDelete", {}}},
                            {{"halTime", {2, 0, 0, 0, 0}}}};

std::string sitesAs(const SweepOptions& options) {
    std::string text;
    for (const CallSite& site : callSitesOf(kCounted, options))
        text += site.operation + " " + std::to_string(site.nth) + "; ";
    return text;
}

TEST(SweepTest, FailsEachCallIntoThePlatform) {
    EXPECT_EQ(
        "pcSimFdbAdd 1; pcSimFdbAdd 2; pcSimFdbAdd 3; pcSimFdbInit 1; pcSimVlanAdd 1; "
        "pcSimVlanAdd 2; ",
        sitesAs({}));
}

TEST(SweepTest, IsThinnedOrNarrowed) {
    EXPECT_EQ("pcSimFdbAdd 1; pcSimFdbAdd 3; pcSimVlanAdd 1; ", sitesAs({.every = 2}));
    EXPECT_EQ("pcSimFdbAdd 1; pcSimFdbInit 1; pcSimVlanAdd 1; ", sitesAs({.calls = 1}));
    EXPECT_EQ("pcSimFdbAdd 1; pcSimVlanAdd 1; ", sitesAs({.every = 2, .calls = 1}));
    EXPECT_EQ("pcSimVlanAdd 1; pcSimVlanAdd 2; ", sitesAs({.only = "*Vlan?dd"}));
    EXPECT_EQ("", sitesAs({.only = "halTime"}));
    EXPECT_EQ("halTime 1; halTime 2; ", sitesAs({.only = "halTime", .host = true}));
}

TEST(SweepTest, RulesFailOneCall) {
    EXPECT_EQ("fault pcSimFdbAdd count 1", (CallSite{"pcSimFdbAdd", 1}.rule()));
    EXPECT_EQ("fault pcSimFdbAdd after 2 count 1", (CallSite{"pcSimFdbAdd", 3}.rule()));
}

TEST(SweepTest, EndingsHaveTheirWords) {
    Outcome outcome;
    outcome.status = 3;
    EXPECT_EQ("ended with 3", textOf(outcome));
    outcome.status = 11;
    outcome.ending = Ending::kSignal;
    EXPECT_EQ("killed by signal 11 (Segmentation fault)", textOf(outcome));
    outcome.ending = Ending::kSanitizer;
    EXPECT_EQ("a sanitizer's report", textOf(outcome));
    outcome.ending = Ending::kTooLong;
    outcome.tookMs = 1500;
    EXPECT_EQ("still running after 1500 ms", textOf(outcome));
}

}  // namespace
}  // namespace pcsim::probe
