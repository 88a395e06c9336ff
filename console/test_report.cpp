// Writing test reports: TAP of version 14, and the XML that came with JUnit.
#include "console/test_report.h"

#include <fmt/core.h>

#include <cerrno>
#include <cstring>

#include "console/error.h"
#include "console/json.h"
#include "console/text.h"

namespace pcsim {

namespace {

// XML has no way to write control characters at all, nor the two last of each plane.
std::string xml(const std::string& text) {
    std::string result;
    const std::string clean = printable(text);
    for (size_t at = 0; at < clean.size(); ++at) {
        const std::string_view rest = std::string_view(clean).substr(at);
        switch (rest.front()) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            case '\t':
                result += "&#9;";
                break;
            default:
                if (rest.starts_with("\xEF\xBF\xBE") || rest.starts_with("\xEF\xBF\xBF")) {
                    result += '?';
                    at += 2;
                } else {
                    result += rest.front();
                }
        }
    }
    return result;
}

// A '#' would begin a directive.
std::string tapText(const std::string& text) {
    std::string result;
    for (const char c : printable(text)) {
        if (c == '#' || c == '\\') result += '\\';
        result += c;
    }
    return result;
}

}  // namespace

TestReport::TestReport(Form form, const std::string& path)
    : form_(form), path_(path), pipe_(nullptr, std::fclose) {
    if (isReplaceable(path)) {
        whole_ = std::make_unique<OutputFile>(path, "report");
    } else {
        pipe_.reset(std::fopen(path.c_str(), "we"));
        if (pipe_ == nullptr) fail("report {} can't be written: {}", path, std::strerror(errno));
    }
    if (form_ == Form::kTap) put("TAP version 14\n");
}

// Whoever runs the tests goes on with them: what goes wrong here is told at the end.
void TestReport::put(const std::string& text) {
    if (!problem_.empty()) return;
    try {
        if (whole_ != nullptr)
            whole_->write(text);
        else if (std::fputs(text.c_str(), pipe_.get()) == EOF || std::fflush(pipe_.get()) != 0)
            fail("report {} can't be written: {}", path_, std::strerror(errno));
    } catch (const CommandError& error) {
        problem_ = error.what();
    }
}

void TestReport::add(const Step& step) {
    if (!step.demand && step.error == nullptr) return;
    Case one{.name = step.line,
             .file = step.file,
             .line = step.lineNumber,
             .seconds = std::chrono::duration<double>(step.taken).count()};
    if (!step.file.empty())
        one.name = fmt::format("{}:{}: {}", step.file, step.lineNumber, step.line);
    if (step.error != nullptr) {
        const bool unmet = step.error->code == ErrorCode::kUnmet;
        one.result = unmet ? Result::kFailed : Result::kError;
        one.message = step.error->what();
    }
    add(one);
}

void TestReport::addProblem(const std::string& message) {
    add({.name = "run", .file = "", .result = Result::kError, .message = message});
}

void TestReport::add(const Case& one) {
    ++count_[static_cast<size_t>(one.result)];
    seconds_ += one.seconds;
    if (form_ == Form::kTap) return writeTap(one);
    const char* const element = one.result == Result::kFailed ? "failure" : "error";
    junit_ += fmt::format(R"(    <testcase classname="{}" name="{}")",
                          xml(one.file.empty() ? "pcsim" : one.file), xml(one.name));
    if (!one.file.empty())
        junit_ += fmt::format(R"( file="{}" line="{}")", xml(one.file), one.line);
    junit_ += fmt::format(R"( time="{:.6f}")", one.seconds);
    if (one.result == Result::kPassed)
        junit_ += "/>\n";
    else
        junit_ += fmt::format(">\n      <{} message=\"{}\"/>\n    </testcase>\n", element,
                              xml(one.message));
}

void TestReport::writeTap(const Case& one) {
    const bool passed = one.result == Result::kPassed;
    std::string text = fmt::format("{} {} - {}\n  ---\n", passed ? "ok" : "not ok",
                                   count_[0] + count_[1] + count_[2], tapText(one.name));
    if (!passed)
        text += fmt::format("  message: {}\n  severity: {}\n", jsonString(printable(one.message)),
                            one.result == Result::kFailed ? "fail" : "error");
    if (!one.file.empty())
        text += fmt::format("  file: {}\n  line: {}\n", jsonString(printable(one.file)), one.line);
    put(text + fmt::format("  duration_ms: {:.3f}\n  ...\n", one.seconds * 1000));
}

void TestReport::writeJunit() {
    const uint64_t failed = count_[static_cast<size_t>(Result::kFailed)];
    const uint64_t errors = count_[static_cast<size_t>(Result::kError)];
    const std::string sums =
        fmt::format(R"(name="pcsim" tests="{}" failures="{}" errors="{}" time="{:.6f}")",
                    count_[0] + failed + errors, failed, errors, seconds_);
    put(fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites {0}>\n  <testsuite {0}>\n"
        "{1}  </testsuite>\n</testsuites>\n",
        sums, junit_));
}

void TestReport::finish() {
    if (form_ == Form::kJunit)
        writeJunit();
    else
        put(fmt::format("1..{}\n", count_[0] + count_[1] + count_[2]));
    if (!problem_.empty()) fail("{}", problem_);
    if (whole_ != nullptr) whole_->keep();
}

}  // namespace pcsim
