// The compiler of access lists: from lines of text to the rule records that the platform walks.
//
// A line is
//     rule NAME permit|deny [proto ip|icmp|tcp|udp|0-255] [from PREFIX] [to PREFIX]
//                           [sport N[-M]] [dport N[-M]] [count N]
// in any order after the action; '#' starts a comment. What a rule does not mention matches all.
// 'count N' counts its matches in counter N of each binding, from 1.
//
// A record begins with the part that the platform knows (HalAclRule) and goes on with one AclMatch
// for each condition, so its length depends on the rule. Rules are numbered from 1, each names the
// next, the last names 0.
#ifndef PCSIM_HOST_ACL_RULES_H
#define PCSIM_HOST_ACL_RULES_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "console/words.h"
#include "pcsim/acl.h"

namespace pcsim::host {

enum class AclAction : uint8_t { kPermit = 1, kDeny = 2 };

enum class AclMatchKind : uint32_t {
    kProtocol = 1,         // low: number
    kSource = 2,           // low: address, high: mask, network byte order
    kDestination = 3,      // the same
    kSourcePort = 4,       // low to high
    kDestinationPort = 5,  // low to high
    kCounter = 6,          // low: number
};

struct AclMatch {
    AclMatchKind kind;
    uint32_t low;
    uint32_t high;
};

// One rule in the host's own form.
struct AclRule {
    std::string name;
    AclAction action = AclAction::kPermit;
    std::vector<AclMatch> matches;  // by kind, each once at most
    uint16_t counter = 0;           // 0: not counted

    // As it would be written, e.g. "proto tcp to 10.0.0.0/8 dport 80".
    std::string conditions() const;
    // All of it but the word 'rule': "web permit proto tcp dport 80".
    std::string text() const;
};

const char* aclActionName(AclAction action);

struct AclProgram {
    std::vector<AclRule> rules;
    uint16_t counterCount = 0;  // highest counter number
};

constexpr size_t kMostAclRules = 0xFFFF;
constexpr uint16_t kMostAclCounters = 4096;
constexpr size_t kLongestAclRuleName = sizeof(HalAclRule::name) - 1;

// One line in its words; throws a CommandError that says what is wrong with it.
AclRule parseAclRule(const Words& words);
inline AclRule parseAclRule(std::string_view line) {
    return parseAclRule(splitWords(line));
}

// Takes the lines of a list one after the other.
class AclCompiler {
public:
    // 'noun' is what rules are numbered by, for messages.
    explicit AclCompiler(const char* noun = "line") : noun_(noun) {}

    // Throws a CommandError for a bad line; then the program is not to be used.
    void take(uint64_t number, const Words& words);
    void take(uint64_t number, std::string_view line) { take(number, splitWords(line)); }

    AclProgram program;

private:
    const char* noun_;
    std::map<std::string, uint64_t> lineOf_;  // of rules by name
};

// The records of the rules in one block from malloc, which the platform takes over. Null when
// memory runs out; an empty list has a block too.
HalAclRule* aclRecords(const std::vector<AclRule>& rules);

}  // namespace pcsim::host

#endif
