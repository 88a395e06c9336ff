// What a unit of a recording needs of earlier ones: who made the handles that it uses, filled the
// table that an operation was found in, handed over the callback that is called, opened the
// descriptor that is read from.
#ifndef PCSIM_PROBE_TOOLS_NEEDS_H
#define PCSIM_PROBE_TOOLS_NEEDS_H

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "probe/record/recording.h"
#include "probe/tools/call_tree.h"
#include "probe/tools/data.h"

namespace pcsim::probe {

class Needs {
public:
    enum class Of : uint8_t {
        kValues,     // what a replay can't do without
        kFunctions,  // that, and how a HAL came by the functions that it calls
    };

    Needs(const Recording& recording, const CallTree& tree, Of what);

    // The units that a unit needs itself, each once.
    const std::vector<uint32_t>& of(uint32_t unit) const { return needs_[unit]; }
    // Adds to 'kept' what its units need, and what that needs.
    void close(std::vector<bool>& kept) const;

private:
    using Givers = std::unordered_map<uint32_t, uint32_t>;  // value: the last unit that gave it

    void called(const Event& event, uint32_t unit);
    void returned(const Event& event, uint32_t unit);
    void arguments(const Event& event, uint32_t unit);
    void blocks(const Event& event, uint32_t unit, bool given);
    void pointer(uint32_t value, const Type& type, uint32_t unit, bool given);
    void use(const Givers& givers, uint32_t value, uint32_t unit);

    const Recording& recording_;
    Of what_;
    std::vector<std::vector<uint32_t>> needs_;
    Givers handles_;
    Givers functions_;
    Givers descriptors_;
    std::vector<PointerDatum> found_;
};

}  // namespace pcsim::probe

#endif
