// JSON-RPC as it comes from a client's socket: framing, requests of all kinds, answers.
//
// An even first byte is followed by what the client sends, as it is. An odd one is followed by
// numbers that requests are made of, whose texts are the rest of the input.
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>
#include <vector>

#include "console/error.h"
#include "console/server/connection.h"
#include "tests/fuzz/text/still_time.h"
#include "tests/fuzz/text/support.h"
#include "tests/fuzz/text/toy_verbs.h"

namespace pcsim::fuzz {

namespace {

using Json = nlohmann::json;

constexpr unsigned kPatience = 300;
constexpr size_t kMostSent = 65536;  // what the socket takes at once

struct FuzzHub : Hub {
    using Hub::Hub;
    void listenFor(ConnectionId, int, uint32_t events) override { listening = events; }
    void attendSoon(ConnectionId) override { soon = true; }
    void drop(ConnectionId) override { dropped = true; }
    uint32_t listening = 0;
    bool soon = false;
    bool dropped = false;
};

// The same for all clients as long as none of them has changed it.
struct Stage {
    StillTime time{kPatience};
    EventLog events{[] { return uint64_t{7}; }};
    Console console{time, events};
    FuzzHub hub{console,
                "fuzz",
                {.status =
                     [] {
                         return InstanceStatus{"stack", 7, true, 3, 1};
                     },
                 .version = "1",
                 .abi = "1",
                 .protocol = 1,
                 .snapshot = {"show one"},
                 .eventSources = [] { return std::vector<std::string>{"toy"}; }}};

    Stage() { addToyVerbs(console); }
    bool used() const { return events.nextPosition() != 0 || console.endStatus || time.ended; }
};

// --- what the client sends

constexpr const char* kMethods[] = {"run",       "batch",    "events",   "cancel",
                                    "interrupt", "complete", "question", "prompt",
                                    "drop",      "status",   "describe", "none"};
constexpr const char* kParameters[] = {"line",  "lines",    "folder",    "stream",
                                       "width", "coloured", "keepGoing", "sources",
                                       "since", "snapshot", "about",     "none"};

Json valueOf(Bytes& bytes) {
    const unsigned kind = bytes.byte();
    switch (kind % 8) {
        case 0:
            return bytes.byte();
        case 1:
            return kind % 16 == 1;
        case 2:
            return nullptr;
        case 3:
            return -static_cast<int>(bytes.byte());
        case 4: {
            Json list = Json::array();
            for (unsigned i = kind / 64; i != 0; --i) list.push_back(valueOf(bytes));
            return list;
        }
        default: {
            const auto text = bytes.take(kind / 4);
            return std::string(text.begin(), text.end());
        }
    }
}

// One request; members that are no text become '?', as the writer does it.
std::string requestOf(Bytes& bytes) {
    const unsigned shape = bytes.byte();
    Json request{{"method", kMethods[bytes.byte() % std::size(kMethods)]}};
    if (shape % 8 != 0) request["id"] = valueOf(bytes);
    if (shape % 16 == 1) request["jsonrpc"] = valueOf(bytes);
    Json parameters = Json::object();
    for (unsigned i = shape / 64 + 1; i != 0; --i) {
        const char* const name = kParameters[bytes.byte() % std::size(kParameters)];
        parameters[name] = valueOf(bytes);
    }
    request["params"] = parameters;
    return request.dump(-1, ' ', shape % 2 != 0, Json::error_handler_t::replace) + "\n";
}

std::string sentOf(Bytes bytes) {
    if (bytes.byte() % 2 == 0) return std::string(bytes.rest());
    std::string sent;
    while (!bytes.empty()) sent += requestOf(bytes);
    return sent;
}

// --- what has to come of it

struct Expected {
    std::string id;       // as JSON
    std::set<int> codes;  // of an error, when it must be one of these
    bool overtakes = false;
};

bool isTooDeep(std::string_view line) {
    unsigned depth = 0;
    for (const char c : line)
        if (c == '{' || c == '[') ++depth;
    return depth > 16;  // at most: brackets may be in texts
}

// Of a line that isn't empty; false when nobody waits for an answer.
bool expectationOf(const std::string& line, Expected& expected) {
    const Json request = Json::parse(line, nullptr, false);
    expected = {"null", {}};
    if (request.is_discarded()) {
        expected.codes = {-32700};
        if (isTooDeep(line)) expected.codes.insert(-32600);
        return true;
    }
    if (!request.is_object()) {
        expected.codes = {-32600};
        return true;
    }
    if (isTooDeep(line)) {
        expected = {"?", {}};  // it may be too deep to be looked at, or not
        return true;
    }
    const auto id = request.find("id");
    const bool wrongId =
        id != request.end() && !id->is_string() && !id->is_null() && !id->is_number_integer();
    if (id != request.end() && !wrongId) expected.id = id->dump();
    const auto method = request.find("method");
    const bool wrong = wrongId || method == request.end() || !method->is_string() ||
                       (request.contains("jsonrpc") && request["jsonrpc"] != "2.0");
    if (wrong) expected.codes = {-32600};
    if (wrong) return true;
    const bool wrongParameters = request.contains("params") && !request["params"].is_object();
    if (wrongParameters) expected.codes = {-32602};
    if (wrongParameters) return true;
    const std::string name = method->get<std::string>();
    const bool known = std::ranges::any_of(kMethods, [&](const char* one) { return name == one; });
    if (!known || name == "none") expected.codes = {-32601};
    expected.overtakes = name == "interrupt";
    return id != request.end();
}

std::vector<Expected> expectationsOf(const std::string& sent) {
    std::vector<Expected> all;
    for (size_t start = 0; start < sent.size();) {
        const size_t end = sent.find('\n', start);
        if (end == std::string::npos) {
            all.push_back({"null", {-32000}});
            break;
        }
        const std::string line = sent.substr(start, end - start);
        start = end + 1;
        Expected expected;
        if (!line.empty() && line != "\r" && expectationOf(line, expected))
            all.push_back(std::move(expected));
    }
    return all;
}

// --- what comes

class Answers {
public:
    explicit Answers(std::vector<Expected> expected) : expected_(std::move(expected)) {}

