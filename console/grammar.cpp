// Patterns and matching.
#include "console/grammar.h"

#include <algorithm>
#include <cctype>

#include "console/error.h"
#include "console/lists.h"
#include "console/values.h"

namespace pcsim {

std::string Element::text() const {
    if (!word.empty()) return optional ? "[" + word + "]" : word;
    if (isChoice()) return type;
    return "<" + name + (type == "rest" ? "..." : list ? "s" : "") + ">";
}

Words Element::choices() const {
    Words words;
    for (size_t start = 0; isChoice() && start <= type.size();) {
        const size_t end = std::min(type.find('|', start), type.size());
        words.push_back(type.substr(start, end - start));
        start = end + 1;
    }
    return words;
}

std::string OptionGroup::text() const {
    std::string text = "[";
    for (const Element& element : elements) text += (text.size() == 1 ? "" : " ") + element.text();
    return text + (repeats ? "]..." : "]");
}

namespace {

Element parseElement(const std::string& text) {
    Element element;
    if (text.front() == '(') {
        element.word = text.substr(1, text.size() - 2);
        element.optional = true;
        return element;
    }
    if (text.front() != '<') {
        element.word = text;
        const size_t mark = text.find('~');
        if (mark != std::string::npos) {
            element.word.erase(mark, 1);
            element.enough = mark;
        }
        return element;
    }
    const std::string inside = text.substr(1, text.size() - 2);
    const size_t colon = inside.find(':');
    element.name = inside.substr(0, colon);
    element.list = element.name.ends_with("*");
    if (element.list) element.name.pop_back();
    element.type = colon == std::string::npos ? element.name : inside.substr(colon + 1);
    return element;
}

// Holds words against a pattern, one after the other.
class Matcher {
public:
    Matcher(const Pattern& pattern, const Words& words, Spelling spelling)
        : pattern_(pattern), words_(words), beginnings_(spelling == Spelling::kBeginnings) {}

    Match run() {
        for (const Element& element : pattern_.elements)
            if (!take(element)) return std::move(result_);
        takeOptions();
        return std::move(result_);
    }

private:
    bool atEnd() const { return result_.matched == words_.size(); }
    const std::string& word() const { return words_[result_.matched]; }

    void fit(Fit how, const std::string& meant) {
        ++result_.matched;
        if (!beginnings_) return;
        result_.fits.push_back(how);
        result_.words.push_back(meant);
    }

    std::optional<Fit> wordFits(const Element& element) const {
        if (element.word == word()) return Fit::kExact;
        if (!beginnings_ || word().empty() || !element.word.starts_with(word()))
            return std::nullopt;
        if (element.enough == element.word.size()) return std::nullopt;
        const bool enough = element.enough != 0 && word().size() >= element.enough;
        return enough ? Fit::kEnough : Fit::kBeginning;
    }

    // Takes the next word as this element, or notes what was expected.
    bool take(const Element& element) {
        if (element.type == "rest" && !atEnd()) {
            auto& rest = result_.values[element.name];
            while (!atEnd()) {
                rest.push_back(word());
                fit(Fit::kValue, word());
            }
            result_.next.push_back(&element);  // it takes more
            return true;
        }
        if (!atEnd() && (element.word.empty() ? takeValue(element) : takeWord(element)))
            return true;
        result_.next.push_back(&element);
        return false;
    }

    bool takeWord(const Element& element) {
        const auto how = wordFits(element);
        if (how) fit(*how, element.word);
        return how.has_value();
    }

    bool takeValue(const Element& element) {
        auto problem =
            (element.list ? listProblem : valueProblem)(element.type, element.name, word());
        std::string value = word();
        if (problem && element.isChoice()) {
            const auto choice = choiceOf(element);
            // An unknown word is told together with what other verbs expect in its place.
            if (!choice) return false;
            value = *choice;
        } else if (problem) {
            result_.problem = std::move(*problem);
            return false;
        }
        result_.values[element.name].push_back(value);
        fit(element.isChoice() ? value == word() ? Fit::kExact : Fit::kBeginning : Fit::kValue,
            value);
        return true;
    }

