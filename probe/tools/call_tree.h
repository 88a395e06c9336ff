// A recording by its calls: which call was made within which, and what happened during each
// outermost one, its unit. Tools keep, leave out and compare whole units.
#ifndef PCSIM_PROBE_TOOLS_CALL_TREE_H
#define PCSIM_PROBE_TOOLS_CALL_TREE_H

#include <cstdint>
#include <vector>

#include "probe/record/recording.h"

namespace pcsim::probe {

struct Unit {
    std::vector<uint32_t> events;  // of one thread, the outermost call's first
};

class CallTree {
public:
    static constexpr uint32_t kNone = 0xFFFFFFFF;

    explicit CallTree(const Recording& recording);

    const std::vector<Unit>& units() const { return units_; }
    // The unit that an event belongs to; kNone: none, as for a state.
    uint32_t unitOf(size_t event) const { return unitOf_[event]; }

private:
    struct Open {
        uint64_t call;
        uint32_t unit;
    };
    struct Thread {
        uint32_t number;
        std::vector<Open> open;
    };

    Thread& thread(uint32_t number);
    uint32_t unitOf(const Event& event);

    std::vector<Unit> units_;
    std::vector<uint32_t> unitOf_;
    std::vector<Thread> threads_;
};

// The recording of the units that are 'kept', as they are, and of the states that they began in.
Recording onlyUnits(const Recording& recording, const CallTree& tree,
                    const std::vector<bool>& kept);

}  // namespace pcsim::probe

#endif
