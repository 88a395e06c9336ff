// A line as the words of it: how commands, scripts and files of the same notation are taken apart.
#ifndef PCSIM_CONSOLE_WORDS_H
#define PCSIM_CONSOLE_WORDS_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace pcsim {

using Words = std::vector<std::string>;

// Splits a line at blanks; "quotes" keep blanks, # starts a comment. Throws a CommandError when a
// quote is left open.
Words splitWords(std::string_view line);

// The word as splitWords() takes it for one: in quotes where it needs them.
std::string quotedWord(const std::string& word);

// The value of a variable. Throws a CommandError when there is none of that name.
using ValueOf = std::function<const std::string&(std::string_view name)>;

// The same with $NAME and ${NAME} as their values, inside of quotes, too; $$ is a dollar, and so is
// a $ before anything else. A value is never split: it stays in the word that it stands in.
Words splitWords(std::string_view line, const ValueOf& valueOf);
// The same; 'literal' is told of each word whether any of it is quoted or a variable's value, which
// means nothing but itself.
Words splitWords(std::string_view line, const ValueOf& valueOf, std::vector<bool>& literal);

// Letters, digits and _, not beginning with a digit.
bool isVariableName(std::string_view name);

// The line that splits into these words.
std::string lineOf(const Words& words);

// The first word of a line as it stands there; empty when the line has none.
std::string_view firstWord(std::string_view line);

// The first 'count' words with a separator between them.
std::string joinWords(const Words& words, size_t count, const char* separator = " ");
inline std::string joinWords(const Words& words) {
    return joinWords(words, words.size());
}

// The candidate that 'word' is most likely a misspelling of; empty when none is near.
std::string nearest(const std::string& word, const Words& candidates);

}  // namespace pcsim

#endif
