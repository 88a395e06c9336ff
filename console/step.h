// A line that has run, for whoever keeps account of what a session does.
#ifndef PCSIM_CONSOLE_STEP_H
#define PCSIM_CONSOLE_STEP_H

#include <chrono>
#include <string>

#include "console/error.h"

namespace pcsim {

struct Step {
    std::string line;                // with the values of its variables
    std::string file;                // of the script that it stands in; empty without one
    unsigned lineNumber;             // there
    std::chrono::nanoseconds taken;  // of the PC's time
    bool demand;                     // an 'expect' or a 'wait'
    const CommandError* error;       // null when it succeeded
};

}  // namespace pcsim

#endif
