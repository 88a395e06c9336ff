// One line, a script, a prompt, events, and a line again and again.
#include "console/ctl/commands.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "console/ctl/client_time.h"
#include "console/ctl/remote_door.h"
#include "console/json.h"
#include "console/script.h"
#include "console/values.h"

namespace pcsim {

namespace {

void print(const std::string& text) {
    if (std::fputs(text.c_str(), stdout) == EOF || std::fflush(stdout) != 0)
        throw OutputError(errno);
}

std::string workingDirectory() {
    char path[4096];
    return getcwd(path, sizeof path) != nullptr ? path : "/";
}

Asked lineAsked(const std::string& line) {
    return Asked().text("line", line).text("folder", workingDirectory());
}

// The object that --json=lines of pcsim has for a line.
std::string objectOf(const std::string& line, const Reply& reply) {
    std::string object = "{\"command\":" + jsonString(line);
    const bool failed = reply.has("error");
    if (failed) {
        object += ",\"error\":{\"code\":" + reply.json("error/code") +
                  ",\"message\":" + reply.json("error/message");
        if (!reply.text("error/data/right").value_or("").empty())
            object += ",\"right\":" + reply.json("error/data/right");
        object += "}";
    } else {
        object += ",\"data\":" + reply.json("result/data");
    }
    const auto text = reply.text(failed ? "error/data/text" : "result/text").value_or("");
    // What a report prints is its data already.
    if (!text.empty() && (failed || !reply.has("result/data")))
        object += ",\"text\":" + jsonString(text);
    return object + "}\n";
}

// Whether it succeeded; without 'json' an error is thrown.
bool runOne(Link& link, const std::string& line, bool json) {
    if (json) {
        const Reply reply = link.ask("run", lineAsked(line));
        print(objectOf(line, reply));
        return !reply.has("error");
    }
    link.result("run", lineAsked(line).flag("stream", true));
    return true;
}

// Prints what comes while a line runs.
class Printing {
public:
    explicit Printing(Link& link) : link_(link) {
        link_.onNotification = [](const Reply& note) {
            if (const auto text = note.text("params/text")) print(*text);
        };
    }
    ~Printing() { link_.onNotification = nullptr; }
    Printing(const Printing&) = delete;
    Printing& operator=(const Printing&) = delete;

private:
    Link& link_;
};

std::string eventLine(const Reply& note, bool json) {
    if (note.text("method") == "lost") {
        const uint64_t count = note.number("params/count").value_or(0);
        return json ? fmt::format("{{\"lost\":{}}}\n", count)
                    : fmt::format("({} events were not read in time)\n", count);
    }
    const Event event{
        note.number("params/number").value_or(0), note.number("params/timeMs").value_or(0),
        note.text("params/source").value_or(""), note.text("params/text").value_or("")};
    if (!json) return formatEvent(event) + "\n";
    return fmt::format("{{\"number\":{},\"timeMs\":{},\"source\":{},\"text\":{}}}\n",
                       event.position, event.timeMs, jsonString(event.source),
                       jsonString(event.text));
}

int followEvents(Link& link, const std::string& about, bool json) {
    Asked asked;
    if (!about.empty()) asked.text("about", about);
    link.onNotification = [json](const Reply& note) { print(eventLine(note, json)); };
    link.result("events", asked);
    while (const auto note = link.next(-1)) print(eventLine(*note, json));
    return 0;  // ended by a signal, as it is meant to
}

}  // namespace

std::string lineOfShell(const Words& words) {
    if (words.size() == 1) return words[0];
    for (const std::string& word : words)
        if (word.find('"') != word.npos)
            failUsage("the word '{}' has a quote in it; expected the whole line as one word", word);
    return lineOf(words);
}

int runLine(Link& link, const Words& words, bool json) {
    const Printing printing(link);
    return runOne(link, lineOfShell(words), json) ? 0 : 1;
}

int runScript(Link& link, Signals& signals, bool json) {
    const Printing printing(link);
    ClientTime time(signals);
    Script script;
    while (const auto line = script.nextLine(time)) {
        try {
            if (!runOne(link, *line, json)) return 1;
        } catch (const CommandError& error) {
            fail("{}:{}: {}", script.name(), script.lineNumber(), error.what());
        }
    }
    return 0;
}

int runPrompt(Link& link, Signals& signals) {
    ClientTime time(signals);
    Output output(time);
    TextSink sink(output);
    RemoteDoor door(link, sink, time);
    link.result("run", lineAsked("events on"));
    Prompt(time, output, sink, door).run();
    output.check();
    return 0;
}

int showEvents(Link& link, Words words, bool json) {
    json = std::erase(words, "--json") != 0 || json;
    const bool follow = std::erase(words, "--follow") != 0;
    if (!words.empty() && (words[0] != "about" || words.size() < 2))
        failUsage("'{}' is not known behind 'events'; expected --follow, --json, about TEXT",
                  joinWords(words));
    const std::string about = words.empty() ? "" : joinWords({words.begin() + 1, words.end()});
    if (follow) return followEvents(link, about, json);
    Words line{"show", "events"};
    if (!about.empty()) line.insert(line.end(), {"about", about});
    line.insert(line.end(), {"limit", "20000"});
    if (json) line.emplace_back("--json");
    return runLine(link, line, false);
}

int watchLine(Link& link, Signals& signals, const Words& words) {
    constexpr uint64_t kLeastMs = 10, kMostMs = 86400000;
    if (words.size() < 2) failUsage("'watch' is not complete; expected watch MS LINE");
    const uint64_t everyMs = parseNumber("ms", words[0], kLeastMs, kMostMs);
    const std::string line = lineOfShell({words.begin() + 1, words.end()});
    ClientTime time(signals);
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    for (bool first = true;; first = false) {
        const Reply reply = link.result("run", lineAsked(line));
        const std::string text = reply.text("result/text").value_or("");
        if (terminal)
            print(fmt::format("\033[H\033[2JEvery {} ms: {}\n\n{}", everyMs, line, text));
        else
            print((first ? "" : "\n") + text);
        try {
            time.waitUntil([] { return false; }, everyMs);
        } catch (const CommandError&) {
            return 0;  // Ctrl-C is how it ends
        }
    }
}

int completeWords(Link& link, const Words& words) {
    std::string line;
    for (const std::string& word : words) line += (line.empty() ? "" : " ") + word;
    const Reply found =
        link.result("complete", Asked().text("line", line).text("folder", workingDirectory()));
    for (const std::string& candidate : found.texts("result/candidates")) print(candidate + "\n");
    return 0;
}

}  // namespace pcsim
