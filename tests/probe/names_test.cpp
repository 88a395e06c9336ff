// The names that people write for operations.
#include "probe/interface/names.h"

#include <gtest/gtest.h>

namespace pcsim::probe {
namespace {

TEST(Names, AStarStandsForAnythingAMarkForOneCharacter) {
    for (const auto& [pattern, text] :
         std::vector<std::pair<const char*, const char*>>{{"", ""},
                                                          {"*", ""},
                                                          {"*", "abc"},
                                                          {"a*c", "ac"},
                                                          {"a*c", "abbc"},
                                                          {"a?c", "abc"},
                                                          {"*b*", "abc"},
                                                          {"a**", "a"},
                                                          {"*ab", "aab"},
                                                          {"*a*b?", "xaybz"}})
        EXPECT_TRUE(matchesWild(pattern, text)) << pattern << " " << text;
    for (const auto& [pattern, text] :
         std::vector<std::pair<const char*, const char*>>{{"", "a"},
                                                          {"?", ""},
                                                          {"a", "ab"},
                                                          {"ab", "a"},
                                                          {"a*c", "abd"},
                                                          {"a?c", "ac"},
                                                          {"*b", "abc"},
                                                          {"b*", "ab"}})
        EXPECT_FALSE(matchesWild(pattern, text)) << pattern << " " << text;
}

class GoesBy : public testing::Test {
protected:
    const Function* function = operationNamed("pcSimPCFamFdbInit")->function;
    const Callee fdbInit{"pcSimPCFamFdbInit", "HalFamilyOps", "fdbInit", function, Side::kPlatform};
};

TEST_F(GoesBy, ItsNameItsWordAndItsTableWithIt) {
    for (const char* name :
         {"pcSimPCFamFdbInit", "fdbInit", "family.fdbInit", "HalFamilyOps.fdbInit", "family.*",
          "*.fdbInit", "pcSim*", "fdb*", "family.pcSimPCFamFdb?nit"})
        EXPECT_TRUE(goesBy(name, fdbInit)) << name;
    for (const char* name : {"FdbInit", "slot.fdbInit", "family.fdbCleanup", "family", "fdb", "",
                             ".fdbInit", "family."})
        EXPECT_FALSE(goesBy(name, fdbInit)) << name;
}

TEST_F(GoesBy, ACallbackGoesByItsTypeButWildNamesTakeNoTypes) {
    const Function* const timer = functionNamed("HalTimerFn");
    ASSERT_NE(timer, nullptr);
    const Callee callback{"function at 0x1234", "", "", timer, Side::kPlatform};
    EXPECT_TRUE(goesBy("HalTimerFn", callback));
    EXPECT_FALSE(goesBy("HalTimer*", callback));
    EXPECT_FALSE(goesBy("hal*", callback));
}

TEST_F(GoesBy, DatabasesOfFansAndOfSuppliesAreToldApart) {
    const Function* const present = operationNamed("pcSimIsFanPresent")->function;
    const Callee fan{"pcSimIsFanPresent", "HalEnvDb", "isPresent", present, Side::kPlatform};
    const Callee supply{"pcSimIsPowerSupplyPresent", "HalEnvDb", "isPresent", present,
                        Side::kPlatform};
    EXPECT_TRUE(goesBy("fanDb.isPresent", fan));
    EXPECT_FALSE(goesBy("psDb.isPresent", fan));
    EXPECT_FALSE(goesBy("fanDb.isPresent", supply));
    EXPECT_TRUE(goesBy("psDb.isPresent", supply));
    EXPECT_EQ(shortTableName("HalEnvDb", fan.name), "fanDb");
    EXPECT_EQ(shortTableName("HalEnvDb", supply.name), "psDb");
}

TEST(Names, EveryTableOfTheInterfaceHasItsShortName) {
    for (const char* name :
         {"system.cardDBSetup", "cardDb.cardPowerEnable", "slot.cardPortRestart", "family.fdbInit",
          "fanDb.isPresent", "psDb.isPresent", "fanSlot.fanReadTemp", "psSlot.pSReadTemp"})
        EXPECT_EQ(calleesNamed(name).size(), 1u) << name;
}

TEST(Names, CalleesAreOperationsWordsAndHostFunctions) {
    EXPECT_EQ(calleesNamed("pcSimPCFamFdbInit").size(), 1u);
    EXPECT_EQ(calleesNamed("p2BtreeInsert").size(), 1u);
    EXPECT_GT(calleesNamed("family.*").size(), 50u);
    EXPECT_GT(calleesNamed("*").size(), operations().size());
    EXPECT_TRUE(calleesNamed("pcSimNothing").empty());
}

TEST(Names, AnUnknownNameIsAnsweredWithTheNearest) {
    EXPECT_EQ(unknownOperation("pcSimFanReadTmp"),
              "no operation goes by 'pcSimFanReadTmp'; perhaps pcSimFanReadTemp");
    EXPECT_EQ(unknownOperation("family.cardPortRestart"),
              "no operation goes by 'family.cardPortRestart'; perhaps slot.cardPortRestart, "
              "pcSimCardPortRestart");
    EXPECT_EQ(unknownOperation("quux"), "no operation goes by 'quux'; 'show coverage' lists them");
}

}  // namespace
}  // namespace pcsim::probe
