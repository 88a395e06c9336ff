// Holding written names against the description's.
#include "probe/interface/names.h"

#include <algorithm>
#include <numeric>

namespace pcsim::probe {

namespace {

struct ShortName {
    std::string_view record;
    std::string_view name;
    std::string_view operation;  // a part of the names of those in it; "": of all
};

// In the order in which a HAL meets the tables. Operations that are a part of their database's
// record are called as its.
constexpr ShortName kShortNames[] = {
    {"HalSystemOps", "system", ""},      {"HalCardDb", "cardDb", ""},
    {"HalCardDbOps", "cardDb", ""},      {"HalCardSlotDb", "slot", ""},
    {"HalCardSlotOps", "slot", ""},      {"HalFamilyOps", "family", ""},
    {"HalEnvDb", "fanDb", "Fan"},        {"HalFanSlotDb", "fanSlot", ""},
    {"HalEnvDb", "psDb", "PowerSupply"}, {"HalPSSlotDb", "psSlot", ""},
};

bool isTable(std::string_view pattern, const Callee& callee) {
    if (callee.table.empty()) return false;
    if (matchesWild(pattern, callee.table)) return true;
    for (const ShortName& row : kShortNames) {
        if (row.record != callee.table || !matchesWild(pattern, row.name)) continue;
        // A word that nothing is known of yet may come to be in either of its tables.
        if (callee.name.empty() || callee.name.find(row.operation) != std::string_view::npos)
            return true;
    }
    return false;
}

const Function* functionOf(const Field& field) {
    const Type* type = field.type;
    return type->kind == Kind::kPointer && type->target->kind == Kind::kFunction
               ? type->target->function
               : nullptr;
}

// The tables are the platform's; other functions in records are what the HAL hands over.
Side sideOf(const Record& record) {
    const bool isKnown =
        std::ranges::find(kShortNames, record.name, &ShortName::record) != std::end(kShortNames);
    return isKnown ? Side::kPlatform : Side::kHost;
}

std::vector<Callee> listCallees() {
    std::vector<Callee> all;
    for (const Operation& operation : operations())
        all.push_back({operation.name, "", "", operation.function, operation.side});
    for (const Record& record : records())
        for (const Field& field : record.fields)
            if (const Function* function = functionOf(field))
                all.push_back({"", record.name, field.name, function, sideOf(record)});
    return all;
}

// How many characters are to be changed, added or left out to make one of the other.
size_t distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return row[b.size()];
}

// So far from a name is no misspelling of it.
size_t farthest(std::string_view name) {
    return std::max<size_t>(1, name.size() / 4);
}

}  // namespace

bool matchesWild(std::string_view pattern, std::string_view text) {
    size_t p = 0, t = 0;
    size_t star = std::string_view::npos, resume = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = t;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
            ++p;
            ++t;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            t = ++resume;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

bool isWild(std::string_view pattern) {
    return pattern.find_first_of("*?") != std::string_view::npos;
}

std::string_view shortTableName(std::string_view record, std::string_view operation) {
    for (const ShortName& row : kShortNames)
        if (row.record == record && operation.find(row.operation) != std::string_view::npos)
            return row.name;
    return record;
}

size_t tableOrder(std::string_view shortName) {
    const auto found = std::ranges::find(kShortNames, shortName, &ShortName::name);
    return static_cast<size_t>(found - std::begin(kShortNames));
}

bool goesBy(std::string_view pattern, const Callee& callee) {
    const size_t point = pattern.rfind('.');
    if (point != std::string_view::npos)
        return isTable(pattern.substr(0, point), callee) &&
               (matchesWild(pattern.substr(point + 1), callee.word) ||
                (!callee.name.empty() && matchesWild(pattern.substr(point + 1), callee.name)));
    return (!callee.name.empty() && matchesWild(pattern, callee.name)) ||
           (!callee.word.empty() && matchesWild(pattern, callee.word)) ||
           pattern == callee.function->name;
}

const std::vector<Callee>& allCallees() {
    static const std::vector<Callee> kAll = listCallees();
    return kAll;
}

std::vector<Callee> calleesNamed(std::string_view pattern) {
    std::vector<Callee> found;
    for (const Callee& callee : allCallees())
        if (goesBy(pattern, callee)) found.push_back(callee);
    return found;
}

std::vector<std::string> namesLike(std::string_view name) {
    constexpr size_t kMost = 3;
    const size_t point = name.rfind('.');
    const std::string_view last = point == std::string_view::npos ? name : name.substr(point + 1);
    std::vector<std::pair<size_t, std::string>> near;
    const auto offer = [&](std::string_view own, std::string text) {
        const size_t far = distance(own, last);
        if (far > farthest(own)) return;
        for (const auto& [known, other] : near)
            if (other == text) return;
        near.emplace_back(far, std::move(text));
    };
    for (const Callee& callee : allCallees()) {
        if (!callee.name.empty())
            offer(callee.name, std::string(callee.name));
        else
            offer(callee.word,
                  std::string(shortTableName(callee.table, "")) + "." + std::string(callee.word));
    }
    std::ranges::stable_sort(near, {}, &std::pair<size_t, std::string>::first);
    std::vector<std::string> names;
    for (size_t i = 0; i < near.size() && i < kMost; ++i) names.push_back(near[i].second);
    return names;
}

std::string unknownOperation(std::string_view name) {
    std::string text = "no operation goes by '" + std::string(name) + "'";
    std::string offers;
    for (const std::string& near : namesLike(name)) offers += (offers.empty() ? "" : ", ") + near;
    return text + (offers.empty() ? "; 'show coverage' lists them" : "; perhaps " + offers);
}

std::string nearestOf(std::string_view word, const std::vector<std::string_view>& choices) {
    std::string best;
    size_t least = std::string_view::npos;
    for (const std::string_view choice : choices) {
        const size_t far = distance(word, choice);
        if (far > farthest(choice) || far >= least) continue;
        least = far;
        best = choice;
    }
    return best;
}

}  // namespace pcsim::probe
