// 'expect' and 'wait': what they demand, what they say when it is not so, and values for variables.
#include "console/demand.h"

#include "tests/console/session_support.h"

namespace {

using namespace pcsim;

// Ports with a name, a link and a speed, and some fields beside them.
struct DemandTest : SessionTest {
    DemandTest() {
        console.verbs.show("show ports", "a table and fields", [this](Call&) {
            ++looks;
            Table ports{"ports",
                        "",
                        {{"port", "Port"}, {"link", "Link"}, {"speed", "Mbps"}},
                        {{"1:1", "up", 100}, {"1:2", "down", Cell()}, {"1:3", "up", 1000}},
                        "",
                        ""};
            Report report(std::move(ports));
            report.add(Fields{"sums",
                              "",
                              {{"up", "Up", 2},
                               {"load", "Load", 12.5},
                               {"below", "Below", -3},
                               {"mask", "Mask", hexCell(15)},
                               {"text", "Text", "a and b"}}});
            report.add(Table{"cards", "", {{"slot", "Slot"}}, {{1}}, "", ""});
            return report;
        });
    }

    // "", or what is said.
    std::string expect(const std::string& words) {
        try {
            session.run("expect " + words);
            return "";
        } catch (const CommandError& error) {
            return fmt::format("{} {}", static_cast<int>(error.code), error.what());
        }
    }

