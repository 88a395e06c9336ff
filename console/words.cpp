// Words and the blanks, quotes and comments around them.
#include "console/words.h"

#include "console/error.h"

namespace pcsim {

Words splitWords(std::string_view line) {
    Words words;
    std::string word;
    bool open = false, quoted = false;
    for (const char c : line) {
        if (quoted) {
            if (c == '"')
                quoted = false;
            else
                word += c;
        } else if (c == '"') {
            quoted = open = true;
        } else if (c == '#' && !open) {
            break;
        } else if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            if (open) words.push_back(std::move(word));
            word.clear();
            open = false;
        } else {
            word += c;
            open = true;
        }
    }
    if (quoted) failUsage("the quote before '{}' is not closed; end it with \"", word);
    if (open) words.push_back(std::move(word));
    return words;
}

std::string joinWords(const Words& words, size_t count, const char* separator) {
    std::string text;
    for (size_t i = 0; i < count; ++i) text += (i == 0 ? "" : separator) + words[i];
    return text;
}

}  // namespace pcsim
