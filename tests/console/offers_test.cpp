// What '?' and completion offer at a place of a line.
#include "console/offers.h"

#include <gtest/gtest.h>

#include "console/relation.h"
#include "tests/console/session_support.h"

namespace {

using namespace pcsim;

struct OffersTest : testing::Test {
    StillTime time;
    EventLog events{[] { return uint64_t{7}; }};
    Console console{time, events};

    OffersTest() {
        const auto nothing = [](Call&) {};
        const auto empty = [](Call&) { return Report(); };
        console.verbs.show("show po~rts", "the front panel", empty);
        console.verbs.show("show port <port>", "one port", empty);
        console.verbs.show("show fdb [vlan <vlan>] [port <port>]", "addresses", empty);
        console.verbs.action("port <port> <action:enable|disable>", "administrative state",
                             nothing);
        console.verbs.action("fan <fan:0-7> speed <percent:0-100>", "speed of a fan", nothing);
        console.verbs.action("load <file>", "a file", nothing);
        console.candidates["<port>"] = [] { return Words{"1:1", "1:2"}; };
    }

    std::string question(const std::string& line, size_t width = 80) {
        try {
            return following(console, line, width).value_or("a character");
        } catch (const CommandError& error) {
            return std::string("error: ") + error.what();
        }
    }

    std::string offered(const std::string& line) {
        bool files = false;
        const Words words = candidatesBehind(console, splitWords(line), files);
        return joinWords(words) + (files ? " +files" : "");
    }
};

TEST_F(OffersTest, WordsWithTheirHelp) {
    EXPECT_EQ(question("show "),
              "  ports  the front panel\n"
              "  port   one port\n"
              "  fdb    addresses\n");
    EXPECT_EQ(question("sh fdb "),
              "  <Enter>  addresses\n"
              "  vlan     [vlan <vlan>]\n"
              "  port     [port <port>]\n"
              "  |        filter what is printed\n"
              "  >        write it to a file; >> adds to one\n");
    EXPECT_EQ(question("port 1:1 "),
              "  enable   administrative state\n"
              "  disable  administrative state\n");
}

TEST_F(OffersTest, ValuesWithTheirFormAndThoseThatThereAre) {
    EXPECT_EQ(question("port "), "  <port>  SLOT:PORT, for example 1:2; there are 1:1, 1:2\n");
    EXPECT_EQ(question("port 1"), "  <port>  SLOT:PORT, for example 1:2; there are 1:1, 1:2\n");
    EXPECT_EQ(question("fan "), "  <fan>  a number from 0 to 7\n");
    console.candidates["<port>"] = [] { return Words(9, "1:1"); };
    EXPECT_EQ(question("port "), "  <port>  SLOT:PORT, for example 1:2\n");
}

TEST_F(OffersTest, AWordThatHasBegun) {
    EXPECT_EQ(question("show po"), "  ports  the front panel\n  port   one port\n");
    EXPECT_EQ(question("port 1:1 en"), "  enable  administrative state\n");
    EXPECT_EQ(question("show po "), "'po' may be\n  ports  the front panel\n  port   one port\n");
}

TEST_F(OffersTest, LinesAreAsWideAsTheTerminal) {
    EXPECT_EQ(question("sh fdb ", 23),
              "  <Enter>  addresses\n"
              "  vlan     [vlan\n"
              "           <vlan>]\n"
              "  port     [port\n"
              "           <port>]\n"
              "  |        filter what\n"
              "           is printed\n"
              "  >        write it to\n"
              "           a file; >>\n"
              "           adds to one\n");
}

TEST_F(OffersTest, WhereNothingFitsItSaysWhy) {
    EXPECT_EQ(question("bla "), "error: 'bla' is not a verb; 'help' lists them all");
    EXPECT_EQ(question("show xy"),
              "error: 'xy' is not known after 'show'; expected ports, port, fdb");
    EXPECT_EQ(question("port 1:1 enable x"),
              "error: 'port 1:1 enable' takes nothing more; got 'x'");
    EXPECT_EQ(question("show ports "),
              "  <Enter>  the front panel\n"
              "  |        filter what is printed\n"
              "  >        write it to a file; >> adds to one\n");
}

TEST_F(OffersTest, InQuotesAndInAnEchoItIsACharacter) {
    EXPECT_EQ(question("expect event \"link"), "a character");
    EXPECT_EQ(question("echo really"), "a character");
    EXPECT_EQ(questionOf(console, "echo really ?", 80), std::nullopt);
    EXPECT_EQ(questionOf(console, "show ports?", 80), std::nullopt);
    EXPECT_EQ(questionOf(console, "show ports", 80), std::nullopt);
    EXPECT_EQ(questionOf(console, "", 80), std::nullopt);
    EXPECT_EQ(questionOf(console, " port ? ", 80), question("port "));
}

TEST_F(OffersTest, BehindABarFiltersAndBehindAnArrowFiles) {
    EXPECT_EQ(question("show ports | "),
              "  include  the lines with a text in them\n"
              "  exclude  the lines without\n"
              "  begin    from the first line with a text in it\n"
              "  count    how many lines\n"
              "  json     as --json\n");
    EXPECT_EQ(question("show ports | i"), "  include  the lines with a text in them\n");
    EXPECT_EQ(question("sh po > "), "  <file>  the name of a file\n");
    EXPECT_EQ(offered("show ports | count |"), "include exclude begin count json");
    EXPECT_EQ(offered("show ports >>"), " +files");
}

TEST_F(OffersTest, DemandsAreCompleted) {
    unsigned asked = 0;
    const auto report = [&](Call&) {
        ++asked;
        return Report(Fields{"f", "", {{"speed", "Speed", 1}}})
            .add(Table{"links", "", {{"port", ""}, {"link", ""}}, {{"1:1", "up"}}, "", ""});
    };
    console.verbs.show("show links", "links", report);
    console.verbs.show("links forget", "the same, and forget it", report);
    EXPECT_EQ(offered("expect"), "error show event no");
    EXPECT_EQ(offered("wait show"), "ports port fdb links");
    EXPECT_EQ(offered("wait show links"), "--");
    EXPECT_EQ(offered("expect no"), "event");
    EXPECT_EQ(asked, 0u);
    EXPECT_EQ(offered("expect sh links --"), "speed links.count 1:1.link");
    EXPECT_EQ(asked, 1u);
    EXPECT_EQ(offered("expect links forget --"), "");
    EXPECT_EQ(question("expect links forget -- "), "  <value>  a value of the report\n");
    EXPECT_EQ(asked, 1u);
    EXPECT_EQ(offered("expect show links -- speed"), joinWords(Relation::names()));
    EXPECT_EQ(offered("expect show links -- links.count"), joinWords(Relation::names()) + " where");
    EXPECT_EQ(offered("expect show links -- speed is 1"), "and or within");
    EXPECT_EQ(offered("expect show links -- speed is 1 and"), "speed links.count 1:1.link");
    EXPECT_EQ(offered("help show"), "ports port fdb links");
    EXPECT_EQ(question("expect event "), "  <text>  a part of an event\n");
}

TEST_F(OffersTest, CompletionOffersWordsValuesAndFiles) {
    EXPECT_EQ(offered("show"), "ports port fdb");
    EXPECT_EQ(offered("sh po"), "1:1 1:2");
    EXPECT_EQ(offered("port"), "1:1 1:2");
    EXPECT_EQ(offered("port 1:2"), "enable disable");
    EXPECT_EQ(offered("load"), " +files");
    EXPECT_EQ(offered("bla"), "");
}

}  // namespace
