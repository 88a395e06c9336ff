// Every value that a function's calls carry, by name: parameters, the fields of the records behind
// them, the result and the outputs. The names are those of the interface's headers, joined by
// points: "request.slots.vlan".
#ifndef PCSIM_PROBE_VALUES_LEAVES_H
#define PCSIM_PROBE_VALUES_LEAVES_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "probe/values/blocks.h"

namespace pcsim::probe {

// Elements of an array inside a record that all have the value.
struct Repeat {
    static constexpr uint32_t kTail = ~0u;

    uint32_t offset = 0;  // of the first
    uint32_t stride = 0;
    uint32_t count = 0;  // 0: no array; kTail: as many as the record says
};

struct Leaf {
    std::string path;
    std::string_view name;  // the last part of the path
    const Type* type;
    Meaning meaning;
    uint16_t place;                 // of the parameter, or kResultPlace
    bool isWord;                    // the argument or the result itself
    bool isOutput;                  // not known before the call
    const Type* element = nullptr;  // of the block that it lies in
    std::vector<uint16_t> steps{};  // fields whose pointers lead on to the block
    Repeat repeat{};
    uint32_t offset = 0;             // in the block, or in each element of the array
    const Field* field = nullptr;    // that it is
    const Record* record = nullptr;  // that the field is one of

    // Another field of the same record, beside the value at 'at'; null when there is none.
    const char* beside(const char* at, const Field& other) const;
};

std::vector<Leaf> leavesOf(const Function& function);

// Calls 'visit' with the address of each value that the leaf stands for, until it returns true.
// Whether it did.
bool anyValue(const Leaf& leaf, const CallWords& call, Phase phase, const Memory& memory,
              const std::function<bool(const char* at, const Block* block)>& visit);

}  // namespace pcsim::probe

#endif
