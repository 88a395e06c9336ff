// Where recorded addresses are now. A pointer means what its type says: memory of the HAL has its
// place in the copy, things that the platform makes are where the library under test has handed
// them out, functions are known by what they were, variables by their names.
//
// The same recorded address may name one thing after the other, as memory is used again: what was
// handed out last counts, and whose thing it is tells HAL and platform apart.
#ifndef PCSIM_PROBE_REPLAY_POINTERS_H
#define PCSIM_PROBE_REPLAY_POINTERS_H

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "probe/interface/model.h"
#include "probe/record/recording.h"
#include "probe/replay/host_memory.h"

namespace pcsim::probe {

class Pointers {
public:
    explicit Pointers(const Recording& recording) : memory_(recording) {}

    const HostMemory& memory() const { return memory_; }

    // A variable of the library, or whatever else lies in one piece there and here. Pointers into
    // it are exact.
    void bindRange(uint32_t recorded, uint32_t size, uint32_t now, const Record* record);
    // A thing that the platform has handed out.
    void bind(uint32_t recorded, uint32_t size, uint32_t now);
    // The address is the HAL's again.
    void unbind(uint32_t recorded) { things_.erase(recorded); }
    // A function of the library.
    void bindFunction(uint32_t recorded, uint32_t now) { functions_[recorded] = now; }

    // What the HAL passes. 'type' is the pointer's.
    uint32_t given(const Type& type, uint32_t recorded);
    // Where a function of the library is that the library has handed out; 0: it hasn't.
    uint32_t function(uint32_t recorded) const;
    // What the platform should have passed, when that is known.
    std::optional<uint32_t> expected(const Type& type, uint32_t recorded) const;
    // Where a recorded block is that belongs to the platform, or to the HAL; 0: nobody knows.
    uint32_t blockAt(const RecordedBlock& block, const Record* record) const;

    // A function of the HAL: at an address, or of a name alone.
    struct Callee {
        uint32_t recorded = 0;
        std::string name;
        const Function* function = nullptr;
    };
    // Code for it; 0 when there is no more.
    uint32_t newThunk(Callee callee);
    const Callee& calleeOf(uint32_t thunk) const { return callees_[thunk]; }

private:
    struct Range {
        uint32_t size;
        uint32_t now;
        const Record* record;  // of what is in it; null: anything
    };

    using Ranges = std::map<uint32_t, Range>;

    uint32_t functionOfHal(const Type& type, uint32_t recorded);
    static std::optional<uint32_t> in(const Ranges& ranges, uint32_t recorded,
                                      const Record* record);
    std::optional<uint32_t> inHost(uint32_t recorded) const;

    HostMemory memory_;
    Ranges ranges_;
    Ranges things_;
    std::map<uint32_t, uint32_t> functions_;
    std::vector<Callee> callees_;  // by thunk
    std::map<uint32_t, uint32_t> thunks_;
};

}  // namespace pcsim::probe

#endif
