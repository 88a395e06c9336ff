// The methods.
#include "console/server/methods.h"

#include <unistd.h>

#include <algorithm>

#include "console/json.h"
#include "console/prompt.h"
#include "console/server/answer.h"
#include "console/server/connection.h"

namespace pcsim {

namespace {

constexpr Parameter kLine{"line", "text", false, "a line of the console"};
constexpr Parameter kFolder{"folder", "text", true,
                            "where relative names of files start; pcsim's own without it"};
constexpr Parameter kRunTakes[] = {
    kLine,
    kFolder,
    {"stream", "yes or no", true, "tell what is printed at once, as notifications"},
    {"width", "number", true, "columns of the terminal that the text is for: nothing is wider"},
    {"coloured", "yes or no", true, "colour what needs a look"}};
constexpr Parameter kBatchTakes[] = {
    {"lines", "texts", false, "lines of the console"},
    kFolder,
    {"keepGoing", "yes or no", true, "go on after a line that fails"}};
constexpr Parameter kEventsTakes[] = {
    {"sources", "texts", true, "those of these sources; all without it"},
    {"since", "number", true, "from that number of the log on; from now on without it"},
    {"snapshot", "yes or no, or texts", true, "begin with what these lines show"},
    {"about", "text", true, "those with this text in them"}};
constexpr Parameter kCancelTakes[] = {{"stream", "number", false, "what events answered"}};
constexpr Parameter kCompleteTakes[] = {kLine, kFolder};
constexpr Parameter kQuestionTakes[] = {
    kLine, {"width", "number", true, "columns that the text may have; 80 without it"}};

// The line's relative names start there until it is over.
class InFolder {
public:
    InFolder(Surroundings& surroundings, const std::optional<std::string>& folder)
        : surroundings_(surroundings), entered_(folder.has_value()) {
        if (folder) surroundings_.enterFolder(*folder);
    }
    ~InFolder() {
        if (entered_) surroundings_.leaveFolder();
    }
    InFolder(const InFolder&) = delete;
    InFolder& operator=(const InFolder&) = delete;

private:
    Surroundings& surroundings_;
    bool entered_;
};

constexpr uint64_t kMostColumns = 10000;

std::string outcomeOf(const RequestSink& sink, bool streams) {
    return "\"text\":" + jsonString(streams ? "" : sink.printed()) + ",\"data\":" + sink.data();
}

size_t columnsOf(const Parameters& given) {
    const uint64_t columns = given.number("width").value_or(kTerminalWidth);
    return static_cast<size_t>(std::clamp<uint64_t>(columns, 1, kMostColumns));
}

Page pageOf(const Parameters& given) {
    return {columnsOf(given), given.number("width").has_value(), given.flag("coloured")};
}

std::string run(Connection& connection, const Parameters& given) {
    const std::string line = given.neededText("line");
    const bool streams = given.flag("stream");
    connection.sink().start(streams, pageOf(given));
    const InFolder inside(connection.hub().console.surroundings, given.text("folder"));
    connection.session().run(line);
    return "{" + outcomeOf(connection.sink(), streams) +
           (connection.session().ended() ? ",\"ended\":true}" : "}");
}

std::string batch(Connection& connection, const Parameters& given) {
    const auto lines = given.texts("lines");
    if (!lines) throw ProtocolError(kBadParameters, "'lines' is missing; expected a list of texts");
    const bool keepGoing = given.flag("keepGoing");
    const InFolder inside(connection.hub().console.surroundings, given.text("folder"));
    std::string results;
    uint64_t failed = 0;
    for (const std::string& line : *lines) {
        results += results.empty() ? "{" : ",{";
        results += "\"line\":" + jsonString(line) + ",";
        connection.sink().start(false);
        try {
            connection.session().run(line);
            results += outcomeOf(connection.sink(), false) + "}";
        } catch (const CommandError& error) {
            ++failed;
            results += "\"error\":" + errorObject(error, connection.sink().printed()) + "}";
            if (!keepGoing || error.code == ErrorCode::kInterrupted) break;
        }
        if (connection.session().ended()) break;
        connection.breathe();
    }
    return fmt::format("{{\"results\":[{}],\"failed\":{}}}", results, failed);
}

std::string status(Connection& connection, const Parameters&) {
    const Hub& hub = connection.hub();
    const InstanceStatus is = hub.facts.status();
    const auto up = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - hub.started);
    return fmt::format(
        R"({{"name":{},"pid":{},"shape":{},"timeMs":{},"stopped":{},"upMs":{},"ports":{},"portsUp":{}}})",
        jsonString(hub.name), getpid(), jsonString(is.shape), is.timeMs, is.stopped, up.count(),
        is.ports, is.portsUp);
}

// What the lines of a snapshot show, by line.
std::string shown(Connection& connection, const std::vector<std::string>& lines) {
    std::string shows;
    for (const std::string& line : lines) {
        connection.sink().start(false);
        connection.session().run(line);
        shows += (shows.empty() ? "" : ",") + jsonString(line) + ":" + connection.sink().data();
    }
    return "{" + shows + "}";
}

std::optional<std::vector<std::string>> snapshotOf(Connection& connection,
                                                   const Parameters& given) {
    if (!given.isFlag("snapshot")) return given.texts("snapshot");
    if (!given.flag("snapshot")) return std::nullopt;
    return connection.hub().facts.snapshot;
}

std::string events(Connection& connection, const Parameters& given) {
    const EventLog& log = connection.hub().console.events;
    EventStream::Wish wish;
    wish.sources = given.texts("sources").value_or(std::vector<std::string>());
    wish.about = given.text("about").value_or("");
    wish.since = given.number("since").value_or(log.nextPosition());
    if (wish.since > log.nextPosition())
        throw ProtocolError(kBadParameters,
                            fmt::format("the log has no event {} yet; expected at most {}",
                                        wish.since, log.nextPosition()));
    const uint64_t next = wish.since;
    const auto lines = snapshotOf(connection, given);
    const InstanceStatus now = connection.hub().facts.status();
    const std::string shows = lines ? shown(connection, *lines) : "";
    EventStream& stream = connection.addStream(std::move(wish));
    if (lines)
        connection.tellBehind(notificationLine(
            "snapshot", fmt::format(R"({{"stream":{},"sequence":{},"timeMs":{},"shows":{}}})",
                                    stream.id(), stream.takeSequence(), now.timeMs, shows)));
    return fmt::format(R"({{"stream":{},"next":{}}})", stream.id(), next);
}

std::string cancel(Connection& connection, const Parameters& given) {
    const auto id = given.number("stream");
    if (!id) throw ProtocolError(kBadParameters, "'stream' is missing; expected a number");
    if (!connection.removeStream(*id))
        throw ProtocolError(kBadParameters,
                            fmt::format("there is no stream {}; expected one that events has "
                                        "answered",
                                        *id));
    return "{}";
}

// Where the last word of a line begins, in bytes.
size_t lastWord(const std::string& line) {
    const size_t blank = line.find_last_of(" \t");
    return blank == std::string::npos ? 0 : blank + 1;
}

size_t characters(std::string_view text) {
    return static_cast<size_t>(std::ranges::count_if(
        text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string complete(Connection& connection, const Parameters& given) {
    const std::string line = given.neededText("line");
    const size_t from = lastWord(line);
    const InFolder inside(connection.hub().console.surroundings, given.text("folder"));
    auto found = SessionDoor(connection.session()).complete(line.substr(0, from));
    std::erase_if(found.candidates, [word = line.substr(from)](const std::string& candidate) {
        return !candidate.starts_with(word);
    });
    return fmt::format(R"({{"candidates":{},"from":{},"files":{}}})", jsonList(found.candidates),
                       characters(std::string_view(line).substr(0, from)), found.files);
}

std::string question(Connection& connection, const Parameters& given) {
    const auto text =
        SessionDoor(connection.session()).following(given.neededText("line"), columnsOf(given));
    return "{\"text\":" + (text ? jsonString(*text) : "null") + "}";
}

std::string prompt(Connection& connection, const Parameters&) {
    return "{\"text\":" + jsonString(SessionDoor(connection.session()).promptText()) + "}";
}

std::string drop(Connection& connection, const Parameters&) {
    connection.session().drop();
    return "{}";
}

const Method kMethods[] = {
    {"run", "runs a line: what it prints, and the object of what it shows", kRunTakes, run},
    {"batch", "runs lines, up to the first that fails", kBatchTakes, batch},
    {"events", "begins a stream of notifications, one per event", kEventsTakes, events},
    {"cancel", "ends a stream", kCancelTakes, cancel},
    {"interrupt", "ends what this connection runs, as Ctrl-C; it overtakes", {}, nullptr},
    {"complete", "what may stand in place of the last word", kCompleteTakes, complete},
    {"question", "what may follow, with help; null where '?' is a character like others",
     kQuestionTakes, question},
    {"prompt", "what stands before the next line", {}, prompt},
    {"drop", "gives up the lines of a block that is not complete", {}, drop},
    {"status", "the instance in one look", {}, status},
    {"describe", "verbs, methods, events, errors and versions", {}, description},
};

}  // namespace

std::span<const Method> methods() {
    return kMethods;
}

std::string runMethod(Connection& connection, const Request& request) {
    const auto* const method = std::ranges::find_if(
        kMethods, [&](const Method& one) { return request.method == one.name; });
    if (method != std::end(kMethods)) {
        request.parameters.check(request.method, method->parameters);
        return method->run(connection, request.parameters);
    }
    std::string names;
    for (const Method& one : kMethods) names += (names.empty() ? "" : ", ") + std::string(one.name);
    throw ProtocolError(kNoMethod, fmt::format("there is no method '{}'; expected {}",
                                               presentable(request.method), names));
}

}  // namespace pcsim
