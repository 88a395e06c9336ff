// What the commands that work on recordings share: their command lines, and reading a recording
// that may be cut short.
#ifndef PCSIM_PROBE_TOOLS_TOOL_H
#define PCSIM_PROBE_TOOLS_TOOL_H

#include <string>
#include <string_view>
#include <vector>

#include "console/words.h"
#include "lab/options.h"
#include "probe/record/recording.h"

namespace pcsim::probe {

inline constexpr Option kHelpOption{
    .name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End};

// Options may stand between, before and behind the words. Throws an OptionProblem when there are
// not 'count' words; 'expected' says what they are. With --help, prints that.
GivenOptions readTool(const Program& program, const Words& words, size_t count,
                      std::string_view expected);

// All of a recording that is good. When that isn't all, a line on standard error says so, and
// 'whole' is false.
struct Loaded {
    Recording recording;
    bool whole = true;
};
Loaded loadSaying(const std::string& path);
// Says it of one; whether it is whole.
bool sayEnding(const Recording& recording, const std::string& path);

// Both throw a CommandError when it can't be written.
void printText(std::string_view text);
// To a file, or to standard output when 'path' is empty.
void writeText(const std::string& path, std::string_view text);

}  // namespace pcsim::probe

#endif
