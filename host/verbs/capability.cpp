// The capability record of a card type, decoded.
#include "host/verbs/host_verbs.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "console/text.h"
#include "pcsim/card.h"

namespace pcsim::host {

namespace {

using Capability = std::unique_ptr<HalCardCapability, decltype(&std::free)>;

// A run of words of one width in the record.
struct WordRun {
    size_t offset;
    size_t bytes;
    size_t count;
};

// The sizes and limits of forwarding resources have no names: they are told by their offsets.
constexpr WordRun kResources[] = {
    {56, 2, 4},  {80, 4, 10}, {124, 4, 4}, {148, 4, 15}, {208, 4, 1},
    {220, 4, 1}, {224, 2, 8}, {240, 1, 3}, {244, 2, 6},  {256, 4, 1},
};

uint32_t numberAt(const HalCardCapability& record, size_t offset, size_t bytes) {
    uint32_t value = 0;  // little-endian, so the low bytes come first
    std::memcpy(&value, reinterpret_cast<const uint8_t*>(&record) + offset, bytes);
    return value;
}

Table resources(const HalCardCapability& record) {
    Table table{"resources",
                "Forwarding resources that are not 0",
                {{"offset", "Offset", Align::kRight},
                 {"bits", "Bits", Align::kRight},
                 {"value", "Value", Align::kRight}},
                {},
                "none",
                ""};
    for (const WordRun& run : kResources) {
        for (size_t i = 0; i < run.count; ++i) {
            const size_t offset = run.offset + i * run.bytes;
            const uint32_t value = numberAt(record, offset, run.bytes);
            if (value != 0) table.rows.push_back({offset, run.bytes * 8, value});
        }
    }
    return table;
}

std::string range(uint32_t first, uint32_t last) {
    return first == last ? fmt::format("{}", first) : fmt::format("{} to {}", first, last);
}

bool alike(const HalCardPortEntry& a, const HalCardPortEntry& b) {
    return a.kind == b.kind && a.word4 == b.word4 && a.flags == b.flags;
}

// Ports that differ in nothing but their index share a row.
Table ports(const HalCardCapability& record) {
    Table table{"ports",
                "Ports",
                {{"ports", "Ports"},
                 {"kind", "Kind", Align::kRight},
                 {"word4", "Word 4", Align::kRight},
                 {"flags", "Flags"},
                 {"index", "Index"}},
                {},
                "none",
                ""};
    for (uint32_t first = 0; first < record.portCount;) {
        uint32_t last = first;
        while (last + 1 < record.portCount && alike(record.ports[first], record.ports[last + 1]))
            ++last;
        const HalCardPortEntry& entry = record.ports[first];
        table.rows.push_back({range(first + 1, last + 1), entry.kind, entry.word4,
                              hexCell(entry.flags), range(entry.index, record.ports[last].index)});
        first = last + 1;
    }
    return table;
}

Report showCapability(Call& call) {
    Platform& platform = call.context.platform;
    const std::string& name = call.text("type");
    const Capability record(platform.call(platform.cardDb, &HalCardDbOps::cardGetCapability,
                                          call.context.ownSlot, name.c_str()),
                            &std::free);
    if (record == nullptr) fail("the platform has no capability record: out of memory");
    if (record->cardType == HAL_CARD_UNKNOWN)
        fail(
            "'{}' is not a card type; expected PCSimC2, PCSimC128, PCSimC256, PCSimMGT or "
            "PCSimStack",
            name);
    Fields fields{"capability",
                  "Capability of " + name,
                  {{"name", "Name", textOf(record->name)},
                   {"type", "Type", record->cardType},
                   {"size", "Record size", record->size},
                   {"portCount", "Ports", record->portCount},
                   {"word28", "Word 28", record->word28},
                   {"word36", "Word 36", record->word36},
                   {"word40", "Word 40", record->word40},
                   {"word44", "Word 44", record->word44},
                   {"word48", "Word 48", record->word48},
                   {"word52", "Word 52", record->word52}}};
    return Report(fields).add(ports(*record)).add(resources(*record));
}

}  // namespace

void addCapabilityVerbs(HostVerbs& verbs) {
    verbs.show("show capability <type>", "what a card type can do", showCapability);
}

}  // namespace pcsim::host
