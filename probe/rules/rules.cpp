// The rules, and their part in a call.
#include "probe/rules/rules.h"

#include <time.h>

#include <algorithm>
#include <cerrno>

#include "console/error.h"
#include "console/words.h"
#include "probe/interface/names.h"
#include "probe/rules/answers.h"
#include "probe/values/path.h"

namespace pcsim::probe {

// What a rule is for the function of one site.
struct RuleBinding {
    std::vector<ValueTest> tests;
    std::vector<ValueChange> changes;
    uint64_t result = 0;

    void change(Call& call, Phase phase) const {
        // Of two changes of one field the first counts.
        for (auto one = changes.rbegin(); one != changes.rend(); ++one)
            if (one->phase() == phase) one->apply(call.arguments, call.argumentWords, call.result);
    }
};

namespace {

// Throws a CommandError when the rule can't apply to calls of what goes by 'callee'.
std::shared_ptr<const RuleBinding> boundTo(const Callee& callee, const Order& order) {
    const std::string name(callee.name.empty() ? callee.word : callee.name);
    const Function& function = *callee.function;
    auto bound = std::make_shared<RuleBinding>();
    for (const auto& [field, value, within] : order.where)
        bound->tests.emplace_back(name, function, field, value, within);
    for (const auto& [field, value] : order.set)
        bound->changes.emplace_back(name, function, callee.side, field, value);
    if (order.answers())
        bound->result =
            order.returns ? resultOf(name, function, *order.returns) : failureOf(function);
    return bound;
}

// A small generator of our own: the same seed gives the same calls everywhere.
constexpr uint64_t kRandomStep = 0x9E3779B97F4A7C15u;

uint32_t nextOf(uint64_t& state) {
    state += kRandomStep;
    uint64_t mixed = state;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
    return static_cast<uint32_t>((mixed ^ (mixed >> 31)) >> 32);
}

void sleepThrough(uint64_t ms) {
    timespec left{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000 * 1000000)};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) continue;
}

// Of what is known of the interface: whether the rule can ever apply, to any of the operations that
// go by its name.
void checkCanApply(const Order& order) {
    const std::vector<Callee> callees = calleesNamed(order.operation);
    if (callees.empty()) fail("{}", unknownOperation(order.operation));
    std::string problem;
    for (const Callee& callee : callees) {
        try {
            boundTo(callee, order);
            return;
        } catch (const CommandError& error) {
            if (problem.empty()) problem = error.what();
        }
    }
    if (callees.size() == 1) fail("{}", problem);
    fail("none of the {} operations that go by '{}' can have this rule; of the first, {}",
         callees.size(), order.operation, problem);
}

}  // namespace

std::optional<uint64_t> Order::timesOf() const {
    if (count) return count;
    return answers() && !chancePercent ? std::optional<uint64_t>(1) : std::nullopt;
}

std::string Order::text() const {
    std::string text = quotedWord(operation);
    const auto say = [&](const char* word, const std::string& value) {
        text += std::string(" ") + word + " " + value;
    };
    for (const Condition& condition : where)
        say("where", quotedWord(condition.field) + (condition.within ? " within " : " ") +
                         quotedWord(condition.value));
    if (after != 0) say("after", std::to_string(after));
    if (count) say("count", std::to_string(*count));
    if (chancePercent) {
        say("chance", std::to_string(*chancePercent));
        say("seed", std::to_string(seed));
    }
    if (delayMs != 0) say("delay", std::to_string(delayMs));
    if (returns) say("returns", *returns);
    for (const Change& change : set)
        say("set", quotedWord(change.field) + " " + quotedWord(change.value));
    return text;
}

std::string RuleState::text() const {
    std::string text = order.text();
    // What came before it was ready counts no further than that, unless chance goes on with it.
    const uint64_t counted = order.chancePercent ? seen : std::min(seen, order.after);
    const uint64_t applied = order.timesOf() ? hit : 0;
    text += " number " + std::to_string(number);
    if (counted != 0) text += " seen " + std::to_string(counted);
    if (applied != 0) text += " hits " + std::to_string(applied);
    if (!on) text += " off";
    return text;
}

bool RuleState::usedUp() const {
    const auto times = order.timesOf();
    return times && hit >= *times;
}

struct Rules::Rule {
    RuleState state;
    uint64_t random;
    // By the number of a site: what the rule is for it, null when it doesn't apply to it. A site
    // may come to be in a table, and so to another name, after it was first met.
    struct Place {
        bool inTable;
        std::shared_ptr<const RuleBinding> bound;
    };
    std::map<uint32_t, Place> places;

    const std::shared_ptr<const RuleBinding>& at(const Site& site) {
        const bool inTable = !site.table.empty();
        const auto known = places.find(site.index);
        if (known != places.end() && known->second.inTable == inTable) return known->second.bound;
        std::shared_ptr<const RuleBinding> bound;
        const Callee callee{site.name, site.table, site.word, site.function, site.side};
        if (site.function != nullptr && goesBy(state.order.operation, callee)) {
            try {
                bound = boundTo(callee, state.order);
            } catch (const CommandError&) {
                // A name with wild cards takes those operations that have the fields.
            }
        }
        return (places[site.index] = {inTable, std::move(bound)}).bound;
    }

