// Running lines and scripts.
#include "console/session.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "console/text.h"

namespace pcsim::host {

OutputError::OutputError(int error)
    : std::runtime_error(fmt::format("standard output can't be written: {}", std::strerror(error))),
      readerGone_(error == EPIPE) {}

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
    // The machine goes on calling and telling while it shuts down.
    machine_.events.listener = nullptr;
    machine_.platform.onCall = nullptr;
    std::fclose(out_);
}

void Session::print(const std::string& text) {
    std::fflush(out_);  // readline's
    const int descriptor = fileno(out_);
    for (size_t at = 0; at < text.size() && outputError_ == 0;) {
        const ssize_t size = write(descriptor, text.data() + at, text.size() - at);
        if (size >= 0) {
            at += static_cast<size_t>(size);
        } else if (errno == EAGAIN) {
            // Another program has left a shared terminal or pipe non-blocking.
            pollfd writable{descriptor, POLLOUT, 0};
            poll(&writable, 1, -1);
            if (loop_.interrupted()) return;
        } else if (errno != EINTR) {
            outputError_ = errno;
        } else if (loop_.interrupted()) {
            return;
        }
    }
}

void Session::checkOutput() const {
    if (outputError_ != 0) throw OutputError(outputError_);
}

void Session::run(const std::string& line) {
    Words words = splitWords(line);
    bool json = look_.json;
    if (!words.empty() && words.back() == "--json") {
        json = true;
        words.pop_back();
    }
    if (words.empty()) return;
    loop_.checkInterrupt();
    Verbs::Found found = verbs_.find(words);
    Call call(machine_, std::move(found.values));
    call.print = [this](const std::string& text) { print(text); };
    if (found.verb->show) {
        const Report report = found.verb->show(call);
        print(json ? report.json() : report.text());
    } else {
        found.verb->action(call);
    }
    checkOutput();
    loop_.checkInterrupt();
}

Report Session::evaluate(const Words& words) {
    Verbs::Found found = verbs_.find(words);
    if (!found.verb->show)
        fail("'{}' has no values to look at; expected a show command", found.verb->pattern.text);
    Call call(machine_, std::move(found.values));
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
            const auto line = script.nextLine(loop_);
            if (!line) return;
            const Words words = splitWords(*line);
            if (look_.echo && !words.empty() && words[0] != "echo")
                print("pcsim> " + printable(*line) + "\n");
            run(*line);
        } catch (const CommandError& error) {
            fail("{}:{}: {}", script.name(), script.lineNumber(), error.what());
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

void Session::addConsoleVerbs() {
    verbs_.action("help", "list the verbs", [this](Call&) { print(helpText(verbs_)); });
    verbs_.action("help about <word>", "those with a word in them",
                  [this](Call& call) { print(helpAbout(verbs_, call.text("word"))); });
    verbs_.action("help <verb:rest>", "those that begin so",
                  [this](Call& call) { print(helpOf(verbs_, call.joined("verb"))); });
    for (const char* name : {"quit", "exit"})
        verbs_.action(name, "end the session", [this](Call&) { ended_ = true; });
    verbs_.action("time stop", "stop the clock; it moves by 'time warp' alone",
                  [this](Call&) { machine_.scheduler.stop(); });
    verbs_.action("time run", "let the clock follow the PC's again",
                  [this](Call&) { machine_.scheduler.resume(); });
    verbs_.action("time warp <ms:0-86400000>", "move the stopped clock forward",
                  [this](Call& call) {
                      if (!machine_.scheduler.stopped())
                          fail("the clock is running; 'time stop' comes first");
                      machine_.scheduler.warp(0);
                      loop_.sleep(call.number("ms"));  // a long way can be interrupted
                  });
    verbs_.action("sleep <ms:0-86400000>", "let simulated time pass",
                  [this](Call& call) { loop_.sleep(call.number("ms")); });
    verbs_.action("echo <text:rest>", "print a line",
                  [this](Call& call) { print(printable(call.joined("text")) + "\n"); });
    verbs_.action("echo", "print an empty line", [this](Call&) { print("\n"); });
    verbs_.action("include <file>", "run the lines of a file; its folder is the including script's",
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
