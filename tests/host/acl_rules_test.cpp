// The compiler of access lists: what a line means, what is wrong with a bad one, and the bytes of
// the records.
#include "host/acl/rules.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>

#include "console/error.h"

using namespace pcsim;
using namespace pcsim::host;

namespace {

std::string problemOf(const std::string& line) {
    try {
        parseAclRule(line);
    } catch (const CommandError& error) {
        return error.what();
    }
    return "none";
}

struct Compiled : AclProgram {
    std::vector<std::string> problems;  // "LINE: WHAT"
};

Compiled compiled(const std::string& text) {
    std::istringstream stream(text);
    AclCompiler compiler;
    Compiled result;
    uint64_t number = 0;
    for (std::string line; std::getline(stream, line);) {
        try {
            compiler.take(++number, line);
        } catch (const CommandError& error) {
            result.problems.push_back(std::to_string(number) + ": " + error.what());
        }
    }
    static_cast<AclProgram&>(result) = std::move(compiler.program);
    return result;
}

struct Conditions {
    const char* line;
    const char* text;
};

void PrintTo(const Conditions& conditions, std::ostream* out) {
    *out << conditions.line;
}

class RuleConditions : public testing::TestWithParam<Conditions> {};

TEST_P(RuleConditions, AreReadAndWrittenInOneForm) {
    const AclRule rule = parseAclRule(std::string("rule r permit ") + GetParam().line);
    EXPECT_EQ(rule.conditions(), GetParam().text);
    // What is written means the same when it is read again.
    EXPECT_EQ(parseAclRule("rule r permit " + rule.conditions()).conditions(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    All, RuleConditions,
    testing::Values(Conditions{"", ""}, Conditions{"proto ip", ""},
                    Conditions{"proto icmp", "proto icmp"}, Conditions{"proto 6", "proto tcp"},
                    Conditions{"proto 0", "proto 0"}, Conditions{"proto 255", "proto 255"},
                    Conditions{"from 10.1.2.3", "from 10.1.2.3/32"},
                    Conditions{"from 10.0.0.0/255.0.0.0", "from 10.0.0.0/8"},
                    Conditions{"to 0.0.0.0/0", "to 0.0.0.0/0"},
                    Conditions{"to 10.0.2.0/255.0.255.0", "to 10.0.2.0/255.0.255.0"},
                    Conditions{"dport 80 proto tcp", "proto tcp dport 80"},
                    Conditions{"proto udp sport 0-65535", "proto udp sport 0-65535"},
                    Conditions{"count 4096", "count 4096"},
                    Conditions{"count 1 to 10.0.0.0/8 from 11.0.0.0/8 proto 17",
                               "proto udp from 11.0.0.0/8 to 10.0.0.0/8 count 1"}));

struct BadLine {
    const char* line;
    const char* problem;
};

void PrintTo(const BadLine& bad, std::ostream* out) {
    *out << bad.line;
}

class BadRules : public testing::TestWithParam<BadLine> {};

TEST_P(BadRules, SayWhatIsWrong) {
    EXPECT_EQ(problemOf(GetParam().line), GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    All, BadRules,
    testing::Values(
        BadLine{"rul a permit", "'rul' is not known here; expected rule NAME permit|deny ..."},
        BadLine{"rule a", "the rule is not complete; expected rule NAME permit|deny ..."},
        BadLine{"rule \"\" permit", "rule name '' is too short; expected 1 to 35 characters"},
        BadLine{"rule abcdefghijklmnopqrstuvwxyz0123456789 permit",
                "rule name 'abcdefghijklmnopqrstuvwxyz0123456789' is too long; expected 1 to 35 "
                "characters"},
        BadLine{"rule a drop", "'drop' is not an action; expected permit or deny"},
        BadLine{"rule a permit proto ipx",
                "'ipx' is not a protocol; expected ip, icmp, tcp, udp or a number from 0 to 255"},
        BadLine{"rule a permit proto 256", "protocol '256' is not a number from 0 to 255"},
        BadLine{"rule a permit from 10.1",
                "'10.1' is not an IPv4 address; expected four numbers as 10.0.0.1"},
        BadLine{"rule a permit to fd00::/8",
                "'fd00::/8' is an IPv6 prefix; an access list has IPv4 alone"},
        BadLine{"rule a permit proto tcp dport 65536",
                "port '65536' is not a number from 0 to "
                "65535"},
        BadLine{"rule a permit proto tcp dport 9-1", "ports '9-1' end before they begin"},
        BadLine{"rule a permit proto tcp dport 9-", "port '' is not a number from 0 to 65535"},
        BadLine{"rule a permit dport 80", "rule a has ports but not proto tcp or proto udp"},
        BadLine{"rule a permit proto icmp sport 80",
                "rule a has ports but not proto tcp or proto udp"},
        BadLine{"rule a permit count 0", "counter '0' is not a number from 1 to 4096"},
        BadLine{"rule a permit count 4097", "counter '4097' is not a number from 1 to 4096"},
        BadLine{"rule a permit count 1 count 2", "'count' is given twice"},
        BadLine{"rule a permit proto ip proto tcp", "'proto' is given twice"},
        BadLine{"rule a permit count", "'count' has no value"},
        BadLine{"rule a permit vlan 5",
                "'vlan' is not a condition; expected proto, from, to, sport, dport or count"},
        BadLine{"rule \"a permit", "the quote before 'a permit' is not closed; end it with \""}));

TEST(AclCompiler, SkipsBlankLinesAndCommentsAndCountsCounters) {
    const Compiled program = compiled(
        "# web\n\nrule web permit proto tcp dport 80 count 2 # the first\n"
        "   \nrule rest deny count 7\nrule last deny\n");
    EXPECT_TRUE(program.problems.empty());
    ASSERT_EQ(program.rules.size(), 3u);
    EXPECT_EQ(program.rules[0].name, "web");
    EXPECT_EQ(program.rules[1].action, AclAction::kDeny);
    EXPECT_EQ(program.counterCount, 7);
}

TEST(AclCompiler, ReportsEveryBadLineWithItsPlace) {
    const Compiled program =
        compiled("rule a permit\nrule a deny\nfoo\nrule b deny\nrule c deny proto x\n");
    const std::vector<std::string> expected = {
        "2: rule a is in line 1 already",
        "3: 'foo' is not known here; expected rule NAME permit|deny ...",
        "5: 'x' is not a protocol; expected ip, icmp, tcp, udp or a number from 0 to 255"};
    EXPECT_EQ(program.problems, expected);
}

TEST(AclCompiler, RefusesMoreRulesThanTheCountCanHold) {
    std::string text;
    for (int i = 0; i < 65536; ++i) text += "rule r" + std::to_string(i) + " permit\n";
    const Compiled program = compiled(text);
    EXPECT_EQ(program.rules.size(), 65535u);
    EXPECT_EQ(program.problems, std::vector<std::string>{"65536: a list has 65535 rules at most"});
}

struct Free {
    void operator()(HalAclRule* block) const { std::free(block); }
};

uint32_t wordAt(const void* block, size_t offset) {
    uint32_t word;
    std::memcpy(&word, static_cast<const char*>(block) + offset, sizeof word);
    return word;
}

TEST(AclRecords, AreOfTheLengthThatTheirConditionsNeed) {
    const Compiled program = compiled(
        "rule any deny\n"
        "rule web permit proto tcp from 10.1.0.0/16 dport 80-81 count 3\n"
        "rule last permit proto 89\n");
    const std::unique_ptr<HalAclRule, Free> block(aclRecords(program.rules));
    const auto* bytes = reinterpret_cast<const char*>(block.get());
    // 48 bytes, and 12 for each condition.
    constexpr size_t kSecond = 48, kThird = 48 + 48 + 4 * 12;
    struct Record {
        size_t at;
        const char* name;
        uint32_t index, next;
        uint8_t action;
        uint32_t length;
    };
    for (const Record& record : {Record{0, "any", 1, 2, 2, 48}, Record{kSecond, "web", 2, 3, 1, 96},
                                 Record{kThird, "last", 3, 0, 1, 60}}) {
        EXPECT_STREQ(bytes + record.at, record.name);
        EXPECT_EQ(wordAt(bytes, record.at + 36), record.index);
        EXPECT_EQ(wordAt(bytes, record.at + 40), record.next);
        EXPECT_EQ(static_cast<uint8_t>(bytes[record.at + 44]), record.action);
        EXPECT_EQ(wordAt(bytes, record.at + 44) >> 22, record.length);
    }
    const uint32_t expected[] = {1, 6, 6, 2, 0x0000010A, 0x0000FFFF, 5, 80, 81, 6, 3, 0};
    for (size_t i = 0; i < std::size(expected); ++i)
        EXPECT_EQ(wordAt(bytes, kSecond + 48 + 4 * i), expected[i]) << "word " << i;
}

TEST(AclRecords, HoldTheLongestNameWithItsEnd) {
    const std::string name(35, 'n');
    const std::unique_ptr<HalAclRule, Free> block(
        aclRecords({parseAclRule("rule " + name + " permit")}));
    EXPECT_EQ(block->name, name);
}

TEST(AclRecords, AnEmptyListHasABlockToo) {
    const std::unique_ptr<HalAclRule, Free> block(aclRecords({}));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(block->length, 0);
}

}  // namespace
