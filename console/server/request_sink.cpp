// Gathering what lines come to.
#include "console/server/request_sink.h"

#include <algorithm>

#include "console/json.h"
#include "console/json_sink.h"
#include "console/words.h"

namespace pcsim {

namespace {

// As sessions see it: the text of such a line is JSON, too.
bool wantsJson(const std::string& line) {
    if (line.find("--json") == std::string::npos) return false;
    try {
        const Words words = splitWords(line);
        // Of a comment there is no word.
        return !words.empty() && words.front() != "echo" &&
               std::ranges::count(words, "--json") != 0;
    } catch (const CommandError&) {
        return false;
    }
}

}  // namespace

void RequestSink::start(bool streams, const Page& page) {
    gathering_ = true;
    streams_ = streams;
    page_ = page;
    text_.clear();
    answers_.clear();
}

std::string RequestSink::data() const {
    if (answers_.empty()) return "null";
    if (answers_.size() == 1) return answers_.front().data;
    std::string list;
    for (const Answered& one : answers_)
        list += fmt::format(R"({}{{"command":{},"data":{},"text":{}}})", list.empty() ? "" : ",",
                            jsonString(one.command), one.data, jsonString(one.text));
    return "[" + list + "]";
}

void RequestSink::begin(const std::string& line) {
    running_.push_back({line, wantsJson(line)});
}

void RequestSink::end() {
    running_.pop_back();
}

void RequestSink::text(const std::string& text) {
    if (text.empty()) return;
    if (gathering_ && !streams_)
        text_ += text;
    else
        output_(text, "");
}

void RequestSink::answer(const Report& report) {
    const bool json = !running_.empty() && running_.back().wantsJson;
    const std::string shown = json ? report.json() : report.text(page_);
    if (gathering_ && !running_.empty())
        answers_.push_back({running_.back().text, report.json(Report::Json::kCompact), shown});
    text(shown);
}

void RequestSink::event(const Event& event) {
    output_(formatEvent(event) + "\n", jsonOf(event));
}

}  // namespace pcsim
