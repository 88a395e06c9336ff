// VLAN, pif and vpif operations: traces and hardware handles.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "platform/l2/pcSimVlan.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"
#include "tests/support/stubs.h"

namespace {

using namespace pcsim::test;

// One vlanIf, one pif and the vpif that joins them, with the places of their handles.
class Vlan : public testing::Test {
protected:
    void SetUp() override {
        host().attachComponents();
        vlanIf_.hwHandle = &vlanIfHandle_;
        vlanIf_.vlanId = 4094;
        pif_.hwHandle = &pifHandle_;
        pif_.slot = 3;
        pif_.port = 17;
        vpif_.pif = &pif_;
        vpif_.vlanIf = &vlanIf_;
        vpif_.hwHandle = &vpifHandle_;
    }

    HalHwHandle* vlanIfHandle_ = nullptr;
    HalHwHandle* pifHandle_ = nullptr;
    HalHwHandle* vpifHandle_ = nullptr;
    HalVlanIf vlanIf_{};
    HalPif pif_{};
    HalVpif vpif_{};
};

void expectIncident(const char* function, const char* text) {
    ASSERT_EQ(host().incidents.size(), 1u);
    const Incident& incident = host().incidents[0];
    EXPECT_EQ(incident.text, text);
    EXPECT_EQ(incident.function, function);
    EXPECT_EQ(incident.file, "pcSimVlan.c");
    EXPECT_EQ(incident.id, 0x560005u);
    EXPECT_EQ(incident.component, &host().vlan.record);
    host().incidents.clear();
}

// --- Traces ---------------------------------------------------------------------------------

TEST_F(Vlan, CreateAndDeleteOnACard) {
    EXPECT_EQ(pcSimCardVlanCreate(8, &vlanIf_), 0);
    expectIncident("pcSimCardVlanCreate", "Create vlan id 4094 for slot 8.");
    EXPECT_EQ(pcSimCardVlanDelete(-1, &vlanIf_), 0);
    expectIncident("pcSimCardVlanDelete", "Delete vlan 4094 for slot -1.");
    vlanIf_.vlanId = 0xFFFF;
    EXPECT_EQ(pcSimCardVlanCreate(0, &vlanIf_), 0);
    expectIncident("pcSimCardVlanCreate", "Create vlan id 65535 for slot 0.");
}

TEST_F(Vlan, AddPortTellsTagAndForwardingState) {
    struct Row {
        uint32_t flags;
        uint32_t state;
        const char* text;
    };
    const Row rows[] = {
        {0x00000000, 0x00000000, "Add port for 3 port 17 - tag 0 fwdState: 0."},
        {0x00000020, 0x00000004, "Add port for 3 port 17 - tag 1 fwdState: 4."},
        {0xFFFFFFDF, 0xFFFF0000, "Add port for 3 port 17 - tag 0 fwdState: 0."},
        {0xFFFFFFFF, 0xFFFFFFFF, "Add port for 3 port 17 - tag 1 fwdState: 65535."},
        {0x00000010, 0x00018001, "Add port for 3 port 17 - tag 0 fwdState: 32769."},
    };
    for (const Row& row : rows) {
        vpif_.flags = row.flags;
        vpif_.state = row.state;
        EXPECT_EQ(pcSimCardVlanAddPort(&vpif_), 0);
        expectIncident("pcSimCardVlanAddPort", row.text);
        EXPECT_EQ(pcSimCardSyncVlanAddPort(&vpif_), 0);
        expectIncident("pcSimCardSyncVlanAddPort", row.text);
    }
}

TEST_F(Vlan, DeletePort) {
    EXPECT_EQ(pcSimCardVlanDeletePort(&vpif_), 0);
    expectIncident("pcSimCardVlanDeletePort", "Delete port for slot 3 port 17.");
}

TEST_F(Vlan, OptionEnable) {
    EXPECT_EQ(pcSimVlanOptionEnable(&vlanIf_, 12, 1), 0);
    expectIncident("pcSimVlanOptionEnable", "Enable vlan id(4094) option 12");
    EXPECT_EQ(pcSimVlanOptionEnable(&vlanIf_, -1, 0), 0);
    expectIncident("pcSimVlanOptionEnable", "Disable vlan id(4094) option -1");
    EXPECT_EQ(pcSimVlanOptionEnable(&vlanIf_, 0, 0x100), 0);
    expectIncident("pcSimVlanOptionEnable", "Enable vlan id(4094) option 0");
}

TEST_F(Vlan, ProtocolFilterNamesThePortBeforeTheSlot) {
    HalProtocolFilter filter{};
    filter.flags148 = 0x01;
    EXPECT_EQ(pcSimCardVpifCfgProtocol(&pif_, &filter, 1, 0x0800, 1), 0);
    expectIncident("pcSimCardVpifCfgProtocol", "Add protocol type=1 value=0x800 on 17:3 tag 1");
    filter.flags148 = 0xFE;
    EXPECT_EQ(pcSimCardVpifCfgProtocol(&pif_, &filter, 0xFFFF, 0xFFFF, 0), 0);
    expectIncident("pcSimCardVpifCfgProtocol",
                   "Delete protocol type=65535 value=0xffff on 17:3 tag 0");
}

TEST_F(Vlan, OnlyTheLowHalfOfA16BitArgumentCounts) {
    HalProtocolFilter filter{};
    // A caller may leave anything in the upper half of the argument's word.
    using Wide = int32_t(const HalPif*, const HalProtocolFilter*, uint32_t, uint32_t, int32_t);
    auto* operation = reinterpret_cast<Wide*>(reinterpret_cast<void*>(&pcSimCardVpifCfgProtocol));
    EXPECT_EQ(operation(&pif_, &filter, 0xABCD0002, 0x12348100, 1), 0);
    expectIncident("pcSimCardVpifCfgProtocol", "Add protocol type=2 value=0x8100 on 17:3 tag 0");
}

TEST_F(Vlan, SilentTracesSayNothingAndStillCount) {
    host().vlan.set(5, 0xFF);
    EXPECT_EQ(pcSimCardVlanDeletePort(&vpif_), 0);
    EXPECT_EQ(host().vlan.counters[5], 0u);
    host().vlan.set(6, 0xDF);
    EXPECT_EQ(pcSimCardVlanDeletePort(&vpif_), 0);
    EXPECT_EQ(host().vlan.counters[5], 1u);
    EXPECT_TRUE(host().incidents.empty());
}

TEST_F(Vlan, OperationsWithArgumentsOfTheirOwnAreSilentToo) {
    host().vlan.set(6, 0xDF);
    const HalProtocolFilter filter{};
    EXPECT_EQ(pcSimVlanOptionEnable(&vlanIf_, 12, 1), 0);
    EXPECT_EQ(pcSimCardVpifCfgProtocol(&pif_, &filter, 1, 0x0800, 1), 0);
    EXPECT_EQ(host().vlan.counters[5], 2u);
    EXPECT_TRUE(host().incidents.empty());
}

TEST_F(Vlan, StubsReturnZero) {
    expectStubs({PCSIM_VLAN_STUBS(PCSIM_STUB_ROW)}, 25);
}

// --- Hardware handles -----------------------------------------------------------------------

// The three kinds of records, each with its pair of operations.
struct Kind {
    const char* createFunction;
    const char* createText;
    const char* deleteFunction;
    const char* deleteText;
    int number;
    uint32_t value;
};

const Kind kKinds[] = {
    {"pcSimVlanIfCreate", "Creating hw vlanIf port for vlanId 4094.", "pcSimVlanIfDelete",
     "Deleting hw pif port for vlanId 4094.", 205, 1},
    {"pcSimCardPifCreate", "Creating hw pif port for slot 3 port 17.", "pcSimCardPifDelete",
     "Deleting hw pif port for slot 3 port 17.", 536, 0},
    {"pcSimVpifCreate", "Creating hw vpif port for slot 3 port 17 vlanId 4094.", "pcSimVpifDelete",
     "Deleting hw vpif port for slot 3 port 17 vlanId 4094.", 615, 0},
};

class Handle : public Vlan, public testing::WithParamInterface<int> {
protected:
    const Kind& kind() const { return kKinds[GetParam()]; }
    // Where the HAL's record keeps its handle.
    HalHwHandle*& recorded() {
        return GetParam() == 0 ? vlanIfHandle_ : GetParam() == 1 ? pifHandle_ : vpifHandle_;
    }
    int32_t create(HalHwHandle** handle) {
        switch (GetParam()) {
            case 0:
                return pcSimVlanIfCreate(&vlanIf_, handle);
            case 1:
                return pcSimCardPifCreate(&pif_, handle);
            default:
                return pcSimVpifCreate(&vpif_, handle);
        }
    }
    int32_t remove(HalHwHandle** handle) {
        switch (GetParam()) {
            case 0:
                return pcSimVlanIfDelete(&vlanIf_, handle);
            case 1:
                return pcSimCardPifDelete(&pif_, handle);
            default:
                return pcSimVpifDelete(&vpif_, handle);
        }
    }
    // Deletes and returns what was printed.
    std::string removed(HalHwHandle** handle) {
        return printed([&] { EXPECT_EQ(remove(handle), 0); });
    }
    std::string problem(const void* passed, const void* inRecord) const {
        char text[200];
        std::snprintf(text, sizeof text, "%s-%d Macro problem %p %p\n", kind().deleteFunction,
                      kind().number, passed, inRecord);
        return text;
    }
};

TEST_P(Handle, CreateGivesABlockOfItsOwnWithTheKindsValue) {
    EXPECT_EQ(create(&recorded()), 0);
    expectIncident(kind().createFunction, kind().createText);
    ASSERT_NE(recorded(), nullptr);
    EXPECT_EQ(*recorded(), kind().value);
    HalHwHandle* second = nullptr;
    EXPECT_EQ(create(&second), 0);
    EXPECT_NE(second, recorded());
    EXPECT_EQ(libc().blocksInUse, 2);
    remove(&second);
    remove(&recorded());
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST_P(Handle, CreateWithoutMemoryStoresNullAndReturnsZero) {
    uint32_t marker = 0;
    recorded() = &marker;
    libc().failNext();
    EXPECT_EQ(create(&recorded()), 0);
    expectIncident(kind().createFunction, kind().createText);
    EXPECT_EQ(recorded(), nullptr);
    EXPECT_EQ(removed(&recorded()), "");
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST_P(Handle, DeleteOfTheRecordedOneFreesItQuietly) {
    create(&recorded());
    host().incidents.clear();
    EXPECT_EQ(removed(&recorded()), "");
    expectIncident(kind().deleteFunction, kind().deleteText);
    EXPECT_EQ(recorded(), nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST_P(Handle, DeleteThroughACopyNullsTheCopyAlone) {
    create(&recorded());
    HalHwHandle* const before = recorded();
    HalHwHandle* copy = before;
    EXPECT_EQ(removed(&copy), "");
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(recorded(), before);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST_P(Handle, DeleteOfNullTracesAndFreesNothing) {
    EXPECT_EQ(removed(&recorded()), "");
    expectIncident(kind().deleteFunction, kind().deleteText);
    EXPECT_EQ(recorded(), nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST_P(Handle, DeleteOfAnotherOneSaysSoAndFreesThePassedOne) {
    create(&recorded());
    HalHwHandle* other = nullptr;
    create(&other);
    host().incidents.clear();
    const std::string expected = problem(other, recorded());
    EXPECT_EQ(removed(&other), expected);
    expectIncident(kind().deleteFunction, kind().deleteText);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(libc().blocksInUse, 1);
    EXPECT_EQ(*recorded(), kind().value);
    remove(&recorded());
}

TEST_P(Handle, DeleteOfAnotherOneWhileTheRecordHasNone) {
    HalHwHandle* other = nullptr;
    create(&other);
    const std::string expected = problem(other, nullptr);
    EXPECT_EQ(removed(&other), expected);
    EXPECT_NE(expected.find(" (nil)\n"), std::string::npos);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST_P(Handle, DeleteOfNullWhileTheRecordHasOneSaysSoAndLeavesIt) {
    create(&recorded());
    HalHwHandle* nothing = nullptr;
    const std::string expected = problem(nullptr, recorded());
    EXPECT_EQ(removed(&nothing), expected);
    EXPECT_EQ(libc().blocksInUse, 1);
    EXPECT_EQ(*recorded(), kind().value);
    remove(&recorded());
}

TEST_P(Handle, ARecordWithoutAPlaceForTheHandleCountsAsHoldingNone) {
    vlanIf_.hwHandle = nullptr;
    pif_.hwHandle = nullptr;
    vpif_.hwHandle = nullptr;
    HalHwHandle* handle = nullptr;
    create(&handle);
    const std::string expected = problem(handle, nullptr);
    EXPECT_EQ(removed(&handle), expected);
    EXPECT_EQ(libc().blocksInUse, 0);
}

TEST_P(Handle, DeleteWithoutAPlaceForTheHandleFreesNothing) {
    EXPECT_EQ(removed(nullptr), "");
    create(&recorded());
    const std::string expected = problem(nullptr, recorded());
    EXPECT_EQ(removed(nullptr), expected);
    EXPECT_EQ(libc().blocksInUse, 1);
    EXPECT_EQ(*recorded(), kind().value);
    remove(&recorded());
}

TEST_P(Handle, RecordsAreOnlyRead) {
    const HalVlanIf vlanIf = vlanIf_;
    const HalPif pif = pif_;
    const HalVpif vpif = vpif_;
    HalHwHandle* handle = nullptr;
    create(&handle);
    removed(&handle);
    EXPECT_EQ(std::memcmp(&vlanIf, &vlanIf_, sizeof vlanIf), 0);
    EXPECT_EQ(std::memcmp(&pif, &pif_, sizeof pif), 0);
    EXPECT_EQ(std::memcmp(&vpif, &vpif_, sizeof vpif), 0);
}

TEST_P(Handle, AMillionPairsLeakNothing) {
    host().vlan.set(0, 0);
    for (int i = 0; i < 1000000; ++i) {
        create(&recorded());
        ASSERT_EQ(*recorded(), kind().value);
        remove(&recorded());
    }
    EXPECT_EQ(libc().allocations, 1000000u);
    EXPECT_EQ(libc().blocksInUse, 0);
}

INSTANTIATE_TEST_SUITE_P(Kind, Handle, testing::Values(0, 1, 2));

}  // namespace
