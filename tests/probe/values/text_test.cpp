// Calls as text and as JSON.
#include "probe/values/text.h"

#include <arpa/inet.h>
#include <sys/mman.h>

#include <cstring>

#include "pcsim/layout.h"
#include "tests/probe/values/calls.h"

namespace pcsim::probe {
namespace {

uint32_t address(const char* text) {
    return inet_addr(text);
}

std::string before(const MadeCall& call, Handles& handles) {
    return argumentsText(call.words, liveMemory(), handles);
}
std::string before(const MadeCall& call) {
    Handles handles;
    return before(call, handles);
}
std::string after(const MadeCall& call, Handles& handles) {
    return resultText(call.words, liveMemory(), handles);
}
std::string after(const MadeCall& call) {
    Handles handles;
    return after(call, handles);
}

// --- Records with a form of their own
// -------------------------------------------------------------

struct Route {
    explicit Route(std::vector<pcSimIPv4FibSlot> slots)
        : bytes(sizeof(pcSimIPv4FibReq) + slots.size() * sizeof(pcSimIPv4FibSlot)) {
        record().count = static_cast<int32_t>(slots.size());
        for (size_t i = 0; i < slots.size(); ++i) record().slots[i] = slots[i];
    }
    pcSimIPv4FibReq& record() { return *reinterpret_cast<pcSimIPv4FibReq*>(bytes.data()); }
    std::vector<uint8_t> bytes;
};

TEST(Text, OfARoute) {
    Route route({{0, address("192.0.2.1"), 10, 0}});
    route.record().prefix = address("10.0.0.0");
    route.record().mask = address("255.0.0.0");
    const MadeCall add("pcSimPCFamIPv4FibAddEntry", {word(route.bytes.data())}, 0);
    EXPECT_EQ(before(add), "vr 0 10.0.0.0/8 via 192.0.2.1 vlan 10");
    EXPECT_EQ(after(add), "0");
    EXPECT_EQ(after({"pcSimPCFamIPv4FibAddEntry", {word(route.bytes.data())}, 0xFFFFFFFF}), "-1");
}

TEST(Text, OfARouteWithManyWaysOrNone) {
    Route two({{0, address("192.0.2.1"), 10, 0}, {0, address("192.0.2.9"), 20, 0}});
    two.record().vrId = 2;
    two.record().prefix = address("10.1.0.0");
    two.record().mask = address("255.255.0.255");
    EXPECT_EQ(before({"pcSimPCFamIPv4FibDeleteEntry", {word(two.bytes.data())}}),
              "vr 2 10.1.0.0/255.255.0.255 via 192.0.2.1 vlan 10 via 192.0.2.9 vlan 20");
    Route none({});
    EXPECT_EQ(before({"pcSimPCFamIPv4FibDeleteEntry", {word(none.bytes.data())}}),
              "vr 0 0.0.0.0/0");
}

TEST(Text, OfAnIpv6Route) {
    std::vector<uint8_t> bytes(sizeof(pcSimIPv6FibReq) + sizeof(pcSimIPv6FibSlot));
    auto& request = *reinterpret_cast<pcSimIPv6FibReq*>(bytes.data());
    inet_pton(AF_INET6, "2001:db8::", &request.prefix);
    request.maskLen = 32;
    request.count = 1;
    inet_pton(AF_INET6, "fe80::1", &request.slots[0].gateway);
    request.slots[0].vlan = 7;
    EXPECT_EQ(before({"pcSimPCFamIPv6FibAddEntry", {word(bytes.data())}}),
              "vr 0 2001:db8::/32 via fe80::1 vlan 7");
}

TEST(Text, OfAnAdjacency) {
    pcSimIpAdjRec record{};
    record.family = HAL_IP_FAMILY_IPV4;
    record.ipAddr.words[0] = address("192.0.2.1");
    record.vlan = 10;
    std::memcpy(record.mac, "\x02\x00\x00\x00\x00\x01", 6);
    record.port = 0x00010003;
    EXPECT_EQ(before({"pcSimIpAdjAdd", {word(&record)}}),
              "vr 0 192.0.2.1 vlan 10 mac 02:00:00:00:00:01 port 1:3");
    // A removal looks at the key alone.
    EXPECT_EQ(before({"pcSimIpAdjRemove", {word(&record)}}), "vr 0 192.0.2.1 vlan 10");
    EXPECT_EQ(after({"pcSimIpAdjRemove", {word(&record)}}), "");
    record.family = 0;  // which a removal doesn't look at
    EXPECT_EQ(before({"pcSimIpAdjRemove", {word(&record)}}), "vr 0 192.0.2.1 vlan 10");
    record.family = 10;
    inet_pton(AF_INET6, "fe80::1", &record.ipAddr);
    EXPECT_EQ(before({"pcSimIpAdjRemove", {word(&record)}}), "vr 0 fe80::1 vlan 10");
}

TEST(Text, OfTheRecordsOfInterfaces) {
    HalVlanIf vlanIf{};
    vlanIf.vlanId = 10;
    vlanIf.instance = 1010;
    HalPif pif{};
    pif.instance = 0x00010003;
    HalVpif vpif{};
    vpif.pif = &pif;
    vpif.vlanIf = &vlanIf;
    vpif.flags = HAL_VPIF_TAGGED;
    vpif.state = 3;
    EXPECT_EQ(before({"pcSimCardVlanCreate", {1, word(&vlanIf)}}), "slot 1 vlan 10 instance 1010");
    EXPECT_EQ(before({"pcSimCardVlanAddPort", {word(&vpif)}}),
              "port 1:3 vlan 10 instance 1010 state 0x3 flags 0x20");
    pif.instance = 0x01000005;
    const uint32_t members[]{0x00010001, 0x00020002};
    EXPECT_EQ(before({"pcSimTrunkAddPorts", {word(&pif), 2, word(members), 0}}),
              "port trunk:5 portCount 2 portInstances [1:1 2:2] flag 0");
}

TEST(Text, OfAMulticastRequest) {
    std::vector<uint8_t> bytes(sizeof(HalMcastRequest) + 2 * sizeof(HalMcastOutgoing));
    auto& request = *reinterpret_cast<HalMcastRequest*>(bytes.data());
    request.key = {2, 1010, 0, address("239.1.1.1"), address("10.0.0.7")};
    request.outgoingCount = 2;
    request.outgoing[0] = {1020, 3, 1, 0, 0};
    request.outgoing[1] = {1030, 4, 2, 0xA000, 0};
    const uint32_t at = word(bytes.data());
    EXPECT_EQ(before({"pcSimHalIpv4McHwCacheAdd", {at}}),
              "vr 2 group 239.1.1.1 source 10.0.0.7 vlanInstance 1010 "
              "to 1:3 vlanInstance 1020 to 2:4 vlanInstance 1030 portWord 0xa000");
    EXPECT_EQ(before({"pcSimHalIpv4McHwCacheDel", {at}}),
              "vr 2 group 239.1.1.1 source 10.0.0.7 vlanInstance 1010");
}

TEST(Text, OfTheMacTable) {
    HalFdbRecord record{};
    record.vlanInstance = 1010;
    std::memcpy(record.mac, "\x02\x00\x00\x00\x00\x01", 6);
    record.port = 0x00010003;
    HalFdbEntry entry{};
    Handles handles;
    const MadeCall add("pcSimPCFamFdbAddEntry", {0x77, 5, word(&entry), word(&record)});
    EXPECT_EQ(before(add, handles),
              "handle 5 slot entry#1 vlanInstance 1010 mac 02:00:00:00:00:01 port 1:3");
    HalFdbEntry* slot = &entry;
    uint32_t handle = 5;
    const MadeCall alloc("pcSimPCFamFdbAllocEntry", {word(&handle), word(&slot), word(&record)});
    EXPECT_EQ(before(alloc, handles), "vlanInstance 1010 mac 02:00:00:00:00:01");
    EXPECT_EQ(after(alloc, handles), "0 handle 5 slot entry#1");
    const MadeCall read("pcSimPCFamFdbReadEntry", {word(&slot), word(&record)});
    EXPECT_EQ(before(read, handles), "slot entry#1");
    EXPECT_EQ(after(read, handles), "0 vlanInstance 1010 mac 02:00:00:00:00:01 port 1:3");
}

// --- All others
// -----------------------------------------------------------------------------------

TEST(Text, OfPlainParametersAndOutputs) {
    EXPECT_EQ(before({"pcSimCardPowerEnable", {1, 1}}), "slot 1 on 1");
    EXPECT_EQ(before({"pcSimIsPortDisabled", {0x00010003}}), "portInstance 1:3");
    EXPECT_EQ(before({"pcSimIsPortDisabled", {0x02010001}}), "portInstance mgmt:1:1");
    EXPECT_EQ(before({"pcSimIsPortDisabled", {0x05010001}}), "portInstance 0x05010001");
    uint32_t link = 1, duplex = 1, speed = 2, flow = 0, extra = 0;
    const MadeCall call("pcSimCardPortLinkInfo", {0x00010003, word(&link), word(&duplex),
                                                  word(&speed), word(&flow), word(&extra)});
    EXPECT_EQ(before(call), "portInstance 1:3");
    EXPECT_EQ(after(call), "0 link 1 duplex 1 speed 2 flowControl 0 extra 0");
    EXPECT_EQ(before({"pcSimCardOffline", {1, 2, 3}}), "");
    EXPECT_EQ(after({"pcSimCardOffline", {1, 2, 3}}), "0");
    EXPECT_EQ(after({"ptagInit", {}}), "");
}

TEST(Text, LeavesOutWhatIsReservedIgnoredOrZero) {
    HalChassisInfo info{};
    std::memset(info.reserved8, 0x5A, sizeof info.reserved8);
    std::strcpy(info.modelName, "VM");
    std::memcpy(info.macAddresses[0], "\x02\x00\x00\x00\x00\x01", 6);
    info.ownSlot = 9;
    const MadeCall call("pcSimStackChassisGetInfo", {word(&info)});
    EXPECT_EQ(before(call), "");
    EXPECT_EQ(after(call),
              "0 info {modelName \"VM\", macAddresses [02:00:00:00:00:01 31 zero], ownSlot 9}");
    EXPECT_EQ(before({"pcSimPCFamFdbFlush", {1, 2, 0, 3, 4}}),
              "callback null argument1 3 argument2 4");
}

TEST(Text, LeavesOutFieldsThatAreIgnored) {
    const HalPortAutoNeg config{.word0 = 7, .on = 1, .speed = 2};
    EXPECT_EQ(before({"pcSimCardPortConfigAutoNeg", {0x00010003, word(&config)}}),
              "portInstance 1:3 config {on 1, speed 2}");
}

TEST(Text, LeavesOutWhatDiffersFromRunToRun) {
    HalPartInfo part{};
    part.byte64 = 3;
    part.timeStamp = 1'700'000'000;
    EXPECT_EQ(after({"pcSimStackCardGetPartInfo", {1, word(&part)}}), "0 part {byte64 3}");
    EXPECT_EQ(after({"monotime", {0}, 1234}), "varies");
    int32_t now = 1'700'000'000;
    EXPECT_EQ(after({"time", {word(&now)}, 1'700'000'000}), "varies");
}

TEST(Text, OfACodeHasItsSignWhateverTheTypeIs) {
    uint32_t out = 0;
    EXPECT_EQ(after({"pcSimFanReadTemp", {1, word(&out)}, 0xFFFFFFFF}), "-1 temperature 0");
    EXPECT_EQ(after({"pcSimFanReadTemp", {1, word(&out)}, 0x80000000}), "2147483648 temperature 0");
}

TEST(Text, OfTablesIsHowManyFunctionsTheyHave) {
    HalFamilyOps table{};
    table.fdbInit = reinterpret_cast<HalFdbInitFn*>(0x10);
    table.fdbDump = reinterpret_cast<HalFdbDumpFn*>(0x20);
    EXPECT_EQ(after({"pcSimFamilyDBSetup", {0, word(&table)}}), "0 table {functions 2}");
    HalPSSlotDb db{};
    EXPECT_EQ(after({"pcSimStackPSSlotDBSetup", {1, word(&db)}}), "0 record {}");
}

TEST(Text, OfHandles) {
    Handles handles;
    HalVlanIf vlanIf{};
    vlanIf.vlanId = 10;
    HalHwHandle block = 1;
    HalHwHandle* handle = &block;
    const MadeCall create("pcSimVlanIfCreate", {word(&vlanIf), word(&handle)});
    EXPECT_EQ(before(create, handles), "vlan 10 instance 0");
    EXPECT_EQ(after(create, handles), "0 handle hwHandle#1");
    const MadeCall remove("pcSimVlanIfDelete", {word(&vlanIf), word(&handle)});
    EXPECT_EQ(before(remove, handles), "vlan 10 instance 0 handle hwHandle#1");
    handle = nullptr;
    EXPECT_EQ(after(remove, handles), "0 handle null");
    handle = &block;
    EXPECT_EQ(after(create, handles), "0 handle hwHandle#2");
    EXPECT_EQ(after({"pcSimIPv4FibFind", {0, 0, 0}, 0}, handles), "null");
    EXPECT_EQ(after({"pcSimIPv4FibFind", {0, 0, 0}, 0x5000}, handles), "route#1");
    EXPECT_EQ(before({"rtAttachIpAdjEntry", {0x6000, 0x7000}}, handles),
              "entry adjacency#1 nextHop nextHop#1");
}

TEST(Text, OfFunctionsIsTheirName) {
    Handles handles;
    handles.functionName = [](uint32_t) { return std::string("pcSimMgmtLinkPoll"); };
    EXPECT_EQ(before({"halStartTimer", {0x10, 1, 0, 1000, 0}}, handles),
              "callback pcSimMgmtLinkPoll argument 1 periodMs 1000");
    EXPECT_EQ(before({"halStartTimer", {0x10, 1, 7, 1000, 0}}, handles),
              "callback pcSimMgmtLinkPoll argument 1 zero1 7 periodMs 1000");
}

TEST(Text, OfTexts) {
    EXPECT_EQ(before({"pcSimCardGetCapability", {1, word("a \"b\"\n\x01")}}),
              "slot 1 name \"a \\\"b\\\"\\n\\x01\"");
    EXPECT_EQ(after({"getSlotName", {1}, word("Slot-1")}), "\"Slot-1\"");
    const std::string longText(500, 'x');
    EXPECT_EQ(before({"pcSimCardStartDownload", {1, word(longText.c_str())}}),
              "slot 1 image \"" + std::string(200, 'x') + "\"... (500 bytes)");
}

TEST(Text, OfMessages) {
    EXPECT_EQ(
        before({"pcSimCardTrace",
                {word("f.c"), 12, word("here"), word("%d of %-4u|%s %5.1s %llx %%"), 0xFFFFFFFF, 7,
                 word("one"), word("two"), 0x89ABCDEF, 0x1}}),
        "file \"f.c\" line 12 function \"here\" message \"-1 of 7   |one     t 189abcdef %\"");
    EXPECT_EQ(
        before({"pcSimCardTrace", {word("f.c"), 12, word("here"), word("%p %s %d"), 0x1234, 0}}),
        "file \"f.c\" line 12 function \"here\" message \"? (null) ?\"");
    const double real = 2.5;
    uint32_t words[2];
    std::memcpy(words, &real, sizeof words);
    EXPECT_EQ(before({"emsNotifyIncident",
                      {word("f.c"), 1, word("here"), 0x10, 0x540005, word("%.2f"), word(words)}}),
              "file \"f.c\" line 1 function \"here\" component component#1 incidentId 0x540005 "
              "message \"2.50\"");
}

TEST(Text, OfAMessageWhoseTextHasNoEnd) {
    auto* const pages = static_cast<char*>(
        mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(pages, MAP_FAILED);
    ASSERT_EQ(mprotect(pages + 4096, 4096, PROT_NONE), 0);
    char* const text = pages + 4096 - 3;
    std::memcpy(text, "abc", 3);
    const auto message = [&](const char* format, std::vector<uint32_t> words) {
        words.insert(words.begin(), {word("f"), 1, word("g"), word(format)});
        return before({"pcSimCardTrace", words});
    };
    EXPECT_EQ(message("%.3s", {word(text)}), "file \"f\" line 1 function \"g\" message \"abc\"");
    EXPECT_EQ(message("%.*s", {3, word(text)}), "file \"f\" line 1 function \"g\" message \"abc\"");
    EXPECT_EQ(message("%s", {word(text)}), "file \"f\" line 1 function \"g\" message \"?\"");
    munmap(pages, 8192);
}

TEST(Text, OfBytes) {
    const uint8_t message[40] = {1, 2, 3};
    EXPECT_EQ(before({"replyHandleSend", {7, 0x9001, word(message), 4, 1}}),
              "handle 7 messageId 0x9001 message 0x01020300 length 4 flag 1");
    EXPECT_EQ(before({"replyHandleSend", {7, 0x9001, word(message), 40, 1}}),
              "handle 7 messageId 0x9001 message 0x010203" + std::string(58, '0') +
                  "... (40 bytes) length 40 flag 1");
    const uint8_t mac[] = {0, 1, 2, 0xAA, 0xBB, 0xCC};
    EXPECT_EQ(before({"pcSimFdbHash", {word(mac)}}), "mac 00:01:02:aa:bb:cc");
}

TEST(Text, OfModuleControl) {
    uint32_t mask = 6;
    EXPECT_EQ(before({"pcSimModuleIoctl", {0, 0, word(&mask)}}), "request 0 argument 0x6");
    HalDeviceCli cli{};
    std::strcpy(cli.keyword, "state");
    cli.arguments[1] = 2;
    EXPECT_EQ(before({"pcSimModuleIoctl", {0, 3, word(&cli)}}),
              "request 3 argument {keyword \"state\", arguments [0 2 0]}");
    EXPECT_EQ(before({"pcSimModuleIoctl", {0, 9, 0x10}}), "request 9 argument memory#1");
}

TEST(Text, OfALongListIsCut) {
    const std::vector<uint32_t> members(300, 0x00010001);
    HalPif pif{};
    const MadeCall call("pcSimTrunkAddPorts", {word(&pif), 300, word(members.data()), 0});
    const std::string text = before(call);
    EXPECT_TRUE(text.ends_with(" 1:1 1:1 ... 44 more] flag 0")) << text;
    Route route(std::vector<pcSimIPv4FibSlot>(257));
    EXPECT_TRUE(before({"pcSimPCFamIPv4FibAddEntry", {word(route.bytes.data())}})
                    .ends_with(" via 0.0.0.0 vlan 0 ... 1 more"));
    Handles handles;
    EXPECT_TRUE(jsonOf(argumentsOf(call.words, liveMemory(), handles))
                    .ends_with("\"1:1\",\"... 44 more\"],\"flag\":0}"));
}

TEST(Text, OfRulesOfAnAccessList) {
    HalAclRule rules[2]{};
    std::strcpy(rules[0].name, "first");
    rules[0].action = 1;
    rules[0].length = sizeof(HalAclRule) << HAL_ACL_RULE_LENGTH_SHIFT;
    rules[1].ruleIndex = 2;
    rules[1].length = sizeof(HalAclRule) << HAL_ACL_RULE_LENGTH_SHIFT;
    HalAclListRequest request{};
    std::strcpy(request.name, "web");
    request.ruleCount = 2;
    request.rules = rules;
    EXPECT_EQ(before({"pcSimIPv4AclAdd", {word(&request)}}),
              "request {name \"web\", ruleCount 2, rules [{name \"first\", action 1, length 3072}, "
              "{ruleIndex 2, length 3072}]}");
}

TEST(Text, OfAQuestionAndItsAnswerInOneRecord) {
    HalMcastStats stats{};
    stats.key.group = address("239.1.1.1");
    stats.first[0] = 5;
    const MadeCall call("pcSimHalIpv4McHwCacheGetStats", {word(&stats)});
    EXPECT_EQ(before(call), "stats {vr 0 group 239.1.1.1}");
    EXPECT_EQ(after(call), "0 stats {first [5 0]}");
}

TEST(Text, OfWhatTheLibraryReports) {
    HalDeviceInfo info{};
    info.reportedState = 2;
    info.device = 1;
    std::strcpy(info.version, "1.2");
    EXPECT_EQ(before({"halUpdateDeviceInfo", {word(&info), 5}}),
              "info {reportedState 2, device 1, version \"1.2\"} reply 5");
}

TEST(Text, OfTheSameCallsIsTheSameText) {
    const auto run = [] {
        Handles handles;
        std::string text;
        for (const uint32_t at : {0x1000u, 0x2000u, 0x1000u})
            text += after({"pcSimIpAdjLookup", {0, 0, 0, 1}, at}, handles) + " ";
        return text;
    };
    EXPECT_EQ(run(), "adjacency#1 adjacency#2 adjacency#1 ");
    EXPECT_EQ(run(), run());
}

// --- JSON
// -----------------------------------------------------------------------------------------

TEST(Json, HasTheWholeRecordUnderItsNames) {
    Route route({{0, address("192.0.2.1"), 10, 0}});
    route.record().prefix = address("10.0.0.0");
    route.record().mask = address("255.0.0.0");
    const MadeCall add("pcSimPCFamIPv4FibAddEntry", {word(route.bytes.data())}, 0xFFFFFFFF);
    Handles handles;
    EXPECT_EQ(jsonOf(argumentsOf(add.words, liveMemory(), handles)),
              "{\"request\":{\"vrId\":0,\"prefix\":\"10.0.0.0\",\"mask\":\"255.0.0.0\",\"count\":1,"
              "\"slots\":[{\"gateway\":\"192.0.2.1\",\"vlan\":10}]}}");
    EXPECT_EQ(jsonOf(resultsOf(add.words, liveMemory(), handles)), "{\"result\":-1}");
}

TEST(Json, NullsTextsAndBytesThatAreNoCharacters) {
    Handles handles;
    const MadeCall call("pcSimCardGetCapability", {1, word("\xFF\"")}, 0);
    EXPECT_EQ(jsonOf(argumentsOf(call.words, liveMemory(), handles)),
              "{\"slot\":1,\"name\":\"\xEF\xBF\xBD\\\"\"}");
    EXPECT_EQ(jsonOf(resultsOf(call.words, liveMemory(), handles)), "{\"result\":null}");
}

}  // namespace
}  // namespace pcsim::probe
