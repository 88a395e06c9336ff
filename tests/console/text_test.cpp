// Texts on their way to a terminal.
#include "console/text.h"

#include <gtest/gtest.h>

namespace pcsim::host {
namespace {

TEST(Printable, CharactersStay) {
    for (const char* text :
         {"", "port 1:2\tup", "gr\xC3\xBC\xC3\x9F", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xC2\xA0",
          "\xE0\xA0\x80", "\xED\x9F\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"})
        EXPECT_EQ(printable(text), text);
}

TEST(Printable, ControlCharactersAndWhatIsNoUtf8AreQuestionMarks) {
    EXPECT_EQ(printable(std::string("a\0b", 3)), "a?b");
    const std::pair<const char*, const char*> kRows[] = {
        {"\x1B[31mred\r\n", "?[31mred??"},
        {"\x7F", "?"},
        {"\xC2\x9B"
         "31m",
         "??31m"},
        {"\xFF\xFE", "??"},
        {"cut \xE2\x82", "cut ??"},
        {"\xC3x", "?x"},
        {"\x80", "?"},
        {"\xC0\xAF", "??"},
        {"\xE0\x9F\xBF", "???"},
        {"\xED\xA0\x80", "???"},
        {"\xF0\x8F\xBF\xBF", "????"},
        {"\xF4\x90\x80\x80", "????"},
        {"\xF5\x80\x80\x80", "????"},
    };
    for (const auto& [text, expected] : kRows) EXPECT_EQ(printable(text), expected) << text;
}

TEST(Printable, WhatIsNotPrintableOrTooLongIsNotShown) {
    EXPECT_EQ(shown("\x1b[2J\xff"), "?[2J?");
    EXPECT_EQ(shown(std::string(40, 'x')), std::string(40, 'x'));
    EXPECT_EQ(shown(std::string(41, 'x')), std::string(40, 'x') + "...");
    EXPECT_EQ(presentable(std::string(161, 'x') + "\n"), std::string(160, 'x') + "...");
}

}  // namespace
}  // namespace pcsim::host
