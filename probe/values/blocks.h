// What a call crosses the boundary with beside its argument words: every piece of memory behind
// them, with the type of what is in it.
//
// Before the call these are its inputs, and the outputs as addresses to come; afterwards the
// outputs, what has been handed out with them, and what the result points at. A pointer that the
// caller passes itself is looked at as the callee looks at it; pointers that lie in records may be
// anything when the callee doesn't follow them, and are followed with care (Memory).
#ifndef PCSIM_PROBE_VALUES_BLOCKS_H
#define PCSIM_PROBE_VALUES_BLOCKS_H

#include <cstdint>
#include <memory>
#include <type_traits>

#include "probe/interface/model.h"
#include "probe/values/memory.h"

namespace pcsim::probe {

// A call as the words that it is made of.
struct CallWords {
    const Function& function;
    const Word* arguments;
    uint32_t argumentWords;  // as many as can be looked at
    uint64_t result = 0;     // once there is one
};

enum class Phase : uint8_t { kBefore, kAfter };

// Places of a block beside those of parameters and fields.
constexpr uint16_t kResultPlace = 0xFFFF;    // behind the result
constexpr uint16_t kVariadicPlace = 0xFFFE;  // the arguments of a format: 'index' is their number

struct Block {
    Word address;
    const void* content;  // the bytes; null in an output before the call
    uint32_t bytes;
    const Type* element;         // kVoid: bytes
    uint32_t count;              // of elements; of a chain, as far as it goes
    uint32_t tailCount;          // elements of the array that the record ends in
    Meaning meaning;             // of the elements
    bool written;                // by the callee
    bool read;                   // before the call: an input
    const Semantics* semantics;  // of the pointer that leads here
    const Block* parent;         // the block that the pointer lies in; null: the call itself
    uint16_t place;              // its place among the parameters, or the fields of the record
    uint32_t index;              // which element of the parent, 0 for a record alone

    Owner owner() const { return element->owner; }
};

namespace detail {

using BlockSink = void (*)(void* context, const Block& block);
void visitBlocks(const CallWords& call, Phase phase, const Memory& memory, BlockSink sink,
                 void* context);

}  // namespace detail

// Calls 'visit(const Block&)' for each block, a block before those that its pointers lead to. A
// block and its parents are valid during the call alone. Nothing is allocated.
template <typename Visit>
void visitBlocks(const CallWords& call, Phase phase, const Memory& memory, Visit&& visit) {
    using Callable = std::remove_reference_t<Visit>;
    detail::visitBlocks(
        call, phase, memory,
        [](void* context, const Block& block) { (*static_cast<Callable*>(context))(block); },
        const_cast<void*>(static_cast<const void*>(std::addressof(visit))));
}

// A text that is longer isn't looked at to its end.
constexpr uint32_t kLargestText = 64 * 1024;

// The function's format among its parameters, and where the words of its arguments are; null words
// where it has none or they are not known. At most 'count' of them can be looked at, before this
// thread asks for another call's.
struct FormatWords {
    std::string_view format;
    const Word* words = nullptr;
    uint32_t count = 0;
};
FormatWords formatWords(const CallWords& call, const Memory& memory);

// A value of an integer type, as the type says: sign-extended or not.
int64_t integerAt(const void* content, const Type& type);
// How long the record at 'content' is that is one of a chain.
uint32_t chainedBytes(const void* content, const Type& element, const Semantics& semantics);

}  // namespace pcsim::probe

#endif
