// What may stand at a place of a line.
#include "console/offers.h"

#include <algorithm>

#include "console/console.h"
#include "console/piping.h"
#include "console/present.h"

namespace pcsim {

namespace {

constexpr size_t kFew = 8;  // values that are told one by one

std::string keyOf(const Element& element) {
    return element.type == "rest" ? element.text() : "<" + element.name + ">";
}

std::vector<std::string> valuesOf(const Console& console, const std::string& key) {
    const auto found = console.candidates.find(key);
    return found == console.candidates.end() ? Words{} : found->second();
}

void add(Offers& offers, const Offer& added) {
    const auto same = std::find_if(offers.offers.begin(), offers.offers.end(),
                                   [&](const Offer& offer) { return offer.word == added.word; });
    if (same == offers.offers.end()) offers.offers.push_back(added);
}

// The group that an element begins, if it does.
const OptionGroup* groupOf(const Verbs::Next& next) {
    for (const OptionGroup& group : next.verb->pattern.options)
        if (next.element == group.elements.data()) return &group;
    return nullptr;
}

// What a word is for: its verb's help, or of several verbs what may follow it.
std::string helpOf(const Console& console, const Words& before, const Verbs::Next& next,
                   const std::vector<Verbs::Next>& all) {
    if (const OptionGroup* const group = groupOf(next)) return group->text();
    const std::string& word = next.element->word;
    const auto same = std::count_if(all.begin(), all.end(), [&](const Verbs::Next& other) {
        return other.element->word == word;
    });
    if (same == 1) return next.verb->help;
    Words words = before;
    words.push_back(word);
    const Verbs::Following following = console.verbs.following(words);
    const Words behind = console.verbs.next(words);
    const std::string list = joinWords(behind, behind.size(), ", ");
    return following.complete == nullptr ? list : following.complete->help + "; or " + list;
}

// The form of a value, and which there are when they are few.
std::string helpOf(const Console& console, const Verbs::Next& next) {
    const std::string& type = next.element->type;
    std::string help = next.element->list ? listForm(type) : valueForm(type);
    if (help.empty()) help = next.verb->help;
    const Words values = valuesOf(console, keyOf(*next.element));
    if (!values.empty() && values.size() <= kFew)
        help += "; there are " + joinWords(values, values.size(), ", ");
    return help;
}

Words splitOrNothing(const std::string& line, bool& inQuote) {
    try {
        return splitWords(line);
    } catch (const CommandError&) {
        inQuote = true;
        return {};
    }
}

// What a command that is complete may end with.
void addEnds(Offers& offers) {
    offers.offers.insert(offers.offers.begin(), {"<Enter>", offers.complete});
    add(offers, {"|", "filter what is printed"});
    add(offers, {">", "write it to a file; >> adds to one"});
}

// What may stand behind the first '|' or '>' of the words, if there is one.
std::optional<Offers> offersOfPiping(const Words& words) {
    const auto isMark = [](const std::string& word) {
        return word == "|" || word.starts_with('>');
    };
    const auto mark = std::find_if(words.rbegin(), words.rend(), isMark);
    if (mark == words.rend()) return std::nullopt;
    Offers offers;
    const auto behind = mark - words.rbegin();
    if (*mark != "|") {
        if (behind == 0) {
            offers.files = true;
            add(offers, {"<file>", valueForm("file"), "<file>"});
        }
    } else if (behind == 0) {
        for (const FilterWord& filter : filterWords()) add(offers, {filter.word, filter.help});
    } else {
        offers.complete = "filter what is printed";
    }
    return offers;
}

std::string listing(const Offers& offers, size_t width) {
    constexpr size_t kWidest = 24;
    size_t column = 0;
    for (const Offer& offer : offers.offers)
        if (offer.word.size() <= kWidest) column = std::max(column, offer.word.size());
    column = std::min(column + 4, width / 2);
    std::string text;
    for (const Offer& offer : offers.offers) {
        std::string line = "  " + offer.word;
        if (!offer.help.empty()) {
            if (line.size() + 2 > column)
                line += "\n" + std::string(column, ' ');
            else
                line.resize(column, ' ');
            appendWrapped(line, offer.help, column, width);
        }
        text += line + "\n";
    }
    return text;
}

}  // namespace

Offers offersBehind(Console& console, const Words& words) {
    if (auto piping = offersOfPiping(words)) return *piping;
    Offers offers;
    const Verbs::Following following = console.verbs.following(words);
    if (following.complete != nullptr) offers.complete = following.complete->help;
    for (const Verbs::Next& next : following.next) {
        const Element& element = *next.element;
        if (element.type == "rest") {
            const auto continuation = console.continuations.find(keyOf(element));
            const auto fixed = static_cast<ptrdiff_t>(next.verb->pattern.elements.size()) - 1;
            if (continuation != console.continuations.end()) {
                Offers rest = continuation->second({words.begin() + fixed, words.end()});
                for (const Offer& offer : rest.offers) add(offers, offer);
                if (rest.complete.empty()) offers.complete.clear();
                continue;
            }
        }
        offers.files = offers.files || element.type == "file";
        if (element.isChoice()) {
            for (const std::string& choice : element.choices())
                add(offers, {choice, next.verb->help});
        } else if (!element.word.empty()) {
            add(offers, {element.word, helpOf(console, words, next, following.next)});
        } else {
            add(offers, {element.text(), helpOf(console, next), keyOf(element)});
        }
    }
    return offers;
}

Words candidatesBehind(Console& console, const Words& words, bool& files) {
    Words candidates;
    const Offers offers = offersBehind(console, words);
    files = offers.files;
    for (const Offer& offer : offers.offers) {
        if (offer.values.empty()) {
            if (offer.word.front() != '<') candidates.push_back(offer.word);
            continue;
        }
        for (std::string& value : valuesOf(console, offer.values))
            candidates.push_back(std::move(value));
    }
    return candidates;
}

std::optional<std::string> following(Console& console, const std::string& line, size_t width) {
    bool inQuote = false;
    Words words = splitOrNothing(line, inQuote);
    if (inQuote || (!words.empty() && words.front() == "echo")) return std::nullopt;
    std::string begun;
    if (!line.empty() && line.back() != ' ' && line.back() != '\t' && !words.empty()) {
        begun = words.back();
        words.pop_back();
    }
    std::string title;
    const auto unclear = console.verbs.following(words).unclear;
    if (unclear && !offersOfPiping(words)) {
        begun = words[*unclear];
        words.resize(*unclear);
        title = "'" + begun + "' may be\n";
    }
    Offers offers = offersBehind(console, words);
    if (begun.empty() && !offers.complete.empty()) addEnds(offers);
    std::erase_if(offers.offers, [&](const Offer& offer) {
        return offer.values.empty() && !offer.word.starts_with(begun);
    });
    if (offers.offers.empty()) {
        if (offersOfPiping(words)) return "";
        if (!begun.empty()) words.push_back(begun);
        console.verbs.find(words);  // says what is wrong
    }
    return title + listing(offers, width);
}

std::optional<std::string> questionOf(Console& console, const std::string& line, size_t width) {
    const size_t mark = line.find_last_not_of(" \t\r\n");
    if (mark == std::string::npos || line[mark] != '?') return std::nullopt;
    if (mark != 0 && line[mark - 1] != ' ' && line[mark - 1] != '\t') return std::nullopt;
    return following(console, line.substr(0, mark), width);
}

}  // namespace pcsim
