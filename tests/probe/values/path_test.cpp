// Naming values of calls: conditions and changes, and what is said of a name or value that doesn't
// fit.
#include "probe/values/path.h"

#include <arpa/inet.h>

#include <cstring>

#include "console/error.h"
#include "pcsim/layout.h"
#include "tests/probe/values/calls.h"

namespace pcsim::probe {
namespace {

const Function& functionOf(const char* operation) {
    return *operationNamed(operation)->function;
}

bool holds(const MadeCall& call, const char* name, const std::string& value, bool within = false) {
    return ValueTest("op", call.words.function, name, value, within)
        .holds(call.words, liveMemory());
}

std::string refusal(const char* operation, const char* name, const std::string& value,
                    bool within = false) {
    try {
        const ValueTest test(operation, functionOf(operation), name, value, within);
    } catch (const CommandError& error) {
        return error.what();
    }
    return "";
}

struct Route {
    Route(const char* prefix, const char* mask, std::vector<std::pair<const char*, uint32_t>> hops)
        : bytes(sizeof(pcSimIPv4FibReq) + hops.size() * sizeof(pcSimIPv4FibSlot)) {
        auto& request = *reinterpret_cast<pcSimIPv4FibReq*>(bytes.data());
        request.prefix = inet_addr(prefix);
        request.mask = inet_addr(mask);
        request.count = static_cast<int32_t>(hops.size());
        for (size_t i = 0; i < hops.size(); ++i)
            request.slots[i] = {0, inet_addr(hops[i].first), hops[i].second, 0};
    }
    MadeCall call() { return {"pcSimPCFamIPv4FibAddEntry", {word(bytes.data())}}; }
    std::vector<uint8_t> bytes;
};

// --- Conditions
// -----------------------------------------------------------------------------------

TEST(ValueTest, OfParameters) {
    const MadeCall power("pcSimCardPowerEnable", {2, 1});
    EXPECT_TRUE(holds(power, "slot", "2"));
    EXPECT_FALSE(holds(power, "slot", "1"));
    EXPECT_TRUE(holds(power, "on", "1"));
    const MadeCall port("pcSimCardPortEnable", {0x00010003, 1});
    EXPECT_TRUE(holds(port, "port", "1:3"));
    EXPECT_TRUE(holds(port, "portInstance", "1:3"));
    EXPECT_TRUE(holds(port, "port", "0x10003"));
    EXPECT_FALSE(holds(port, "port", "1:4"));
    EXPECT_FALSE(holds(port, "port", "mgmt:1:3"));
    EXPECT_TRUE(holds({"pcSimCardPortEnable", {0x02010001, 1}}, "port", "mgmt:1:1"));
    EXPECT_TRUE(holds({"pcSimCardPortEnable", {0x01000005, 1}}, "port", "trunk:5"));
    EXPECT_TRUE(holds({"pcSimCardPowerEnable", {0xFFFFFFFF, 1}}, "slot", "-1"));
    EXPECT_TRUE(holds({"pcSimCardPowerEnable", {0xFFFFFFFF, 1}}, "slot", "0xffffffff"));
}

TEST(ValueTest, TheSlotOfAPortIsOne) {
    const MadeCall port("pcSimCardPortEnable", {0x00010003, 1});
    EXPECT_TRUE(holds(port, "slot", "1"));
    EXPECT_FALSE(holds(port, "slot", "3"));
    const MadeCall backplane("pcSimCardInternalLinkEnable", {1, 2, 1});
    EXPECT_TRUE(holds(backplane, "slot", "1"));
    EXPECT_TRUE(holds(backplane, "slot", "2"));
    EXPECT_FALSE(holds(backplane, "slot", "3"));
    EXPECT_FALSE(holds(backplane, "fromSlot", "2"));
}

TEST(ValueTest, OfARoute) {
    Route route("10.1.0.0", "255.255.0.0", {{"192.0.2.1", 10}, {"192.0.2.9", 20}});
    const MadeCall add = route.call();
    EXPECT_TRUE(holds(add, "prefix", "10.1.0.0/16"));
    EXPECT_TRUE(holds(add, "request.prefix", "10.1.0.0/255.255.0.0"));
    EXPECT_FALSE(holds(add, "prefix", "10.1.0.0/17"));
    EXPECT_FALSE(holds(add, "prefix", "10.2.0.0/16"));
    EXPECT_TRUE(holds(add, "prefix", "10.1.0.0"));
    EXPECT_TRUE(holds(add, "prefix", "10.0.0.0/8", true));
    EXPECT_TRUE(holds(add, "prefix", "10.1.0.0/16", true));
    EXPECT_FALSE(holds(add, "prefix", "10.1.0.0/24", true));
    EXPECT_FALSE(holds(add, "prefix", "11.0.0.0/8", true));
    EXPECT_TRUE(holds(add, "gateway", "192.0.2.9"));
    EXPECT_TRUE(holds(add, "gateway", "192.0.2.0/24", true));
    EXPECT_FALSE(holds(add, "gateway", "192.0.3.0/24", true));
    EXPECT_TRUE(holds(add, "vlan", "20"));
    EXPECT_FALSE(holds(add, "vlan", "30"));
    EXPECT_TRUE(holds(add, "vr", "0"));
    EXPECT_TRUE(holds(add, "count", "2"));
    Route none("10.1.0.0", "255.255.0.0", {});
    EXPECT_FALSE(holds(none.call(), "vlan", "0"));
}

TEST(ValueTest, OfAnIpv6Route) {
    std::vector<uint8_t> bytes(sizeof(pcSimIPv6FibReq));
    auto& request = *reinterpret_cast<pcSimIPv6FibReq*>(bytes.data());
    inet_pton(AF_INET6, "2001:db8:8000::", &request.prefix);
    request.maskLen = 33;
    const MadeCall add("pcSimPCFamIPv6FibAddEntry", {word(bytes.data())});
    EXPECT_TRUE(holds(add, "prefix", "2001:db8::/32", true));
    EXPECT_TRUE(holds(add, "prefix", "2001:db8:8000::/33", true));
    EXPECT_TRUE(holds(add, "prefix", "2001:db8:8000::/33"));
    EXPECT_FALSE(holds(add, "prefix", "2001:db8::/33", true));
    EXPECT_FALSE(holds(add, "prefix", "2001:db8:8000::/34", true));
    EXPECT_FALSE(holds(add, "prefix", "2001:db8:8000::/34"));
}

TEST(ValueTest, OfAnAddressOfEitherFamily) {
    pcSimIpAdjRec record{};
    record.family = HAL_IP_FAMILY_IPV4;
    record.ipAddr.words[0] = inet_addr("192.0.2.1");
    std::memcpy(record.mac, "\x02\x00\x00\x00\x00\x01", 6);
    record.port = 0x00010003;
    const MadeCall add("pcSimIpAdjAdd", {word(&record)});
    EXPECT_TRUE(holds(add, "address", "192.0.2.1"));
    EXPECT_TRUE(holds(add, "ipAddr", "192.0.2.0/24", true));
    EXPECT_FALSE(holds(add, "address", "192.0.2.2"));
    EXPECT_FALSE(holds(add, "address", "::", true));
    EXPECT_TRUE(holds(add, "mac", "0200.0000.0001"));
    EXPECT_FALSE(holds(add, "mac", "02:00:00:00:00:02"));
    EXPECT_TRUE(holds(add, "port", "1:3"));
    record.family = 0;
    EXPECT_TRUE(holds({"pcSimIpAdjRemove", {word(&record)}}, "address", "192.0.2.1"));
    record.family = 10;
    inet_pton(AF_INET6, "fe80::1", &record.ipAddr);
    EXPECT_TRUE(holds(add, "address", "fe80::1"));
    EXPECT_FALSE(holds(add, "address", "192.0.2.1"));
    // A removal is over before the port.
    EXPECT_FALSE(holds({"pcSimIpAdjRemove", {word(&record)}}, "port", "1:3"));
}

TEST(ValueTest, OfRecordsInRecords) {
    HalVlanIf vlanIf{};
    vlanIf.vlanId = 10;
    vlanIf.instance = 1010;
    HalPif pif{};
    pif.instance = 0x00010003;
    pif.slot = 1;
    HalVpif vpif{};
    vpif.pif = &pif;
    vpif.vlanIf = &vlanIf;
    vpif.flags = 0x20;
    const MadeCall add("pcSimCardVlanAddPort", {word(&vpif)});
    EXPECT_TRUE(holds(add, "vlan", "10"));
    EXPECT_FALSE(holds(add, "vlan", "11"));
    EXPECT_TRUE(holds(add, "vpif.vlanIf.instance", "1010"));
    EXPECT_TRUE(holds(add, "port", "1:3"));
    EXPECT_FALSE(holds(add, "port", "1:4"));
    EXPECT_TRUE(holds(add, "slot", "1"));
    EXPECT_TRUE(holds(add, "flags", "0x20"));
    vpif.pif = nullptr;
    EXPECT_FALSE(holds(add, "port", "1:3"));
}

TEST(ValueTest, OfArraysTextsAndPointers) {
    HalPif trunk{};
    const uint32_t members[]{0x00010001, 0x00020002};
    const MadeCall add("pcSimTrunkAddPorts", {word(&trunk), 2, word(members), 0});
    EXPECT_TRUE(holds(add, "portInstances", "2:2"));
    EXPECT_FALSE(holds(add, "portInstances", "2:3"));
    const MadeCall name("pcSimCardGetCapability", {1, word("PCSimC2")});
    EXPECT_TRUE(holds(name, "name", "PCSimC2"));
    EXPECT_FALSE(holds(name, "name", "PCSimC"));
    HalAclBindRequest bind{};
    std::strcpy(bind.name, "web");
    bind.vlan = 7;
    EXPECT_TRUE(holds({"pcSimIPv4AclConfig", {word(&bind)}}, "name", "web"));
    EXPECT_TRUE(holds({"pcSimIPv4AclConfig", {word(&bind)}}, "vlan", "7"));
    EXPECT_TRUE(holds({"pcSimPCFamFdbDump", {0}}, "sink", "null"));
    EXPECT_FALSE(holds({"pcSimPCFamFdbDump", {word(&bind)}}, "sink", "null"));
    uint32_t mask = 6;
    EXPECT_TRUE(holds({"pcSimModuleIoctl", {0, 0, word(&mask)}}, "argument", "6"));
    HalDeviceCli cli{};
    cli.keyword[0] = 6;  // no mask, whatever its bytes are
    EXPECT_FALSE(holds({"pcSimModuleIoctl", {0, 3, word(&cli)}}, "argument", "6"));
}

TEST(ValueTest, OfTheRulesOfAnAccessList) {
    HalAclRule rules[2]{};
    rules[0].length = rules[1].length = sizeof(HalAclRule) << HAL_ACL_RULE_LENGTH_SHIFT;
    rules[1].ruleIndex = 77;
    HalAclListRequest request{};
    request.ruleCount = 2;
    request.rules = rules;
    const MadeCall add("pcSimIPv4AclAdd", {word(&request)});
    EXPECT_TRUE(holds(add, "ruleIndex", "77"));
    EXPECT_FALSE(holds(add, "ruleIndex", "78"));
}

TEST(ValueTest, OfCallsIntoTheHost) {
    EXPECT_TRUE(holds({"halScheduleTask", {0x10, 1, 0, 2000, word("task")}}, "delay", "2000"));
    EXPECT_TRUE(holds({"halScheduleTask", {0x10, 1, 0, 2000, word("task")}}, "name", "task"));
    HalDeviceInfo info{};
    info.device = 3;
    EXPECT_TRUE(holds({"halUpdateDeviceInfo", {word(&info), 0}}, "device", "3"));
}

TEST(ValueTest, SaysWhatWouldBeRight) {
    EXPECT_EQ(refusal("pcSimCardPowerEnable", "port", "1:3"),
              "pcSimCardPowerEnable has no 'port' that is tested before the call; expected one of "
              "slot, on");
    EXPECT_EQ(refusal("pcSimCardPowerEnable", "slot", "one"),
              "slot 'one' has another form; expected a number of 32 bits");
    EXPECT_EQ(refusal("pcSimCardPowerEnable", "slot", "4294967296"),
              "slot '4294967296' has another form; expected a number of 32 bits");
    EXPECT_EQ(refusal("pcSimCardPowerEnable", "slot", "-2147483649"),
              "slot '-2147483649' has another form; expected a number of 32 bits");
    EXPECT_EQ(refusal("pcSimIsPortDisabled", "port", "1-3"),
              "port '1-3' has another form; expected a port, such as 1:3 or trunk:2");
    EXPECT_EQ(refusal("pcSimIsPortDisabled", "port", "300:3"),
              "port '300:3' has another form; expected a port, such as 1:3 or trunk:2");
    EXPECT_EQ(refusal("pcSimFdbHash", "mac", "1"),
              "mac '1' has another form; expected a MAC address, such as 00:11:22:aa:bb:cc");
    EXPECT_EQ(refusal("pcSimIsPortDisabled", "port", "1:3", true),
              "port is no address, and 'within' takes a prefix; leave 'within' out");
    EXPECT_EQ(refusal("pcSimCardPortLinkInfo", "link", "1"),
              "pcSimCardPortLinkInfo has 'link' as an output, which isn't known before the call; "
              "expected one of portInstance");
    EXPECT_EQ(refusal("pcSimPCFamIPv4FibAddEntry", "gateway", "fe80::1"),
              "gateway 'fe80::1' has another form; expected an IPv4 address, such as 10.0.0.1");
    EXPECT_EQ(refusal("pcSimCardVlanAddPort", "instance", "1"),
              "pcSimCardVlanAddPort has more than one 'instance'; expected one of "
              "vpif.pif.instance, vpif.vlanIf.instance");
    EXPECT_EQ(refusal("pcSimPCFamFdbDump", "sink", "1"),
              "sink '1' has another form; expected null: it is a pointer");
    EXPECT_EQ(refusal("pcSimInit", "slot", "1"),
              "pcSimInit has nothing that is tested before the call");
}

// --- Changes
// --------------------------------------------------------------------------------------

uint64_t changed(MadeCall call, const char* operation, const char* name, const std::string& value) {
    const ValueChange change(operation, call.words.function, operationNamed(operation)->side, name,
                             value);
    change.apply(call.arguments.data(), call.words.argumentWords, call.words.result);
    return call.words.result;
}

std::string changeRefusal(const char* operation, const char* name, const std::string& value) {
    try {
        const ValueChange change(operation, functionOf(operation), operationNamed(operation)->side,
                                 name, value);
    } catch (const CommandError& error) {
        return error.what();
    }
    return "";
}

TEST(ValueChange, SetsReadings) {
    uint32_t out = 5;
    changed({"pcSimFanReadTemp", {1, word(&out)}}, "pcSimFanReadTemp", "temperature", "9999");
    EXPECT_EQ(out, 9999u);
    int32_t temperature = 5;
    changed({"pcSimCardReadTemperature", {1, word(&temperature)}}, "pcSimCardReadTemperature",
            "temperature", "-40");
    EXPECT_EQ(temperature, -40);
    uint32_t link = 1, duplex = 1, speed = 2, flow = 3, extra = 0;
    const MadeCall info("pcSimCardPortLinkInfo", {0x00010003, word(&link), word(&duplex),
                                                  word(&speed), word(&flow), word(&extra)});
    changed(info, "pcSimCardPortLinkInfo", "speed", "1");
    EXPECT_EQ(speed, 1u);
    EXPECT_EQ(link, 1u);
}

TEST(ValueChange, SetsFieldsOfRecords) {
    PortStatsRecord stats{};
    changed({"pcSimCardPortGetStats", {0x00010003, word(&stats)}}, "pcSimCardPortGetStats",
            "receivedBytes", "18446744073709551615");
    EXPECT_EQ(stats.receivedBytes, ~uint64_t{0});
    HalChassisInfo info{};
    std::strcpy(info.modelName, "VORN");
    const MadeCall call("pcSimStackChassisGetInfo", {word(&info)});
    changed(call, "pcSimStackChassisGetInfo", "modelName", "X");
    EXPECT_STREQ(info.modelName, "X");
    EXPECT_EQ(info.modelName[2], '\0');
    changed(call, "pcSimStackChassisGetInfo", "ownSlot", "5");
    EXPECT_EQ(info.ownSlot, 5);
    changed(call, "pcSimStackChassisGetInfo", "mac", "02:00:00:00:00:09");
    EXPECT_EQ(info.macAddresses[0][5], 9);
    EXPECT_EQ(info.macAddresses[31][5], 9);
    HalPowerSupplyHwInfo supply{};
    changed({"pcSimStackPowerSupplyReadHwInfo", {1, word(&supply)}},
            "pcSimStackPowerSupplyReadHwInfo", "head.part.serialNumber", "SN-9");
    EXPECT_STREQ(supply.head.part.serialNumber, "SN-9");
}

TEST(ValueChange, SetsResults) {
    EXPECT_EQ(changed({"pcSimIsCardHwPresent", {1}, 5}, "pcSimIsCardHwPresent", "result", "0"), 0u);
    EXPECT_EQ(changed({"pcSimIsCardHwPresent", {1}, 5}, "pcSimIsCardHwPresent", "result", "-1"),
              0xFFFFFFFFu);
    EXPECT_EQ(
        changed({"pcSimIpAdjLookup", {0, 0, 0, 0}, 0x1000}, "pcSimIpAdjLookup", "result", "null"),
        0u);
    HalCardCapability capability{};
    changed({"pcSimCardGetCapability", {1, word("PCSimC2")}, word(&capability)},
            "pcSimCardGetCapability", "portCount", "48");
    EXPECT_EQ(capability.portCount, 48u);
}

TEST(ValueChange, SetsWhatTheHostIsCalledWith) {
    MadeCall call("halNotifyLinkStateChange", {0x02010001, 1, 1, 2, 0, 0, 0});
    const ValueChange change("halNotifyLinkStateChange", call.words.function, Side::kHost, "speed",
                             "1");
    EXPECT_EQ(change.phase(), Phase::kBefore);
    change.apply(call.arguments.data(), call.words.argumentWords, call.words.result);
    EXPECT_EQ(call.arguments[3], 1u);
    HalDeviceStatus status{};
    changed({"halUpdateDeviceStatus", {word(&status), 1}}, "halUpdateDeviceStatus", "value", "1");
    EXPECT_EQ(status.value, 1u);
    uint8_t mac[6]{};
    MadeCall system("getSystemMac", {word(mac), 0});
    const ValueChange other("getSystemMac", system.words.function, Side::kHost, "mac",
                            "02:00:00:00:00:09");
    EXPECT_EQ(other.phase(), Phase::kAfter);
    other.apply(system.arguments.data(), 2, system.words.result);
    EXPECT_EQ(mac[5], 9);
}

TEST(ValueChange, SaysWhatWouldBeRight) {
    EXPECT_EQ(
        changeRefusal("pcSimFanReadTemp", "slot", "1"),
        "pcSimFanReadTemp has no 'slot' that is handed out; expected one of temperature, result");
    EXPECT_EQ(changeRefusal("pcSimFanReadTemp", "temperature", "hot"),
              "temperature 'hot' has another form; expected a number of 32 bits");
    EXPECT_EQ(changeRefusal("pcSimStackChassisGetInfo", "modelName", "12345678"),
              "modelName '12345678' has another form; expected a text of at most 7 bytes");
    EXPECT_EQ(changeRefusal("pcSimIpAdjLookup", "result", "5"),
              "result '5' has another form; expected null: it is a pointer");
    EXPECT_EQ(changeRefusal("ptagInit", "result", "0"), "ptagInit has nothing that is handed out");
    // What a record leads to is the library's own.
    EXPECT_TRUE(changeRefusal("pcSimStackCardSlotDBSetup", "portMap", "5")
                    .starts_with("pcSimStackCardSlotDBSetup has no 'portMap' that is handed out"));
    // A route belongs to the HAL, who may keep it where it can't be written.
    EXPECT_EQ(changeRefusal("pcSimPCFamIPv4FibAddEntry", "vlan", "5"),
              "pcSimPCFamIPv4FibAddEntry has no 'vlan' that is handed out; expected one of result");
}

// --- What calls mention
// ---------------------------------------------------------------------------

TEST(Mentions, PortsAndSlots) {
    const auto port = [](const MadeCall& call, uint32_t instance) {
        return Mentions(call.words.function).port(call.words, liveMemory(), instance);
    };
    const auto slot = [](const MadeCall& call, uint32_t number) {
        return Mentions(call.words.function).slot(call.words, liveMemory(), number);
    };
    const MadeCall enable("pcSimCardPortEnable", {0x00010003, 1});
    EXPECT_TRUE(port(enable, 0x00010003));
    EXPECT_FALSE(port(enable, 0x00010004));
    EXPECT_TRUE(slot(enable, 1));
    EXPECT_FALSE(slot(enable, 3));
    EXPECT_TRUE(slot({"pcSimCardInit", {7}}, 7));
    EXPECT_TRUE(port({"pcSimHalIpv4McHwPifDel", {0x00020005}}, 0x00020005));
    HalFdbRecord record{};
    record.port = 0x00010003;
    EXPECT_TRUE(port({"pcSimPCFamFdbAddEntry", {0, 1, 0, word(&record)}}, 0x00010003));
    EXPECT_FALSE(slot({"pcSimInit", {}}, 0));
}

TEST(Names, AreShortWhereTheyAreClear) {
    const std::vector<std::string> link =
        changeableNames(functionOf("pcSimCardPortLinkInfo"), Side::kPlatform);
    EXPECT_EQ(link, (std::vector<std::string>{"link", "duplex", "speed", "flowControl", "extra",
                                              "result"}));
    const std::vector<std::string> route = testableNames(functionOf("pcSimPCFamIPv4FibAddEntry"));
    EXPECT_EQ(route, (std::vector<std::string>{"request", "vrId", "prefix", "mask", "count",
                                               "gateway", "vlan"}));
}

// Every leaf of every operation can be found under its own name.
TEST(Names, OfAllOperationsMeanOneThing) {
    for (const Operation& operation : operations()) {
        for (const std::string& name : testableNames(*operation.function)) {
            try {
                const ValueTest test(operation.name, *operation.function, name, "null");
            } catch (const CommandError& error) {
                const std::string said = error.what();
                EXPECT_TRUE(said.find("another form") != said.npos ||
                            said.find("address") != said.npos)
                    << operation.name << " " << name << ": " << said;
            }
        }
    }
}

}  // namespace
}  // namespace pcsim::probe
