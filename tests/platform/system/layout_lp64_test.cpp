// The interface's layout on a machine with 64-bit words: not the HAL's, but what the library and
// these tests are compiled to there. A pointer takes 8 bytes and lies at a multiple of 8, and so
// ends a record that holds one; all else lies as it does for i386.
#define PCSIM_LAYOUT_ANY_WORD_SIZE
#include "pcsim/layout.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

static_assert(sizeof(void*) == 8, "these numbers are those of 64-bit words");

// The rows of layout_rows.h that are others here, as plain numbers: a record's size, or where a
// field lies, in bytes.
const std::map<std::string_view, size_t> kRows = {
    {"HalEmsComponent.counters", 40},
    {"HalEmsComponent.enabledMask", 48},
    {"HalTreeNode", 32},
    {"HalTreeRoot", 8},
    {"pcSimDumpSink.print", 8},
    {"HalVlanIf.instance", 16},
    {"HalVlanIf.vlanId", 136},
    {"HalPif.hwHandle", 1736},
    {"HalVpif.pif", 40},
    {"HalVpif.vlanIf", 64},
    {"HalVpif.state", 88},
    {"HalVpif.flags", 104},
    {"HalVpif.hwHandle", 120},
    {"HalSystemOps", 232},
    {"HalCardDb", 120},
    {"HalCardDbOps", 112},
    {"HalCardSlotDb.ops", 48},
    {"HalCardSlotDb", 2096},
    {"HalFamilyOps", 2656},
    {"HalEnvDb", 32},
    {"HalEnvDb.isPresent", 16},
    {"HalEnvDb.word4", 24},
    {"HalFanSlotDb", 96},
    {"HalPSSlotDb", 96},
    {"pcSimFibLinks", 16},
    {"pcSimFibLinks.previous", 8},
    {"pcSimIpAdjEntry", 120},
    {"pcSimIpAdjEntry.refCount", 32},
    {"pcSimIpAdjEntry.nextHops", 40},
    {"pcSimIpAdjEntry.record", 56},
    {"pcSimFibNextHop", 48},
    {"pcSimFibNextHop.next", 16},
    {"pcSimFibNextHop.gateway", 24},
    {"pcSimFibNextHop.vlan", 28},
    {"pcSimFibNextHop.route", 32},
    {"pcSimFibNextHop.adjacency", 40},
    {"pcSimIPv6FibNextHop", 64},
    {"pcSimIPv6FibNextHop.next", 16},
    {"pcSimIPv6FibNextHop.gateway", 24},
    {"pcSimIPv6FibNextHop.vlan", 40},
    {"pcSimIPv6FibNextHop.route", 48},
    {"pcSimIPv6FibNextHop.adjacency", 56},
    {"pcSimIPv4FibRoute", 56},
    {"pcSimIPv4FibRoute.vrId", 32},
    {"pcSimIPv4FibRoute.prefix", 36},
    {"pcSimIPv4FibRoute.mask", 40},
    {"pcSimIPv4FibRoute.nextHops", 48},
    {"pcSimIPv6FibRoute", 64},
    {"pcSimIPv6FibRoute.vrId", 32},
    {"pcSimIPv6FibRoute.prefix", 36},
    {"pcSimIPv6FibRoute.maskLen", 52},
    {"pcSimIPv6FibRoute.nextHops", 56},
    {"HalAclListRequest", 112},
    {"HalAclListRequest.rules", 104},
};

// Words of a table that stand 8 bytes apart, by the numbers that they have for i386.
struct Words {
    std::string_view record;
    uint32_t first, last;
    size_t offset;  // of the first, in bytes
};
const Words kWords[] = {
    {"HalSystemOps", 1, 23, 8},  {"HalCardDb", 2, 9, 8},      {"HalCardSlotDb", 11, 266, 48},
    {"HalFamilyOps", 1, 283, 8}, {"HalFanSlotDb", 5, 13, 24}, {"HalPSSlotDb", 5, 12, 24},
};

// A row of layout_rows.h, and what this compiler has made of it.
struct Declared {
    std::string record;
    std::string name;  // with the field
    size_t i386;       // bytes
    size_t actual;
    int32_t word = -1;
};

const std::vector<Declared> kDeclared = {
#define PCSIM_LAYOUT_SIZE(record, bytes) {#record, #record, bytes, sizeof(record)},
#define PCSIM_LAYOUT_FIELD(record, field, offset) \
    {#record, #record "." #field, offset, offsetof(record, field)},
#define PCSIM_LAYOUT_WORD(record, field, word) \
    {#record, #record "." #field, 4 * (word), offsetof(record, field), word},
#include "pcsim/layout_rows.h"
};

const Words* wordsOf(const Declared& row) {
    for (const Words& words : kWords)
        if (row.record == words.record && row.word >= static_cast<int32_t>(words.first) &&
            row.word <= static_cast<int32_t>(words.last))
            return &words;
    return nullptr;
}

size_t expected(const Declared& row) {
    if (const auto own = kRows.find(row.name); own != kRows.end()) return own->second;
    if (const Words* const words = wordsOf(row))
        return words->offset + 8 * (static_cast<uint32_t>(row.word) - words->first);
    return row.i386;
}

TEST(LayoutOf64Bits, EveryRowHolds) {
    EXPECT_GT(kDeclared.size(), 600u);
    for (const Declared& row : kDeclared) EXPECT_EQ(row.actual, expected(row)) << row.name;
}

TEST(LayoutOf64Bits, RowsAreOfTheInterfaceAndDiffer) {
    std::map<std::string_view, size_t> i386;
    for (const Declared& row : kDeclared) i386[row.name] = row.i386;
    for (const auto& [name, bytes] : kRows) {
        ASSERT_TRUE(i386.contains(name)) << name;
        EXPECT_NE(bytes, i386[name]) << name;
    }
    for (const Words& words : kWords) {
        bool first = false;
        bool last = false;
        for (const Declared& row : kDeclared) {
            first |= row.record == words.record && row.word == static_cast<int32_t>(words.first);
            last |= row.record == words.record && row.word == static_cast<int32_t>(words.last);
        }
        EXPECT_TRUE(first && last) << words.record;
    }
}

}  // namespace
