// The command line of pcsim: what it can be, and what it says.
#ifndef PCSIM_HOST_OPTIONS_H
#define PCSIM_HOST_OPTIONS_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace pcsim::host {

struct CommandLine {
    // What -x and -f ask for, in their order.
    struct Step {
        bool isScript;
        std::string text;  // the command, or the script's name
    };

    bool help = false;  // nothing else counts with these two
    bool version = false;
    bool chassis = false;
    bool remoteIo = false;
    enum class Json { kNone, kArray, kLines };
    Json json = Json::kNone;  // what the run's outcomes are written as
    bool quiet = false;
    bool echo = false;
    bool stopped = false;
    bool serve = false;
    bool keepGoing = false;     // pass over lines that fail
    unsigned labPorts = 0;      // 0: the PC's own interfaces
    unsigned awaitedPorts = 0;  // that somebody else brings; 0: none
    uint32_t maxVr = 0;
    std::string library;  // empty: the one that belongs to this program
    std::string name;     // of the instance; empty: from the process id
    std::string plan;     // faults from before the first call; empty: none
    std::vector<Step> steps;
    std::vector<std::pair<std::string, std::string>> variables;  // set before the first line
    std::vector<std::pair<std::string, std::string>> reports;    // forms, and their files

    bool hasCommands() const;
};

// Throws an OptionProblem (lab/options.h).
CommandLine readCommandLine(int argc, char* const* argv);
// What a command line that can't be read asks problems to be written as.
CommandLine::Json jsonAskedFor(int argc, char* const* argv);

std::string commandLineHelp();

}  // namespace pcsim::host

#endif
