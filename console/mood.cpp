// Which values have a colour, and which colour that is.
#include "console/mood.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace pcsim {

namespace {

constexpr std::string_view kKeys[] = {"link", "state", "admin"};

constexpr struct {
    std::string_view text;
    Mood mood;
} kMoods[] = {
    {"up", Mood::kGood},          {"operational", Mood::kGood},
    {"disabled", Mood::kWarning}, {"powered off", Mood::kWarning},
    {"removed", Mood::kWarning},  {"down", Mood::kBad},
    {"failed", Mood::kBad},       {"failing", Mood::kBad},
};

constexpr const char* kSgr[] = {"", "\033[32m", "\033[33m", "\033[31m"};
constexpr const char* kPlain = "\033[0m";

}  // namespace

Mood moodOf(std::string_view key, std::string_view text) {
    if (std::find(std::begin(kKeys), std::end(kKeys), key) == std::end(kKeys)) return Mood::kNone;
    for (const auto& known : kMoods)
        if (known.text == text) return known.mood;
    return Mood::kNone;
}

std::string coloured(Mood mood, const std::string& text) {
    return mood == Mood::kNone ? text : kSgr[static_cast<int>(mood)] + text + kPlain;
}

bool hasColours(Colours wanted, int descriptor) {
    if (wanted != Colours::kAuto) return wanted == Colours::kAlways;
    // Set to nothing it says nothing.
    const char* const none = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    if (none != nullptr && *none != '\0') return false;
    if (terminal == nullptr || std::string_view(terminal) == "dumb") return false;
    return isatty(descriptor) != 0;
}

}  // namespace pcsim
