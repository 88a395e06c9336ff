// The shape of a command, and how words typed by a person are held against it.
//
// A pattern is written as it is shown in help:
//     port <port> autoneg <state:on|off> [speed <speed:10|100|1000|10000>] [duplex <d:full|half>]
// Words stand for themselves, <name:type> for a value, [..] for a group that may follow in any
// order (with a trailing * as often as one likes), (word) in one for a word that may be left out:
// its value is itself or empty. Types: port (S:P), slot, vlan, u32 (decimal or
// 0x..), LO-HI (a number in a range), a|b|c (one of these words), mac, ipv4, address (either
// family), prefix, file, text, rest (everything that follows). <port> is short for <port:port>.
#ifndef PCSIM_CONSOLE_GRAMMAR_H
#define PCSIM_CONSOLE_GRAMMAR_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "console/words.h"

namespace pcsim {

struct Element {
    std::string word;  // stands for itself, or empty
    std::string name;  // of a value
    std::string type;
    bool optional = false;     // a word that may be left out
    std::string text() const;  // as in help
};

struct OptionGroup {
    std::vector<Element> elements;  // the first is a word
    bool repeats = false;
    std::string text() const;
};

struct Pattern {
    std::vector<Element> elements;
    std::vector<OptionGroup> options;
    std::string text;

    std::string usage() const;  // as in help
    static Pattern parse(const std::string& text);
};

// The values of one command by name; a repeated group has several of each.
using Values = std::map<std::string, std::vector<std::string>>;

// A word that is in no place of any pattern: what is expected where it stands, a match says.
inline constexpr const char* kNoWord = "\x01";

struct Match {
    bool complete = false;
    size_t matched = 0;   // words that fit
    std::string problem;  // why a value does not fit, empty when a word is missing or unknown
    Words expected;       // what could have come next
    Values values;
};

Match match(const Pattern& pattern, const Words& words);

// Why 'word' is no value of 'type', or nothing.
std::optional<std::string> valueProblem(const std::string& type, const std::string& name,
                                        const std::string& word);

}  // namespace pcsim

#endif
