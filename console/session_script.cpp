// Running scripts: where their lines stand, and what of them goes on after a problem.
#include "console/session.h"
#include "console/text.h"

namespace pcsim {

CommandError Session::located(const CommandError& error) const {
    if (running_.empty()) return error;
    const Place& place = running_.back();
    CommandError located(fmt::format("{}:{}: {}", place.script->name(), place.line, error.what()),
                         error.code);
    located.told = error.told;
    return located;
}

// A problem of a script that is none of its lines', and ends it.
void Session::refuse(CommandError error, unsigned line) {
    running_.back().line = line;
    tell(error);
    error.told = true;
    noteStep({.outer = nullptr, .line = ""}, &error);
    if (!passesOver(error)) throw located(error);
}

void Session::runScript(Script& script) {
    if (block_) throw unendedBlock();  // of lines before it
    struct Running {
        std::vector<Place>& all;
        Running(std::vector<Place>& scripts, Place place) : all(scripts) { all.push_back(place); }
        ~Running() { all.pop_back(); }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;
    } const running(running_, {&script, 0});
    while (!ended_) {
        std::optional<std::string> line;
        try {
            line = script.nextLine(console_.surroundings);
        } catch (const CommandError& error) {
            return refuse(error, script.lineNumber());
        }
        if (!line) break;
        running_.back().line = script.lineNumber();
        runScriptLine(*line);
    }
    if (!block_) return;
    const unsigned begin = block_->begin;
    drop();
    refuse(unendedBlock(), begin);
}

// Many lines in a row must not keep other sessions from theirs.
void Session::giveWay() {
    constexpr std::chrono::milliseconds kLongest(5);
    const auto now = std::chrono::steady_clock::now();
    if (now - gaveWay_ < kLongest) return;
    console_.surroundings.giveWay();
    gaveWay_ = std::chrono::steady_clock::now();
}

void Session::runScriptLine(const std::string& line) {
    const std::string_view verb = firstWord(line);
    if (verb.empty()) return;
    giveWay();
    if (look_.echo && verb != "echo" && !sink_.structured())
        sink_.text((collects() ? "...> " : "pcsim> ") + printable(line) + "\n");
    try {
        run(line);
    } catch (const CommandError& error) {
        if (!passesOver(error)) throw located(error);
    }
}

void Session::include(const std::string& path) {
    constexpr size_t kDeepest = 16;
    Script script(running_.empty() ? path : running_.back().script->beside(path));
    for (const Place& outer : running_) {
        if (!outer.script->sameFile(script)) continue;
        if (&outer == &running_.back()) fail("the script includes itself");
        fail("{} includes itself by way of {}", outer.script->name(),
             running_.back().script->name());
    }
    if (running_.size() > kDeepest) fail("scripts include each other more than {} deep", kDeepest);
    runScript(script);
}

}  // namespace pcsim