    int looks = 0;
};

TEST_F(DemandTest, Relations) {
    for (const char* holds : {"1:1.link is up",
                              "sums.mask is 15",
                              "sums.mask is 0x0000000f",
                              "1:1.link not down",
                              "1:2.speed not 100",
                              "sums.mask not 16",
                              "text contains a",
                              "text contains \"a and b\"",
                              "text is \"a and b\"",
                              "1:1.link not-contains x",
                              "1:1.port matches ^1:[1-4]$",
                              "1:1.port matches \"^(1:1|2:1)$\"",
                              "up at-least 2",
                              "up at-most 2",
                              "up more-than 1",
                              "up less-than 3",
                              "below less-than 0",
                              "below more-than -4",
                              "load more-than 12",
                              "load at-least 12.5",
                              "load less-than 12.51",
                              "below at-least -3.0",
                              "count is 3",
                              "cards.count is 1",
                              "1:3.speed at-least 1000"})
        EXPECT_EQ(expect(std::string("show ports -- ") + holds), "") << holds;
    const std::pair<const char*, const char*> unmet[] = {
        {"1:1.link is down", "1:1.link is up"},
        {"sums.mask not 0x0000000f", "sums.mask is 15"},
        {"1:1.link contains x", "1:1.link is up"},
        {"1:1.link not-contains u", "1:1.link is up"},
        {"1:1.port matches 2:", "1:1.port is 1:1"},
        {"up at-least 3", "up is 2"},
        {"up at-most 1", "up is 2"},
        {"up more-than 2", "up is 2"},
        {"up less-than 2", "up is 2"},
        {"below more-than -2", "below is -3"},
        {"load less-than 12.5", "load is 12.50"},
        {"1:2.speed at-least 0", "1:2.speed is -"},
        {"1:9.link is up",
         "there is no '1:9.link' in 'show ports'; there are ports.count, ROW.port, ROW.link, "
         "ROW.speed, up, load, below, mask, text, cards.count, ROW.slot"},
    };
    for (const auto& [words, found] : unmet)
        EXPECT_EQ(expect(std::string("show ports -- ") + words),
                  fmt::format("3 expected show ports -- {}, but {}", words, found));
}

TEST_F(DemandTest, AndBindsTighterThanOr) {
    const std::string show = "show ports -- ";
    EXPECT_EQ(expect(show + "up is 2 and count is 3"), "");
    EXPECT_EQ(expect(show + "up is 9 or up is 2"), "");
    EXPECT_EQ(expect(show + "up is 2 or up is 9 and count is 9"), "");
    EXPECT_EQ(expect(show + "up is 9 and count is 3 or up is 2 and count is 3"), "");
    EXPECT_EQ(looks, 4);
    EXPECT_EQ(expect(show + "up is 9 and count is 9 or count is 8"),
              "3 expected show ports -- up is 9 and count is 9 or count is 8, but up is 2 and "
              "count is 3");
    EXPECT_EQ(expect(show + "up is 7 or up is 8"),
              "3 expected show ports -- up is 7 or up is 8, but up is 2");
}

TEST_F(DemandTest, RowsAreCounted) {
    const std::string show = "show ports -- ";
    for (const char* holds :
         {"count where link is up is 2",
          "ports.count where link is up where speed at-most 100 is 1",
          "count where port matches ^1: at-least 3", "count where link is blue is 0",
          "count where link not up is 1 and count where link is up is 2",
          "cards.count where slot is 1 is 1", "count where speed at-least 1 is 2"})
        EXPECT_EQ(expect(show + holds), "") << holds;
    EXPECT_EQ(expect(show + "count where link is up is 4"),
              "3 expected show ports -- count where link is up is 4, but count where link is up "
              "is 2");
    EXPECT_EQ(
        expect(show + "count where lnk is up is 4"),
        "3 expected show ports -- count where lnk is up is 4, but there is no column 'lnk' in "
        "'show ports'; there are port, link, speed");
    EXPECT_EQ(expect(show + "fans.count where link is up is 4").substr(0, 80),
              "3 expected show ports -- fans.count where link is up is 4, but there is no 'fans");
    EXPECT_EQ(expect(show + "up where link is up"),
              "2 'where' says which rows count; expected it behind 'count', got 'up'");
    EXPECT_EQ(expect(show + "count where link is"),
              "2 'where' is not complete; expected where COLUMN RELATION VALUE");
}

TEST_F(DemandTest, WhatIsNoDemand) {
    const std::string relations =
        "is|not|contains|not-contains|matches|at-least|at-most|more-than|less-than TEXT";
    for (const std::string words :
         {"show ports", "-- up is 2", "show ports --", "show ports -- up", "show ports -- up is",
          "show ports -- up is and", "show ports -- up is 2 or", "event", "no event",
          "show ports -- count where link is up is", "show ports -- count where link is up"})
        EXPECT_EQ(expect(words), "2 '" + words +
                                     "' is not complete; expected event TEXT, no event TEXT, or "
                                     "SHOW... -- VALUE " +
                                     relations)
            << words;
    EXPECT_EQ(expect("echo -- up is 2"),
              "2 'echo' has no values to look at; expected a show command");
    EXPECT_EQ(expect("show ports -- up equals 2"),
              "1 'equals' is no relation; expected is, not, contains, not-contains, matches, "
              "at-least, at-most, more-than or less-than");
    EXPECT_EQ(expect("show ports -- 1:1.link at-least 2"),
              "1 'up' is not a number; at-least compares numbers");
    for (const char* word : {"x", "1x", "1.", "1.x", "--1", "", "."})
        EXPECT_EQ(expect(fmt::format("show ports -- up less-than \"{}\"", word)),
                  fmt::format("1 '{}' is not a number; less-than compares numbers", word));
    EXPECT_EQ(expect("show ports -- 1:1.link matches \"(\""),
              "2 '(' is no pattern: a '(' has no ')'");
    EXPECT_EQ(looks, 1);
}

TEST_F(DemandTest, EventsAreFoundAndCounted) {
    for (const char* text : {"link up", "link down", "link up", "link up"})
        events.add("port", text);
    EXPECT_EQ(expect("event link up count 2"),
              "3 expected event link up count 2, but there were 3");
    EXPECT_EQ(expect("event \"link up\" count more-than 3"),
              "3 expected event link up count more-than 3, but there were 3");
    EXPECT_EQ(expect("event \"link down\""), "");
    EXPECT_EQ(expect("event \"link up\" count at-least 1"), "");
    EXPECT_EQ(expect("event \"link up\" count 0"), "");
    EXPECT_EQ(expect("no event link"), "");
    events.add("port", "the count 3");
    EXPECT_EQ(expect("event the count 3 x"),
              "3 expected event the count 3 x, but no event \"the "
              "count 3 x\"");
    EXPECT_EQ(expect("event count 3"), "");  // a text needs words of its own
    events.add("port", "link up");
    EXPECT_EQ(expect("no event link"), "3 expected no event link, but event \"port link up\"");
    for (const char* words : {"event \"\"", "no event \"\"", "event \"\" count 1"})
        EXPECT_EQ(expect(words), "1 an empty text is in every event; expected a part of one");
}

TEST_F(DemandTest, CommandsMayBeExpectedToFail) {
    EXPECT_EQ(run("expect error \"not a verb\" frob now"),
              "<expect error \"not a verb\" frob now|>");
    EXPECT_EQ(expect("error \"\" show ports -- x"), "");
    EXPECT_EQ(expect("error \"but up is 2\" expect show ports -- up is 3"), "");
    EXPECT_EQ(expect("error nothing frob"),
              "3 expected an error \"nothing\", but it is: 'frob' is not a verb; 'help' lists them "
              "all");
    EXPECT_EQ(run("expect error nothing echo a b"),
              "<expect error nothing echo a b|a b\n3::0:expected an error \"nothing\", but 'echo a "
              "b' succeeded>=3");
    EXPECT_EQ(
        expect("error nothing repeat 3"),
        "3 expected an error \"nothing\", but it is: 'repeat' begins a block on a line of its own; "
        "expected it in a script or typed");
    EXPECT_FALSE(session.collects());
    session.look().keepGoing = true;
    unsigned steps = 0;
    session.onStep = [&](const Step& step) {
        ++steps;
        EXPECT_TRUE(step.demand);
        EXPECT_EQ(step.error, nullptr);
    };
    const std::string path = script("echo a\nfrob\necho b\n");
    EXPECT_EQ(run("expect error \":2: 'frob' is not\" include " + path),
              "<expect error \":2: 'frob' is not\" include " + path + "|<echo a|a\n><frob|2:" +
                  path + ":2:'frob' is not a verb; 'help' lists them all>>");
    EXPECT_EQ(steps, 1u);
    EXPECT_EQ(session.passedOver(), 0u);
    session.onStep = nullptr;
    time.stop = true;
    EXPECT_EQ(expect("error interrupted echo a"), "4 interrupted");
}

TEST_F(DemandTest, VariablesTakeValues) {
    run("set speed from show ports -- 1:3.speed");
    run("set up from show ports -- count where link is up");
    run("set mask from show ports -- mask");
    EXPECT_EQ(run("echo $speed $up $mask"), "<echo $speed $up $mask|1000 2 15\n>");
    const std::pair<const char*, const char*> wrong[] = {
        {"set a from show ports",
         "2::0:'show ports' is not complete; expected SHOW... -- VALUE>=2"},
        {"set a from show ports --",
         "2::0:'show ports --' is not complete; expected SHOW... -- VALUE>=2"},
        {"set a from show ports -- up is", "2::0:'up' takes nothing more; got 'is'>=2"},
        {"set 1 from show ports -- up",
         "2::0:'1' is no name of a variable; expected letters, digits "
         "and _, a digit not first>=2"},
    };
    for (const auto& [line, said] : wrong) EXPECT_EQ(run(line), fmt::format("<{}|{}", line, said));
    EXPECT_EQ(run("set a from show ports -- x").substr(0, 62),
              "<set a from show ports -- x|1::0:there is no 'x' in 'show port");
    EXPECT_EQ(run("set from from"), "<set from from|>");
}

TEST_F(DemandTest, KeysSayWhatMayStandBehindTheDashes) {
    session.run("keys show ports");
    for (const std::string row : {R"({"value":"ports.count","title":"","section":""})",
                                  R"({"value":"ports.ROW.speed","title":"Mbps","section":""})",
                                  R"({"value":"sums.load","title":"Load","section":""})",
                                  R"({"value":"cards.ROW.slot","title":"Slot","section":""})"})
        EXPECT_NE(notes.all.find(row), std::string::npos) << row << " in " << notes.all;
    EXPECT_EQ(expect("keys show ports -- count is 11"), "");
    EXPECT_EQ(
        run("keys echo a"),
        "<keys echo a|2::0:'echo <text...>' has no values to look at; expected a show command>=2");
}

TEST_F(DemandTest, WaitsTakeTheSame) {
    EXPECT_EQ(run("wait show ports -- up is 3 or up is 2 within 10"),
              "<wait show ports -- up is 3 or up is 2 within 10|>");
    EXPECT_EQ(run("wait show ports -- up is 3 within 10"),
              "<wait show ports -- up is 3 within 10|3::0:expected show ports -- up is 3 within 10 "
              "ms, but up is 2>=3");
    EXPECT_EQ(run("wait within 10"),
              "<wait within 10|2::0:'wait within' is not complete; expected what for>=2");
    EXPECT_EQ(
        run("wait event x within"),
        "<wait event x within|1::0:'within' is not complete; expected a number of ms from 0 to "
        "86400000>=1");
}

}  // namespace
