// The shape of a command, and how words typed by a person are held against it.
//
// A pattern is written as it is shown in help:
//     port <port> autoneg <state:on|off> [speed <speed:10|100|1000|10000>] [duplex <d:full|half>]
// Words stand for themselves, <name:type> for a value, [..] for a group that may follow in any
// order (with a trailing * as often as one likes), (word) in one for a word that may be left out:
// its value is itself or empty. Types: port (S:P), slot, vlan, u32 (decimal or
// 0x..), LO-HI (a number in a range), a|b|c (one of these words), mac, ipv4, address (either
// family), prefix, file, text, rest (everything that follows). <port> is short for <port:port>.
// <port*> may be several (lists.h), shown as <ports>: the verb is run for each. Such values stand
// in the fixed part.
//
// Words, and those of a choice, may be typed as their beginning. po~rts is the word ports, which
// goes before all others that begin with what is typed once that reaches the ~. With the ~ at its
// end a word is written out or is not meant.
#ifndef PCSIM_CONSOLE_GRAMMAR_H
#define PCSIM_CONSOLE_GRAMMAR_H

#include <cstdint>
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
    bool optional = false;  // a word that may be left out
    bool list = false;      // a value that may be several
    size_t enough = 0;  // letters of a word that mean it before others; 0: as many as are unique

    std::string text() const;  // as in help
    Words choices() const;     // the words of a choice; none of any other value
    bool isChoice() const { return type.find('|') != std::string::npos; }
};

struct OptionGroup {
    std::vector<Element> elements;  // the first is a word
    bool repeats = false;
    std::string text() const;
};

struct Pattern {
    std::vector<Element> elements;  // the first is a word
    std::vector<OptionGroup> options;
    std::string text;

    std::string usage() const;  // as in help
    static Pattern parse(const std::string& text);
};

// The values of one command by name; a repeated group has several of each.
using Values = std::map<std::string, std::vector<std::string>>;

// How a word fits where it stands, the best first.
enum class Fit : uint8_t { kExact, kEnough, kValue, kBeginning };

// What a match looks for: 'kWhole' is quick and takes no word's beginning.
enum class Spelling { kWhole, kBeginnings };

struct Match {
    bool complete = false;
    size_t matched = 0;   // words that fit
    std::string problem;  // why a value does not fit, empty when a word is missing or unknown
    std::vector<const Element*> next;  // of the pattern: what could stand behind the words that fit
    Values values;
    // With kBeginnings, of each word that fits: how, and the word that it stands for.
    std::vector<Fit> fits;
    Words words;

    Words expected() const;  // 'next' as in help
};

Match match(const Pattern& pattern, const Words& words, Spelling spelling);

// Why 'word' is no value of 'type', or nothing.
std::optional<std::string> valueProblem(const std::string& type, const std::string& name,
                                        const std::string& word);
// The form of such values: "SLOT:PORT, for example 1:2". Empty when any word is one.
std::string valueForm(const std::string& type);

}  // namespace pcsim

#endif
