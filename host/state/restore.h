// The way back from the state that is to one that was: what is not in it is undone, from the last
// line to the first, then what is missing is made, from the first to the last.
//
// A step may take more with it than its own line: what hangs on a card goes with the card. So the
// state is looked at again after each half, and the way is gone until there is nothing left to do,
// or it leads no further.
#ifndef PCSIM_HOST_STATE_RESTORE_H
#define PCSIM_HOST_STATE_RESTORE_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/state/state_text.h"

namespace pcsim::host {

// What restoring works with.
struct RestoreParts {
    std::function<void(Lines&)> tell;           // the state that is
    std::function<void(std::string_view)> run;  // a line; throws a CommandError
    // Called before the first line, if there is any; whether it has changed something itself.
    std::function<bool()> begin;
    std::function<bool()> interrupted;  // whether to end it
};

struct Restored {
    struct Problem {
        std::string line;
        std::string problem;
    };
    static constexpr size_t kMostProblems = 100;  // that are told one by one

    uint64_t undone = 0, made = 0;  // lines that were run
    std::vector<Problem> problems;  // of the last way that was gone
    uint64_t problemCount = 0;
    uint64_t extra = 0, missing = 0;  // parts in which the state still differs
    bool interrupted = false;

    bool reached() const { return extra == 0 && missing == 0; }
};

Restored restoreState(const StateText& target, const RestoreParts& parts);

}  // namespace pcsim::host

#endif
