// The memory behind calls: what is found, how long it is, and what is left alone.
#include "probe/values/blocks.h"

#include <sys/mman.h>

#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <map>

#include "pcsim/layout.h"
#include "tests/probe/values/calls.h"

namespace pcsim::probe {
namespace {

std::string placeOf(const CallWords& call, const Block& block) {
    if (block.place == kResultPlace) return "result";
    if (block.place == kVariadicPlace) return "argument" + std::to_string(block.index);
    if (block.parent == nullptr) return std::string(call.function.parameters[block.place].name);
    std::string path = placeOf(call, *block.parent);
    if (block.parent->element->kind != Kind::kRecord) return "*" + path;
    return path + "." + std::string(block.parent->element->record->fields[block.place].name);
}

// What is found, one line each: place, type, bytes, and how it crosses.
std::string found(const MadeCall& call, Phase phase) {
    std::string lines;
    visitBlocks(call.words, phase, liveMemory(), [&](const Block& block) {
        lines += placeOf(call.words, block) + " " + std::string(block.element->name) + " " +
                 std::to_string(block.bytes);
        if (block.count != 1) lines += " of " + std::to_string(block.count);
        if (block.tailCount != 0) lines += " tail " + std::to_string(block.tailCount);
        if (block.written) lines += block.read ? " in-out" : " out";
        if (block.owner() == Owner::kPlatform) lines += " platform";
        if (block.owner() == Owner::kHost) lines += " host";
        lines += "\n";
    });
    return lines;
}

// A record with room for an array behind it.
template <typename Record>
struct WithTail {
    explicit WithTail(size_t tailBytes) : bytes(sizeof(Record) + tailBytes) {}
    Record* operator->() { return reinterpret_cast<Record*>(bytes.data()); }
    uint32_t address() { return word(bytes.data()); }
    std::vector<uint8_t> bytes;
};

TEST(Blocks, OfARouteAreTheRequestAndItsSlots) {
    WithTail<pcSimIPv4FibReq> request(3 * sizeof(pcSimIPv4FibSlot));
    request->count = 3;
    const MadeCall add("pcSimPCFamIPv4FibAddEntry", {request.address()});
    EXPECT_EQ(found(add, Phase::kBefore), "request pcSimIPv4FibReq 64 tail 3\n");
    EXPECT_EQ(found(add, Phase::kAfter), "");
    request->count = -1;
    EXPECT_EQ(found(add, Phase::kBefore), "request pcSimIPv4FibReq 16\n");
    request->count = 0;
    EXPECT_EQ(found(add, Phase::kBefore), "request pcSimIPv4FibReq 16\n");
}

TEST(Blocks, AFlushHasOneSlotWhateverTheCountSays) {
    WithTail<pcSimIPv4FibReq> request(sizeof(pcSimIPv4FibSlot));
    for (const int32_t count : {0, -1, 77, 1 << 30}) {
        request->count = count;
        const MadeCall flush("pcSimPCFamIPv4FibFlush", {request.address()});
        EXPECT_EQ(found(flush, Phase::kBefore), "filter pcSimIPv4FibReq 32 tail 1\n");
    }
    WithTail<pcSimIPv6FibReq> six(sizeof(pcSimIPv6FibSlot));
    six->count = 200;
    const MadeCall flush("pcSimPCFamIPv6FibFlush", {six.address()});
    EXPECT_EQ(found(flush, Phase::kBefore), "filter pcSimIPv6FibReq 52 tail 1\n");
}

TEST(Blocks, AByteIsACountWithoutASign) {
    WithTail<pcSimIPv6FibReq> request(255 * sizeof(pcSimIPv6FibSlot));
    request->count = 255;
    const MadeCall add("pcSimPCFamIPv6FibAddEntry", {request.address()});
    EXPECT_EQ(found(add, Phase::kBefore), "request pcSimIPv6FibReq 7164 tail 255\n");
}

TEST(Blocks, EndWhereTheCalleeStopsLooking) {
    pcSimIpAdjRec record{};
    EXPECT_EQ(found({"pcSimIpAdjRemove", {word(&record)}}, Phase::kBefore),
              "record pcSimIpAdjRec 28\n");
    EXPECT_EQ(found({"pcSimIpAdjAdd", {word(&record)}}, Phase::kBefore),
              "record pcSimIpAdjRec 64\n");
    HalMcastKey key{};
    EXPECT_EQ(found({"pcSimHalIpv4McHwCacheFlush", {word(&key)}}, Phase::kBefore),
              "request HalMcastRequest 20\n");
    // Without the two bytes that a compiler puts behind the last field.
    HalFdbKey fdbKey{};
    uint32_t handle = 0;
    HalFdbEntry* slot = nullptr;
    EXPECT_EQ(found({"pcSimPCFamFdbAllocEntry", {word(&handle), word(&slot), word(&fdbKey)}},
                    Phase::kBefore),
              "handle uint32_t 4 out\nslot HalFdbEntry * 4 out\nkey HalFdbKey 10\n");
}

TEST(Blocks, OutputsAreReadAfterTheCall) {
    uint32_t handle = 5;
    HalFdbEntry entry{};
    HalFdbEntry* slot = &entry;
    HalFdbKey key{};
    const MadeCall call("pcSimPCFamFdbAllocEntry", {word(&handle), word(&slot), word(&key)});
    EXPECT_EQ(found(call, Phase::kAfter),
              "handle uint32_t 4 out\nslot HalFdbEntry * 4 out\n"
              "*slot HalFdbEntry 28 platform\n");
}

TEST(Blocks, ContentIsThereWhenItIsKnown) {
    uint32_t out = 7;
    const MadeCall call("pcSimStackFanReadRpm", {1, 2, word(&out)});
    visitBlocks(call.words, Phase::kBefore, liveMemory(), [&](const Block& block) {
        EXPECT_EQ(block.content, nullptr);
        EXPECT_EQ(block.address, word(&out));
        EXPECT_FALSE(block.read);
    });
    int blocks = 0;
    visitBlocks(call.words, Phase::kAfter, liveMemory(), [&](const Block& block) {
        EXPECT_EQ(block.content, &out);
        ++blocks;
    });
    EXPECT_EQ(blocks, 1);
}

// --- Counts
// ---------------------------------------------------------------------------------------

TEST(Blocks, ArraysAreCountedByAnotherParameter) {
    HalPif pif{};
    const uint32_t members[3]{};
    const MadeCall call("pcSimTrunkAddPorts", {word(&pif), 3, word(members), 0});
    EXPECT_EQ(found(call, Phase::kBefore),
              "trunk HalPif 1736 host\nportInstances HalPortInstance 12 of 3\n");
    const MadeCall none("pcSimTrunkAddPorts", {word(&pif), 0, word(members), 0});
    EXPECT_EQ(found(none, Phase::kBefore), "trunk HalPif 1736 host\n");
}

TEST(Blocks, BytesAreCountedByAnotherParameter) {
    const char message[20] = "";
    EXPECT_EQ(found({"replyHandleSend", {1, 0x9001, word(message), 20, 1}}, Phase::kBefore),
              "message void 20 of 20\n");
    EXPECT_EQ(found({"replyHandleSend", {1, 0x9001, word(message), 0, 1}}, Phase::kBefore), "");
}

TEST(Blocks, NamesOfFansAreAsManyAsTheRecordSays) {
    WithTail<HalFanHwInfo> info(32 * sizeof(HalFanEntry));
    const MadeCall call("pcSimStackFanReadHwInfo", {2, info.address()});
    EXPECT_EQ(found(call, Phase::kBefore), "info HalFanHwInfo 264 out\n");
    info->fanCount = 2;
    EXPECT_EQ(found(call, Phase::kAfter), "info HalFanHwInfo 304 tail 2 out\n");
    info->fanCount = 33;
    EXPECT_EQ(found(call, Phase::kAfter), "info HalFanHwInfo 264 out\n");
}

TEST(Blocks, RulesAreLaidOneAfterTheOther) {
    const auto rules = std::make_unique<uint8_t[]>(48 + 100 + 48);
    const auto setLength = [&](size_t at, uint16_t bytes) {
        const auto length = static_cast<uint16_t>(bytes << 6);
        std::memcpy(rules.get() + at + offsetof(HalAclRule, length), &length, sizeof length);
    };
    setLength(0, 48);
    setLength(48, 100);
    setLength(148, 0);
    HalAclListRequest request{};
    request.ruleCount = 5;
    request.rules = reinterpret_cast<HalAclRule*>(rules.get());
    const MadeCall add("pcSimIPv4AclAdd", {word(&request)});
    EXPECT_EQ(found(add, Phase::kBefore),
              "request HalAclListRequest 104\nrequest.rules HalAclRule 148 of 2\n");
    request.ruleCount = 1;
    EXPECT_EQ(found(add, Phase::kBefore),
              "request HalAclListRequest 104\nrequest.rules HalAclRule 48\n");
    // What the platform may have freed is not looked at again.
    EXPECT_EQ(found(add, Phase::kAfter), "");
}

TEST(Blocks, AnAbsurdCountIsCut) {
    const MadeCall call("replyHandleSend", {1, 0x9001, word(stdout), 0xFFFFFFFF, 1});
    const uint32_t bytes = 1024 * 1024;
    visitBlocks(call.words, Phase::kBefore, liveMemory(),
                [&](const Block& block) { EXPECT_LE(block.bytes, bytes); });
}

TEST(Blocks, AsManyBytesAsTheResultSays) {
    char buffer[64]{};
    const std::vector<uint32_t> words{3, word(buffer), 64, 0};
    EXPECT_EQ(found({"pread", words, 10}, Phase::kAfter), "buffer void 10 of 10 out\n");
    EXPECT_EQ(found({"pread", words, 0}, Phase::kAfter), "");
    EXPECT_EQ(found({"pread", words, 0xFFFFFFFF}, Phase::kAfter), "");
    EXPECT_EQ(found({"pread", words, 1000}, Phase::kAfter), "buffer void 64 of 64 out\n");
}

// --- Pointers in records
// --------------------------------------------------------------------------

TEST(Blocks, RecordsInRecordsAreFollowed) {
    HalHwHandle handle = 1;
    HalHwHandle* kept = &handle;
    HalVlanIf vlanIf{};
    HalPif pif{};
    pif.hwHandle = &kept;
    HalVpif vpif{};
    vpif.pif = &pif;
    vpif.vlanIf = &vlanIf;
    EXPECT_EQ(found({"pcSimCardVlanAddPort", {word(&vpif)}}, Phase::kBefore),
              "vpif HalVpif 108 host\n"
              "vpif.pif HalPif 1736 host\n"
              "vpif.pif.hwHandle HalHwHandle * 4\n"
              "*vpif.pif.hwHandle HalHwHandle 4 platform\n"
              "vpif.vlanIf HalVlanIf 136 host\n");
}

TEST(Blocks, PointersThatTheCalleeDoesNotReadMayBeAnything) {
    auto* const page = static_cast<char*>(
        mmap(nullptr, 8192, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(page, MAP_FAILED);
    ASSERT_EQ(mprotect(page + 4096, 4096, PROT_NONE), 0);
    HalVpif vpif{};
    vpif.pif = reinterpret_cast<HalPif*>(0x10);
    vpif.vlanIf = reinterpret_cast<HalVlanIf*>(page + 4096 - 100);  // runs into the closed page
    vpif.hwHandle = reinterpret_cast<HalHwHandle**>(~0u - 1);       // and over the end of memory
    EXPECT_EQ(found({"pcSimCardVlanAddPort", {word(&vpif)}}, Phase::kBefore),
              "vpif HalVpif 108 host\n");
    munmap(page, 8192);
}

TEST(Blocks, WhatTheHostHandsOutCrossesWithIt) {
    HalPif pif{};
    HalPif* record = &pif;
    const MadeCall call("getPifBySlotPort", {1, 2, word(&record)});
    EXPECT_EQ(found(call, Phase::kBefore), "record HalPif * 4 out\n");
    EXPECT_EQ(found(call, Phase::kAfter), "record HalPif * 4 out\n*record HalPif 1736 host\n");
    record = nullptr;
    EXPECT_EQ(found(call, Phase::kAfter), "record HalPif * 4 out\n");
    EXPECT_EQ(found({"getFirstPif", {}, word(&pif)}, Phase::kAfter),
              "result HalPif 1736 out host\n");
    EXPECT_EQ(found({"getFirstPif", {}, 0}, Phase::kAfter), "");
}

TEST(Blocks, TablesAreNotFollowedIntoTheirFunctions) {
    HalFamilyOps table;
    std::memset(&table, 0x5A, sizeof table);
    const MadeCall call("pcSimFamilyDBSetup", {0, word(&table)});
    EXPECT_EQ(found(call, Phase::kAfter), "table HalFamilyOps 1328 out\n");
    HalCardSlotDb db{};
    const uint32_t ports[3]{1, 2, 3};
    db.portCount = 3;
    db.portMap = ports;
    EXPECT_EQ(found({"pcSimStackCardSlotDBSetup", {1, word(&db)}}, Phase::kAfter),
              "db HalCardSlotDb 1068 out\ndb.portMap uint32_t 12 of 3\n");
}

TEST(Blocks, NodesOfTreesAreKnownByTheirAddress) {
    HalTreeRoot root = nullptr;
    EXPECT_EQ(found({"p2BtreeInsert", {0x10, word(&root), 0x20}}, Phase::kBefore),
              "root HalTreeRoot 4 in-out\n");
    EXPECT_EQ(found({"findNode", {0x10, 0x20, 0x30}, 0x40}, Phase::kAfter), "");
    EXPECT_EQ(found({"pcSimIpAdjComp", {0x10, 0x20}}, Phase::kBefore), "");
}

// --- Texts, formats, void pointers
// ----------------------------------------------------------------

TEST(Blocks, TextsEndWithTheirNul) {
    EXPECT_EQ(found({"pcSimCardGetCapability", {1, word("PCSimC2")}}, Phase::kBefore),
              "name char 8 of 8\n");
    EXPECT_EQ(found({"getSlotName", {1}, word("Slot-1")}, Phase::kAfter),
              "result char 7 of 7 out\n");
    char name[16] = "eth0";
    char line[16] = "eth0:1 2";
    const MadeCall split("pcSimProcNetDevSplitName", {word(name), word(line)}, word(line + 5));
    EXPECT_EQ(found(split, Phase::kBefore), "line char 9 of 9 in-out\n");
    EXPECT_EQ(found(split, Phase::kAfter),
              "name char 5 of 5 out\nline char 9 of 9 in-out\nresult char 4 of 4 out\n");
}

TEST(Blocks, ArgumentsOfAFormatCarryTheirTexts) {
    const MadeCall call("pcSimCardTrace", {word("f.c"), 12, word("here"), word("%d %s %llu %s"), 1,
                                           word("one"), 2, 0, word("two!")});
    EXPECT_EQ(found(call, Phase::kBefore),
              "file char 4 of 4\nfunction char 5 of 5\nformat char 14 of 14\n"
              "argument1 char 4 of 4\nargument4 char 5 of 5\n");
    // Widths and precisions are words, too.
    const MadeCall starred("pcSimCardTrace", {word("f.c"), 12, word("here"), word("%*d %-*.*s"), 5,
                                              1, 8, 2, word("three")});
    EXPECT_EQ(found(starred, Phase::kBefore),
              "file char 4 of 4\nfunction char 5 of 5\nformat char 11 of 11\n"
              "argument4 char 2 of 2\n");
    // Not all of the words are known.
    const MadeCall cut("pcSimCardTrace",
                       {word("f.c"), 12, word("here"), word("%d %s %s"), 1, word("one")});
    EXPECT_EQ(
        found(cut, Phase::kBefore),
        "file char 4 of 4\nfunction char 5 of 5\nformat char 9 of 9\nargument1 char 4 of 4\n");
}

std::string foundOfIncident(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    uint32_t words;
    std::memcpy(&words, &arguments, sizeof words);
    const MadeCall call("emsNotifyIncident",
                        {word("f.c"), 1, word("here"), 0x10, 0x540005, word(format), words});
    va_end(arguments);
    return found(call, Phase::kBefore);
}

TEST(Blocks, ArgumentsOfAListLieWhereItPoints) {
    EXPECT_EQ(foundOfIncident("%5d %.3s", 7, "seven"),
              "file char 4 of 4\nfunction char 5 of 5\nformat char 9 of 9\n"
              "arguments char 8 of 8\nargument1 char 3 of 3\n");
    EXPECT_EQ(foundOfIncident("nothing"),
              "file char 4 of 4\nfunction char 5 of 5\nformat char 8 of 8\n");
}

TEST(Blocks, AVoidPointerIsWhatTheRequestMakesIt) {
    HalDeviceCli cli{};
    EXPECT_EQ(found({"pcSimModuleIoctl", {0, 1, word(&cli)}}, Phase::kBefore),
              "argument HalPresenceMask 4\n");
    EXPECT_EQ(found({"pcSimModuleIoctl", {0, 3, word(&cli)}}, Phase::kBefore),
              "argument HalDeviceCli 100\n");
    EXPECT_EQ(found({"pcSimModuleIoctl", {0, 4, 0x10}}, Phase::kBefore), "");
}

TEST(Blocks, NothingIsLookedAtThatIsIgnored) {
    HalFdbRecord record{};
    EXPECT_EQ(found({"pcSimPCFamFdbAddEntry", {0x10, 1, 0, word(&record)}}, Phase::kBefore),
              "record HalFdbRecord 44\n");
    EXPECT_EQ(found({"pcSimPCFamFdbFilterAdd", {0x10, 0x20}}, Phase::kBefore), "");
    EXPECT_EQ(found({"pcSimPCFamFdbDump", {0}}, Phase::kBefore), "");
}

// Words of a call that aren't all known end it early.
TEST(Blocks, WordsThatAreNotKnownAreLeftOut) {
    uint32_t out = 0;
    const MadeCall call("pcSimStackPSReadInputLine", {1, word(&out)});
    EXPECT_EQ(found(call, Phase::kAfter), "a uint32_t 4 out\n");
}

}  // namespace
}  // namespace pcsim::probe
