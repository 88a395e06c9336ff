// Patterns, matching, and the lines that say what would have been right.
#include "console/grammar.h"

#include <gtest/gtest.h>

#include "console/verbs.h"

namespace pcsim::host {
namespace {

TEST(SplitWords, BlanksSeparateQuotesKeepThemTogether) {
    EXPECT_EQ(splitWords("  port 1:2\tenable "), (Words{"port", "1:2", "enable"}));
    EXPECT_EQ(splitWords("echo \"two words\" x\"y z\""), (Words{"echo", "two words", "xy z"}));
    EXPECT_EQ(splitWords("echo \"\""), (Words{"echo", ""}));
    EXPECT_TRUE(splitWords("").empty());
}

TEST(SplitWords, ACommentEndsTheLineButNotAWord) {
    EXPECT_EQ(splitWords("show ports # all of them"), (Words{"show", "ports"}));
    EXPECT_EQ(splitWords("echo a#b"), (Words{"echo", "a#b"}));
}

TEST(SplitWords, AnOpenQuoteIsAnError) {
    EXPECT_THROW(splitWords("echo \"abc"), CommandError);
}

class VerbsTest : public testing::Test {
protected:
    VerbsTest() {
        const auto nothing = [](Call&) {};
        verbs.action("port <port> <action:enable|disable|restart>", "", nothing);
        verbs.action(
            "port <port> autoneg <state:on|off> [speed <speed:10|100>] [duplex <d:full|half>]", "",
            nothing);
        verbs.action("vlan create <vlan>", "", nothing);
        verbs.action("route add <prefix> [via <gateway:address> vlan <vlan>]* [vr <vr:0-255>]", "",
                     nothing);
        verbs.action("echo <text:rest>", "", nothing);
    }

    std::string problem(const std::string& line) {
        try {
            verbs.find(splitWords(line));
        } catch (const CommandError& error) {
            return error.what();
        }
        return "";
    }

    // The command written out; empty when it is none.
    std::string meant(const std::string& line) {
        try {
            return joinWords(verbs.find(splitWords(line)).words);
        } catch (const CommandError&) {
            return "";
        }
    }

    Values values(const std::string& line) { return verbs.find(splitWords(line)).values; }