    bool ready() const { return state.on && !state.usedUp(); }

    // Counts the call, and says whether the rule applies to it.
    bool applies(const Call& call, const RuleBinding& bound) {
        const CallWords words{*call.site.function, call.arguments, call.argumentWords};
        for (const ValueTest& test : bound.tests)
            if (!test.holds(words, liveMemory())) return false;
        if (++state.seen <= state.order.after) return false;
        const auto& chance = state.order.chancePercent;
        if (chance && nextOf(random) % 100 >= *chance) return false;
        ++state.hit;
        return true;
    }
};

struct Rules::Passage {
    uint64_t number;
    uint32_t thread;
    uint32_t depth;
    std::vector<std::shared_ptr<const RuleBinding>> bounds;

    // Of two rules that change one field the first counts, too.
    void change(Call& call, Phase phase) const {
        for (auto bound = bounds.rbegin(); bound != bounds.rend(); ++bound)
            (*bound)->change(call, phase);
    }
};

Rules::Rules() = default;
Rules::~Rules() = default;

uint32_t Rules::add(Order order, const Resumed& resumed) {
    checkCanApply(order);
    uint32_t number;
    {
        const std::lock_guard lock(mutex_);
        number = resumed.number.value_or(lastNumber_ + 1);
        const auto place = std::ranges::lower_bound(
            rules_, number, {}, [](const auto& rule) { return rule->state.number; });
        if (place != rules_.end() && (*place)->state.number == number)
            fail("there is a rule {} already; 'fault-remove {}' removes it", number, number);
        lastNumber_ = std::max(lastNumber_, number);
        auto rule = std::make_unique<Rule>();
        const uint64_t draws = resumed.seen - std::min(resumed.seen, order.after);
        rule->random = order.seed + draws * kRandomStep;
        rule->state = {number, std::move(order), !resumed.off, resumed.seen, resumed.hit};
        rules_.insert(place, std::move(rule));
    }
    changed();
    return number;
}

Rules::Rule& Rules::numbered(uint32_t number) {
    for (const auto& rule : rules_)
        if (rule->state.number == number) return *rule;
    if (rules_.empty()) fail("there is no rule {}; there are none", number);
    std::string numbers;
    for (const auto& rule : rules_)
        numbers += (numbers.empty() ? "" : ", ") + std::to_string(rule->state.number);
    fail("there is no rule {}; expected one of {}", number, numbers);
}

void Rules::remove(uint32_t number) {
    {
        const std::lock_guard lock(mutex_);
        const Rule& gone = numbered(number);
        std::erase_if(rules_, [&](const auto& rule) { return rule.get() == &gone; });
    }
    changed();
}

void Rules::turn(uint32_t number, bool on) {
    {
        const std::lock_guard lock(mutex_);
        numbered(number).state.on = on;
    }
    changed();
}

void Rules::clear() {
    {
        const std::lock_guard lock(mutex_);
        rules_.clear();
    }
    changed();
}

void Rules::changed() {
    if (onChange) onChange();
}

std::vector<RuleState> Rules::states() const {
    const std::lock_guard lock(mutex_);
    std::vector<RuleState> states;
    states.reserve(rules_.size());
    for (const auto& rule : rules_) states.push_back(rule->state);
    return states;
}

bool Rules::wants(const Site& site) const {
    const std::lock_guard lock(mutex_);
    return std::ranges::any_of(
        rules_, [&](const auto& rule) { return rule->ready() && rule->at(site) != nullptr; });
}

void Rules::before(Call& call) {
    uint64_t delayMs = 0;
    {
        const std::lock_guard lock(mutex_);
        // Calls that were left by a jump never come back.
        std::erase_if(passages_, [&](const Passage& passage) {
            return passage.thread == call.thread && passage.depth >= call.depth;
        });
        Passage passage{call.number, call.thread, call.depth, {}};
        for (const auto& rule : rules_) {
            if (!rule->ready()) continue;
            const std::shared_ptr<const RuleBinding> bound = rule->at(call.site);
            if (bound == nullptr || !rule->applies(call, *bound)) continue;
            delayMs += rule->state.order.delayMs;
            if (!bound->changes.empty()) passage.bounds.push_back(bound);
            if (!rule->state.order.answers()) continue;
            call.answered = true;
            call.result = bound->result;
            if (call.site.side == Side::kSystem) call.error = errorOf(*call.site.function);
            break;
        }
        passage.change(call, Phase::kBefore);
        if (!passage.bounds.empty()) passages_.push_back(std::move(passage));
    }
    if (delayMs == 0) return;
    if (onDelay)
        onDelay(delayMs);
    else
        sleepThrough(delayMs);
}

void Rules::after(Call& call) {
    Passage passage{};
    {
        const std::lock_guard lock(mutex_);
        const auto found = std::ranges::find(passages_, call.number, &Passage::number);
        if (found == passages_.end()) return;
        passage = std::move(*found);
        passages_.erase(found);
    }
    passage.change(call, Phase::kAfter);
}

}  // namespace pcsim::probe