    void take(const std::string& text) {
        size_t start = 0;
        for (size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1)
            line(text.substr(start, end - start));
        demand(start == text.size(), "all that is sent is lines", text);
    }

    // Whether all that wait for an answer have one; those that come behind an end need none.
    void finish(bool ended) {
        if (ended) return;
        for (const Expected& one : expected_)
            demand(one.overtakes || one.id == "?", "each request is answered", one.id);
    }

private:
    void line(const std::string& text) {
        const Json answer = Json::parse(text, nullptr, false);
        demand(answer.is_object(), "an answer is an object", text);
        demand(answer.value("jsonrpc", Json()) == "2.0", "an answer has a version", text);
        if (!answer.contains("id")) return notification(answer, text);
        demand(answer.contains("result") != answer.contains("error"), "it is one of both", text);
        demand(answer.size() == 3, "it has nothing else", text);
        int code = 0;
        if (answer.contains("error")) code = error(answer["error"], text);
        match(answer, code, text);
    }

    static void notification(const Json& told, const std::string& text) {
        static const std::set<std::string> kKnown{"output", "event", "snapshot", "lost"};
        demand(told.value("method", Json()).is_string() &&
                   kKnown.contains(told["method"].get<std::string>()),
               "a notification is one of those that there are", text);
        demand(told.contains("params") && told["params"].is_object(), "it has parameters", text);
    }

    static int error(const Json& error, const std::string& text) {
        static const std::set<int> kCodes{1,      2,      3,      4,      -32700,
                                          -32600, -32601, -32602, -32000, -32001};
        demand(error.is_object() && error.value("code", Json()).is_number_integer() &&
                   kCodes.contains(error["code"].get<int>()),
               "an error has one of the codes that there are", text);
        demand(error.value("message", Json()).is_string(), "an error has a message", text);
        demandError(error["message"].get<std::string>());
        return error["code"].get<int>();
    }

    // In their order, but for what overtakes, and what may be answered in either of two ways.
    void match(const Json& answer, int code, const std::string& text) {
        const std::string id = answer["id"].dump();
        const bool interrupt = answer.contains("result") && answer["result"].is_object() &&
                               answer["result"].contains("interrupted");
        auto found = expected_.end();
        for (auto one = expected_.begin(); one != expected_.end(); ++one) {
            if (one->overtakes != interrupt) continue;
            const bool fits = one->id == id && (one->codes.empty() || one->codes.contains(code));
            if (one->id == "?" && found == expected_.end()) found = one;
            if (fits) found = one;
            if (fits || (one->id != "?" && !interrupt)) break;
        }
        demand(found != expected_.end(), "an answer is of a request, in order, with its code",
               text);
        expected_.erase(found);
    }

    std::vector<Expected> expected_;
};

// One client's connection, and the other end of its socket.
class Client {
public:
    explicit Client(Stage& stage) : stage_(stage) {
        int ends[2];
        demand(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) == 0,
               "there are sockets");
        end_ = ends[0];
        connection_ = std::make_unique<Connection>(stage.hub, 1, ends[1]);
    }
    ~Client() {
        connection_.reset();
        close(end_);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // What comes of it when nothing is left to do.
    std::string converse(const std::string& sent) {
        const ssize_t size = ::send(end_, sent.data(), sent.size(), 0);
        demand(size == static_cast<ssize_t>(sent.size()), "a socket takes all of an input");
        shutdown(end_, SHUT_WR);
        std::string received;
        while (goOn(received)) continue;
        return received;
    }

    bool ended() { return connection_->session().ended() || stage_.time.ended; }

private:
    bool goOn(std::string& received) {
        static char chunk[65536];
        stage_.time.left = kPatience;
        const ssize_t size = recv(end_, chunk, sizeof chunk, MSG_DONTWAIT);
        if (size > 0) received.append(chunk, static_cast<size_t>(size));
        if (stage_.hub.dropped) return size > 0;
        if (!stage_.time.works.empty()) {
            const auto work = std::move(stage_.time.works.front());
            stage_.time.works.pop_front();
            work();
            return true;
        }
        // There is always something to read until the end has been.
        const bool reads = (stage_.hub.listening & EPOLLIN) != 0;
        const bool soon = std::exchange(stage_.hub.soon, false);
        if (reads) connection_->ready(EPOLLIN);
        if (soon || size > 0) connection_->attend();
        return reads || soon || size > 0 || !stage_.time.works.empty();
    }

    Stage& stage_;
    int end_ = -1;
    std::unique_ptr<Connection> connection_;
};

}  // namespace

void run(std::span<const uint8_t> input) {
    static std::unique_ptr<Stage> stage;
    if (stage == nullptr || stage->used()) stage = std::make_unique<Stage>();
    stage->time.left = kPatience;
    stage->time.asked = false;
    stage->hub.dropped = stage->hub.soon = false;
    stage->hub.listening = 0;
    const std::string sent = sentOf(Bytes(input));
    if (sent.size() > kMostSent) return;
    Answers answers(expectationsOf(sent));
    Client client(*stage);
    answers.take(client.converse(sent));
    answers.finish(client.ended());
    demand(stage->time.folders == 0, "a folder that was entered is left");
    demand(stage->time.works.empty(), "nothing goes on");
}

}  // namespace pcsim::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pcsim::fuzz::run({data, size});
    return 0;
}
