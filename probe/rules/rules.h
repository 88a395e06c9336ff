// Fault rules: which calls across the boundary are answered in their callee's stead, come late, or
// hand out other values than the callee gave.
//
// Rules are looked at in the order of their numbers. One whose operation, conditions and counters
// fit applies: it delays the call, it changes what comes out, and if it answers, the callee isn't
// called and the rules behind it don't see the call. A rule that doesn't say what it does answers
// as a failure does. Rules are by name, so they can be there before the library is.
#ifndef PCSIM_PROBE_RULES_RULES_H
#define PCSIM_PROBE_RULES_RULES_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "probe/boundary/call.h"

namespace pcsim::probe {

// "where FIELD VALUE", "where FIELD within PREFIX".
struct Condition {
    std::string field;
    std::string value;
    bool within = false;
};

// "set FIELD VALUE".
struct Change {
    std::string field;
    std::string value;
};

// What is asked of a rule. Fields and values are those of values/path.h.
struct Order {
    std::string operation;  // as names.h has it
    std::vector<Condition> where;
    uint64_t after = 0;             // so many calls that fit go through first
    std::optional<uint64_t> count;  // it applies so often; nothing: see timesOf()
    std::optional<uint32_t> chancePercent;
    uint64_t seed = 1;
    uint64_t delayMs = 0;
    std::optional<std::string> returns;
    std::vector<Change> set;

    // Whether the callee isn't called.
    bool answers() const { return returns || (set.empty() && delayMs == 0); }
    // How often it applies when nobody says: once when it answers for certain, else always.
    std::optional<uint64_t> timesOf() const;
    // As a command without its verb: "pcSimFanReadTemp where slot 2 after 3".
    std::string text() const;
};

// Where a rule goes on that was there before.
struct Resumed {
    std::optional<uint32_t> number;
    uint64_t seen = 0;
    uint64_t hit = 0;
    bool off = false;
};

struct RuleState {
    uint32_t number;
    Order order;
    bool on;
    uint64_t seen;  // calls that fit
    uint64_t hit;   // of them, those that the rule applied to

    bool usedUp() const;
    // As the command without its verb that makes this rule again: with its number, and of what it
    // has counted that on which depends when it applies.
    std::string text() const;
};

class Rules : public Observer {
public:
    Rules();
    ~Rules() override;

    // The number of the new rule. Throws a CommandError for one that can never apply, and for a
    // number that is another's.
    uint32_t add(Order order, const Resumed& resumed = {});
    // Throw a CommandError when there is no such rule.
    void remove(uint32_t number);
    void turn(uint32_t number, bool on);
    void clear();
    std::vector<RuleState> states() const;

    // Lets 'ms' pass within a call. Without one the thread sleeps.
    std::function<void(uint64_t ms)> onDelay;
    // The sites that are wanted may be others now.
    std::function<void()> onChange;

    bool wants(const Site& site) const override;
    void before(Call& call) override;
    void after(Call& call) override;

    // Keeps calls of other threads waiting while the process forks, so that the child doesn't begin
    // with a lock that nobody opens.
    void hold() { mutex_.lock(); }
    void release() { mutex_.unlock(); }

private:
    struct Rule;
    struct Passage;

    Rule& numbered(uint32_t number);
    void changed();

    mutable std::mutex mutex_;
    std::vector<std::unique_ptr<Rule>> rules_;
    std::vector<Passage> passages_;  // calls under way whose results change
    uint32_t lastNumber_ = 0;
};

}  // namespace pcsim::probe

#endif
