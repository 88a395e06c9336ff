// The probe's verbs: how commands become rules and filters, and plans that are run without a
// console.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>

#include "probe/verbs/probe_verbs.h"

namespace pcsim::probe {
namespace {

class ProbeVerbsTest : public testing::Test {
protected:
    ProbeVerbsTest() { addProbeVerbs(verbs, {rules, trace, nullptr, nullptr}); }

    std::string answer(const std::string& line) { return answerOf(verbs, splitWords(line), false); }

    std::string problem(const std::string& line) {
        try {
            answer(line);
        } catch (const CommandError& error) {
            return error.what();
        }
        return "none";
    }

    // What a plan of these lines is refused with, without the file's name.
    std::string planProblem(const std::string& content) {
        std::string path = testing::TempDir() + "planXXXXXX";
        const int descriptor = mkstemp(path.data());
        EXPECT_EQ(write(descriptor, content.data(), content.size()),
                  static_cast<ssize_t>(content.size()));
        close(descriptor);
        std::string said = "none";
        try {
            runPlan(verbs, path);
        } catch (const CommandError& error) {
            said = std::string(error.what()).substr(path.size());
        }
        std::remove(path.c_str());
        return said;
    }

    Rules rules;
    Trace trace;
    Verbs verbs;
};

TEST_F(ProbeVerbsTest, ACommandIsTheRuleThatItSays) {
    const std::string rule =
        "pcSimFanReadTemp where slot 2 after 3 count 4 chance 50 seed 9 delay 10 returns -1 "
        "set temperature 77";
    EXPECT_EQ(answer("fault " + rule), "");
    ASSERT_EQ(rules.states().size(), 1u);
    EXPECT_EQ(rules.states()[0].order.text(), rule);
    answer("fault pcSimFanReadTemp set temperature 1 count 2 where slot 3");
    EXPECT_EQ(rules.states()[1].order.text(),
              "pcSimFanReadTemp where slot 3 count 2 set temperature 1");
    answer("fault fanReadTemp");
    EXPECT_EQ(rules.states()[2].order.text(), "fanReadTemp");
}

TEST_F(ProbeVerbsTest, RulesAreShown) {
    answer("fault pcSimFanReadTemp returns -5");
    answer("fault fan* set temperature 7");
    answer("fault findNode count 3");
    answer("fault-off 2");
    EXPECT_EQ(answer("show faults"),
              "Faults\n"
              "  Rule  Operation         Returns  Seen  Hits  State  When and what\n"
              "  ----  ----------------  -------  ----  ----  -----  -----------------\n"
              "     1  pcSimFanReadTemp       -5     0     0  on\n"
              "     2  fan*                    -     0     0  off    set temperature 7\n"
              "     3  findNode          failure     0     0  on     count 3\n");
    EXPECT_NE(answerOf(verbs, splitWords("show faults"), true).find("\"returns\": -5"),
              std::string::npos);
    answer("fault-remove 1");
    answer("fault-on 2");
    EXPECT_TRUE(rules.states()[0].on);
    answer("fault-clear");
    EXPECT_EQ(answer("show faults"), "Faults\n  none\n");
}

TEST_F(ProbeVerbsTest, WhatIsWrongIsSaid) {
    EXPECT_EQ(problem("fault"), "'fault' is not complete; expected <operation>");
    EXPECT_EQ(problem("fault fanReadTemp count 0"),
              "count '0' is not a number from 1 to 1000000000");
    EXPECT_EQ(problem("fault fanReadTemp chance 101"),
              "percent '101' is not a number from 1 to 100");
    EXPECT_EQ(problem("fault fanReadTemp seed 1"),
              "a seed is that of a chance; expected chance PERCENT, too");
    EXPECT_EQ(problem("fault fanReadTemp where slot"),
              "'fault fanReadTemp where slot' is not complete; expected <value>");
    EXPECT_EQ(problem("fault-off 1"), "there is no rule 1; there are none");
    EXPECT_EQ(problem("calls on"), "a trace needs a file here; expected 'to FILE', too");
    EXPECT_EQ(problem("calls off only fan*"), "'only' is for turning the trace on");
    EXPECT_EQ(problem("calls on only nothing* to x"),
              "no operation goes by 'nothing*'; 'show coverage' lists them");
    EXPECT_EQ(problem("record x"), "'record' is not a verb; 'help' lists them all");
}

TEST_F(ProbeVerbsTest, ARecorderHasItsVerbs) {
    Verbs with;
    std::string recorded;
    addProbeVerbs(with, {rules, trace, [&](const std::string& path) { recorded = path; },
                         [] { return std::string("3 calls"); }});
    EXPECT_EQ(answerOf(with, splitWords("record run.rec"), false), "");
    EXPECT_EQ(recorded, "run.rec");
    EXPECT_EQ(answerOf(with, splitWords("record stop"), false), "3 calls\n");
    EXPECT_EQ(recorded, "run.rec");
}

TEST_F(ProbeVerbsTest, APlanIsCommandsWithComments) {
    EXPECT_EQ(planProblem("# a plan\n\n  fault fanReadTemp count 2 # twice\nfault cardPortRestart"),
              "none");
    ASSERT_EQ(rules.states().size(), 2u);
    EXPECT_EQ(rules.states()[0].order.count, 2u);
}

TEST_F(ProbeVerbsTest, APlanSaysWhereItIsWrong) {
    EXPECT_EQ(planProblem("\nfault fanReadTmp\n"),
              ":2: no operation goes by 'fanReadTmp'; perhaps fanSlot.fanReadTemp");
    EXPECT_EQ(planProblem("fault fanReadTemp\nfrob"),
              ":2: 'frob' is not a verb; 'help' lists them all");
    EXPECT_EQ(planProblem("fault \"x"), ":1: the quote before 'x' is not closed; end it with \"");
    EXPECT_EQ(problem("show faults"), "none");
    EXPECT_THROW(runPlan(verbs, "/nowhere/at/all"), CommandError);
    EXPECT_THROW(runPlan(verbs, testing::TempDir()), CommandError) << "a folder";
}

}  // namespace
}  // namespace pcsim::probe
