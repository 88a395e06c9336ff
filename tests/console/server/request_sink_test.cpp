// What the lines of a request come to.
#include "console/server/request_sink.h"

#include <gtest/gtest.h>

namespace pcsim {
namespace {

class RequestSinkTest : public testing::Test {
protected:
    Report one = Fields{"one", "One", {{"a", "A", 1}}};
    std::string out;
    RequestSink sink{[this](const std::string& text, const std::string& event) {
        out += "<" + text + "|" + event + ">";
    }};

    void line(const std::string& line, const std::function<void()>& inside) {
        sink.begin(line);
        inside();
        sink.end();
    }
};

TEST_F(RequestSinkTest, TextAndNoData) {
    sink.start(false);
    line("echo a", [this] { sink.text("a\n"); });
    EXPECT_EQ(sink.printed(), "a\n");
    EXPECT_EQ(sink.data(), "null");
    EXPECT_EQ(out, "");
}

TEST_F(RequestSinkTest, AReportIsTextAndData) {
    sink.start(false);
    line("show one", [this] { sink.answer(one); });
    EXPECT_EQ(sink.printed(), one.text());
    EXPECT_EQ(sink.data(), R"({"one":{"a":1}})");
    sink.start(false);
    EXPECT_EQ(sink.data(), "null");
}

TEST_F(RequestSinkTest, ALineThatWantsJsonHasItAsText) {
    sink.start(false);
    line("show one --json", [this] { sink.answer(one); });
    EXPECT_EQ(sink.printed(), one.json());
    EXPECT_EQ(sink.data(), R"({"one":{"a":1}})");
}

TEST_F(RequestSinkTest, ALineWithoutAWordIsOne) {
    sink.start(false);
    for (const char* text : {"# show one --json", "\"\" --json", "--json"})
        line(text, [this] { sink.text("a\n"); });
    EXPECT_EQ(sink.printed(), "a\na\na\n");
    EXPECT_EQ(sink.data(), "null");
}

TEST_F(RequestSinkTest, SeveralReportsAreAListWithTheirLines) {
    sink.start(false);
    line("include x", [this] {
        line("show one", [this] { sink.answer(one); });
        line("echo a", [this] { sink.text("a\n"); });
        line("show one --json", [this] { sink.answer(one); });
    });
    EXPECT_EQ(sink.printed(), one.text() + "a\n" + one.json());
    EXPECT_EQ(sink.data(),
              R"([{"command":"show one","data":{"one":{"a":1}},"text":"One\n  A  1\n"},)"
              R"({"command":"show one --json","data":{"one":{"a":1}},"text":"{\n  \"one\": {\n)"
              R"(    \"a\": 1\n  }\n}\n"}])");
}

TEST_F(RequestSinkTest, AStreamTellsTextAtOnce) {
    sink.start(true);
    line("show one", [this] { sink.answer(one); });
    EXPECT_EQ(out, "<" + one.text() + "|>");
    EXPECT_EQ(sink.printed(), "");
    EXPECT_EQ(sink.data(), R"({"one":{"a":1}})");
}

TEST_F(RequestSinkTest, WhatComesBesideARequestIsToldAtOnce) {
    sink.text("early\n");
    sink.start(false);
    sink.event({3, 1500, "port", "up"});
    sink.stop();
    sink.text("late\n");
    EXPECT_EQ(out,
              "<early\n|><[    1.500] port      up\n|{\"number\":3,\"timeMs\":1500,"
              "\"source\":\"port\",\"text\":\"up\"}><late\n|>");
}

}  // namespace
}  // namespace pcsim
