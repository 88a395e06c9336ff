// The help listing.
#include <algorithm>

#include "host/console/session.h"

namespace pcsim::host {

namespace {

std::string usage(const Verb& verb) {
    std::string text;
    for (const Element& element : verb.pattern.elements)
        text += (text.empty() ? "" : " ") + element.text();
    for (const OptionGroup& group : verb.pattern.options) text += " " + group.text();
    return text;
}

}  // namespace

std::string helpText(const Verbs& verbs, const std::string& topic) {
    constexpr size_t kColumn = 34;
    std::string text;
    for (const Verb& verb : verbs.all()) {
        const std::string use = usage(verb);
        if (!topic.empty() && use.find(topic) == std::string::npos) continue;
        // A long usage has its explanation on a line of its own.
        if (use.size() > kColumn)
            text += fmt::format("  {}\n  {:<{}}  {}\n", use, "", kColumn, verb.help);
        else
            text += fmt::format("  {:<{}}  {}\n", use, kColumn, verb.help);
    }
    if (text.empty()) fail("no verb has '{}' in it; 'help' lists them all", topic);
    if (topic.empty())
        text +=
            "\nA port is SLOT:PORT. Any show takes --json. 'help about WORD' narrows this down.\n";
    return text;
}

}  // namespace pcsim::host
