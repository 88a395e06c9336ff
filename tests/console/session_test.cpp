// A session told by its sink: what begins, what comes of it, what is wrong.
#include "console/session.h"

#include <gtest/gtest.h>

#include "console/json_sink.h"
#include "tests/console/session_support.h"

namespace {

using namespace pcsim;

TEST_F(SessionTest, OutcomesStandBetweenBeginAndEnd) {
    EXPECT_EQ(run("echo a  b"), "<echo a  b|a b\n>");
    EXPECT_EQ(run("show one"), "<show one|{\"one\":{\"a\":1}}>");
    EXPECT_EQ(run(""), "<|>");
}

TEST_F(SessionTest, ALineAsksForJsonAsText) {
    EXPECT_EQ(run("show one --json"), "<show one --json|{\n  \"one\": {\n    \"a\": 1\n  }\n}\n>");
    notes.forPrograms = true;
    EXPECT_EQ(run("show one --json"), "<show one --json|{\"one\":{\"a\":1}}>");
}

TEST_F(SessionTest, AQuestionAtTheEndIsAnswered) {
    EXPECT_EQ(run("sh ?"), "<sh ?|  one  one field\n>");
    EXPECT_EQ(run("frob ?"), "<frob ?|2::0:'frob' is not a verb; 'help' lists them all>=2");
    EXPECT_EQ(run("echo why ?"), "<echo why ?|why ?\n>");
}

TEST_F(SessionTest, AVerbIsRunForEachOfAList) {
    console.verbs.action("put <vlan*> on <port*>", "", [](Call& call) {
        if (call.text("vlan") == "12") fail("VLAN 12 is none; expected 10 or 11");
        call.print(call.text("vlan") + "/" + call.text("port") + " ");
    });
    console.verbs.show("show port <port*>", "", [](Call& call) {
        return Fields{"p", "", {{"a", "A", call.text("port")}}};
    });
    console.candidates["<port>"] = [] { return Words{"1:1", "1:2"}; };
    EXPECT_EQ(run("put 10,11 on all"), "<put 10,11 on all|10/1:1 10/1:2 11/1:1 11/1:2 >");
    EXPECT_EQ(run("put 10-12 on 1:1"),
              "<put 10-12 on 1:1|10/1:1 11/1:1 1::0:done from 10 1:1 to 11 1:1, not for 12 1:1: "
              "VLAN 12 is none; expected 10 or 11>=1");
    EXPECT_EQ(run("put 12,13 on 1:1"),
              "<put 12,13 on 1:1|1::0:VLAN 12 is none; expected 10 or 11>=1");
    EXPECT_EQ(
        run("show port 1:1,1:2 --json"),
        "<show port 1:1,1:2 --json|[\n{\n  \"p\": {\n    \"a\": \"1:1\"\n  }\n},\n{\n  \"p\": "
        "{\n    \"a\": \"1:2\"\n  }\n}\n]\n>");
    EXPECT_EQ(
        run("expect show port all -- a is 1:1"),
        "<expect show port all -- a is 1:1|2::0:'show port all' are 2 commands; expected one>=2");
    notes.forPrograms = true;
    EXPECT_EQ(run("show port all"),
              "<show port all|{\"p\":{\"a\":\"1:1\"}}{\"p\":{\"a\":\"1:2\"}}>");
}

TEST_F(SessionTest, HelpTakesBeginningsOfWords) {
    EXPECT_EQ(run("help sh o"), "<help sh o|  show one                            one field\n>");
    EXPECT_EQ(run("help sh x"),
              "<help sh x|1::0:no verb begins with 'sh x'; 'help' lists them all, "
              "'help about WORD' looks inside>=1");
}

TEST_F(SessionTest, ProblemsHaveACode) {
    EXPECT_EQ(run("show two"), "<show two|2::0:'two' is not known after 'show'; expected one>=2");
    EXPECT_EQ(run("echo \"x"),
              "<echo \"x|2::0:the quote before 'x' is not closed; end it with \">=2");
    EXPECT_EQ(run("expect show one -- a is 2"),
              "<expect show one -- a is 2|3::0:expected show one -- a is 2, but a is 1>=3");
    EXPECT_EQ(run("include /nowhere"),
              "<include /nowhere|1::0:file /nowhere can't be read: No such file or directory>=1");
    time.stop = true;
    EXPECT_EQ(run("echo x"), "<echo x|4::0:interrupted>=4");
}

TEST_F(SessionTest, AProblemOfAScriptIsToldOnce) {
    const std::string path = script("# two lines\n\necho a\nfrob\necho b\n");
    EXPECT_EQ(run("include " + path),
              "<include " + path + "|<echo a|a\n><frob|2:" + path +
                  ":4:'frob' is not a verb; 'help' lists them all>failed 1>=2");
}

TEST_F(SessionTest, EachSessionHasEventsOfItsOwn) {
    Notes others;
    Session other(console, others, {});
    run("events on");
    notes.all.clear();
    events.add("port", "Port 1:1 link up");
    EXPECT_EQ(notes.all, "!Port 1:1 link up");
    EXPECT_EQ(others.all, "");
    EXPECT_EQ(run("wait event up"), "<wait event up|>");
    EXPECT_EQ(run("expect no event up"), "<expect no event up|>");
    other.run("expect event up");
}

TEST_F(SessionTest, LaterLinesNeedTheirSession) {
    auto passing = std::make_unique<Session>(console, notes, Session::Look{});
    const auto later = passing->later();
    later("a\n");
    passing.reset();
    later("b\n");
    EXPECT_EQ(notes.all, "a\n");
}

TEST(RightOf, StandsBehindTheSemicolon) {
    EXPECT_EQ(rightOf("'x' is not a port; expected SLOT:PORT"), "SLOT:PORT");
    EXPECT_EQ(rightOf("the clock is running; 'time stop' comes first"), "'time stop' comes first");
    EXPECT_EQ(rightOf("no memory"), "");
}

TEST(JsonOfOutcomes, EventsAndProblems) {
    EXPECT_EQ(jsonOf(Event{3, 1000, "port", "a \"b\""}),
              R"({"number":3,"timeMs":1000,"source":"port","text":"a \"b\""})");
    EXPECT_EQ(jsonOf(Problem{ErrorCode::kFailed, "x; expected y", "f", 2}),
              R"({"code":1,"message":"x; expected y","right":"y","file":"f","line":2})");
}

}  // namespace
