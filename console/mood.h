// Colours of what is good, bad or in between: where a value is one that needs a look.
#ifndef PCSIM_CONSOLE_MOOD_H
#define PCSIM_CONSOLE_MOOD_H

#include <string>
#include <string_view>

namespace pcsim {

enum class Mood { kNone, kGood, kWarning, kBad };

// The mood of a value by its key and its text: a link that is down.
Mood moodOf(std::string_view key, std::string_view text);

// The text in the mood's colour.
std::string coloured(Mood mood, const std::string& text);

enum class Colours { kAuto, kAlways, kNever };

// Whether what is printed on 'descriptor' has colours. Without a word, on a terminal that can and
// whose user hasn't said otherwise (NO_COLOR).
bool hasColours(Colours wanted, int descriptor);

}  // namespace pcsim

#endif
