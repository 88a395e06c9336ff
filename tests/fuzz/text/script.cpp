// Scripts: files of lines, which include each other, repeat, set variables, demand and filter.
//
// The first byte says how the session looks; the rest is up to four files with a byte 1 between
// them, the first of which runs.
#include <memory>
#include <vector>

#include "console/session.h"
#include "tests/fuzz/text/files.h"
#include "tests/fuzz/text/still_time.h"
#include "tests/fuzz/text/support.h"
#include "tests/fuzz/text/toy_verbs.h"

namespace pcsim::fuzz {

namespace {

constexpr unsigned kPatience = 60;  // lines, about

// Holds what a session tells against what it may.
class Listener : public Sink {
public:
    Listener(bool structured, bool takesLines)
        : structured_(structured), takesLines_(takesLines || !structured) {}

    void begin(const std::string&) override { ++open_; }
    void end() override {
        demand(open_ != 0, "a line that ends has begun");
        --open_;
    }
    void text(const std::string& text) override { printed += text; }
    void answer(const Report& report) override {
        demand(open_ != 0, "an answer is a line's");
        text(structured_ ? report.json() : report.text());
    }
    void event(const Event& event) override { text(formatEvent(event) + "\n"); }
    void problem(const Problem& problem) override {
        demandError(problem.message);
        const int code = static_cast<int>(problem.code);
        demand(code >= 1 && code <= 4, "an error has a code", problem.message);
        demand(problem.file.empty() || problem.lineNumber != 0, "a line has a number");
        ++problems;
    }
    void failed(unsigned lines) override { demand(lines != 0, "what failed is some"); }
    bool structured() const override { return structured_; }
    bool takesLines() const override { return takesLines_; }

    bool idle() const { return open_ == 0; }

    std::string printed;
    unsigned problems = 0;

private:
    const bool structured_, takesLines_;
    unsigned open_ = 0;
};

void setFiles(std::string_view text) {
    for (size_t i = 0; i < kFiles; ++i) {
        const size_t end = std::min(text.find('\1'), text.size());
        setFile(i, text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// The same console for all sessions as long as none of them has changed it.
struct Stage {
    StillTime time{kPatience};
    EventLog events{[] { return uint64_t{7}; }};
    Console console{time, events};

    Stage() { addToyVerbs(console); }
    bool used() const { return events.nextPosition() != 0 || console.endStatus || time.ended; }
};

// Whatever came before, a session that has not ended takes its next line.
void demandUse(Session& session, Listener& listener, StillTime& time) {
    demand(listener.idle(), "all lines have ended");
    session.drop();
    time.left = kPatience;
    time.forgetInterrupt();
    session.look() = {};
    listener.printed.clear();
    if (session.ended() || time.terminated()) return;
    session.run(listener.takesLines() ? "say ok | include k" : "say ok");
    demand(listener.printed == "ok\n", "a session goes on", listener.printed);
    session.run("set a 1");
    listener.printed.clear();
    session.run("repeat 2");
    session.run("say $a$n");
    session.run("end");
    demand(listener.printed == "11\n12\n", "blocks go on", listener.printed);
}

void runScript(Session& session) {
    try {
        Script script(fileName(0));
        session.runScript(script);
        session.finish();
    } catch (const CommandError& error) {
        demandError(error.what());
    }
}

}  // namespace

void run(std::span<const uint8_t> input) {
    static std::unique_ptr<Stage> stage;
    if (stage == nullptr || stage->used()) stage = std::make_unique<Stage>();
    Bytes bytes(input);
    const unsigned look = bytes.byte();
    setFiles(bytes.rest());
    stage->time.left = kPatience;
    stage->time.asked = false;
    Listener listener((look & 1) != 0, (look & 32) != 0);
    Session session(stage->console, listener,
                    {.json = (look & 2) != 0,
                     .liveEvents = (look & 4) != 0,
                     .echo = (look & 8) != 0,
                     .keepGoing = (look & 16) != 0});
    unsigned steps = 0, passedOver = 0;
    session.onStep = [&](const Step& step) {
        ++steps;
        if (step.error != nullptr) demandError(step.error->what());
    };
    session.onPassedOver = [&](const CommandError& error) {
        demandError(error.what());
        ++passedOver;
    };
    runScript(session);
    demand(session.passedOver() == passedOver, "lines that are passed over are counted");
    demand(passedOver <= listener.problems + steps, "what is passed over was told");
    demandUse(session, listener, stage->time);
}

}  // namespace pcsim::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    pcsim::fuzz::run({data, size});
    return 0;
}
