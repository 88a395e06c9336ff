// Compares what the library passes with what was recorded, by the types of the interface, and
// follows the addresses that it hands out.
#ifndef PCSIM_PROBE_REPLAY_COMPARISON_H
#define PCSIM_PROBE_REPLAY_COMPARISON_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "probe/record/recording.h"
#include "probe/replay/layout.h"
#include "probe/replay/pointers.h"

namespace pcsim::probe {

// Four bytes as they lie in memory.
uint32_t wordAt(const uint8_t* bytes);

class Comparison {
public:
    using Report =
        std::function<void(const std::string& field, std::string expected, std::string seen)>;

    Comparison(const Recording& recording, Pointers& pointers, Report report);

    // A result or an argument; 'name' is its field. 'call' is the event that it came with: what
    // lies in the memory that the HAL passed is known exactly.
    void value(const Type& type, const Semantics& semantics, uint64_t recorded, uint64_t seen,
               const std::string& name, const Event& call);
    // What lies at 'seen' instead of the block.
    void block(const RecordedBlock& block, uint32_t seen, const Event& call);

    // Says where a recorded function of the library was, by name.
    const std::string* functionName(uint32_t recorded) const;

private:
    // What should be in the pointer; binds what the library has handed out.
    uint32_t pointer(const Type& type, uint32_t recorded, uint32_t seen, uint32_t size,
                     const Event& call, const std::string& field);
    uint32_t function(uint32_t recorded, uint32_t seen);
    void pointersIn(const RecordedBlock& block, const Type& element, const uint8_t* seen,
                    uint8_t* wanted, const Event& call);
    void differ(const RecordedPath& path, const uint8_t* wanted, const uint8_t* seen,
                uint32_t size);
    std::string functionText(uint32_t recorded, uint32_t now) const;

    const Recording& recording_;
    Pointers& pointers_;
    Report report_;
    std::map<uint32_t, std::string> functions_;
};

// A value of a type as a report tells it.
std::string valueText(const Type* type, Meaning meaning, const uint8_t* bytes, uint32_t size);

}  // namespace pcsim::probe

#endif
