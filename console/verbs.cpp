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

void Verbs::add(Verb verb) {
    byFirst_[verb.pattern.elements.at(0).word].push_back(verbs_.size());
    verbs_.push_back(std::move(verb));
}

void Verbs::show(const std::string& pattern, const std::string& help,
                 std::function<Report(Call&)> show) {
    add({Pattern::parse(pattern), help, area_, std::move(show), nullptr});
}

void Verbs::action(const std::string& pattern, const std::string& help,
                   std::function<void(Call&)> action) {
    add({Pattern::parse(pattern), help, area_, nullptr, std::move(action)});
}

namespace {

// Whether 'a' was typed more exactly than 'b' where they first differ. Two words that begin alike
// are none better than the other.
bool better(const Match& a, const Match& b) {
    const size_t size = std::min(a.fits.size(), b.fits.size());
    for (size_t i = 0; i < size; ++i) {
        if (a.fits[i] != b.fits[i]) return a.fits[i] < b.fits[i];
        if (a.words[i] != b.words[i]) return false;
    }
    return false;
}

void addOnce(Words& words, const std::string& word) {
    if (std::find(words.begin(), words.end(), word) == words.end()) words.push_back(word);
}

}  // namespace

// All words as they stand in a pattern: what nearly every command is, and quick to tell.
const Verb* Verbs::findWhole(const Words& words, Values& values) const {
    const auto first = byFirst_.find(words[0]);
    if (first == byFirst_.end()) return nullptr;
    for (const size_t index : first->second) {
        Match result = match(verbs_[index].pattern, words, Spelling::kWhole);
        if (!result.complete) continue;
        values = std::move(result.values);
        return &verbs_[index];
    }
    return nullptr;
}

// The verbs that most of the words fit, without those that another fits better. 'preferring' lets
// letters that are enough for a word count for more than others' beginnings.
std::vector<Verbs::Candidate> Verbs::candidatesOf(const Words& words, bool preferring) const {
    std::vector<Candidate> fitting;
    size_t farthest = 0;
    for (const Verb& verb : verbs_) {
        Match result = match(verb.pattern, words, Spelling::kBeginnings);
        if (result.matched < farthest) continue;
        if (result.matched > farthest) fitting.clear();
        farthest = result.matched;
        if (!preferring)
            std::replace(result.fits.begin(), result.fits.end(), Fit::kEnough, Fit::kBeginning);
        fitting.push_back({&verb, std::move(result)});
    }
    std::vector<Candidate> best;
    for (const Candidate& one : fitting)
        if (std::none_of(fitting.begin(), fitting.end(),
                         [&](const Candidate& other) { return better(other.match, one.match); }))
            best.push_back(one);
    return best;
}

Verbs::Found Verbs::find(const Words& words) const {
    Values values;
    if (const Verb* const verb = findWhole(words, values)) return {verb, std::move(values), words};
    std::vector<Candidate> candidates = candidatesOf(words, true);
    const Words& meant = candidates[0].match.words;
    const bool several =
        std::any_of(candidates.begin(), candidates.end(),
                    [&](const Candidate& one) { return one.match.words != meant; });
    if (!several)
        for (Candidate& one : candidates)
            if (one.match.complete)
                return {one.verb, std::move(one.match.values), std::move(one.match.words)};
    explain(words, candidates);
}

void Verbs::explain(const Words& words, const std::vector<Candidate>& misses) const {
    const size_t farthest = misses[0].match.matched;
    if (farthest == 0) {
        Words first;
        for (const Verb& verb : verbs_) first.push_back(verb.pattern.elements[0].word);
        const std::string meant = nearest(words[0], first);
        failUsage("'{}' is not a verb; {}'help' lists them all", words[0],
                  meant.empty() ? "" : "perhaps " + meant + "; ");
    }
    Words meant;
    for (const Candidate& miss : misses) addOnce(meant, joinWords(miss.match.words));
    if (meant.size() > 1)
        failUsage("'{}' is short for more than one; expected {}", joinWords(words, farthest),
                  joinWords(meant, meant.size(), ", "));
    Words expected;
    for (const Candidate& miss : misses) {
        if (!miss.match.problem.empty()) failUsage("{}", miss.match.problem);
        for (const std::string& word : miss.match.expected()) addOnce(expected, word);
    }
    const std::string all = joinWords(expected, expected.size(), ", ");
    if (farthest == words.size())
        failUsage("'{}' is not complete; expected {}", joinWords(words, farthest), all);
    if (expected.empty())
        failUsage("'{}' takes nothing more; got '{}'", joinWords(words, farthest), words[farthest]);
    Words known;
    for (const Candidate& miss : misses) {
        for (const Element* const element : miss.match.next) {
            if (!element->word.empty()) addOnce(known, element->word);
            for (const std::string& choice : element->choices()) addOnce(known, choice);
        }
    }
    const std::string near = nearest(words[farthest], known);
    failUsage("'{}' is not known after '{}'{}; expected {}", words[farthest],
              joinWords(words, farthest), near.empty() ? "" : ", perhaps " + near, all);
}

Verbs::Following Verbs::following(const Words& words) const {
    Following result;
    if (words.empty()) {
        for (const Verb& verb : verbs_) result.next.push_back({&verb.pattern.elements[0], &verb});
        return result;
    }
    const std::vector<Candidate> candidates = candidatesOf(words, false);
    const Words& meant = candidates[0].match.words;
    for (const Candidate& one : candidates) {
        if (one.match.matched != words.size()) continue;
        for (const Element* element : one.match.next) result.next.push_back({element, one.verb});
        if (one.match.complete && result.complete == nullptr) result.complete = one.verb;
        const auto [differs, end] =
            std::mismatch(meant.begin(), meant.end(), one.match.words.begin());
        const auto place = static_cast<size_t>(differs - meant.begin());
        if (differs != meant.end())
            result.unclear = std::min(place, result.unclear.value_or(place));
    }
    return result;
}

std::vector<std::string> Verbs::next(const Words& words) const {
    Words result;
    for (const Next& next : following(words).next) {
        // A choice offers each of its words.
        for (const std::string& choice : next.element->choices()) addOnce(result, choice);
        if (!next.element->isChoice())
            addOnce(result, next.element->word.empty() ? next.element->text() : next.element->word);
    }
    return result;
}

}  // namespace pcsim
