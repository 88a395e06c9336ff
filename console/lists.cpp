// Taking lists of values apart.
#include "console/lists.h"

#include "console/error.h"
#include "console/values.h"

namespace pcsim {

namespace {

constexpr const char* kAll = "all";
constexpr size_t kMost = 100000;  // commands that one line stands for

Words itemsOf(const std::string& word) {
    Words items;
    for (size_t start = 0; start <= word.size();) {
        const size_t end = std::min(word.find(',', start), word.size());
        items.push_back(word.substr(start, end - start));
        start = end + 1;
    }
    return items;
}

// "1:1-4" as what stands before the numbers, and these.
struct Range {
    std::string before;
    uint64_t first = 0, last = 0;
};

std::optional<Range> rangeOf(const std::string& item) {
    constexpr uint64_t kHighest = 0xFFFFFFFF;
    const size_t dash = item.find('-');
    if (dash == std::string::npos) return std::nullopt;
    const size_t colon = item.find(':');
    const size_t start = colon < dash ? colon + 1 : 0;
    Range range{item.substr(0, start)};
    if (!readNumber(item.substr(start, dash - start), kHighest, range.first) ||
        !readNumber(item.substr(dash + 1), kHighest, range.last))
        return std::nullopt;
    return range;
}

void addRange(const Range& range, Words& members) {
    for (uint64_t number = range.first; number <= range.last; ++number) {
        if (members.size() == kMost) fail("a list has more than {} values", kMost);
        members.push_back(range.before + std::to_string(number));
    }
}

// In the order in which they are written, each once.
Words membersOf(const Element& element, const std::string& word, const AllOf& allOf) {
    Words members;
    if (word == kAll) {
        members = allOf(element);
        if (members.empty()) fail("there is no {}; '{}' stands for none", element.name, kAll);
        return members;
    }
    for (const std::string& item : itemsOf(word)) {
        if (const auto range = rangeOf(item))
            addRange(*range, members);
        else
            members.push_back(item);
    }
    return members;
}

// Each of the commands once for each of the values.
std::vector<Single> multiplied(const std::vector<Single>& singles, const std::string& name,
                               const Words& members) {
    if (singles.size() * members.size() > kMost)
        fail("the line stands for more than {} commands", kMost);
    std::vector<Single> result;
    for (const Single& single : singles) {
        for (const std::string& member : members) {
            Single one = single;
            one.values[name] = {member};
            one.label += (one.label.empty() ? "" : " ") + member;
            result.push_back(std::move(one));
        }
    }
    return result;
}

}  // namespace

std::optional<std::string> listProblem(const std::string& type, const std::string& name,
                                       const std::string& word) {
    if (word == kAll) return std::nullopt;
    for (const std::string& item : itemsOf(word)) {
        const auto range = rangeOf(item);
        if (!range) {
            if (auto problem = valueProblem(type, name, item)) return problem;
            continue;
        }
        if (range->first > range->last)
            return fmt::format("'{}' is no range; expected the lower number first", item);
        for (const uint64_t end : {range->first, range->last})
            if (auto problem = valueProblem(type, name, range->before + std::to_string(end)))
                return problem;
    }
    return std::nullopt;
}

std::string listForm(const std::string& type) {
    if (type == "port") return "SLOT:PORT, several as 1:1-4,2:1, or all";
    const std::string form = valueForm(type);
    return (form.empty() ? "" : form + ", ") + "several as 1-4,7, or all";
}

std::vector<Single> singlesOf(const Pattern& pattern, Values values, const AllOf& allOf) {
    std::vector<Single> singles{{std::move(values), ""}};
    for (const Element& element : pattern.elements) {
        if (!element.list) continue;
        const std::string word = singles[0].values.at(element.name).front();
        singles = multiplied(singles, element.name, membersOf(element, word, allOf));
    }
    return singles;
}

}  // namespace pcsim
