// Writing outcomes as JSON.
#include "console/json_sink.h"

#include "console/json.h"

namespace pcsim {

std::string jsonOf(const Event& event) {
    return fmt::format(R"({{"number":{},"timeMs":{},"source":{},"text":{}}})", event.position,
                       event.timeMs, jsonString(event.source), jsonString(event.text));
}

std::string jsonOf(const Problem& problem) {
    std::string result = fmt::format(R"({{"code":{},"message":{})", static_cast<int>(problem.code),
                                     jsonString(problem.message));
    const std::string right = rightOf(problem.message);
    if (!right.empty()) result += R"(,"right":)" + jsonString(right);
    if (!problem.file.empty())
        result +=
            fmt::format(R"(,"file":{},"line":{})", jsonString(problem.file), problem.lineNumber);
    return result + "}";
}

JsonSink::JsonSink(Output& output, Form form) : output_(output), form_(form) {
    if (form_ == Form::kArray) output_.writeWhole("[");
}

JsonSink::~JsonSink() {
    if (form_ == Form::kArray) output_.writeWhole(first_ ? "]\n" : "\n]\n");
}

std::string JsonSink::document(Form form, const std::string& object) {
    return form == Form::kArray ? "[\n" + object + "\n]\n" : object + "\n";
}

void JsonSink::write(const std::string& object) {
    if (form_ == Form::kArray)
        output_.writeWhole((first_ ? "\n" : ",\n") + object);
    else
        output_.writeWhole(object + "\n");
    first_ = false;
}

void JsonSink::begin(const std::string& line) {
    running_.push_back({line, {}, "", "", 0});
}

void JsonSink::end() {
    const Command command = std::move(running_.back());
    running_.pop_back();
    std::string object = R"({"command":)" + jsonString(command.line);
    if (!command.error.empty()) {
        object += R"(,"error":)" + command.error;
    } else if (command.data.size() == 1) {
        object += R"(,"data":)" + command.data.front();
    } else {
        std::string data;
        for (const std::string& one : command.data) data += (data.empty() ? "" : ",") + one;
        object += R"(,"data":)" + (data.empty() ? "null" : "[" + data + "]");
    }
    if (command.failed != 0) object += fmt::format(R"(,"failed":{})", command.failed);
    if (!command.text.empty()) object += R"(,"text":)" + jsonString(command.text);
    write(object + "}");
}

void JsonSink::text(const std::string& text) {
    if (text.empty()) return;
    if (running_.empty())
        write(R"({"text":)" + jsonString(text) + "}");
    else
        running_.back().text += text;
}

void JsonSink::answer(const Report& report) {
    if (running_.empty())
        write(R"({"data":)" + report.json(Report::Json::kCompact) + "}");
    else
        running_.back().data.push_back(report.json(Report::Json::kCompact));
}

void JsonSink::event(const Event& event) {
    write(R"({"event":)" + jsonOf(event) + "}");
}

void JsonSink::problem(const Problem& problem) {
    // Beside the lines: of a boot, or of a script that can't be read.
    if (running_.empty())
        write(R"({"error":)" + jsonOf(problem) + "}");
    else
        running_.back().error = jsonOf(problem);
}

void JsonSink::failed(unsigned lines) {
    running_.back().failed = lines;
}

}  // namespace pcsim
