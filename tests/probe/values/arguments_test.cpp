// Making calls of what is said of them by name: every byte that the callee finds, and what is
// refused.
#include "probe/values/arguments.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <cstring>

#include "console/error.h"
#include "pcsim/layout.h"
#include "probe/values/inputs.h"

namespace pcsim::probe {
namespace {

// A HAL with one port, one thing that is kept, and VLANs by their ids.
struct FakeSupplies final : Supplies {
    HalPif port{};
    HalHwHandle handle = 7;

    const void* record(const Record& record, const std::string& word) const override {
        if (record.name == "HalPif" && word == "1:2") return &port;
        fail("no record {}", word);
    }
    void* kept(const Type& type, const std::string& word) const override {
        if (word != "h") return nullptr;
        if (type.name != "HalHwHandle") fail("h is a handle");
        return const_cast<HalHwHandle*>(&handle);
    }
    void* callback(const Function&) const override { return const_cast<HalPif*>(&port); }
    bool number(Meaning meaning, const std::string& word, int64_t& value) const override {
        value = 0x1000;
        return meaning == Meaning::kVlanInstance && word == "vlan:10";
    }
};

class ArgumentsTest : public testing::Test {
protected:
    using Values = std::vector<Written>;

    const Arguments& make(const char* operation, const Values& values) {
        made = std::make_unique<Arguments>("op", *operationNamed(operation)->function, values,
                                           supplies);
        return *made;
    }

    template <typename Record>
    const Record& behind(uint32_t place) const {
        return *reinterpret_cast<const Record*>(made->words()[place]);
    }

    std::string refusal(const char* operation, const Values& values) {
        try {
            make(operation, values);
        } catch (const CommandError& error) {
            return error.what();
        }
        return "";
    }

