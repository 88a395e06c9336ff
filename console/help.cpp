// The help listings, at most 80 columns wide.
#include "console/help.h"

#include <fmt/core.h>

#include <algorithm>
#include <functional>

#include "console/present.h"

namespace pcsim {

namespace {

constexpr size_t kWidth = 80;
constexpr size_t kUsageColumn = 2, kMoreColumn = 6, kHelpColumn = 38;

std::string listing(const Verbs& verbs, const std::function<bool(const std::string& use)>& wanted) {
    std::string text;
    for (const Verb& verb : verbs.all()) {
        const std::string use = verb.pattern.usage();
        if (!wanted(use)) continue;
        const size_t start = text.size();
        text.append(kUsageColumn, ' ');
        appendWrapped(text, use, kMoreColumn, kWidth);
        // A long usage has its explanation on a line of its own.
        if (text.size() + 2 > start + kHelpColumn)
            text += "\n" + std::string(kHelpColumn, ' ');
        else
            text.resize(start + kHelpColumn, ' ');
        appendWrapped(text, verb.help, kHelpColumn, kWidth);
        text += '\n';
    }
    return text;
}

}  // namespace

std::string helpText(const Verbs& verbs) {
    return listing(verbs, [](const std::string&) { return true; }) +
           "\nA port is SLOT:PORT. <ports>, <vlans> and the like may be several: 1:1-4,2:1,\n"
           "10-20, all. Any show takes --json. Words may be typed as their beginning, '?'\n"
           "lists what may follow. 'help WORD...' lists the verbs that begin so, 'help about\n"
           "WORD' those with a word in them.\n";
}

std::string helpAbout(const Verbs& verbs, const std::string& word) {
    const std::string text =
        listing(verbs, [&](const std::string& use) { return use.find(word) != std::string::npos; });
    if (text.empty()) fail("no verb has '{}' in it; 'help' lists them all", word);
    return text;
}

std::string helpOf(const Verbs& verbs, const std::string& beginning) {
    const Words words = splitWords(beginning);
    const std::string text = listing(verbs, [&](const std::string& use) {
        const Words used = splitWords(use);
        if (words.size() > used.size()) return false;
        return std::equal(words.begin(), words.end(), used.begin(),
                          [](const std::string& word, const std::string& whole) {
                              return whole.starts_with(word);
                          });
    });
    if (text.empty())
        fail("no verb begins with '{}'; 'help' lists them all, 'help about WORD' looks inside",
             beginning);
    return text;
}

}  // namespace pcsim
