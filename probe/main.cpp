// pcsim-probe: starts a program with the probe in it, asks programs that have one, and works on
// what they have left.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <span>
#include <vector>

#include "console/error.h"
#include "console/text.h"
#include "lab/version.h"
#include "probe/commands.h"
#include "probe/control/options.h"
#include "probe/launch.h"
#include "probe/tools/tools.h"

namespace pcsim::probe {

namespace {

constexpr ProgramCommand kCommands[] = {
    {"list", "", "Which probed processes there are"},
    {"coverage", "show|merge FILE...", "What was called in one run, or in several"},
    {"post-mortem", "NAME|PID", "The last calls of a process, and how it ended"},
    {"replay", "FILE --library LIBRARY", "Play the HAL's part of a recording against a library"},
    {"sweep", "[options] -- PROGRAM...", "Fail each call of a program in a run of its own"},
    {"show", "[options] FILE", "Print a recording as a trace"},
    {"diff", "FILE FILE", "Compare two recordings"},
    {"trim", "FILE --calls CALLS", "Keep some calls, and what they need"},
    {"minimise", "FILE --library LIBRARY", "Find a smallest recording of a difference"},
    {"export", "FILE --c", "Write a recording as a host in C"},
    {"NAME|PID", "COMMAND...", "Ask a probed process: coverage, fault, trace"},
};
// In their order; what is none of them is a process.
constexpr CommandFn* kRun[] = {listCommand,     coverageCommand, postMortemCommand, replayCommand,
                               sweepCommand,    showCommand,     diffCommand,       trimCommand,
                               minimiseCommand, exportCommand};
static_assert(std::size(kRun) + 1 == std::size(kCommands));

// The options of a start: those of the probe, and the program's own.
std::vector<Option> startOptions() {
    std::vector<Option> options = {
        {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End},
        {.name = "version", .help = "Print the version and exit", .takes = Takes::End},
    };
    const auto own = probeOptions();
    options.insert(options.end(), own.begin(), own.end());
    return options;
}

int start(std::span<char*> arguments) {
    const std::vector<Option> options = startOptions();
    const Program program{
        .name = "pcsim-probe",
        .about = "pcsim-probe: runs a HAL with a probe between it and the platform library.",
        .usage = "[options] -- PROGRAM [argument...]",
        .onWord = nullptr,
        .options = options,
        .commands = kCommands,
    };
    const GivenOptions given =
        readOptions(program, static_cast<int>(arguments.size()), arguments.data());
    if (given.has("help")) return print(helpText(program)), 0;
    if (given.has("version")) return print(versionText(program.name)), 0;
    if (given.command.empty())
        throw OptionProblem("expected a program to start, for example: pcsim-probe -- my-hal");
    return launch(probeOptionsOf(given), given.command);
}

int run(std::span<char*> arguments) {
    if (arguments.size() < 2 || arguments[1][0] == '-') return start(arguments);
    const std::string first = arguments[1];
    const Words words(arguments.begin() + 2, arguments.end());
    for (size_t i = 0; i < std::size(kRun); ++i)
        if (first == kCommands[i].name) return kRun[i](words);
    return controlCommand(first, words);
}

int complain(const std::string& what, int status) {
    std::fprintf(stderr, "pcsim-probe: %s\n", printable(what).c_str());
    return status;
}

}  // namespace

}  // namespace pcsim::probe

int main(int argc, char** argv) {
    using namespace pcsim;
    try {
        return probe::run({argv, static_cast<size_t>(argc)});
    } catch (const OptionProblem& problem) {
        return probe::complain(problem.what(), kBadOptions);
    } catch (const std::exception& problem) {
        return probe::complain(problem.what(), 1);
    }
}