    FakeSupplies supplies;
    std::unique_ptr<Arguments> made;
};

TEST_F(ArgumentsTest, NumbersStandInTheirWords) {
    const Arguments& call =
        make("pcSimCardPortEnableJumbo",
             {{"portInstance", "1:3"}, {"enable", "on"}, {"frameSize", "9216"}});
    ASSERT_EQ(call.count(), 3u);
    EXPECT_EQ(call.words()[0], 0x00010003u);
    EXPECT_EQ(call.words()[1], 1u);
    EXPECT_EQ(call.words()[2], 9216u);
    EXPECT_EQ(make("pcSimCardPortEnable", {{"port", "trunk:2"}}).words()[0], 0x01000002u);
    EXPECT_EQ(make("pcSimCardPowerEnable", {{"slot", "-1"}}).words()[0], 0xFFFFFFFFu);
    EXPECT_EQ(make("pcSimCardPowerEnable", {{"slot", "0x10"}}).words()[0], 16u);
}

TEST_F(ArgumentsTest, NothingSaidIsZerosWithRoomForWhatIsWritten) {
    const Arguments& call = make("pcSimStackChassisGetInfo", {});
    ASSERT_EQ(call.made().size(), 1u);
    EXPECT_EQ(call.made()[0].bytes, sizeof(HalChassisInfo));
    EXPECT_TRUE(call.made()[0].isOutput);
    make("pcSimIpAdjAdd", {});
    const pcSimIpAdjRec zeros{};
    EXPECT_EQ(std::memcmp(&behind<pcSimIpAdjRec>(0), &zeros, sizeof zeros), 0);
    make("pcSimCardStartDownload", {});
    EXPECT_STREQ(&behind<char>(1), "");
    make("pcSimVpifCreate", {});
    EXPECT_EQ(behind<HalVpif>(0).pif->slot, 0u);
    EXPECT_EQ(behind<HalVpif>(0).vlanIf->vlanId, 0u);
    EXPECT_EQ(*behind<HalVpif>(0).hwHandle, nullptr);
    EXPECT_EQ(behind<HalHwHandle*>(1), nullptr);
}

TEST_F(ArgumentsTest, FieldsGoByTheirLastPartsWhereTheseAreClear) {
    make("pcSimIpAdjAdd", {{"vr", "3"},
                           {"ipAddr", "10.0.0.1"},
                           {"record.vlan", "10"},
                           {"mac", "02:00:00:00:00:09"},
                           {"port", "1:4"}});
    const auto& record = behind<pcSimIpAdjRec>(0);
    EXPECT_EQ(record.vrId, 3u);
    EXPECT_EQ(record.family, HAL_IP_FAMILY_IPV4);
    EXPECT_EQ(record.ipAddr.words[0], inet_addr("10.0.0.1"));
    EXPECT_EQ(record.vlan, 10u);
    EXPECT_EQ(record.mac[5], 9);
    EXPECT_EQ(record.port, 0x00010004u);
}

TEST_F(ArgumentsTest, ListsHaveTheirElementsCounted) {
    make("pcSimPCFamIPv4FibAddEntry", {{"prefix", "20.0.0.0/8"},
                                       {"slots[1].gateway", "10.0.0.2"},
                                       {"gateway", "10.0.0.1"},
                                       {"slots[1].vlan", "7"}});
    const auto& route = behind<pcSimIPv4FibReq>(0);
    EXPECT_EQ(route.prefix, inet_addr("20.0.0.0"));
    EXPECT_EQ(route.mask, inet_addr("255.0.0.0"));
    ASSERT_EQ(route.count, 2);
    EXPECT_EQ(route.slots[0].gateway, inet_addr("10.0.0.1"));
    EXPECT_EQ(route.slots[1].gateway, inet_addr("10.0.0.2"));
    EXPECT_EQ(route.slots[1].vlan, 7u);
    make("pcSimPCFamIPv4FibAddEntry", {{"count", "-1"}});
    EXPECT_EQ(behind<pcSimIPv4FibReq>(0).count, -1);
    make("pcSimTrunkAddPorts", {{"portInstances[2]", "1:3"}, {"trunk", "1:2"}});
    EXPECT_EQ(made->words()[0], reinterpret_cast<uintptr_t>(&supplies.port));
    EXPECT_EQ(made->words()[1], 3u);
    EXPECT_EQ((&behind<uint32_t>(2))[2], 0x00010003u);
}

TEST_F(ArgumentsTest, ACountThatIsSaidMakesItsRoom) {
    make("pcSimTrunkAddPorts", {{"portCount", "300"}});
    EXPECT_EQ(made->made()[1].bytes, 1200u);
    make("pcSimStackFanReadHwInfo", {{"number", "32"}});
    EXPECT_EQ(made->made()[0].bytes, sizeof(HalFanHwInfo) + 32 * sizeof(HalFanEntry));
    EXPECT_EQ(refusal("pcSimTrunkAddPorts", {{"portCount", "4000000000"}}),
              "portCount 4000000000 is more than can be made here; expected at most 4096");
    EXPECT_EQ(refusal("pcSimTrunkAddPorts", {{"portInstances[4096]", "1:1"}}),
              "portInstances can have 4096 elements here; '4096' is one too far");
}

TEST_F(ArgumentsTest, RulesAreAChainThatEnds) {
    make("pcSimIPv4AclAdd", {{"request.name", "web"}, {"rules[1].name", "b"}, {"action", "2"}});
    const auto& request = behind<HalAclListRequest>(0);
    EXPECT_STREQ(request.name, "web");
    ASSERT_EQ(request.ruleCount, 2);
    EXPECT_EQ(request.rules[0].action, 2);
    EXPECT_EQ(request.rules[0].length >> HAL_ACL_RULE_LENGTH_SHIFT, sizeof(HalAclRule));
    EXPECT_STREQ(request.rules[1].name, "b");
    EXPECT_EQ(request.rules[2].length, 0);
    make("pcSimIPv4AclAdd", {});
    EXPECT_EQ(behind<HalAclListRequest>(0).rules, nullptr);
    EXPECT_TRUE(refusal("pcSimIPv4AclAdd", {{"rules.length", "1"}})
                    .starts_with("op has no parameter 'rules.length'; expected one of request, "));
}

TEST_F(ArgumentsTest, ARequestSaysWhatItsArgumentIs) {
    make("pcSimModuleIoctl", {{"argument", "0x1E"}});
    EXPECT_EQ(behind<uint32_t>(2), 0x1Eu);
    make("pcSimModuleIoctl",
         {{"request", "3"}, {"keyword", "state"}, {"argument.arguments[1]", "5"}});
    EXPECT_STREQ(behind<HalDeviceCli>(2).keyword, "state");
    EXPECT_EQ(behind<HalDeviceCli>(2).arguments[1], 5u);
    EXPECT_EQ(make("pcSimModuleIoctl", {{"request", "9"}}).words()[2], 0u);
    EXPECT_EQ(refusal("pcSimModuleIoctl", {{"keyword", "state"}}),
              "'keyword' isn't there with the other values of this call; expected a call without "
              "it");
}

TEST_F(ArgumentsTest, PointersAreMadeKeptOrNull) {
    EXPECT_EQ(make("pcSimPCFamFdbDump", {{"sink", "null"}}).words()[0], 0u);
    EXPECT_EQ(make("pcSimPCFamFdbFlush", {{"callback", "null"}}).words()[2], 0u);
    EXPECT_NE(make("pcSimPCFamFdbFlush", {}).words()[2], 0u);
    make("pcSimCardPifDelete", {{"handle", "h"}});
    EXPECT_EQ(behind<HalHwHandle*>(1), &supplies.handle);
    EXPECT_EQ(made->made()[1].before, &supplies.handle);
    EXPECT_EQ(refusal("pcSimIpAdjAdd", {{"record", "null"}}),
              "op takes no null for 'record'; leave it out for zeros, or give it a value");
    EXPECT_EQ(refusal("pcSimCardPifDelete", {{"handle", "0x8048000"}}),
              "'0x8048000' is nothing that handle can be; expected the name of hwHandle that a "
              "call has kept with 'as', or null");
    EXPECT_EQ(refusal("pcSimPCFamFdbDeleteEntry", {{"slot", "h"}}), "h is a handle");
    EXPECT_EQ(refusal("pcSimCardPifDelete", {{"pif", "1:2"}, {"pif.slot", "1"}}),
              "'pif.slot' isn't there with the other values of this call; expected a call without "
              "it");
}

TEST_F(ArgumentsTest, ValuesOfTheHalsOwnForm) {
    make("pcSimPCFamFdbAllocEntry", {{"vlanInstance", "vlan:10"}, {"mac", "02:00:00:00:00:01"}});
    EXPECT_EQ(behind<HalFdbKey>(2).vlanInstance, 0x1000u);
    make("pcSimHalIpv4McHwCacheAdd", {{"outgoing[0].port", "3:7"}, {"group", "239.1.1.1"}});
    EXPECT_EQ(behind<HalMcastRequest>(0).outgoing[0].slot, 3);
    EXPECT_EQ(behind<HalMcastRequest>(0).outgoing[0].port, 7);
    make("pcSimPCFamIPv6FibAddEntry", {{"prefix", "2001:db8::/32"}});
    EXPECT_EQ(behind<pcSimIPv6FibReq>(0).maskLen, 32);
    EXPECT_EQ(behind<pcSimIPv6FibReq>(0).prefix.bytes[1], 1);
}

TEST_F(ArgumentsTest, WordsOfWhatTakesWhateverComes) {
    EXPECT_EQ(make("pcSimCardOffline", {}).count(), 0u);
    const Arguments& call = make("pcSimCardOffline", {{"arguments[1]", "5"}});
    ASSERT_EQ(call.count(), 2u);
    EXPECT_EQ(call.words()[1], 5u);
}

TEST_F(ArgumentsTest, WhatDoesntFitIsSaidWithWhatWould) {
    EXPECT_EQ(refusal("pcSimFanReadTemp", {{"fan", "1"}}),
              "op has no parameter 'fan'; expected one of slot");
    EXPECT_EQ(refusal("pcSimCheckpointStart", {{"x", "1"}}),
              "op takes no parameters; expected nothing behind it");
    EXPECT_EQ(refusal("pcSimFanReadTemp", {{"slot", "x"}}),
              "slot 'x' has another form; expected a number of 32 bits");
    EXPECT_EQ(refusal("pcSimFanReadTemp", {{"slot", "1"}, {"slot", "2"}}),
              "'slot' is given twice; expected one value for it");
    EXPECT_EQ(refusal("pcSimIPv4AclDel", {{"name", std::string(32, 'x')}}),
              "name 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx' has another form; expected a text of at "
              "most 31 bytes");
    EXPECT_EQ(refusal("pcSimIPv4AclAdd", {{"name", "x"}}),
              "op has more than one 'name'; expected one of request.name, request.rules[].name");
    EXPECT_EQ(refusal("pcSimPCFamIPv4FibAddEntry", {{"prefix", "2001:db8::/32"}}),
              "prefix '2001:db8::/32' has another form; expected an IPv4 prefix");
    EXPECT_EQ(refusal("pcSimModuleIoctl", {{"request", "3"}, {"argument.arguments[3]", "1"}}),
              "argument.arguments has 3 elements; expected a place from 0 to 2");
    EXPECT_EQ(refusal("pcSimFanReadTemp", {{"slot[1]", "1"}}),
              "op has no parameter 'slot[1]'; expected one of slot");
    EXPECT_EQ(refusal("pcSimFanReadTemp", {{"", "1"}}),
              "op has no parameter ''; expected one of slot");
}

TEST(Inputs, AreNamedByTheirPaths) {
    std::vector<std::string> paths;
    for (const Input& input : inputsOf(*operationNamed("pcSimHalIpv4McHwCacheGetStats")->function))
        paths.push_back(input.path());
    EXPECT_EQ(paths, (std::vector<std::string>{"stats", "stats.key.vr", "stats.key.incomingVlan",
                                               "stats.key.group", "stats.key.source"}));
}

}  // namespace
}  // namespace pcsim::probe
