// A request of a client: one line of JSON, taken apart and held against what a method takes.
#ifndef PCSIM_CONSOLE_SERVER_REQUEST_H
#define PCSIM_CONSOLE_SERVER_REQUEST_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace pcsim {

// Codes of errors that are about the protocol; those of lines are ErrorCode's.
inline constexpr int kNoJson = -32700;
inline constexpr int kNoRequest = -32600;
inline constexpr int kNoMethod = -32601;
inline constexpr int kBadParameters = -32602;
inline constexpr int kInternal = -32603;
inline constexpr int kRefused = -32000;
inline constexpr int kEnding = -32001;

class ProtocolError : public std::runtime_error {
public:
    ProtocolError(int errorCode, const std::string& message)
        : std::runtime_error(message), code(errorCode) {}
    const int code;
};

// What a method takes, as 'describe' tells it.
struct Parameter {
    const char* name;
    const char* type;  // "text", "yes or no", "number", "texts", "yes, no or texts"
    bool optional;
    const char* help;
};

// The parameters of one request. Asking for one that has another type throws a ProtocolError.
class Parameters {
public:
    std::optional<std::string> text(const char* name) const;
    std::string neededText(const char* name) const;
    bool flag(const char* name) const;  // false when it isn't given
    std::optional<uint64_t> number(const char* name) const;
    std::optional<std::vector<std::string>> texts(const char* name) const;
    bool isFlag(const char* name) const;

    // Fails when something is given that is none of 'known'.
    void check(const std::string& method, std::span<const Parameter> known) const;

private:
    struct Value;
    std::shared_ptr<const Value> value_;
    friend struct RequestReader;
};

struct Request {
    std::string id;  // as JSON; empty when nobody waits for an answer
    std::string method;
    Parameters parameters;
    // What is wrong with it instead, 0 when nothing is.
    int errorCode = 0;
    std::string error;
};

// Of a line without its end.
Request readRequest(const std::string& line);

}  // namespace pcsim

#endif
