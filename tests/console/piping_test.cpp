// Filters and files behind a command.
#include "console/piping.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "console/filter_sink.h"
#include "tests/console/session_support.h"

namespace {

using namespace pcsim;

struct PipingTest : SessionTest {
    // Of this process alone: the tests run beside each other.
    std::string path = testing::TempDir() + "piping_test." + std::to_string(getpid());

    PipingTest() {
        std::remove(path.c_str());
        console.verbs.action("lines", "", [](Call& call) {
            // In pieces that are no lines.
            for (const char* piece : {"up 1\ndo", "wn 2\nup", " 3\n", "", "up 4"})
                call.print(piece);
        });
        console.verbs.action("halfway", "", [](Call& call) {
            call.print("up 1\n");
            fail("no more");
        });
    }

    ~PipingTest() override { std::remove(path.c_str()); }

    // What the line prints, or the problem.
    std::string told(const std::string& line) {
        const std::string all = run(line);
        return all.substr(all.find('|', line.size() + 1) + 1);
    }

    std::string content() const {
        std::ifstream file(path);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    void write(const std::string& text) const { std::ofstream(path) << text; }
};

TEST_F(PipingTest, LinesAreFiltered) {
    EXPECT_EQ(told("lines | include up"), "up 1\nup 3\nup 4\n>");
    EXPECT_EQ(told("lines | exclude up"), "down 2\n>");
    EXPECT_EQ(told("lines | begin wn 2"), "down 2\nup 3\nup 4\n>");
    EXPECT_EQ(told("lines | count"), "4 lines\n>");
    EXPECT_EQ(told("lines | inc up | exc 3 | c"), "2 lines\n>");
    EXPECT_EQ(told("lines | count | include 4"), "4 lines\n>");
    EXPECT_EQ(told("lines | include \"|\""), ">");
    EXPECT_EQ(told("echo a | count"), "1 line\n>");
    EXPECT_EQ(told("echo \"|\" count"), "| count\n>");
    EXPECT_EQ(told("show one | include A"), "  A  1\n>");
}

TEST_F(PipingTest, AnAnswerIsJsonWhenAskedFor) {
    EXPECT_EQ(told("show one | json"), "{\n  \"one\": {\n    \"a\": 1\n  }\n}\n>");
    EXPECT_EQ(told("show one | count --json"),
              "2::0:'| count' takes nothing more; got '--json'>=2");
    EXPECT_EQ(told("show one --json | count"),
              "2::0:filters are for lines of text; expected none, or a run without --json>=2");
    // An answer to a program may be lines, too; a document of JSON can't.
    notes.forPrograms = true;
    EXPECT_EQ(told("show one | include A"), "  A  1\n>");
    notes.asLines = false;
    EXPECT_EQ(told("show one | json"), "{\"one\":{\"a\":1}}>");
    EXPECT_EQ(told("show one | include A"),
              "2::0:filters are for lines of text; expected none, or a run without --json>=2");
}

TEST_F(PipingTest, WhatIsWrongIsSaid) {
    const std::string expected = "expected include TEXT, exclude TEXT, begin TEXT, count or json";
    EXPECT_EQ(told("lines |"), "2::0:'|' is not complete; " + expected + ">=2");
    EXPECT_EQ(told("lines | | count"), "2::0:'|' is not complete; " + expected + ">=2");
    EXPECT_EQ(told("lines | grep x"), "2::0:'grep' is no filter; " + expected + ">=2");
    EXPECT_EQ(told("lines | include"), "2::0:'| include' is not complete; expected a text>=2");
    EXPECT_EQ(told("lines | count x"), "2::0:'| count' takes nothing more; got 'x'>=2");
    EXPECT_EQ(told("lines >"), "2::0:'>' is not complete; expected the name of a file>=2");
    EXPECT_EQ(told("lines > a b"), "2::0:'> a' takes nothing more; got 'b'>=2");
    EXPECT_EQ(told("| count"), "2::0:nothing stands before '|'; expected a command>=2");
    EXPECT_EQ(told("show one | json | count"),
              "2::0:'| json' has no lines to filter; expected '| json' alone>=2");
}

TEST_F(PipingTest, AFileIsWrittenAndAddedTo) {
    EXPECT_EQ(told("lines | include up > " + path), ">");
    EXPECT_EQ(content(), "up 1\nup 3\nup 4\n");
    EXPECT_EQ(told("echo more >>" + path), ">");
    EXPECT_EQ(content(), "up 1\nup 3\nup 4\nmore\n");
    EXPECT_EQ(told("lines > \"" + path + "\""), ">");
    EXPECT_EQ(content(), "up 1\ndown 2\nup 3\nup 4");
    EXPECT_EQ(told("show one | json > " + path), ">");
    EXPECT_EQ(content(), "{\n  \"one\": {\n    \"a\": 1\n  }\n}\n");
    notes.forPrograms = true;
    EXPECT_EQ(told("show one --json > " + path), ">");
    EXPECT_EQ(content(), "{\n  \"one\": {\n    \"a\": 1\n  }\n}\n");
    EXPECT_EQ(told("show one > " + path), ">");
    EXPECT_EQ(content(), "  A  1\n");
    notes.asLines = false;
    EXPECT_EQ(told("show one > " + path), ">");
    EXPECT_EQ(content(), "{\n  \"one\": {\n    \"a\": 1\n  }\n}\n");
}

TEST_F(PipingTest, ALineThatFailsLeavesItsFileAndTellsWhatItPrinted) {
    write("before\n");
    EXPECT_EQ(told("halfway > " + path), "up 1\n1::0:no more>=1");
    EXPECT_EQ(content(), "before\n");
    EXPECT_EQ(told("halfway >> " + path), "up 1\n1::0:no more>=1");
    EXPECT_EQ(content(), "before\n");
    EXPECT_EQ(told("halfway | count"), "1::0:no more>=1");
    std::remove(path.c_str());
    EXPECT_EQ(told("halfway >> " + path), "up 1\n1::0:no more>=1");
    EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST_F(PipingTest, AFileThatCanNotBeWrittenIsToldBeforeAnythingRuns) {
    bool ran = false;
    console.verbs.action("run", "", [&](Call&) { ran = true; });
    EXPECT_EQ(told("run > /nowhere/x"),
              "1::0:file /nowhere/x can't be written: No such file or directory>=1");
    EXPECT_EQ(told("run > /"),
              "1::0:file / can't be written: it is a directory; expected the name of a file>=1");
    EXPECT_FALSE(ran);
    EXPECT_EQ(told("lines > /dev/full"),
              "up 1\ndown 2\nup 3\nup 4"
              "1::0:file /dev/full can't be written: No space left on device>=1");
}

TEST_F(PipingTest, AFileKeepsItsModeAndItsLinks) {
    write("x");
    chmod(path.c_str(), 0640);
    const std::string link = path + ".link";
    std::remove(link.c_str());
    ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
    EXPECT_EQ(told("echo new > " + link), ">");
    EXPECT_EQ(content(), "new\n");
    struct stat status {};
    ASSERT_EQ(lstat(link.c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
    std::remove(link.c_str());
}

TEST_F(PipingTest, LinesOfAScriptGoThroughTheFiltersOfItsLine) {
    const std::string name = script("echo up a\nlines | include down\necho b\n", "piping.pcsim");
    EXPECT_EQ(told("include " + name + " | count > " + path).substr(0, 1), "<");
    EXPECT_EQ(content(), "3 lines\n");
}

}  // namespace
