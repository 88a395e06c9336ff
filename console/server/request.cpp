// Reading requests. The JSON library is included here alone of this room.
#include "console/server/request.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "console/error.h"
#include "console/text.h"

namespace pcsim {

struct Parameters::Value {
    explicit Value(nlohmann::json one) : object(std::move(one)) {}

    nlohmann::json object;
};

struct RequestReader {
    static Parameters make(nlohmann::json object) {
        Parameters parameters;
        parameters.value_ = std::make_shared<const Parameters::Value>(std::move(object));
        return parameters;
    }
};

namespace {

// A request is an object with an object in it, with lists in that.
constexpr int kDeepest = 16;

// The library builds what is nested however deep; so the depth is looked at before.
bool isTooDeep(const std::string& line) {
    int depth = 0;
    bool quoted = false;
    for (size_t at = 0; at < line.size(); ++at) {
        const char c = line[at];
        if (quoted) {
            if (c == '\\')
                ++at;
            else if (c == '"')
                quoted = false;
        } else if (c == '"') {
            quoted = true;
        } else if (c == '{' || c == '[') {
            if (++depth > kDeepest) return true;
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return false;
}

nlohmann::json parse(const std::string& line) {
    if (isTooDeep(line))
        throw ProtocolError(kNoRequest,
                            fmt::format("the request is nested deeper than {}; expected "
                                        "one request object per line",
                                        kDeepest));
    try {
        return nlohmann::json::parse(line);
    } catch (const nlohmann::json::parse_error& error) {
        throw ProtocolError(kNoJson, fmt::format("this is no JSON from byte {} on; expected one "
                                                 "request object per line, in UTF-8",
                                                 error.byte));
    } catch (const nlohmann::json::out_of_range&) {
        // It is JSON all the same, but the library has no other number for it than infinity.
        throw ProtocolError(kNoJson,
                            "a number in this request is too large; expected at most 1.7e308");
    }
}

// The id goes first: an error wants to be told to whoever asked.
void readId(const nlohmann::json& object, Request& request) {
    const auto id = object.find("id");
    if (id == object.end()) return;
    if (!id->is_string() && !id->is_number_integer() && !id->is_null())
        throw ProtocolError(kNoRequest,
                            "'id' is of the wrong type; expected a string, an integer "
                            "or null");
    request.id = id->dump();
}

void readObject(nlohmann::json& object, Request& request) {
    if (!object.is_object())
        throw ProtocolError(
            kNoRequest, object.is_array()
                            ? "a list of requests is none; expected one request object per "
                              "line, or the method batch"
                            : "this is no request; expected an object with method, params and id");
    readId(object, request);
    const auto version = object.find("jsonrpc");
    if (version != object.end() && *version != "2.0")
        throw ProtocolError(kNoRequest, "'jsonrpc' has another version; expected \"2.0\"");
    const auto method = object.find("method");
    if (method == object.end() || !method->is_string())
        throw ProtocolError(kNoRequest,
                            "the request has no method; expected \"method\": \"run\" or "
                            "another that describe tells of");
    request.method = method->get<std::string>();
    const auto parameters = object.find("params");
    if (parameters == object.end()) {
        request.parameters = RequestReader::make(nlohmann::json::object());
        return;
    }
    if (!parameters->is_object())
        throw ProtocolError(kBadParameters,
                            "'params' is of the wrong type; expected an object of "
                            "parameters by name");
    request.parameters = RequestReader::make(std::move(*parameters));
}

const nlohmann::json* find(const nlohmann::json& object, const char* name) {
    const auto found = object.find(name);
    return found == object.end() || found->is_null() ? nullptr : &*found;
}

[[noreturn]] void failForType(const char* name, const char* type) {
    throw ProtocolError(kBadParameters,
                        fmt::format("'{}' is of the wrong type; expected {}", name, type));
}

}  // namespace

Request readRequest(const std::string& line) {
    Request request;
    request.id = "null";
    try {
        nlohmann::json object = parse(line);
        if (object.is_object() && !object.contains("id")) request.id.clear();
        readObject(object, request);
    } catch (const ProtocolError& error) {
        request.errorCode = error.code;
        request.error = error.what();
        if (request.id.empty()) request.id = "null";  // what is no request wants to be told of
    } catch (const std::bad_alloc&) {
        request.errorCode = kRefused;
        request.error = "there is not enough memory for this request; expected a smaller one";
    }
    return request;
}

std::optional<std::string> Parameters::text(const char* name) const {
    const auto* const value = find(value_->object, name);
    if (value == nullptr) return std::nullopt;
    if (!value->is_string()) failForType(name, "a text");
    return value->get<std::string>();
}

std::string Parameters::neededText(const char* name) const {
    auto given = text(name);
    if (!given)
        throw ProtocolError(kBadParameters, fmt::format("'{}' is missing; expected a text", name));
    return std::move(*given);
}

bool Parameters::isFlag(const char* name) const {
    const auto* const value = find(value_->object, name);
    return value == nullptr || value->is_boolean();
}

bool Parameters::flag(const char* name) const {
    const auto* const value = find(value_->object, name);
    if (value == nullptr) return false;
    if (!value->is_boolean()) failForType(name, "true or false");
    return value->get<bool>();
}

std::optional<uint64_t> Parameters::number(const char* name) const {
    const auto* const value = find(value_->object, name);
    if (value == nullptr) return std::nullopt;
    if (!value->is_number_unsigned()) failForType(name, "a number from 0 on");
    return value->get<uint64_t>();
}

std::optional<std::vector<std::string>> Parameters::texts(const char* name) const {
    const auto* const value = find(value_->object, name);
    if (value == nullptr) return std::nullopt;
    if (!value->is_array()) failForType(name, "a list of texts");
    std::vector<std::string> all;
    for (const auto& one : *value) {
        if (!one.is_string()) failForType(name, "a list of texts");
        all.push_back(one.get<std::string>());
    }
    return all;
}

void Parameters::check(const std::string& method, std::span<const Parameter> known) const {
    for (const auto& item : value_->object.items()) {
        const std::string& name = item.key();
        if (std::ranges::any_of(known, [&](const Parameter& one) { return name == one.name; }))
            continue;
        std::string names;
        for (const Parameter& one : known)
            names += (names.empty() ? "" : ", ") + std::string(one.name);
        throw ProtocolError(kBadParameters,
                            fmt::format("{} takes no '{}'; expected {}", method, shown(name),
                                        names.empty() ? "no parameters" : names));
    }
}

}  // namespace pcsim
