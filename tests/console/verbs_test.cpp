// What a verb gets of its command.
#include "console/verbs.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace pcsim {
namespace {

TEST(CallTest, AValueThatThePatternLacksFailsByName) {
    const Call call(Values{{"slot", {"3"}}, {"empty", {}}});
    EXPECT_EQ(call.text("slot"), "3");
    EXPECT_EQ(call.number("slot"), 3u);
    for (const char* name : {"slto", "empty"}) {
        try {
            static_cast<void>(call.text(name));
            ADD_FAILURE() << name << " was found";
        } catch (const std::logic_error& error) {
            EXPECT_EQ(error.what(), "the command has no value '" + std::string(name) + "'");
        }
    }
    EXPECT_EQ(call.textOr("slto", "none"), "none");
    EXPECT_TRUE(call.all("slto").empty());
    EXPECT_FALSE(call.has("slto"));
}

}  // namespace
}  // namespace pcsim
