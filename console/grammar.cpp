// Patterns and matching.
#include "console/grammar.h"

#include <algorithm>

#include "console/error.h"
#include "console/values.h"

namespace pcsim {

std::string Element::text() const {
    if (!word.empty()) return optional ? "[" + word + "]" : word;
    if (type.find('|') != std::string::npos) return type;
    return "<" + (type == "rest" ? name + "..." : name) + ">";
}

std::string OptionGroup::text() const {
    std::string text = "[";
    for (const Element& element : elements) text += (text.size() == 1 ? "" : " ") + element.text();
    return text + (repeats ? "]..." : "]");
}

namespace {

Element parseElement(const std::string& text) {
    if (text.front() == '(') return {text.substr(1, text.size() - 2), "", "", true};
    if (text.front() != '<') return {text, "", ""};
    const std::string inside = text.substr(1, text.size() - 2);
    const size_t colon = inside.find(':');
    if (colon == std::string::npos) return {"", inside, inside};
    return {"", inside.substr(0, colon), inside.substr(colon + 1)};
}

// Holds one element against a word; notes the value or the reason.
bool fits(const Element& element, const std::string& word, Match& result) {
    if (!element.word.empty()) return element.word == word;
    if (word == kNoWord) return false;
    if (auto problem = valueProblem(element.type, element.name, word)) {
        // A word out of a list is told together with what other verbs expect in its place.
        if (element.type.find('|') == std::string::npos) result.problem = std::move(*problem);
        return false;
    }
    result.values[element.name].push_back(word);
    return true;
}

// Matches the groups that follow the fixed part from 'at' on.
void matchOptions(const Pattern& pattern, const Words& words, size_t at, Match& result) {
    std::vector<bool> used(pattern.options.size(), false);
    while (at < words.size()) {
        const OptionGroup* group = nullptr;
        for (size_t i = 0; i < pattern.options.size(); ++i) {
            const OptionGroup& candidate = pattern.options[i];
            if (candidate.elements[0].word != words[at] || (used[i] && !candidate.repeats))
                continue;
            group = &candidate;
            used[i] = true;
            break;
        }
        if (group == nullptr) {
            for (size_t i = 0; i < pattern.options.size(); ++i)
                if (!used[i] || pattern.options[i].repeats)
                    result.expected.push_back(pattern.options[i].elements[0].word);
            return;
        }
        for (const Element& element : group->elements) {
            if (element.optional) {
                const bool there = at < words.size() && words[at] == element.word;
                result.values[element.word].push_back(there ? element.word : "");
                if (there) result.matched = ++at;
                continue;
            }
            if (at == words.size() || !fits(element, words[at], result)) {
                result.expected = {element.text()};
                return;
            }
            result.matched = ++at;
        }
        result.values["[" + group->elements[0].word + "]"].push_back("");
    }
    result.complete = true;
}

}  // namespace

std::string Pattern::usage() const {
    Words words;
    for (const Element& element : elements) words.push_back(element.text());
    for (const OptionGroup& group : options) words.push_back(group.text());
    return joinWords(words);
}

Pattern Pattern::parse(const std::string& text) {
    Pattern pattern;
    pattern.text = text;
    bool inGroup = false;
    for (std::string word : splitWords(text)) {
        if (word.front() == '[') {
            inGroup = true;
            pattern.options.emplace_back();
            word.erase(0, 1);
        }
        bool closes = false;
        if (inGroup && word.ends_with("]*")) {
            pattern.options.back().repeats = true;
            word.erase(word.size() - 2);
            closes = true;
        } else if (inGroup && word.ends_with("]")) {
            word.pop_back();
            closes = true;
        }
        (inGroup ? pattern.options.back().elements : pattern.elements)
            .push_back(parseElement(word));
        if (closes) inGroup = false;
    }
    return pattern;
}

Match match(const Pattern& pattern, const Words& words) {
    Match result;
    for (const Element& element : pattern.elements) {
        const size_t at = result.matched;
        if (element.type == "rest") {
            if (at == words.size()) {
                result.expected = {element.text()};
                return result;
            }
            result.values[element.name].assign(words.begin() + static_cast<ptrdiff_t>(at),
                                               words.end());
            result.matched = words.size();
            result.complete = true;
            return result;
        }
        if (at == words.size() || !fits(element, words[at], result)) {
            result.expected = {element.text()};
            return result;
        }
        ++result.matched;
    }
    matchOptions(pattern, words, result.matched, result);
    return result;
}

std::optional<std::string> valueProblem(const std::string& type, const std::string& name,
                                        const std::string& word) {
    if (type.find('|') != std::string::npos) {
        for (size_t start = 0; start <= type.size();) {
            const size_t end = std::min(type.find('|', start), type.size());
            if (type.compare(start, end - start, word) == 0 && end - start == word.size())
                return std::nullopt;
            start = end + 1;
        }
        return fmt::format("'{}' is not known here; expected {}", word, type);
    }
    try {
        const size_t dash = type.find('-');
        if (dash != std::string::npos)
            parseNumber(name, word, std::stoull(type.substr(0, dash)),
                        std::stoull(type.substr(dash + 1)));
        else if (type == "port")
            parseSlotPort(word);
        else if (type == "vlan")
            parseNumber("VLAN", word, 1, 4094);
        else if (type == "u32")
            parseU32(name, word);
        else if (type == "ipv4")
            parseIpv4(word);
        else if (type == "address")
            parseAddress(word);
        else if (type == "prefix")
            parsePrefix(word);
    } catch (const CommandError& error) {
        return error.what();
    }
    return std::nullopt;
}

}  // namespace pcsim
