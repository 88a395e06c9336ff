// A line as the words of it: how commands, scripts and files of the same notation are taken apart.
#ifndef PCSIM_CONSOLE_WORDS_H
#define PCSIM_CONSOLE_WORDS_H

#include <string>
#include <string_view>
#include <vector>

namespace pcsim {

using Words = std::vector<std::string>;

// Splits a line at blanks; "quotes" keep blanks, # starts a comment. Throws a CommandError when a
// quote is left open.
Words splitWords(std::string_view line);

// The first 'count' words with a separator between them.
std::string joinWords(const Words& words, size_t count, const char* separator = " ");
inline std::string joinWords(const Words& words) {
    return joinWords(words, words.size());
}

}  // namespace pcsim

#endif
