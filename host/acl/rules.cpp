// Compiling access lists.
#include "host/acl/rules.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "console/error.h"
#include "console/values.h"

namespace pcsim::host {

namespace {

constexpr size_t kRuleHead = sizeof(HalAclRule);
static_assert(kRuleHead == 48);

struct Protocol {
    const char* name;
    uint32_t number;
};
constexpr Protocol kProtocols[] = {{"icmp", 1}, {"tcp", 6}, {"udp", 17}};

// "tcp" or a number; "ip" is every protocol, so it is no condition.
std::optional<uint32_t> parseProtocol(const std::string& word) {
    if (word == "ip") return std::nullopt;
    for (const Protocol& protocol : kProtocols)
        if (word == protocol.name) return protocol.number;
    if (word.empty() || word.find_first_not_of("0123456789") != std::string::npos)
        fail("'{}' is not a protocol; expected ip, icmp, tcp, udp or a number from 0 to 255", word);
    return static_cast<uint32_t>(parseNumber("protocol", word, 0, 255));
}

AclMatch parseAddresses(AclMatchKind kind, const std::string& word) {
    if (word.find('/') == std::string::npos) return {kind, parseIpv4(word).v4(), 0xFFFFFFFF};
    const IpPrefix prefix = parsePrefix(word);
    if (prefix.address.v6) fail("'{}' is an IPv6 prefix; an access list has IPv4 alone", word);
    checkMasked(prefix);
    return {kind, prefix.address.v4(), prefix.mask};
}

AclMatch parsePorts(AclMatchKind kind, const std::string& word) {
    const size_t dash = std::min(word.find('-'), word.size());
    const auto low = static_cast<uint32_t>(parseNumber("port", word.substr(0, dash), 0, 0xFFFF));
    if (dash == word.size()) return {kind, low, low};
    const auto high = static_cast<uint32_t>(parseNumber("port", word.substr(dash + 1), 0, 0xFFFF));
    if (high < low) fail("ports '{}' end before they begin", word);
    return {kind, low, high};
}

// What a word behind the action stands for.
const std::map<std::string, AclMatchKind, std::less<>>& conditionKinds() {
    static const std::map<std::string, AclMatchKind, std::less<>> kKinds = {
        {"proto", AclMatchKind::kProtocol},        {"from", AclMatchKind::kSource},
        {"to", AclMatchKind::kDestination},        {"sport", AclMatchKind::kSourcePort},
        {"dport", AclMatchKind::kDestinationPort}, {"count", AclMatchKind::kCounter}};
    return kKinds;
}

void addCondition(AclRule& rule, AclMatchKind kind, const std::string& value) {
    switch (kind) {
        case AclMatchKind::kProtocol:
            if (const auto number = parseProtocol(value))
                rule.matches.push_back({kind, *number, *number});
            return;
        case AclMatchKind::kSource:
        case AclMatchKind::kDestination:
            rule.matches.push_back(parseAddresses(kind, value));
            return;
        case AclMatchKind::kSourcePort:
        case AclMatchKind::kDestinationPort:
            rule.matches.push_back(parsePorts(kind, value));
            return;
        case AclMatchKind::kCounter:
            rule.counter =
                static_cast<uint16_t>(parseNumber("counter", value, 1, kMostAclCounters));
            rule.matches.push_back({kind, rule.counter, 0});
            return;
    }
}

bool has(const AclRule& rule, AclMatchKind kind) {
    return std::any_of(rule.matches.begin(), rule.matches.end(),
                       [kind](const AclMatch& match) { return match.kind == kind; });
}

// Ports exist in TCP and UDP alone.
void checkPorts(const AclRule& rule) {
    if (!has(rule, AclMatchKind::kSourcePort) && !has(rule, AclMatchKind::kDestinationPort)) return;
    for (const AclMatch& match : rule.matches)
        if (match.kind == AclMatchKind::kProtocol && (match.low == 6 || match.low == 17)) return;
    fail("rule {} has ports but not proto tcp or proto udp", rule.name);
}

AclAction parseAction(const std::string& word) {
    if (word == "permit") return AclAction::kPermit;
    if (word == "deny") return AclAction::kDeny;
    fail("'{}' is not an action; expected permit or deny", word);
}

std::string describe(const AclMatch& match) {
    const auto ports = [&] {
        return match.low == match.high ? fmt::format("{}", match.low)
                                       : fmt::format("{}-{}", match.low, match.high);
    };
    switch (match.kind) {
        case AclMatchKind::kProtocol:
            for (const Protocol& protocol : kProtocols)
                if (match.low == protocol.number) return fmt::format("proto {}", protocol.name);
            return fmt::format("proto {}", match.low);
        case AclMatchKind::kSource:
            return "from " + ipv4Text(match.low, match.high);
        case AclMatchKind::kDestination:
            return "to " + ipv4Text(match.low, match.high);
        case AclMatchKind::kSourcePort:
            return "sport " + ports();
        case AclMatchKind::kDestinationPort:
            return "dport " + ports();
        case AclMatchKind::kCounter:
            return fmt::format("count {}", match.low);
    }
    return "?";
}

}  // namespace

std::string AclRule::conditions() const {
    std::string text;
    for (const AclMatch& match : matches) text += (text.empty() ? "" : " ") + describe(match);
    return text;
}

const char* aclActionName(AclAction action) {
    return action == AclAction::kPermit ? "permit" : "deny";
}

std::string AclRule::text() const {
    const std::string all = conditions();
    return quotedWord(name) + " " + aclActionName(action) + (all.empty() ? "" : " ") + all;
}

AclRule parseAclRule(const Words& words) {
    if (words.empty() || words[0] != "rule")
        fail("'{}' is not known here; expected rule NAME permit|deny ...",
             words.empty() ? "" : words[0]);
    if (words.size() < 3) fail("the rule is not complete; expected rule NAME permit|deny ...");
    AclRule rule;
    rule.name = words[1];
    if (rule.name.empty() || rule.name.size() > kLongestAclRuleName)
        fail("rule name '{}' is too {}; expected 1 to {} characters", rule.name,
             rule.name.empty() ? "short" : "long", kLongestAclRuleName);
    rule.action = parseAction(words[2]);
    std::vector<AclMatchKind> seen;
    for (size_t i = 3; i < words.size(); i += 2) {
        const auto kind = conditionKinds().find(words[i]);
        if (kind == conditionKinds().end())
            fail("'{}' is not a condition; expected proto, from, to, sport, dport or count",
                 words[i]);
        if (std::find(seen.begin(), seen.end(), kind->second) != seen.end())
            fail("'{}' is given twice", words[i]);
        seen.push_back(kind->second);
        if (i + 1 == words.size()) fail("'{}' has no value", words[i]);
        addCondition(rule, kind->second, words[i + 1]);
    }
    std::sort(rule.matches.begin(), rule.matches.end(),
              [](const AclMatch& a, const AclMatch& b) { return a.kind < b.kind; });
    checkPorts(rule);
    return rule;
}

void AclCompiler::take(uint64_t number, const Words& words) {
    if (words.empty()) return;
    AclRule rule = parseAclRule(words);
    const auto [former, isNew] = lineOf_.emplace(rule.name, number);
    if (!isNew) fail("rule {} is in {} {} already", rule.name, noun_, former->second);
    if (program.rules.size() == kMostAclRules) fail("a list has {} rules at most", kMostAclRules);
    program.counterCount = std::max(program.counterCount, rule.counter);
    program.rules.push_back(std::move(rule));
}

HalAclRule* aclRecords(const std::vector<AclRule>& rules) {
    size_t size = kRuleHead;  // never an empty block
    for (const AclRule& rule : rules) size += kRuleHead + rule.matches.size() * sizeof(AclMatch);
    auto* const block = static_cast<char*>(std::calloc(1, size));
    if (block == nullptr) return nullptr;
    char* place = block;
    for (size_t i = 0; i < rules.size(); ++i) {
        const AclRule& rule = rules[i];
        const size_t length = kRuleHead + rule.matches.size() * sizeof(AclMatch);
        auto* const record = reinterpret_cast<HalAclRule*>(place);
        rule.name.copy(record->name, kLongestAclRuleName);
        record->ruleIndex = static_cast<uint32_t>(i + 1);
        record->nextIndex = i + 1 == rules.size() ? 0 : static_cast<uint32_t>(i + 2);
        record->action = static_cast<uint8_t>(rule.action);
        record->length = static_cast<uint16_t>(length << HAL_ACL_RULE_LENGTH_SHIFT);
        // A rule without conditions has no matches to point at.
        if (!rule.matches.empty())
            std::memcpy(place + kRuleHead, rule.matches.data(), length - kRuleHead);
        place += length;
    }
    return reinterpret_cast<HalAclRule*>(block);
}

}  // namespace pcsim::host
