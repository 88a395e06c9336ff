// What the probe of a process is told at its start: by pcsim-probe's command line, and the same
// words in the variable PCSIM_PROBE where the library is preloaded without that program.
#ifndef PCSIM_PROBE_CONTROL_OPTIONS_H
#define PCSIM_PROBE_CONTROL_OPTIONS_H

#include <cstdint>
#include <span>
#include <string>

#include "lab/options.h"

namespace pcsim::probe {

inline constexpr char kProbeVariable[] = "PCSIM_PROBE";

// File names are absolute: the program may go to another folder before they are opened.
struct ProbeOptions {
    std::string name;      // of the control block; "": by program and process id
    std::string coverage;  // files, "" where nothing is wanted
    std::string trace;
    std::string plan;
    std::string record;
    bool tree = false;   // the ordered tree counts as a host function
    bool times = false;  // calls are timed
    uint32_t flight = 0;
};

// The name of a file as it is from any folder.
std::string absoluteFile(const std::string& file);

// The table, for a command line that has options of its own besides.
std::span<const Option> probeOptions();

ProbeOptions probeOptionsOf(const GivenOptions& given);
// Throws an OptionProblem or a CommandError that says what would be right.
ProbeOptions readProbeOptions(const std::string& text);
// The words that readProbeOptions() reads as the same.
std::string textOf(const ProbeOptions& options);

}  // namespace pcsim::probe

#endif
