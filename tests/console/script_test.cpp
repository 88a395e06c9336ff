// What scripts are made of: variables, blocks that repeat, lines that fail and are passed over.
#include "console/session.h"

#include "tests/console/session_support.h"

namespace {

using namespace pcsim;

struct ScriptTest : SessionTest {
    // Runs several lines, as a script without a name would; all that was told.
    std::string runAll(const std::vector<std::string>& lines) {
        std::string told;
        for (const std::string& line : lines) told += run(line);
        return told;
    }
};

TEST_F(ScriptTest, VariablesAreTheSessions) {
    EXPECT_EQ(runAll({"set a 1:1", "set b x $a  y", "echo ${b}!"}),
              "<set a 1:1|><set b x $a  y|><echo ${b}!|x 1:1 y!\n>");
    Session other(console, notes, {});
    EXPECT_THROW(other.run("echo $a"), CommandError);
    EXPECT_EQ(run("set"),
              "<set|{\"variables\":[{\"name\":\"a\",\"value\":\"1:1\"},"
              "{\"name\":\"b\",\"value\":\"x 1:1 y\"},"
              "{\"name\":\"status\",\"value\":\"0\"}]}>");
}

TEST_F(ScriptTest, BadVariablesAreTold) {
    run("set port 1:1");
    EXPECT_EQ(run("echo $x"),
              "<echo $x|2::0:there is no variable 'x'; expected one of port, status>=2");
    EXPECT_EQ(run("set 1x 2"),
              "<set 1x 2|2::0:'1x' is no name of a variable; expected letters, "
              "digits and _, a digit not first>=2");
    EXPECT_EQ(run("set status 2"),
              "<set status 2|2::0:'status' is how the last line has ended; "
              "expected another name>=2");
    for (int i = 0; i < 30; ++i) run(fmt::format("set v{:02} {}", i, i));
    EXPECT_NE(run("echo $x").find(", v17, ...>"), std::string::npos) << notes.all;
}

TEST_F(ScriptTest, TheStatusIsTheLastLines) {
    EXPECT_EQ(run("echo $status"), "<echo $status|0\n>");
    run("frob");
    EXPECT_EQ(run("echo $status"), "<echo $status|2\n>");
    EXPECT_EQ(run("echo $status"), "<echo $status|0\n>");
    run("include /nowhere");
    EXPECT_EQ(run("echo $status"), "<echo $status|1\n>");
}

TEST_F(ScriptTest, QuitMayNameAStatus) {
    EXPECT_EQ(run("quit 7"), "<quit 7|>");
    EXPECT_TRUE(session.ended());
    EXPECT_EQ(session.exitStatus(), 7);
    Session other(console, notes, {});
    other.run("exit");
    EXPECT_TRUE(other.ended());
    EXPECT_EQ(other.exitStatus(), std::nullopt);
    EXPECT_EQ(run("quit 256"), "<quit 256|2::0:status '256' is not a number from 0 to 255>=2");
}

TEST_F(ScriptTest, ABlockRunsAtItsEnd) {
    EXPECT_EQ(runAll({"repeat 2", "echo $n", "# nothing", "end"}),
              "<repeat 2|><end|<echo $n|1\n><echo $n|2\n>>");
    EXPECT_EQ(runAll({"repeat 0", "frob", "end"}), "<repeat 0|><end|>");
    EXPECT_EQ(runAll({"set t 1", "repeat $t", "end"}), "<set t 1|><repeat $t|><end|>");
}

TEST_F(ScriptTest, BlocksStandInBlocks) {
    EXPECT_EQ(runAll({"set n before", "repeat 2 as o", "repeat 2", "echo $o.$n", "end", "end"}),
              "<set n before|><repeat 2 as o|><end|<repeat 2|><end|<echo $o.$n|1.1\n>"
              "<echo $o.$n|1.2\n>><repeat 2|><end|<echo $o.$n|2.1\n><echo $o.$n|2.2\n>>>");
    EXPECT_EQ(run("echo $n"), "<echo $n|before\n>");
    EXPECT_EQ(run("echo $o").find("<echo $o|2::0:there is no variable 'o'"), 0u);
    std::vector<std::string> lines(17, "repeat 1");
    lines.insert(lines.end(), 17, "end");
    EXPECT_NE(runAll(lines).find("'repeat' stands in others more than 16 deep"), std::string::npos);
}

TEST_F(ScriptTest, LongBlocksGiveWay) {
    for (const char* line : {"repeat 1000000", "end"}) session.run(line);
    const unsigned alone = time.waysGiven;
    EXPECT_GE(alone, 2u);
    for (const char* line : {"repeat 20000", "echo", "end"}) session.run(line);
    EXPECT_GE(time.waysGiven, alone + 2);
}

TEST_F(ScriptTest, WhatIsWrongWithBlocks) {
    EXPECT_EQ(run("end"), "<end|2::0:there is no 'repeat' that this 'end' is of>=2");
    EXPECT_EQ(run("repeat 1000001"),
              "<repeat 1000001|2::0:count '1000001' is not a number from 0 to 1000000>=2");
    EXPECT_EQ(run("repeat 2 as status").find("<repeat 2 as status|2::0:'status' is how"), 0u);
    EXPECT_FALSE(session.collects());
    EXPECT_EQ(runAll({"repeat 1", "end x"}),
              "<repeat 1|><end x|2::0:'end' takes nothing more; got 'x'>=2");
    EXPECT_FALSE(session.collects());
    run("repeat 1");
    EXPECT_TRUE(session.collects());
    EXPECT_THROW(session.finish(), CommandError);
    session.drop();
    session.finish();
}

TEST_F(ScriptTest, ABlockHoldsSoManyLines) {
    run("repeat 1");
    for (int i = 0; i < 100000; ++i) session.run("echo");
    EXPECT_EQ(run("echo"), "1::0:there are more than 100000 lines between 'repeat' and 'end'=1");
    EXPECT_FALSE(session.collects());
}

TEST_F(ScriptTest, AProblemInABlockNamesItsLine) {
    const std::string path = script("repeat 3\n\n  expect show one -- a is $n\necho $n\nend\n");
    EXPECT_EQ(run("include " + path),
              "<include " + path +
                  "|<repeat 3|><end|<  expect show one -- a is $n|>"
                  "<echo $n|1\n><  expect show one -- a is $n|3:" +
                  path + ":3:expected show one -- a is 2, but a is 1>failed 1>failed 1>=3");
    Script again(path);
    try {
        session.runScript(again);
        ADD_FAILURE() << "it succeeded";
    } catch (const CommandError& error) {
        EXPECT_EQ(error.what(), path + ":3: expected show one -- a is 2, but a is 1");
    }
}

TEST_F(ScriptTest, AScriptEndsItsBlocks) {
    const std::string path = script("echo a\nrepeat 3\necho b\n");
    EXPECT_EQ(run("include " + path),
              "<include " + path + "|<echo a|a\n><repeat 3|>2:" + path +
                  ":2:'repeat' has no 'end'; expected a line 'end' behind its lines>=2");
    EXPECT_FALSE(session.collects());
    run("repeat 1");
    Script open(path);
    EXPECT_THROW(session.runScript(open), CommandError);
}

TEST_F(ScriptTest, BlocksKnowTheirVerbsByTheBeginning) {
    EXPECT_EQ(runAll({"rep 2", "repea 1", "echo $n", "en", "end"}),
              "<rep 2|><end|<repea 1|><en|<echo $n|1\n>><repea 1|><en|<echo $n|1\n>>>");
    console.verbs.action("endless", "", [](Call&) {});
    EXPECT_NE(runAll({"repeat 1", "en", "end"}).find("'en' is short for more than one"),
              std::string::npos)
        << notes.all;
}

struct KeepGoingTest : ScriptTest {
    std::vector<std::string> passedOver;
    std::vector<std::string> steps;

