// The help listings.
#include "console/help.h"

#include <fmt/core.h>

#include <algorithm>
#include <functional>

#include "console/present.h"

namespace pcsim {

namespace {

constexpr size_t kUsageColumn = 2, kMoreColumn = 6, kHelpColumn = 38;
constexpr size_t kNarrow = 64;  // there the explanation stands below the usage

std::string listing(const Verbs& verbs, size_t width,
                    const std::function<bool(const std::string& use)>& wanted) {
    const size_t helpColumn = width < kNarrow ? kMoreColumn + 2 : kHelpColumn;
    std::string text;
    for (const Verb& verb : verbs.all()) {
        const std::string use = verb.pattern.usage();
        if (!wanted(use)) continue;
        const size_t start = text.size();
        text.append(kUsageColumn, ' ');
        appendWrapped(text, use, kMoreColumn, width);
        // A long usage has its explanation on a line of its own.
        if (text.size() + 2 > start + helpColumn)
            text += "\n" + std::string(helpColumn, ' ');
        else
            text.resize(start + helpColumn, ' ');
        appendWrapped(text, verb.help, helpColumn, width);
        text += '\n';
    }
    return text;
}

}  // namespace

std::string helpText(const Verbs& verbs, size_t width) {
    std::string text = listing(verbs, width, [](const std::string&) { return true; }) + "\n";
    appendWrapped(text,
                  "A port is SLOT:PORT. <ports>, <vlans> and the like may be several: 1:1-4,2:1, "
                  "10-20, all. Any show takes --json. Words may be typed as their beginning, '?' "
                  "lists what may follow. 'help WORD...' lists the verbs that begin so, 'help "
                  "about WORD' those with a word in them.",
                  0, width);
    return text + "\n";
}

std::string helpAbout(const Verbs& verbs, const std::string& word, size_t width) {
    const std::string text = listing(
        verbs, width, [&](const std::string& use) { return use.find(word) != std::string::npos; });
    if (text.empty()) fail("no verb has '{}' in it; 'help' lists them all", word);
    return text;
}

std::string helpOf(const Verbs& verbs, const std::string& beginning, size_t width) {
    const Words words = splitWords(beginning);
    const std::string text = listing(verbs, width, [&](const std::string& use) {
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

Report verbsReport(const Verbs& verbs) {
    Table table{"verbs",
                "Verbs",
                {{"usage", "Usage"}, {"area", "Area"}, {"show", "Show"}, {"help", "Help"}},
                {},
                "",
                ""};
    for (const Verb& verb : verbs.all())
        table.rows.push_back({verb.pattern.usage(), verb.area, verb.show != nullptr, verb.help});
    return table;
}

}  // namespace pcsim
