// Names of handles.
#include "probe/values/handles.h"

#include <gtest/gtest.h>

namespace pcsim::probe {
namespace {

const Type& behindResult(const char* operation) {
    return *operationNamed(operation)->function->result->target;
}

TEST(Handles, AreNumberedPerKindInTheOrderInWhichTheyAreMet) {
    Handles handles;
    const Type& route = behindResult("pcSimIPv4FibFind");
    const Type& adjacency = behindResult("pcSimIpAdjLookup");
    EXPECT_EQ(handles.name(route, 0x1000), "route#1");
    EXPECT_EQ(handles.name(adjacency, 0x1000), "adjacency#1");
    EXPECT_EQ(handles.name(route, 0x2000), "route#2");
    EXPECT_EQ(handles.name(route, 0x1000), "route#1");
}

TEST(Handles, WhatIsGivenOutAnewHasANewName) {
    Handles handles;
    const Type& route = behindResult("pcSimIPv4FibFind");
    EXPECT_EQ(handles.name(route, 0x1000, true), "route#1");
    EXPECT_EQ(handles.name(route, 0x1000, true), "route#2");
    EXPECT_EQ(handles.name(route, 0x1000), "route#2");
}

TEST(Handles, TypesWithoutAWordOfTheirOwnAreCalledAsTheyAre) {
    EXPECT_EQ(kindOf(*recordNamed("HalFdbRecord")->fields[0].type), "vlanInstance");
    EXPECT_EQ(kindOf(behindResult("pcSimGetCacheIf")), "cacheVlan");
    EXPECT_EQ(kindOf(behindResult("malloc")), "memory");
}

TEST(Handles, FunctionsAreCalledAsTheirOwnerSays) {
    Handles handles;
    handles.functionName = [](uint32_t address) {
        return address == 0x10 ? std::string("pcSimMgmtLinkPoll") : std::string();
    };
    EXPECT_EQ(handles.function(0x10), "pcSimMgmtLinkPoll");
    EXPECT_EQ(handles.function(0x20), "callback#1");
    EXPECT_EQ(handles.function(0x30), "callback#2");
    EXPECT_EQ(handles.function(0x20), "callback#1");
}

TEST(Handles, OfTheLibraryWhatComesBackIsNamed) {
    EXPECT_TRUE(isNamed(behindResult("pcSimIPv4FibFind")));
    EXPECT_TRUE(isNamed(behindResult("pcSimGetCacheIf")));
    EXPECT_TRUE(isNamed(behindResult("malloc")));
    EXPECT_FALSE(isNamed(behindResult("getFirstPif")));
    EXPECT_FALSE(isNamed(behindResult("pcSimCardGetCapability")));
}

}  // namespace
}  // namespace pcsim::probe
