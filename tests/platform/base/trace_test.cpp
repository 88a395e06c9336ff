// Trace sites and the ten trace operations.
#include "platform/base/trace.h"

#include <gtest/gtest.h>

#include "platform/l3/pcSimIpAdj.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"

namespace {

using pcsim::test::host;

struct Operation {
    const char* file;
    decltype(&pcSimCardTrace) send;
    HalEmsComponent** handle;
    uint32_t incidentId;
};

const Operation kOperations[] = {
    {"pcSimCard.c", pcSimCardTrace, &_ems_HAL_Card_ComponentHandle, 0x540005},
    {"pcSimCardDB.c", pcSimCardDBTrace, &_ems_HAL_Card_ComponentHandle, 0x540001},
    {"pcSimFdb.c", pcSimFdbTrace, &_ems_HAL_FDB_ComponentHandle, 0x570005},
    {"pcSimVlan.c", pcSimVlanTrace, &_ems_HAL_VLAN_ComponentHandle, 0x560005},
    {"pcSimPort.c", pcSimPortTrace, &_ems_HAL_Port_ComponentHandle, 0x550005},
    {"pcSimSystem.c", pcSimSystemTrace, &_ems_HAL_Sys_ComponentHandle, 0x520001},
    {"pcSimFan.c", pcSimFanTrace, &_ems_HAL_Sys_ComponentHandle, 0x520005},
    {"pcSimPowerSupply.c", pcSimPSTrace, &_ems_HAL_Sys_ComponentHandle, 0x520005},
    {"pcSimDevice.c", pcSimDeviceTrace, &_ems_HAL_Sys_ComponentHandle, 0x520001},
    {"pcSimIpAdj.c", pcSimIpAdjTrace, &_ems_trace_ComponentHandle, 0x680000},
};

TEST(Trace, HandlesAreNullAtLoad) {
    for (const Operation& operation : kOperations) EXPECT_EQ(*operation.handle, nullptr);
}

TEST(Trace, EachOperationAddsItsFileAndIncident) {
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.file);
        pcsim::test::Component component;
        *operation.handle = &component.record;
        host().incidents.clear();
        EXPECT_EQ(operation.send("ignored.c", 17, "someOperation", "%s-%d", "text", 3), 42);
        ASSERT_EQ(host().incidents.size(), 1u);
        const auto& incident = host().incidents[0];
        EXPECT_EQ(incident.file, operation.file);
        EXPECT_EQ(incident.line, 17);
        EXPECT_EQ(incident.function, "someOperation");
        EXPECT_EQ(incident.component, &component.record);
        EXPECT_EQ(incident.id, operation.incidentId);
        EXPECT_EQ(incident.text, "text-3");
    }
}

// --- Sites ---------------------------------------------------------------------------------------

// One site of each class with its own component, and a count of evaluated arguments.
int evaluated;
int argument() {
    return ++evaluated;
}
void errorSite() {
    TRACE_SYSTEM_ERROR("error %d", argument());
}
void infoSite() {
    TRACE_PORT("information %d", argument());
}

struct Site {
    const char* name;
    void (*run)();
    HalEmsComponent** handle;
    uint16_t minimumLevel;
    int eventClass;
    uint32_t incidentId;
};

void PrintTo(const Site& site, std::ostream* out) {
    *out << site.name;
}

const Site kSites[] = {
    {"errorSite", errorSite, &_ems_HAL_Sys_ComponentHandle, 2, 1, 0x520001},
    {"infoSite", infoSite, &_ems_HAL_Port_ComponentHandle, 6, 5, 0x550005},
};

class TraceSite : public testing::TestWithParam<Site> {
protected:
    // Runs the site once on a component at 'level' with 'mask'. The counter of the site's class
    // afterwards; no other counter may move.
    uint32_t run(uint16_t level, uint8_t mask) {
        pcsim::test::Component component;
        component.set(level, mask);
        *GetParam().handle = &component.record;
        host().incidents.clear();
        evaluated = 0;
        GetParam().run();
        uint32_t others = 0;
        for (const uint32_t counter : component.counters) others += counter;
        const uint32_t own = component.counters[GetParam().eventClass];
        EXPECT_EQ(others - own, 0u);
        return own;
    }
    uint8_t bit() const { return static_cast<uint8_t>(1 << GetParam().eventClass); }
};