    Verbs verbs;
};

TEST_F(VerbsTest, FixedWordsAndValues) {
    const Values found = values("port 1:2 enable");
    EXPECT_EQ(found.at("port"), (Words{"1:2"}));
    EXPECT_EQ(found.at("action"), (Words{"enable"}));
}

TEST_F(VerbsTest, GroupsComeInAnyOrder) {
    const Values found = values("port 1:2 autoneg on duplex half speed 10");
    EXPECT_EQ(found.at("speed"), (Words{"10"}));
    EXPECT_EQ(found.at("d"), (Words{"half"}));
    EXPECT_TRUE(found.contains("[speed]"));
}

TEST_F(VerbsTest, ARepeatedGroupHasSeveralValues) {
    const Values found =
        values("route add 10.0.0.0/8 via 10.0.0.1 vlan 5 vr 2 via 10.0.0.2 vlan 6");
    EXPECT_EQ(found.at("gateway"), (Words{"10.0.0.1", "10.0.0.2"}));
    EXPECT_EQ(found.at("vlan"), (Words{"5", "6"}));
    EXPECT_EQ(found.at("vr"), (Words{"2"}));
}

TEST_F(VerbsTest, AWordInAGroupMayBeLeftOut) {
    verbs.action("fault <name> [where <field> (within) <value>]* [after <n:1-9>]", "",
                 [](Call&) {});
    const Values found = values("fault x where a within 1 after 2 where b 3");
    EXPECT_EQ(found.at("field"), (Words{"a", "b"}));
    EXPECT_EQ(found.at("within"), (Words{"within", ""}));
    EXPECT_EQ(found.at("value"), (Words{"1", "3"}));
    EXPECT_EQ(problem("fault x where a within"),
              "'fault x where a within' is not complete; expected <value>");
    EXPECT_EQ(verbs.all().back().pattern.usage(),
              "fault <name> [where <field> [within] <value>]... [after <n>]");
}

TEST_F(VerbsTest, ValuesOfAnyFormAreOfferedToo) {
    verbs.action("trace <component> <level:0-8>", "", [](Call&) {});
    EXPECT_EQ(verbs.next({"trace"}), (std::vector<std::string>{"<component>"}));
    EXPECT_EQ(verbs.next({"trace", "Sys"}), (std::vector<std::string>{"<level>"}));
}

TEST_F(VerbsTest, RestTakesEverything) {
    EXPECT_EQ(values("echo a b c").at("text"), (Words{"a", "b", "c"}));
}

TEST_F(VerbsTest, ProblemsSayWhatWouldBeRight) {
    const std::pair<const char*, const char*> kRows[] = {
        {"frobnicate", "'frobnicate' is not a verb; 'help' lists them all"},
        {"port 1:2", "'port 1:2' is not complete; expected enable|disable|restart, autoneg"},
        {"port 1:2 explode",
         "'explode' is not known after 'port 1:2'; expected enable|disable|restart, autoneg"},
        {"port 12 enable", "'12' is not a port; expected SLOT:PORT, for example 1:2"},
        {"vlan create 4095", "VLAN '4095' is not a number from 1 to 4094"},
        {"vlan create ten", "VLAN 'ten' is not a number from 1 to 4094"},
        {"port 1:2 autoneg on speed 10 speed 100",
         "'speed' is not known after 'port 1:2 autoneg on speed 10'; expected duplex"},
        {"vlan create 5 6", "'vlan create 5' takes nothing more; got '6'"},
        {"route add 10.0.0.0/33",
         "'10.0.0.0/33' is not a prefix; expected 10.1.0.0/16, 10.1.0.0/255.255.0.0 or "
         "fd00:1::/32"},
    };
    for (const auto& [line, expected] : kRows) EXPECT_EQ(problem(line), expected) << line;
}

TEST_F(VerbsTest, AWordMayBeItsBeginningWhereOnlyOneFits) {
    EXPECT_EQ(meant("vl cr 10"), "vlan create 10");
    EXPECT_EQ(meant("po 1:2 en"), "port 1:2 enable");
    EXPECT_EQ(meant("p 1:2 a of d h s 10"), "port 1:2 autoneg off duplex half speed 10");
    EXPECT_EQ(meant("r a 10.0.0.0/8 v 10.0.0.1 vl 5"), "");
    EXPECT_EQ(problem("r a 10.0.0.0/8 v 10.0.0.1 vl 5"),
              "'v' is short for more than one word; expected via or vr");
    EXPECT_EQ(meant("r a 10.0.0.0/8 vi 10.0.0.1 vl 5"), "route add 10.0.0.0/8 via 10.0.0.1 vlan 5");
    EXPECT_EQ(meant("e a en"), "echo a en");
    EXPECT_EQ(values("p 1:2 dis").at("action"), (Words{"disable"}));
}

TEST_F(VerbsTest, AWordWithTheMarkAtItsEndIsWrittenOut) {
    verbs.action("vla~ off", "", [](Call&) {});
    EXPECT_EQ(meant("vl cr 10"), "vlan create 10");
    EXPECT_EQ(meant("vla off"), "vla off");
    EXPECT_EQ(meant("vla o"), "vla off");
    EXPECT_EQ(meant("vl o"), "");
    EXPECT_EQ(verbs.all().back().pattern.text, "vla off");
}

TEST_F(VerbsTest, AWholeWordGoesBeforeALongerOneAndAValueBeforeABeginning) {
    for (const char* pattern :
         {"show po~rts", "show port <port>", "show power", "show poe <port>", "show acl <name>",
          "show acl all", "record stop", "record <file>", "time warp <ms:0-99>",
          "times <state:on|off>", "trace <what> <level:0-8>"})
        verbs.action(pattern, "", [](Call&) {});
    EXPECT_EQ(problem("sh port"), "'sh port' is not complete; expected <port>");
    EXPECT_EQ(meant("sh ports"), "show ports");
    EXPECT_EQ(meant("sh port 1:1"), "show port 1:1");
    EXPECT_EQ(meant("sh po 1:1"), "");
    EXPECT_EQ(problem("sh po 1:1"),
              "'sh po 1:1' is short for more than one; expected show port 1:1, show poe 1:1");
    EXPECT_EQ(meant("sh po"), "show ports");
    EXPECT_EQ(meant("sh por"), "show ports");
    EXPECT_EQ(
        problem("sh p"),
        "'sh p' is short for more than one; expected show ports, show port, show power, show poe");
    EXPECT_EQ(meant("rec st"), "record st");
    EXPECT_EQ(values("rec st").at("file"), (Words{"st"}));
    EXPECT_EQ(meant("sh a al"), "show acl al");
    EXPECT_EQ(meant("times on"), "times on");
    EXPECT_EQ(meant("time w 5"), "time warp 5");
    EXPECT_EQ(problem("t w 5"),
              "'t w 5' is short for more than one; expected time warp 5, trace w 5");
    EXPECT_EQ(problem("times o"), "'o' is short for more than one word; expected on or off");
}

TEST_F(VerbsTest, NumbersOutOfAListAreWhole) {
    verbs.action("acl slot <direction:0|1|10>", "", [](Call&) {});
    EXPECT_EQ(meant("acl slot 1"), "acl slot 1");
    EXPECT_EQ(problem("port 1:2 autoneg on speed 1"),
              "'1' is not known after 'port 1:2 autoneg on speed'; expected 10|100");
}

TEST_F(VerbsTest, AWordWithALetterWrongIsRecognised) {
    const std::pair<const char*, const char*> kRows[] = {
        {"prot 1:2 enable", "'prot' is not a verb; perhaps port; 'help' lists them all"},
        {"vlna create 5", "'vlna' is not a verb; perhaps vlan; 'help' lists them all"},
        {"rout", "'rout' is not complete; expected add"},
        {"port 1:2 enabel",
         "'enabel' is not known after 'port 1:2', perhaps enable; expected "
         "enable|disable|restart, autoneg"},
        {"x", "'x' is not a verb; 'help' lists them all"},
        {"\"\"", "'' is not a verb; 'help' lists them all"},
    };
    for (const auto& [line, expected] : kRows) EXPECT_EQ(problem(line), expected) << line;
    EXPECT_EQ(nearest("shwo", {"stop", "show", "shoe"}), "show");
    EXPECT_EQ(nearest(std::string(1000000, 'x'), {"xx"}), "");
}

TEST_F(VerbsTest, CompletionOffersWhatComesNext) {
    EXPECT_EQ(verbs.next({}), (std::vector<std::string>{"port", "vlan", "route", "echo"}));
    EXPECT_EQ(verbs.next({"port", "1:1"}),
              (std::vector<std::string>{"enable", "disable", "restart", "autoneg"}));
    EXPECT_EQ(verbs.next({"port", "1:1", "autoneg", "on"}),
              (std::vector<std::string>{"speed", "duplex"}));
    EXPECT_EQ(verbs.next({"port"}), (std::vector<std::string>{"<port>"}));
}

}  // namespace
}  // namespace pcsim::host
