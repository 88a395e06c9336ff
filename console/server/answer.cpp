// Writing lines of JSON.
#include "console/server/answer.h"

#include "console/json.h"

namespace pcsim {

namespace {

std::string errorObject(int code, const std::string& message, std::string_view data) {
    std::string object =
        "{\"code\":" + std::to_string(code) + ",\"message\":" + jsonString(message);
    if (!data.empty()) object.append(",\"data\":").append(data);
    return object + "}";
}

std::string errorLineOf(std::string_view id, const std::string& object) {
    std::string line = "{\"jsonrpc\":\"2.0\",\"id\":";
    return line.append(id).append(",\"error\":").append(object).append("}\n");
}

}  // namespace

std::string resultLine(std::string_view id, std::string_view result) {
    std::string line = "{\"jsonrpc\":\"2.0\",\"id\":";
    return line.append(id).append(",\"result\":").append(result).append("}\n");
}

std::string errorLine(std::string_view id, int code, const std::string& message) {
    return errorLineOf(id, errorObject(code, message, ""));
}

std::string errorLine(std::string_view id, const CommandError& error, const std::string& text) {
    return errorLineOf(id, errorObject(error, text));
}

std::string notificationLine(std::string_view method, std::string_view parameters) {
    std::string line = "{\"jsonrpc\":\"2.0\",\"method\":\"";
    return line.append(method).append("\",\"params\":").append(parameters).append("}\n");
}

std::string errorObject(const CommandError& error, const std::string& text) {
    const std::string data =
        "{\"right\":" + jsonString(rightOf(error.what())) + ",\"text\":" + jsonString(text) + "}";
    return errorObject(static_cast<int>(error.code), error.what(), data);
}

std::string jsonList(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) list += (list.empty() ? "" : ",") + jsonString(text);
    return "[" + list + "]";
}

}  // namespace pcsim
