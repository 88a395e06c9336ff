// One run of a command with the probe in it, watched from outside: started with its own rules, its
// output in files, ended when it takes too long.
#ifndef PCSIM_PROBE_TRIAL_H
#define PCSIM_PROBE_TRIAL_H

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "console/words.h"
#include "probe/control/coverage_file.h"

namespace pcsim::probe {

enum class Ending {
    kOrderly,    // with a status of its own
    kSignal,     // or a shell's word for one
    kSanitizer,  // that said what was wrong
    kTooLong,    // and was killed
};

struct Outcome {
    Ending ending = Ending::kOrderly;
    int status = 0;  // of the program, or the signal's number
    uint32_t tookMs = 0;
    std::string lastLine;  // of standard error
    CoverageData coverage;
};

// "ended with 1", "killed by signal 11 (Segmentation fault)"
std::string textOf(const Outcome& outcome);

class Trial {
public:
    // Starts 'command' in a process group of its own, with the lines of 'rules' as its plan. Files
    // are made in 'folder', which nobody else uses.
    Trial(const Words& command, const std::string& rules, const std::string& folder,
          uint32_t limitMs);
    // Ends what still runs.
    ~Trial();
    Trial(const Trial&) = delete;
    Trial& operator=(const Trial&) = delete;

    // Whether it has ended by now; kills it when its time is over.
    bool ended();
    Outcome outcome() const;  // of one that has ended

private:
    std::string at(const char* name) const { return folder_ + "/" + name; }
    [[noreturn]] void become(const Words& command) const;
    void killGroup() const;

    std::string folder_;
    uint32_t limitMs_;
    uint64_t startedMs_;
    uint64_t endedMs_ = 0;
    pid_t child_;
    int status_ = 0;
    bool tooLong_ = false;
};

}  // namespace pcsim::probe

#endif
