// The lines that prompts share.
#include "console/history.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace {

using namespace pcsim;

struct HistoryTest : testing::Test {
    std::string folder = testing::TempDir() + "history_test.XXXXXX";

    HistoryTest() {
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
        setenv("HOME", folder.c_str(), 1);
        unsetenv("XDG_STATE_HOME");
    }

    ~HistoryTest() override {
        for (const char* name : {"/.pcsim_history", "/state/pcsim/history"})
            unlink((folder + name).c_str());
        for (const char* name : {"/state/pcsim", "/state", ""}) rmdir((folder + name).c_str());
    }

    std::string content(const std::string& name) const {
        std::ifstream file(folder + name);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

TEST_F(HistoryTest, LinesAreKeptAtOnceAndOnceInARow) {
    History history;
    for (const char* line : {"a", "a", "b", "  ", "", "a"}) history.add(line);
    EXPECT_EQ(content("/.pcsim_history"), "a\nb\na\n");
    struct stat status {};
    ASSERT_EQ(stat((folder + "/.pcsim_history").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    // Another prompt knows them, and goes on behind them.
    History other;
    other.add("a");
    other.add("c");
    EXPECT_EQ(content("/.pcsim_history"), "a\nb\na\nc\n");
}

TEST_F(HistoryTest, AThousandAreKept) {
    std::ofstream(folder + "/.pcsim_history") << [] {
        std::string lines;
        for (int i = 0; i < 1500; ++i) lines += std::to_string(i) + "\n";
        return lines;
    }();
    const History history;
    const std::string kept = content("/.pcsim_history");
    EXPECT_EQ(std::count(kept.begin(), kept.end(), '\n'), 1000);
    EXPECT_EQ(kept.substr(0, 4), "500\n");
}

TEST_F(HistoryTest, AFolderForStateBeginsWithWhatTheHomeHas) {
    std::ofstream(folder + "/.pcsim_history") << "old\n";
    setenv("XDG_STATE_HOME", (folder + "/state").c_str(), 1);
    History history;
    history.add("old");  // it is the last one
    history.add("new");
    EXPECT_EQ(content("/state/pcsim/history"), "new\n");
    EXPECT_EQ(content("/.pcsim_history"), "old\n");
}

TEST_F(HistoryTest, WithoutAFolderNothingIsKeptAndNothingFails) {
    for (const char* home : {"/nowhere", "", "relative"}) {
        setenv("HOME", home, 1);
        History history;
        history.add("a");
    }
    unsetenv("HOME");
    History history;
    history.add("a");
}

}  // namespace
