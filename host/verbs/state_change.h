// Changing the state by lines: running those of a file or of a checkpoint.
#ifndef PCSIM_HOST_VERBS_STATE_CHANGE_H
#define PCSIM_HOST_VERBS_STATE_CHANGE_H

#include <string_view>

#include "host/l3/route_command.h"
#include "host/state/saved_states.h"
#include "host/verbs/host_verbs.h"

namespace pcsim::host {

// Runs lines one after the other, without a word of what they answer. While one of these lives
// there can't be another: a file that is loaded loads none.
class LineRunner {
public:
    explicit LineRunner(Call& call);
    ~LineRunner() { states_.changing = false; }
    LineRunner(const LineRunner&) = delete;
    LineRunner& operator=(const LineRunner&) = delete;

    // Throws a CommandError.
    void run(std::string_view line);

private:
    Call& call_;
    SavedStates& states_;
    RouteCommands routes_;
};

// 'load FILE' and 'restore NAME'.
Report loadState(Call& call);
Report restoreCheckpoint(Call& call);

}  // namespace pcsim::host

#endif
