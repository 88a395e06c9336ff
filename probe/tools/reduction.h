// Finding a smallest part of a recording that still shows something: calls are left out by halves,
// by quarters and so on, as long as what is left shows it.
#ifndef PCSIM_PROBE_TOOLS_REDUCTION_H
#define PCSIM_PROBE_TOOLS_REDUCTION_H

#include <cstdint>
#include <functional>
#include <vector>

#include "probe/record/recording.h"
#include "probe/tools/call_tree.h"
#include "probe/tools/needs.h"

namespace pcsim::probe {

class Reduction {
public:
    // 'shows' says whether a recording shows what is sought; 'goOn' whether there is time for
    // another one.
    Reduction(const Recording& recording, std::function<bool(const Recording&)> shows,
              std::function<bool()> goOn);

    // The smallest that was found of what ends with the outermost call around 'call', which stays.
    // The whole up to there when nothing can be left out.
    Recording upTo(uint64_t call);
    uint32_t attempts() const { return attempts_; }

private:
    using Units = std::vector<uint32_t>;  // in order

    bool tryUnits(const Units& units);
    Units closed(const Units& units) const;
    Units ofArea() const;
    void leaveOut(size_t chunk);

    const Recording& recording_;
    std::function<bool(const Recording&)> shows_;
    std::function<bool()> goOn_;
    CallTree tree_;
    Needs needs_;
    uint32_t last_ = 0;
    Units best_;  // with the last one
    uint32_t attempts_ = 0;
};

}  // namespace pcsim::probe

#endif
