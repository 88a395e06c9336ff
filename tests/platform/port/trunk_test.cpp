// Trunks: handles, the address algorithm, and the walk that brings a slot's members back.
#include "platform/port/pcSimTrunk.h"

#include "platform/l2/pcSimVlan.h"
#include "tests/platform/port/port_fixture.h"
#include "tests/support/stubs.h"

namespace {

using namespace pcsim::test;

using Texts = std::vector<std::string>;

constexpr uint32_t kTrunk = ofType(1, 0, 7);

class TrunkTest : public testing::Test {
protected:
    TrunkTest() { host().attachComponents(); }

    static HalPif* member(uint32_t slot, uint32_t port, uint32_t trunkInstance) {
        HalPif* pif = host().addPif(frontPanel(slot, port), static_cast<uint16_t>(slot),
                                    static_cast<uint16_t>(port));
        pif->trunkInstance = trunkInstance;
        return pif;
    }

    static Texts lookUps() {
        Texts texts;
        for (const std::string& query : host().queries)
            if (query.rfind("getPifByPortInstance", 0) == 0) texts.push_back(query);
        return texts;
    }
};

TEST_F(TrunkTest, CreateAndDeleteAreThoseOfAPif) {
    HalPif* trunk = host().addPif(kTrunk, 3, 9);
    HalHwHandle* recorded = nullptr;
    trunk->hwHandle = &recorded;
    EXPECT_EQ(pcSimTrunkCreate(trunk, &recorded), 0);
    ASSERT_NE(recorded, nullptr);
    EXPECT_EQ(*recorded, 0u);
    EXPECT_EQ(libc().blocksInUse, 1);
    EXPECT_EQ(pcSimTrunkDelete(trunk, &recorded), 0);
    EXPECT_EQ(recorded, nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
    EXPECT_EQ(host().incidentTexts(), (Texts{"Creating hw pif port for slot 3 port 9.",
                                             "Deleting hw pif port for slot 3 port 9."}));
    EXPECT_EQ(host().incidents[0].function, "pcSimCardPifCreate");
    EXPECT_EQ(host().incidents[1].function, "pcSimCardPifDelete");
}

TEST_F(TrunkTest, DeleteOfAnotherHandleIsReportedUnderThePifsName) {
    HalPif* trunk = host().addPif(kTrunk, 3, 9);
    HalHwHandle* recorded = nullptr;
    trunk->hwHandle = &recorded;
    HalHwHandle* passed = nullptr;
    EXPECT_EQ(pcSimTrunkCreate(trunk, &passed), 0);
    char expected[128];
    std::snprintf(expected, sizeof expected, "pcSimCardPifDelete-536 Macro problem %p %p\n",
                  static_cast<void*>(passed), nullptr);
    int32_t result = -99;
    EXPECT_EQ(printed([&] { result = pcSimTrunkDelete(trunk, &passed); }), expected);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(passed, nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST_F(TrunkTest, CreateWithoutMemoryStoresNullAndReturnsZero) {
    HalPif* trunk = host().addPif(kTrunk, 3, 9);
    HalHwHandle something = 0;
    HalHwHandle* handle = &something;
    libc().failNext();
    EXPECT_EQ(pcSimTrunkCreate(trunk, &handle), 0);
    EXPECT_EQ(handle, nullptr);
}

TEST_F(TrunkTest, MembersAreAccepted) {
    const uint32_t ports[] = {frontPanel(1, 1), frontPanel(1, 2)};
    EXPECT_EQ(pcSimTrunkAddPorts(host().addPif(kTrunk, 0, 7), 2, ports, 1), 0);
    EXPECT_EQ(pcSimTrunkAddPorts(nullptr, 0xFFFFFFFF, nullptr, 0), 0);
    EXPECT_TRUE(host().incidents.empty());
}

TEST_F(TrunkTest, AddressAlgorithmsOneAndTwoAreRefused) {
    for (const uint32_t algorithm : {0u, 3u, 4u, 255u, 256u, 257u, 0x80000001u, 0xFFFFFFFFu}) {
        EXPECT_EQ(pcSimTrunkConfigAddrAlgo(algorithm), 0) << algorithm;
        EXPECT_EQ(pcSimSyncLoadShareAddrAlgoSlot(1, algorithm, 1), 0) << algorithm;
    }
    for (const uint32_t algorithm : {1u, 2u}) {
        EXPECT_EQ(pcSimTrunkConfigAddrAlgo(algorithm), -1);
        EXPECT_EQ(pcSimSyncLoadShareAddrAlgoSlot(0, algorithm, 0), -1);
    }
}

// --- The walk ------------------------------------------------------------------------------------

TEST_F(TrunkTest, AHostWithoutPifsHasNothingToSync) {
    EXPECT_EQ(printed([] { EXPECT_EQ(pcSimTrunkSyncSlot(1), 0); }), "");
}

TEST_F(TrunkTest, ASlotWithoutMembersIsWalkedInSilence) {
    member(1, 1, 0);
    member(2, 1, kTrunk);                                 // another slot's
    host().addPif(kTrunk, 1, 7)->trunkInstance = kTrunk;  // no physical port
    host().addPif(ofType(2, 1, 1), 1, 1)->trunkInstance = kTrunk;
    member(1, 2, ofType(2, 1, 7));
    member(1, 3, ofType(3, 1, 7));
    member(257, 1, kTrunk);
    EXPECT_EQ(printed([] { EXPECT_EQ(pcSimTrunkSyncSlot(1), 0); }), "");
    EXPECT_EQ(lookUps(), Texts{});
    Texts walk = {"getFirstPif()"};
    for (const HalPif* pif : host().pifs) {
        char step[40];
        std::snprintf(step, sizeof step, "getNextPif(%08x)", pif->instance);
        walk.push_back(step);
    }
    EXPECT_EQ(host().queries, walk) << "every pif is visited, once and in order";
}

TEST_F(TrunkTest, EachMemberOfTheSlotIsAddedToItsTrunk) {
    member(1, 3, 0);  // in no trunk, and not the end of the walk
    member(1, 1, kTrunk);
    member(2, 1, kTrunk);
    member(1, 2, ofType(1, 0, 8));
    host().addPif(kTrunk, 0, 7);
    host().addPif(ofType(1, 0, 8), 0, 8);
    EXPECT_EQ(printed([] { EXPECT_EQ(pcSimTrunkSyncSlot(1), 0); }), "");
    EXPECT_EQ(lookUps(),
              (Texts{"getPifByPortInstance(01000007)", "getPifByPortInstance(01000008)"}));
}

TEST_F(TrunkTest, TheLastPifIsLookedAtToo) {
    host().addPif(kTrunk, 0, 7);
    member(1, 1, kTrunk);
    EXPECT_EQ(pcSimTrunkSyncSlot(1), 0);
    EXPECT_EQ(lookUps().size(), 1u);
}

TEST_F(TrunkTest, AMissingTrunkHoldsTheWalkUntilItAppears) {
    member(1, 1, kTrunk);
    member(1, 2, kTrunk);
    int attempts = 0;
    host().onPifLookup = [&] {
        if (++attempts == 1001) host().addPif(kTrunk, 0, 7);
    };
    std::string expected;
    for (int i = 0; i < 1000; ++i) expected += "No lif found\n";
    EXPECT_EQ(printed([] { EXPECT_EQ(pcSimTrunkSyncSlot(1), 0); }), expected);
    EXPECT_EQ(attempts, 1002) << "then the walk goes on";
    EXPECT_EQ(lookUps(), Texts(1002, "getPifByPortInstance(01000007)"));
}

TEST_F(TrunkTest, AMissingTrunkNoLongerHoldsAPortThatHasLeftIt) {
    HalPif* pif = member(1, 1, kTrunk);
    int attempts = 0;
    host().onPifLookup = [&] {
        if (++attempts == 3) pif->trunkInstance = 0;
    };
    EXPECT_EQ(printed([] { EXPECT_EQ(pcSimTrunkSyncSlot(1), 0); }),
              "No lif found\nNo lif found\nNo lif found\n");
}

TEST_F(TrunkTest, StubsReturnZeroWhateverTheArguments) {
    expectStubs({PCSIM_TRUNK_STUBS(PCSIM_STUB_ROW)}, 9);
}

}  // namespace
