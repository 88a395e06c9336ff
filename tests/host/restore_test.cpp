// The way back to a state, over a switch that is a set of lines.
#include "host/state/restore.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "console/error.h"

namespace pcsim::host {
namespace {

// "make X" and "take X"; a part with a dash ("a-b") hangs on what is before it and goes with it.
struct RestoreTest : testing::Test {
    std::set<std::string> things;
    std::vector<std::string> ran;
    std::set<std::string> refused;
    std::map<std::string, std::string> drags;  // what a line takes along
    bool isInterrupted = false;
    int begun = 0;

    void tell(Lines& lines) {
        for (const auto& thing : things) lines.add("make " + thing, "take " + thing);
    }

    void run(std::string_view line) {
        ran.emplace_back(line);
        if (refused.contains(std::string(line))) fail("{} is refused", line);
        if (const auto dragged = drags.find(std::string(line)); dragged != drags.end())
            take(dragged->second);
        const std::string thing(line.substr(5));
        if (line.starts_with("make ")) {
            const size_t dash = thing.rfind('-');
            if (dash != std::string::npos && !things.contains(thing.substr(0, dash)))
                fail("{} hangs on nothing", thing);
            things.insert(thing);
        } else {
            take(thing);
        }
    }

    void take(const std::string& thing) {
        std::erase_if(things, [&](const auto& other) {
            return other == thing || other.starts_with(thing + "-");
        });
    }

    RestoreParts parts() {
        return {[this](Lines& lines) { tell(lines); }, [this](std::string_view line) { run(line); },
                [this] { return ++begun == 0; }, [this] { return isInterrupted; }};
    }

    static StateText stateOf(const std::vector<std::string>& things) {
        StateText state;
        for (const auto& thing : things) state.add("make " + thing, "take " + thing);
        return state;
    }
};

TEST_F(RestoreTest, NothingIsDoneWhereNothingDiffers) {
    things = {"a", "a-1"};
    EXPECT_TRUE(restoreState(stateOf({"a", "a-1"}), parts()).reached());
    EXPECT_TRUE(ran.empty());
    EXPECT_EQ(begun, 0);
}

TEST_F(RestoreTest, WhatIsTooMuchGoesFromTheLastLineThenTheRestComesFromTheFirst) {
    things = {"a", "b", "b-1", "c"};
    const Restored restored = restoreState(stateOf({"a", "a-1", "d"}), parts());
    EXPECT_TRUE(restored.reached());
    EXPECT_EQ(ran,
              (std::vector<std::string>{"take c", "take b-1", "take b", "make a-1", "make d"}));
    EXPECT_EQ(restored.undone, 3u);
    EXPECT_EQ(restored.made, 2u);
    EXPECT_EQ(begun, 1);
}

TEST_F(RestoreTest, WhatGoesWithSomethingElseIsMadeAgain) {
    things = {"a", "a-1", "b", "c"};
    drags = {{"take c", "a"}, {"make d", "b"}};
    const Restored restored = restoreState(stateOf({"a", "a-1", "b", "d"}), parts());
    EXPECT_TRUE(restored.reached());
    // What goes while the rest is made, is made in a second way.
    EXPECT_EQ(ran, (std::vector<std::string>{"take c", "make a", "make a-1", "make d", "make b"}));
}

TEST_F(RestoreTest, AStateThatIsNeverReachedEnds) {
    drags = {{"make a", "b"}, {"make b", "a"}};
    const Restored restored = restoreState(stateOf({"a", "b"}), parts());
    EXPECT_FALSE(restored.reached());
    EXPECT_EQ(restored.missing, 1u);
}

TEST_F(RestoreTest, WhatIsRefusedIsToldAndTheRestIsDone) {
    refused = {"make b", "take c"};
    things = {"c"};
    const Restored restored = restoreState(stateOf({"a", "b", "b-1"}), parts());
    EXPECT_FALSE(restored.reached());
    EXPECT_EQ(restored.extra, 1u);
    EXPECT_EQ(restored.missing, 2u);
    ASSERT_EQ(restored.problemCount, 3u);
    EXPECT_EQ(restored.problems[0].line, "take c");
    EXPECT_EQ(restored.problems[1].problem, "make b is refused");
    EXPECT_EQ(restored.problems[2].problem, "b-1 hangs on nothing");
    EXPECT_TRUE(things.contains("a"));
}

TEST_F(RestoreTest, WhatBeginningChangesIsMadeAgain) {
    things = {"a", "b"};
    RestoreParts beginning = parts();
    beginning.begin = [this] {
        things.erase("a");
        return true;
    };
    EXPECT_TRUE(restoreState(stateOf({"a"}), beginning).reached());
    EXPECT_EQ(ran, (std::vector<std::string>{"take b", "make a"}));
}

TEST_F(RestoreTest, AnInterruptEndsItAtOnce) {
    isInterrupted = true;
    const Restored restored = restoreState(stateOf({"a", "b"}), parts());
    EXPECT_TRUE(restored.interrupted);
    EXPECT_FALSE(restored.reached());
    EXPECT_TRUE(ran.empty());
}

TEST_F(RestoreTest, ALineThatTakesThePlaceOfAnotherNeedsNothingUndone) {
    std::string level = "make level 1";
    const RestoreParts setting{[&](Lines& lines) { lines.replace(level, "take level"); },
                               [&](std::string_view line) { level = ran.emplace_back(line); },
                               [this] { return ++begun == 0; }, [this] { return isInterrupted; }};
    StateText two;
    two.replace("make level 2", "take level");
    EXPECT_TRUE(restoreState(two, setting).reached());
    EXPECT_EQ(ran, std::vector<std::string>{"make level 2"});
}

TEST_F(RestoreTest, APartOfSeveralLinesIsMadeAgainAsAWhole) {
    std::vector<std::string> list{"rule a", "rule c"};
    const RestoreParts lists{[&](Lines& lines) {
                                 if (list.empty()) return;
                                 lines.add(list[0], "clear");
                                 for (size_t i = 1; i < list.size(); ++i) lines.more(list[i]);
                             },
                             [&](std::string_view line) {
                                 line == "clear" ? list.clear() : list.push_back(std::string(line));
                             },
                             [this] { return ++begun == 0; }, [this] { return isInterrupted; }};
    StateText state;
    state.add("rule a", "clear");
    state.more("rule b");
    state.more("rule c");
    EXPECT_TRUE(restoreState(state, lists).reached());
    EXPECT_EQ(list, (std::vector<std::string>{"rule a", "rule b", "rule c"}));
}

TEST(StateTextTest, PartsHaveTheirLines) {
    StateText state;
    EXPECT_TRUE(state.parts().empty());
    state.add("a", "not a");
    state.more("b");
    state.replace("c", "not c");
    EXPECT_EQ(state.text(), "a\nb\nc\n");
    EXPECT_EQ(state.lineCount(), 3u);
    EXPECT_EQ(state.parts(), (std::vector<std::string_view>{"a\nb\n", "c\n"}));
    EXPECT_TRUE(state.replaces("not c"));
    EXPECT_FALSE(state.replaces("not a"));
}

}  // namespace
}  // namespace pcsim::host
