// Values that are several, and the commands that a line with them stands for.
#include "console/lists.h"

#include <gtest/gtest.h>

#include "console/error.h"

namespace {

using namespace pcsim;

struct ListsTest : testing::Test {
    Pattern pattern = Pattern::parse("vlan <vlan*> add <port*> [tagged]");
    Words all{"1:1", "1:2"};

    std::string singles(const std::string& vlans, const std::string& ports) {
        try {
            std::string text;
            for (const Single& single : singlesOf(pattern, {{"vlan", {vlans}}, {"port", {ports}}},
                                                  [&](const Element& element) {
                                                      return element.name == "port" ? all : Words{};
                                                  })) {
                EXPECT_EQ(single.label,
                          single.values.at("vlan").at(0) + " " + single.values.at("port").at(0));
                text += (text.empty() ? "" : ", ") + single.label;
            }
            return text;
        } catch (const CommandError& error) {
            return error.what();
        }
    }

    std::string problem(const std::string& type, const std::string& word) {
        return listProblem(type, "number", word).value_or("");
    }
};

TEST_F(ListsTest, HelpShowsThatThereMayBeSeveral) {
    EXPECT_EQ(pattern.usage(), "vlan <vlans> add <ports> [tagged]");
    EXPECT_EQ(Pattern::parse("trunk create <trunk*:1-128>").usage(), "trunk create <trunks>");
}

TEST_F(ListsTest, EachStandsForItself) {
    EXPECT_EQ(singles("10", "1:1"), "10 1:1");
    EXPECT_EQ(singles("10-12", "1:1"), "10 1:1, 11 1:1, 12 1:1");
    EXPECT_EQ(singles("10,7", "1:2-3,2:1"), "10 1:2, 10 1:3, 10 2:1, 7 1:2, 7 1:3, 7 2:1");
    EXPECT_EQ(singles("10", "all"), "10 1:1, 10 1:2");
    EXPECT_EQ(singles("all", "1:1"), "there is no vlan; 'all' stands for none");
    EXPECT_EQ(singles("1-4094", "1:1-100"), "the line stands for more than 100000 commands");
    EXPECT_EQ(singles("1", "1:0-4294967295"), "a list has more than 100000 values");
}

TEST_F(ListsTest, EachIsChecked) {
    for (const char* good : {"1:1", "1:1-4", "1:1,1:2", "1:1-2,3:4-4", "all"})
        EXPECT_EQ(problem("port", good), "") << good;
    EXPECT_EQ(problem("port", "1:4-1"), "'1:4-1' is no range; expected the lower number first");
    EXPECT_EQ(problem("port", "1:1,"), "'' is not a port; expected SLOT:PORT, for example 1:2");
    EXPECT_EQ(problem("port", "1-4"), "'1' is not a port; expected SLOT:PORT, for example 1:2");
    EXPECT_EQ(problem("port", "1:1-99999"),
              "'1:99999' is not a port; expected SLOT:PORT, for example 1:2");
    EXPECT_EQ(problem("vlan", "4090-4095"), "VLAN '4095' is not a number from 1 to 4094");
    EXPECT_EQ(problem("vlan", "1,x"), "VLAN 'x' is not a number from 1 to 4094");
    EXPECT_EQ(problem("1-128", "127-129"), "number '129' is not a number from 1 to 128");
    EXPECT_EQ(problem("text", "A-1"), "");
}

}  // namespace