    // The word of a choice that alone begins so. Numbers are written whole.
    std::optional<std::string> choiceOf(const Element& element) {
        if (!beginnings_ || word().empty()) return std::nullopt;
        Words fitting;
        for (std::string& choice : element.choices())
            if (choice.starts_with(word()) && !std::isdigit(static_cast<unsigned char>(choice[0])))
                fitting.push_back(std::move(choice));
        if (fitting.size() == 1) return std::move(fitting[0]);
        if (!fitting.empty()) tooShort(fitting);
        return std::nullopt;
    }

    void tooShort(const Words& fitting) {
        result_.problem = fmt::format("'{}' is short for more than one word; expected {}", word(),
                                      joinWords(fitting, fitting.size(), " or "));
    }

    // Takes the groups that follow the fixed part.
    void takeOptions() {
        std::vector<bool> used(pattern_.options.size(), false);
        while (!atEnd()) {
            const auto index = optionOf(used);
            if (!index) {
                offerOptions(used);
                return;
            }
            used[*index] = true;
            if (!takeGroup(pattern_.options[*index])) return;
        }
        offerOptions(used);
        result_.complete = true;
    }

    bool usable(const std::vector<bool>& used, size_t index) const {
        return !used[index] || pattern_.options[index].repeats;
    }

    // The group that the next word begins.
    std::optional<size_t> optionOf(const std::vector<bool>& used) {
        std::optional<size_t> found;
        Words fitting;
        for (size_t i = 0; i < pattern_.options.size(); ++i) {
            const Element& first = pattern_.options[i].elements[0];
            const auto how = usable(used, i) ? wordFits(first) : std::nullopt;
            if (how == Fit::kExact) return i;
            if (!how) continue;
            found = i;
            fitting.push_back(first.word);
        }
        if (fitting.size() < 2) return found;
        tooShort(fitting);
        return std::nullopt;
    }

    void offerOptions(const std::vector<bool>& used) {
        for (size_t i = 0; i < pattern_.options.size(); ++i)
            if (usable(used, i)) result_.next.push_back(pattern_.options[i].elements.data());
    }

    bool takeGroup(const OptionGroup& group) {
        for (const Element& element : group.elements) {
            if (!element.optional) {
                if (!take(element)) return false;
                result_.next.clear();
                continue;
            }
            // What follows may begin like it, so it is taken whole.
            const bool there = !atEnd() && word() == element.word;
            result_.values[element.word].push_back(there ? element.word : "");
            if (there) fit(Fit::kExact, element.word);
            if (atEnd() && !there) result_.next.push_back(&element);
        }
        result_.values["[" + group.elements[0].word + "]"].push_back("");
        return true;
    }

    const Pattern& pattern_;
    const Words& words_;
    const bool beginnings_;
    Match result_;
};

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
    std::erase(pattern.text, '~');
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

Match match(const Pattern& pattern, const Words& words, Spelling spelling) {
    return Matcher(pattern, words, spelling).run();
}

Words Match::expected() const {
    Words texts;
    for (const Element* element : next)
        if (!element->optional) texts.push_back(element->text());
    return texts;
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

std::string valueForm(const std::string& type) {
    static constexpr std::pair<std::string_view, const char*> kForms[] = {
        {"port", "SLOT:PORT, for example 1:2"},
        {"vlan", "a number from 1 to 4094"},
        {"u32", "a number, decimal or 0x and hexadecimal digits"},
        {"ipv4", "an IPv4 address, for example 10.0.0.1"},
        {"address", "an IP address, 10.0.0.1 or fe80::1"},
        {"prefix", "10.1.0.0/16, 10.1.0.0/255.255.0.0 or fd00:1::/32"},
        {"file", "the name of a file"},
    };
    for (const auto& [name, form] : kForms)
        if (name == type) return form;
    const size_t dash = type.find('-');
    if (dash == std::string::npos) return "";
    return fmt::format("a number from {} to {}", type.substr(0, dash), type.substr(dash + 1));
}

}  // namespace pcsim
