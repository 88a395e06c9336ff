// Finding a verb, and saying what would have been right.
#include "console/verbs.h"

#include <algorithm>
#include <stdexcept>

namespace pcsim {

const std::string& Call::text(const std::string& name) const {
    const auto found = values_.find(name);
    if (found == values_.end() || found->second.empty())
        throw std::logic_error("the command has no value '" + name + "'");
    return found->second.front();
}

std::string Call::textOr(const std::string& name, std::string otherwise) const {
    return has(name) ? text(name) : std::move(otherwise);
}

const std::vector<std::string>& Call::all(const std::string& name) const {
    static const std::vector<std::string> kNone;
    const auto found = values_.find(name);
    return found == values_.end() ? kNone : found->second;
}

std::string Call::joined(const std::string& name) const {
    return joinWords(all(name));
}

uint64_t Call::number(const std::string& name) const {
    return parseNumber(name, text(name), 0, ~uint64_t{0});
}

uint32_t Call::u32(const std::string& name) const {
    return parseU32(name, text(name));
}

uint16_t Call::vlan(const std::string& name) const {
    return static_cast<uint16_t>(number(name));
}

SlotPort Call::port(const std::string& name) const {
    return parseSlotPort(text(name));
}

uint64_t Call::numberOr(const std::string& name, uint64_t otherwise) const {
    return has(name) ? number(name) : otherwise;
}

void Verbs::show(const std::string& pattern, const std::string& help,
                 std::function<Report(Call&)> show) {
    verbs_.push_back({Pattern::parse(pattern), help, std::move(show), nullptr});
}

void Verbs::action(const std::string& pattern, const std::string& help,
                   std::function<void(Call&)> action) {
    verbs_.push_back({Pattern::parse(pattern), help, nullptr, std::move(action)});
}

Verbs::Found Verbs::find(const Words& words) const {
    std::vector<Match> misses;
    size_t farthest = 0;
    for (const Verb& verb : verbs_) {
        Match result = match(verb.pattern, words);
        if (result.complete) return {&verb, std::move(result.values)};
        farthest = std::max(farthest, result.matched);
        misses.push_back(std::move(result));
    }
    if (farthest == 0) failUsage("'{}' is not a verb; 'help' lists them all", words[0]);
    Words expected;
    for (const Match& miss : misses) {
        if (miss.matched != farthest) continue;
        if (!miss.problem.empty()) failUsage("{}", miss.problem);
        for (const std::string& word : miss.expected)
            if (std::find(expected.begin(), expected.end(), word) == expected.end())
                expected.push_back(word);
    }
    const std::string all = joinWords(expected, expected.size(), ", ");
    if (farthest == words.size())
        failUsage("'{}' is not complete; expected {}", joinWords(words, farthest), all);
    if (expected.empty())
        failUsage("'{}' takes nothing more; got '{}'", joinWords(words, farthest), words[farthest]);
    failUsage("'{}' is not known after '{}'; expected {}", words[farthest],
              joinWords(words, farthest), all);
}

std::vector<std::string> Verbs::next(const Words& words) const {
    std::vector<std::string> result;
    const auto add = [&](const std::string& text) {
        // A choice offers each of its words.
        for (size_t start = 0; start <= text.size();) {
            const size_t end = std::min(text.find('|', start), text.size());
            const std::string word = text.substr(start, end - start);
            if (std::find(result.begin(), result.end(), word) == result.end())
                result.push_back(word);
            start = end + 1;
        }
    };
    Words probe = words;
    probe.emplace_back(kNoWord);
    for (const Verb& verb : verbs_) {
        const Match miss = match(verb.pattern, probe);
        if (miss.matched != words.size()) continue;
        for (const std::string& text : miss.expected) add(text);
    }
    return result;
}

}  // namespace pcsim