INSTANTIATE_TEST_SUITE_P(Trace, TraceSite, testing::ValuesIn(kSites),
                         [](const auto& site) { return std::string(site.param.name); });

TEST_P(TraceSite, WithANullHandleNothingHappens) {
    GetParam().run();
    EXPECT_TRUE(host().incidents.empty());
    EXPECT_TRUE(host().calls.empty());
    EXPECT_EQ(evaluated, 0);
}

TEST_P(TraceSite, BelowItsLevelItNeitherCountsNorSends) {
    for (uint16_t level = 0; level < GetParam().minimumLevel; ++level) {
        EXPECT_EQ(run(level, 0xFF), 0u);
        EXPECT_TRUE(host().incidents.empty());
        EXPECT_EQ(evaluated, 0);
    }
}

TEST_P(TraceSite, MaskedItCountsAndDoesNotSend) {
    EXPECT_EQ(run(GetParam().minimumLevel, static_cast<uint8_t>(~bit())), 1u);
    EXPECT_TRUE(host().incidents.empty());
    EXPECT_EQ(evaluated, 0) << "the arguments belong to the message";
}

TEST_P(TraceSite, FromItsLevelUpwardsItCountsAndSends) {
    for (const uint16_t level : {GetParam().minimumLevel, uint16_t{7}, uint16_t{0xFFFF}}) {
        EXPECT_EQ(run(level, bit()), 1u);
        ASSERT_EQ(host().incidents.size(), 1u);
        EXPECT_EQ(host().incidents[0].id, GetParam().incidentId);
        EXPECT_EQ(host().incidents[0].function, GetParam().name);
        EXPECT_GT(host().incidents[0].line, 0);
        EXPECT_EQ(evaluated, 1);
    }
}

TEST_P(TraceSite, OnlyTheFirstByteOfTheMaskCounts) {
    pcsim::test::Component component;
    component.set(7, 0);
    component.mask[1] = 0xFF;
    *GetParam().handle = &component.record;
    GetParam().run();
    EXPECT_TRUE(host().incidents.empty());
    EXPECT_EQ(component.counters[GetParam().eventClass], 1u);
}

// --- The component that registers itself ---------------------------------------------------------

// An adjacency that finds no memory, which is an event of the 'trace' component.
void adjacencySite() {
    const pcSimIpAdjRec record{};
    pcsim::test::libc().failNext();
    EXPECT_EQ(pcSimIpAdjAdd(&record), -1);
}

TEST(Trace, TheTraceComponentIsRegisteredAtItsFirstSite) {
    host().trace.set(1, 0x01);
    adjacencySite();
    adjacencySite();
    EXPECT_EQ(host().calls, (std::vector<std::string>{"emsRegisterComponent(2, trace)"}));
    EXPECT_EQ(_ems_trace_ComponentHandle, &host().trace.record);
    ASSERT_EQ(host().incidents.size(), 2u);
    EXPECT_EQ(host().incidents[0].id, 0x680000u);
    EXPECT_EQ(host().incidents[0].component, &host().trace.record);
    EXPECT_EQ(host().trace.counters[0], 2u);
}

TEST(Trace, ATraceComponentThatCannotBeRegisteredIsAskedForAgain) {
    host().registerFillsTrace = false;
    adjacencySite();
    adjacencySite();
    EXPECT_EQ(host().calls, (std::vector<std::string>(2, "emsRegisterComponent(2, trace)")));
    EXPECT_TRUE(host().incidents.empty());
}

TEST(Trace, AHandleThatTheHostHasFilledIsNotRegistered) {
    host().trace.set(0, 0xFF);
    _ems_trace_ComponentHandle = &host().trace.record;
    adjacencySite();
    EXPECT_EQ(host().trace.counters[0], 0u) << "below its level";
    host().trace.set(1, 0xFE);
    adjacencySite();
    EXPECT_EQ(host().trace.counters[0], 1u) << "masked";
    EXPECT_TRUE(host().calls.empty());
    EXPECT_TRUE(host().incidents.empty());
}

}  // namespace
