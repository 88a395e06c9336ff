// The values that lie in typed memory: numbers, pointers, texts, each with where it is and what the
// interface says of it. What compares, translates and writes out memory goes by these.
#ifndef PCSIM_PROBE_TOOLS_DATA_H
#define PCSIM_PROBE_TOOLS_DATA_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "probe/interface/model.h"
#include "probe/record/recording.h"

namespace pcsim::probe {

struct Datum {
    uint32_t offset;             // in its block
    uint32_t size;               // in bytes
    const Type* type;            // null: bytes of no known type
    const Semantics* semantics;  // of the field; null where it is no field
    Meaning meaning;
    std::string path;  // "slots.0.gateway"; "" for the block itself
    bool reserved;     // bytes that nobody has named

    bool isPointer() const { return type != nullptr && type->kind == Kind::kPointer; }
    bool isFunction() const { return isPointer() && type->target->kind == Kind::kFunction; }
    // Of something that the library makes and frees: two runs agree in which it is, not where.
    bool isHandle() const { return isPointer() && type->target->owner == Owner::kPlatform; }
};

// The leaves of a block, in order. Bytes behind the last whole element are one leaf without a type.
std::vector<Datum> dataIn(const RecordedPath& path, const RecordedBlock& block);

// Those that are pointers, without texts: quick, for whoever asks of each call.
struct PointerDatum {
    uint32_t value;
    const Type* type;
    const Semantics* semantics;
    uint32_t offset;
};
void pointersIn(const RecordedPath& path, const RecordedBlock& block,
                std::vector<PointerDatum>& found);

// What is said of the pointer that leads to the block, at the parameter or field that it is.
const Semantics* semanticsOf(const RecordedPath& path);

uint32_t wordAt(std::span<const uint8_t> bytes, uint32_t offset);
// A number of the leaf's size and sign.
int64_t numberOf(const Datum& leaf, std::span<const uint8_t> bytes);

}  // namespace pcsim::probe

#endif
