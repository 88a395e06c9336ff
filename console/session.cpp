// Running lines and scripts.
#include "console/session.h"

#include <algorithm>

#include "console/text.h"

namespace pcsim {

namespace {

// What is told of a line stands between its begin and its end.
struct Told {
    Sink& sink;
    Told(Sink& one, const std::string& line) : sink(one) { sink.begin(line); }
    ~Told() { sink.end(); }
    Told(const Told&) = delete;
    Told& operator=(const Told&) = delete;
};

}  // namespace

Session::Session(Console& console, Sink& sink, Look look)
    : console_(console),
      sink_(sink),
      look_(look),
      listener_(console.events.listen([this](const Event& event) {
          if (look_.liveEvents) sink_.event(event);
      })),
      self_(std::make_shared<Session*>(this)) {}

Session::~Session() {
    console_.events.remove(listener_);  // events go on
}

std::function<void(const std::string&)> Session::later() {
    return [self = std::weak_ptr<Session*>(self_)](const std::string& text) {
        if (const auto session = self.lock()) (*session)->sink_.text(text);
    };
}

Call Session::callOf(Values values, bool json) {
    Call call(std::move(values));
    call.session = this;
    call.print = [this](const std::string& text) { sink_.text(text); };
    call.later = later();
    call.answer = [this, json](const Report& report) {
        if (json && !sink_.structured())
            sink_.text(report.json());
        else
            sink_.answer(report);
    };
    return call;
}

void Session::run(const std::string& line) {
    const Told told(sink_, line);
    try {
        Words words = splitWords(line);
        bool json = look_.json;
        // What is echoed is printed as it is.
        if (!words.empty() && words.front() != "echo" && std::erase(words, "--json") != 0)
            json = true;
        if (!words.empty()) runWords(std::move(words), json);
    } catch (CommandError& error) {
        if (!error.told) tell(error);
        error.told = true;
        throw;
    }
}

void Session::runWords(Words words, bool json) {
    console_.surroundings.checkInterrupt();
    Verbs::Found found = console_.verbs.find(words);
    Call call = callOf(std::move(found.values), json);
    if (found.verb->show)
        call.answer(found.verb->show(call));
    else
        found.verb->action(call);
    sink_.check();
    console_.surroundings.checkInterrupt();
}

void Session::tell(const CommandError& error) {
    Problem problem{error.code, error.what(), "", 0};
    if (!running_.empty()) {
        problem.file = running_.back()->name();
        problem.lineNumber = running_.back()->lineNumber();
    }
    sink_.problem(problem);
}

Report Session::evaluate(const Words& words) {
    Verbs::Found found = console_.verbs.find(words);
    if (!found.verb->show)
        failUsage("'{}' has no values to look at; expected a show command",
                  found.verb->pattern.text);
    Call call(std::move(found.values));
    call.session = this;
    return found.verb->show(call);
}

void Session::runScript(Script& script) {
    struct Running {
        std::vector<const Script*>& all;
        Running(std::vector<const Script*>& scripts, const Script& one) : all(scripts) {
            all.push_back(&one);
        }
        ~Running() { all.pop_back(); }
        Running(const Running&) = delete;
        Running& operator=(const Running&) = delete;
    } const running(running_, script);
    while (!ended_) {
        try {
            const auto line = script.nextLine(console_.surroundings);
            if (!line) return;
            const Words words = splitWords(*line);
            if (words.empty()) continue;
            if (look_.echo && words[0] != "echo") sink_.text("pcsim> " + printable(*line) + "\n");
            run(*line);
        } catch (CommandError& error) {
            if (!error.told) tell(error);
            CommandError located(
                fmt::format("{}:{}: {}", script.name(), script.lineNumber(), error.what()),
                error.code);
            located.told = true;
            throw located;
        }
    }
}

void Session::include(const std::string& path) {
    constexpr size_t kDeepest = 16;
    Script script(running_.empty() ? path : running_.back()->beside(path));
    for (const Script* outer : running_) {
        if (!outer->sameFile(script)) continue;
        if (outer == running_.back()) fail("the script includes itself");
        fail("{} includes itself by way of {}", outer->name(), running_.back()->name());
    }
    if (running_.size() > kDeepest) fail("scripts include each other more than {} deep", kDeepest);
    runScript(script);
}

}  // namespace pcsim
