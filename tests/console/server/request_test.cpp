// Requests: what is one, and what is said of what is none.
#include "console/server/request.h"

#include <gtest/gtest.h>

namespace pcsim {
namespace {

TEST(RequestTest, IsTakenApart) {
    const Request request = readRequest(
        R"({"jsonrpc":"2.0","id":7,"method":"run","params":{"line":"echo \u00e4","stream":true,)"
        R"("n":3,"list":["a","b"],"none":null}})");
    EXPECT_EQ(request.errorCode, 0);
    EXPECT_EQ(request.id, "7");
    EXPECT_EQ(request.method, "run");
    EXPECT_EQ(request.parameters.neededText("line"), "echo ä");
    EXPECT_TRUE(request.parameters.flag("stream"));
    EXPECT_FALSE(request.parameters.flag("other"));
    EXPECT_EQ(request.parameters.number("n"), 3u);
    EXPECT_EQ(request.parameters.texts("list"), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(request.parameters.text("none"), std::nullopt);
}

TEST(RequestTest, IdsAreKeptAsTheyAre) {
    EXPECT_EQ(readRequest(R"({"id":"a\"b","method":"x"})").id, R"("a\"b")");
    EXPECT_EQ(readRequest(R"({"id":-5,"method":"x"})").id, "-5");
    EXPECT_EQ(readRequest(R"({"id":18446744073709551615,"method":"x"})").id,
              "18446744073709551615");
    EXPECT_EQ(readRequest(R"({"id":null,"method":"x"})").id, "null");
    EXPECT_EQ(readRequest(R"({"method":"x"})").id, "");
}

struct Bad {
    const char* line;
    int code;
    const char* id;
    const char* message;
};

constexpr const char* kNot = "this is no request; expected an object with method, params and id";
constexpr const char* kNone =
    "the request has no method; expected \"method\": \"run\" or another that describe tells of";

class BadRequestTest : public testing::TestWithParam<Bad> {};

TEST_P(BadRequestTest, IsToldOf) {
    const Request request = readRequest(GetParam().line);
    EXPECT_EQ(request.errorCode, GetParam().code);
    EXPECT_EQ(request.id, GetParam().id);
    EXPECT_EQ(request.error, GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    All, BadRequestTest,
    testing::Values(
        Bad{"show ports", -32700, "null",
            "this is no JSON from byte 1 on; expected one request object per line, in UTF-8"},
        Bad{R"({"id":1)", -32700, "null",
            "this is no JSON from byte 8 on; expected one request object per line, in UTF-8"},
        Bad{"{\"id\":1,\"method\":\"\xff\"}", -32700, "null",
            "this is no JSON from byte 19 on; expected one request object per line, in UTF-8"},
        Bad{R"({"id":1,"method":"x","params":{"n":1e999}})", -32700, "null",
            "a number in this request is too large; expected at most 1.7e308"},
        Bad{"-1e309", -32700, "null",
            "a number in this request is too large; expected at most 1.7e308"},
        Bad{"5", -32600, "null", kNot}, Bad{"null", -32600, "null", kNot},
        Bad{R"([{"method":"status"}])", -32600, "null",
            "a list of requests is none; expected one request object per line, or the method "
            "batch"},
        Bad{R"({"id":1})", -32600, "1", kNone}, Bad{R"({"id":1,"method":5})", -32600, "1", kNone},
        Bad{R"({"params":{}})", -32600, "null", kNone},
        Bad{R"({"id":1.5,"method":"x"})", -32600, "null",
            "'id' is of the wrong type; expected a string, an integer or null"},
        Bad{R"({"jsonrpc":"1.0","id":1,"method":"x"})", -32600, "1",
            "'jsonrpc' has another version; expected \"2.0\""},
        Bad{R"({"id":1,"method":"x","params":["line"]})", -32602, "1",
            "'params' is of the wrong type; expected an object of parameters by name"},
        Bad{"[[[[[[[[[[[[[[[[[", -32600, "null",
            "the request is nested deeper than 16; expected one request object per line"}));

TEST(RequestTest, MillionsOfBracketsAreNoTrouble) {
    EXPECT_EQ(readRequest(std::string(16'000'000, '[')).errorCode, -32600);
    // Within a text they are nothing.
    EXPECT_EQ(readRequest(R"({"id":1,"method":"[[[[[[[[[[\"[[[[[[[[[["})").errorCode, 0);
}

std::string problem(const std::function<void(const Parameters&)>& ask, const char* parameters) {
    const Request request =
        readRequest(std::string(R"({"id":1,"method":"x","params":)") + parameters + "}");
    try {
        ask(request.parameters);
    } catch (const ProtocolError& error) {
        EXPECT_EQ(error.code, kBadParameters);
        return error.what();
    }
    return "";
}

TEST(RequestTest, ParametersOfAnotherTypeAreToldOf) {
    const auto needed = [](const Parameters& all) { all.neededText("a"); };
    EXPECT_EQ(problem(needed, "{}"), "'a' is missing; expected a text");
    EXPECT_EQ(problem(needed, R"({"a":5})"), "'a' is of the wrong type; expected a text");
    const auto flag = [](const Parameters& all) { all.flag("a"); };
    EXPECT_EQ(problem(flag, R"({"a":1})"), "'a' is of the wrong type; expected true or false");
    const auto number = [](const Parameters& all) { all.number("a"); };
    for (const char* const other : {R"({"a":-1})", R"({"a":1.5})", R"({"a":"1"})"})
        EXPECT_EQ(problem(number, other), "'a' is of the wrong type; expected a number from 0 on");
    const auto texts = [](const Parameters& all) { all.texts("a"); };
    for (const char* const other : {R"({"a":"b"})", R"({"a":["b",1]})"})
        EXPECT_EQ(problem(texts, other), "'a' is of the wrong type; expected a list of texts");
}

TEST(RequestTest, UnknownParametersAreToldOf) {
    constexpr Parameter kKnown[] = {{"line", "text", false, ""}, {"folder", "text", true, ""}};
    const auto check = [&](const Parameters& all) { all.check("run", kKnown); };
    EXPECT_EQ(problem(check, R"({"line":"x"})"), "");
    EXPECT_EQ(problem(check, R"({"line":"x","lines":5})"),
              "run takes no 'lines'; expected line, folder");
    EXPECT_EQ(problem([](const Parameters& all) { all.check("status", {}); }, R"({"a":1})"),
              "status takes no 'a'; expected no parameters");
}

}  // namespace
}  // namespace pcsim
