// Running lines and scripts.
#include "host/console/session.h"

#include <unistd.h>

#include <fstream>

namespace pcsim::host {

Session::Session(Machine& machine, Look look)
    : machine_(machine), look_(look), loop_(machine.scheduler) {
    std::fflush(stdout);
    out_ = fdopen(dup(STDOUT_FILENO), "w");
    if (out_ == nullptr) fail("standard output is closed; expected a terminal, pipe or file");
    machine_.events.listener = [this](const Event& event) {
        if (look_.liveEvents) printEvent(event);
    };
    machine_.platform.onCall = nullptr;
    addConsoleVerbs();
    addWaitVerbs();
    addAllVerbs(verbs_);
}

Session::~Session() {
    machine_.events.listener = nullptr;
    std::fclose(out_);
}

void Session::print(const std::string& text) {
    std::fputs(text.c_str(), out_);
    std::fflush(out_);
}

void Session::run(const std::string& line) {
    Words words = splitWords(line);
    bool json = look_.json;
    if (!words.empty() && words.back() == "--json") {
        json = true;
        words.pop_back();
    }
    if (words.empty()) return;
    Verbs::Found found = verbs_.find(words);
    Call call(machine_, std::move(found.values));
    call.print = [this](const std::string& text) { print(text); };
    if (found.verb->show) {
        const Report report = found.verb->show(call);
        print(json ? report.json() : report.text());
    } else {
        found.verb->action(call);
    }
}

Report Session::evaluate(const Words& words) {
    Verbs::Found found = verbs_.find(words);
    if (!found.verb->show)
        fail("'{}' has no values to look at; expected a show command", found.verb->pattern.text);
    Call call(machine_, std::move(found.values));
    return found.verb->show(call);
}

void Session::runScript(const std::string& path) {
    std::ifstream file(path);
    if (!file) fail("script {} can't be read; name a file that exists", path);
    std::string line;
    for (unsigned number = 1; std::getline(file, line); ++number) {
        try {
            const Words words = splitWords(line);
            if (look_.echo && !words.empty() && words[0] != "echo") print("pcsim> " + line + "\n");
            run(line);
        } catch (const CommandError& error) {
            fail("{}:{}: {}", path, number, error.what());
        }
        if (loop_.interrupted()) fail("{}:{}: interrupted", path, number);
        if (ended_) return;
    }
}

void Session::include(const std::string& path) {
    constexpr int kDeepest = 16;
    if (includeDepth_ >= kDeepest) fail("scripts include each other more than {} deep", kDeepest);
    ++includeDepth_;
    try {
        runScript(path);
    } catch (...) {
        --includeDepth_;
        throw;
    }
    --includeDepth_;
}

void Session::addConsoleVerbs() {
    verbs_.action("help [about <topic:text>]", "list the verbs, or those with a word in them",
                  [this](Call& call) { print(helpText(verbs_, call.textOr("topic", ""))); });
    verbs_.action("quit", "end the session", [this](Call&) {
        ended_ = true;
        loop_.stop();
    });
    verbs_.action("time stop", "stop the clock; it moves by 'time warp' alone",
                  [this](Call&) { machine_.scheduler.stop(); });
    verbs_.action("time run", "let the clock follow the PC's again",
                  [this](Call&) { machine_.scheduler.resume(); });
    verbs_.action("time warp <ms:0-86400000>", "move the stopped clock forward",
                  [this](Call& call) {
                      if (!machine_.scheduler.stopped())
                          fail("the clock is running; 'time stop' comes first");
                      machine_.scheduler.warp(call.number("ms"));
                  });
    verbs_.action("sleep <ms:0-86400000>", "let simulated time pass",
                  [this](Call& call) { loop_.sleep(call.number("ms")); });
    verbs_.action("echo <text:rest>", "print a line", [this](Call& call) {
        std::string line;
        for (const std::string& word : call.all("text")) line += (line.empty() ? "" : " ") + word;
        print(line + "\n");
    });
    verbs_.action("echo", "print an empty line", [this](Call&) { print("\n"); });
    verbs_.action("include <file>", "run the lines of another file",
                  [this](Call& call) { include(call.text("file")); });
    verbs_.action("events <state:on|off>", "print events as they happen, or not",
                  [this](Call& call) { look_.liveEvents = call.text("state") == "on"; });
    verbs_.action("calls <state:on|off>", "print every call into the platform, or not",
                  [this](Call& call) {
                      if (call.text("state") == "on")
                          machine_.platform.onCall = [this](const std::string& text) {
                              print("call  " + text + "\n");
                          };
                      else
                          machine_.platform.onCall = nullptr;
                  });
}

}  // namespace pcsim::host