    KeepGoingTest() {
        session.look().keepGoing = true;
        session.onPassedOver = [this](const CommandError& error) {
            passedOver.emplace_back(error.what());
        };
        session.onStep = [this](const Step& step) {
            steps.push_back(fmt::format("{}:{}:{}:{}", step.line, step.lineNumber,
                                        step.demand ? "demand" : "",
                                        step.error != nullptr ? step.error->what() : "ok"));
        };
    }
};

TEST_F(KeepGoingTest, LinesThatFailArePassedOver) {
    const std::string inner = script("frob\necho b\n", "inner.pcsim");
    const std::string outer = script("include inner.pcsim\nexpect show one -- a is 2\necho c\n");
    run("include " + outer);
    EXPECT_EQ(notes.all, "<include " + outer + "|<include inner.pcsim|<frob|2:" + inner +
                             ":1:'frob' is not a verb; 'help' lists them all><echo b|b\n>failed 1>"
                             "<expect show one -- a is 2|3:" +
                             outer +
                             ":2:expected show one -- a is 2, but a is 1><echo c|c\n>failed 2>");
    EXPECT_EQ(session.passedOver(), 2u);
    EXPECT_EQ(passedOver,
              (std::vector<std::string>{inner + ":1: 'frob' is not a verb; 'help' lists them all",
                                        outer + ":2: expected show one -- a is 2, but a is 1"}));
    EXPECT_EQ(steps,
              (std::vector<std::string>{
                  "frob:1::'frob' is not a verb; 'help' lists them all", "echo b:2::ok",
                  "include inner.pcsim:1::ok",
                  "expect show one -- a is 2:2:demand:expected show one -- a is 2, but a is 1",
                  "echo c:3::ok", "include " + outer + ":0::ok"}));
}

TEST_F(KeepGoingTest, BlocksGoOn) {
    for (const char* line : {"repeat 3", "expect show one -- a is $n", "end"})
        session.runStep(line);
    EXPECT_EQ(session.passedOver(), 2u);
    EXPECT_EQ(steps,
              (std::vector<std::string>{
                  "repeat 3:0::ok", "expect show one -- a is 1:0:demand:ok",
                  "expect show one -- a is 2:0:demand:expected show one -- a is 2, but a is 1",
                  "expect show one -- a is 3:0:demand:expected show one -- a is 3, but a is 1",
                  "end:0::ok"}));
}

TEST_F(KeepGoingTest, AnInterruptEndsAll) {
    time.stop = true;
    EXPECT_THROW(session.runStep("echo a"), CommandError);
    EXPECT_EQ(session.passedOver(), 0u);
}

TEST_F(KeepGoingTest, AScriptThatCanNotBeReadOnEnds) {
    const std::string path = script(std::string("echo a\nx\0y\necho b\n", 18));
    session.runStep("include " + path);
    EXPECT_EQ(steps, (std::vector<std::string>{
                         "echo a:1::ok",
                         ":2::the line has a NUL byte in it; expected a script of plain text "
                         "(UTF-8)",
                         "include " + path + ":0::ok"}));
    EXPECT_EQ(session.passedOver(), 1u);
}

}  // namespace
