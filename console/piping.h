// What stands behind a command: filters of what it prints, and the file that it goes to.
//
//     show ports | include up | count
//     show fdb | exclude static > table.txt
#ifndef PCSIM_CONSOLE_PIPING_H
#define PCSIM_CONSOLE_PIPING_H

#include <string>
#include <vector>

#include "console/words.h"

namespace pcsim {

struct Filter {
    enum class Kind { kInclude, kExclude, kBegin, kCount };
    Kind kind;
    std::string text;
};

struct FilterWord {
    const char* word;
    const char* help;
    bool takesText;
};
// Those that there are, for help and completion; the last is json.
const std::vector<FilterWord>& filterWords();

struct Piping {
    std::vector<Filter> filters;
    bool json = false;
    std::string file;  // empty: none
    bool appends = false;

    bool empty() const { return filters.empty() && file.empty(); }
};

// Takes it off the words of a line. A word that is literal is itself. Throws a CommandError.
Piping takePiping(Words& words, const std::vector<bool>& literal);

}  // namespace pcsim

#endif
