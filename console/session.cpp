// Running lines and scripts.
#include "console/session.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "console/text.h"

namespace pcsim {

OutputError::OutputError(int error)
    : std::runtime_error(fmt::format("standard output can't be written: {}", std::strerror(error))),
      readerGone_(error == EPIPE) {}

Session::Session(Surroundings& surroundings, EventLog& events, Look look)
    : surroundings_(surroundings), events_(events), look_(look) {
    std::fflush(stdout);
    out_ = fdopen(dup(STDOUT_FILENO), "w");
    if (out_ == nullptr) fail("standard output is closed; expected a terminal, pipe or file");
    events_.listener = [this](const Event& event) {
        if (look_.liveEvents) printEvent(event);
    };
    addLanguageVerbs();
    addWaitVerbs();
}

Session::~Session() {
    events_.listener = nullptr;  // events go on
    std::fclose(out_);
}

void Session::separate() {
    separating_ = separating_ || printed_;
    printed_ = false;
}

void Session::print(const std::string& text) {
    if (text.empty()) return;
    printed_ = true;
    if (separating_) {
        separating_ = false;
        print("\n");
    }
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
            if (surroundings_.interrupted()) return;
        } else if (errno != EINTR) {
            outputError_ = errno;
        } else if (surroundings_.interrupted()) {
            return;
        }
    }
}

void Session::checkOutput() const {
    if (outputError_ != 0) throw OutputError(outputError_);
}

Call Session::callOf(Values values, bool json) {
    Call call(std::move(values));
    call.print = [this](const std::string& text) { print(text); };
    call.answer = [this, json](const Report& report) {
        print(json ? report.json() : report.text());
    };
    return call;
}

void Session::run(const std::string& line) {
    Words words = splitWords(line);
    bool json = look_.json;
    // What is echoed is printed as it is.
    if (!words.empty() && words.front() != "echo" && std::erase(words, "--json") != 0) json = true;
    if (words.empty()) return;
    surroundings_.checkInterrupt();
    Verbs::Found found = verbs_.find(words);
    Call call = callOf(std::move(found.values), json);
    if (found.verb->show)
        call.answer(found.verb->show(call));
    else
        found.verb->action(call);
    checkOutput();
    surroundings_.checkInterrupt();
}

Report Session::evaluate(const Words& words) {
    Verbs::Found found = verbs_.find(words);
    if (!found.verb->show)
        fail("'{}' has no values to look at; expected a show command", found.verb->pattern.text);
    Call call(std::move(found.values));
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
            const auto line = script.nextLine(surroundings_);
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

void Session::addLanguageVerbs() {
    verbs_.action("help", "list the verbs", [this](Call&) { print(helpText(verbs_)); });
    verbs_.action("help about <word>", "those with a word in them",
                  [this](Call& call) { print(helpAbout(verbs_, call.text("word"))); });
    verbs_.action("help <verb:rest>", "those that begin so",
                  [this](Call& call) { print(helpOf(verbs_, call.joined("verb"))); });
    for (const char* name : {"quit", "exit"})
        verbs_.action(name, "end the session", [this](Call&) { ended_ = true; });
    verbs_.action("echo <text:rest>", "print a line",
                  [this](Call& call) { print(printable(call.joined("text")) + "\n"); });
    verbs_.action("echo", "print an empty line", [this](Call&) { print("\n"); });
    verbs_.action("include <file>", "run the lines of a file; its folder is the including script's",
                  [this](Call& call) { include(call.text("file")); });
    verbs_.action("events <state:on|off>", "print events as they happen, or not",
                  [this](Call& call) { look_.liveEvents = call.text("state") == "on"; });
}

}  // namespace pcsim
