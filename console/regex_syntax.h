// The parts of a regular expression, as its pattern is read.
#ifndef PCSIM_CONSOLE_REGEX_SYNTAX_H
#define PCSIM_CONSOLE_REGEX_SYNTAX_H

#include <string>
#include <vector>

#include "console/regex.h"

namespace pcsim {

struct RegexPart {
    enum class Kind { kByte, kBegin, kEnd, kBoundary, kSequence, kAlternatives, kRepeated };

    static constexpr unsigned kForEver = ~0u;

    Kind kind;
    Regex::Set set{};
    std::vector<RegexPart> parts{};
    unsigned low = 0, high = 0;  // of what is repeated
};

// Throws a CommandError that says what is wrong with the pattern.
RegexPart parseRegex(const std::string& pattern);

}  // namespace pcsim

#endif
