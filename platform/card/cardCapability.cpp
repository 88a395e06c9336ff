// The capability record of each card type.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/base/trace.h"
#include "platform/card/cardTypes.h"
#include "platform/card/pcSimCardDB.h"
#include "platform/port/hostInterfaces.h"

namespace pcsim {
namespace {

extern const HalCardResources kResources;

constexpr uint32_t kLastStackPort = 1;  // flag of its last port entry

// What the record says about a card type, beside the resources that all cards share.
struct CardKind {
    CardType type;
    uint32_t word36, word40, word44, word48;
    uint32_t portKind;
    uint32_t portFlags;
    uint32_t portsPerIndex;
};

// clang-format off
constexpr CardKind kCardKinds[] = {
    // type          36  40  44  48    kind flags per index
    {kCardC2,         0,  1,  1,  4,    4,   0,    1},
    {kCardC128,       0,  1,  1,  4,    7,   0,    1},
    {kCardC256,       0,  1,  2,  4,    4,   0,    1},
    {kCardManagement, 1,  8,  10, 1030, 0,   0,    1},
    {kCardStackable,  1,  0,  0,  1038, 4,   8,    4},
};
// clang-format on

// The whole name has to match: a prefix of a known name is unknown. Null for an unknown one.
const CardKind* kindNamed(const char* name) noexcept {
    for (const CardKind& kind : kCardKinds)
        if (strcmp(name, kind.type.name) == 0) return &kind;
    return nullptr;
}

uint32_t portCountOf(const CardKind& kind) noexcept {
    if (kind.type.number != HAL_CARD_STACKABLE) return kind.type.portCount;
    return std::min(pcSimSystemNumPorts, kind.type.portCount);
}

void fillKnown(HalCardCapability* record, const CardKind& kind, uint32_t portCount) noexcept {
    record->cardType = kind.type.number;
    record->resources = kResources;
    record->word28 = -1;
    record->portCount = portCount;
    record->word36 = kind.word36;
    record->word40 = kind.word40;
    record->word44 = kind.word44;
    record->word48 = kind.word48;
    for (uint32_t i = 0; i < portCount; ++i) {
        HalCardPortEntry& port = record->ports[i];
        port.kind = kind.portKind;
        port.word4 = 4;
        port.flags = kind.portFlags;
        // Four ports of a stackable share an index, each port of an I/O card has its own.
        port.index = static_cast<uint8_t>(i / kind.portsPerIndex);
    }
    if (kind.type.number == HAL_CARD_STACKABLE && portCount > 0)
        record->ports[portCount - 1].flags |= kLastStackPort;
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

extern "C" HalCardCapability* pcSimCardGetCapability(int32_t, const char* name) noexcept {
    const CardKind* kind = kindNamed(name);
    const uint32_t portCount = kind != nullptr ? portCountOf(*kind) : 0;
    const size_t size = sizeof(HalCardCapability) + portCount * sizeof(HalCardPortEntry);
    auto* record = static_cast<HalCardCapability*>(calloc(1, size));
    if (record == nullptr) {
        TRACE_CARD_DB_ERROR("Unable to malloc");
        return nullptr;
    }
    record->size = static_cast<uint32_t>(size);
    if (kind != nullptr) fillKnown(record, *kind, portCount);
    record->word52 = 8;
    memcpy(record->name, name, strnlen(name, sizeof record->name));
    return record;
}

// --- The resources of every known card -----------------------------------------------------------

#pragma GCC diagnostic error "-Wmissing-field-initializers"

namespace pcsim {
namespace {

constexpr HalCardResources kResources = {
    .half56 = 0,
    .half58 = 0,
    .half60 = 0,
    .half62 = 0,
    .reserved64 = {},
    .word80 = 4096,
    .word84 = 8,
    .word88 = 6,
    .word92 = 8,
    .word96 = 30,
    .word100 = 1,
    .word104 = 7,
    .word108 = 115,
    .word112 = 1524,
    .word116 = 0,
    .reserved120 = {},
    .word124 = 32768,
    .word128 = 32768,
    .word132 = 1,
    .word136 = 0,
    .reserved140 = {},
    .word148 = 16,
    .word152 = 512,
    .word156 = 0,
    .word160 = 0,
    .word164 = 32768,
    .word168 = 32768,
    .word172 = 64,
    .word176 = 256,
    .word180 = 3,
    .words184 = {4096, 4096, 4096, 4096, 4096, 4096},
    .word208 = 29,
    .reserved212 = {},
    .word220 = 4096,
    .half224 = 256,
    .half226 = 64,
    .half228 = 64,
    .half230 = 64,
    .half232 = 64,
    .half234 = 1025,
    .half236 = 128,
    .half238 = 32,
    .byte240 = 0,
    .byte241 = 0,
    .byte242 = 0,
    .reserved243 = 0,
    .half244 = 3,
    .half246 = 4096,
    .half248 = 512,
    .half250 = 512,
    .half252 = 4,
    .half254 = 2048,
    .word256 = 288000,
};

}  // namespace
}  // namespace pcsim
