// What may stand at a place of a line: what completion offers there, and what '?' tells.
#ifndef PCSIM_CONSOLE_OFFERS_H
#define PCSIM_CONSOLE_OFFERS_H

#include <optional>
#include <string>
#include <vector>

#include "console/words.h"

namespace pcsim {

struct Console;

struct Offer {
    std::string word;  // "ports", or "<port>" for a value
    std::string help;
    std::string values = "";  // of a value: where its candidates are, as in the help of one
};

struct Offers {
    std::vector<Offer> offers;
    bool files = false;    // names of files as well
    std::string complete;  // what the words do, when they are a command already
};

// What may stand behind the words. Of a word that begins several, what may stand behind each.
Offers offersBehind(Console& console, const Words& words);

// The words and values that may stand behind 'words', to complete the next from.
Words candidatesBehind(Console& console, const Words& words, bool& files);

// What '?' tells at the end of 'line': of the word that it ends in what that may become, behind a
// blank what may follow. Nothing where it is a character like others: in quotes, in what is echoed.
// Throws a CommandError when nothing may.
std::optional<std::string> following(Console& console, const std::string& line, size_t width);

// The same for a line whose last word is a '?'; nothing for any other.
std::optional<std::string> questionOf(Console& console, const std::string& line, size_t width);

}  // namespace pcsim

#endif
