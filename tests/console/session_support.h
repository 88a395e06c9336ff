// A session in a time that stands still, over a sink that writes down what it is told.
#ifndef PCSIM_TESTS_CONSOLE_SESSION_SUPPORT_H
#define PCSIM_TESTS_CONSOLE_SESSION_SUPPORT_H

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "console/session.h"

namespace pcsim {

struct StillTime : Surroundings {
    bool stop = false;

    bool waitUntil(const std::function<bool()>& done, uint64_t) override { return done(); }
    bool waitReadable(int) override { return true; }
    unsigned waysGiven = 0;
    void giveWay() override { ++waysGiven; }
    WorkId spawn(std::function<void()> work) override {
        work();
        return 1;
    }
    void interrupt(WorkId) override {}
    void endSpawned() noexcept override {}
    void watch(int, std::function<void()>) override {}
    void unwatch(int) override {}
    void enterFolder(const std::string&) override {}
    void leaveFolder() override {}
    void terminate() override {}
    bool interrupted() const override { return stop; }
    bool terminated() const override { return false; }
    void forgetInterrupt() override { stop = false; }
};

// Writes down what it is told.
struct Notes : Sink {
    std::string all;
    bool forPrograms = false;
    bool asLines = true;  // also for programs

    void begin(const std::string& line) override { all += "<" + line + "|"; }
    void end() override { all += ">"; }
    void text(const std::string& text) override { all += text; }
    void answer(const Report& report) override { all += report.json(Report::Json::kCompact); }
    void event(const Event& event) override { all += "!" + event.text; }
    void failed(unsigned lines) override { all += fmt::format("failed {}", lines); }
    void problem(const Problem& problem) override {
        all += fmt::format("{}:{}:{}:{}", static_cast<int>(problem.code), problem.file,
                           problem.lineNumber, problem.message);
    }
    bool structured() const override { return forPrograms; }
    bool takesLines() const override { return !forPrograms || asLines; }
};

struct SessionTest : testing::Test {
    StillTime time;
    EventLog events{[] { return uint64_t{7}; }};
    Console console{time, events};
    Notes notes;
    Session session{console, notes, {}};

    SessionTest() {
        console.verbs.show("show one", "one field", [](Call&) {
            return Fields{"one", "", {{"a", "A", 1}}};
        });
    }

    std::string run(const std::string& line) {
        notes.all.clear();
        try {
            session.run(line);
        } catch (const CommandError& error) {
            EXPECT_TRUE(error.told);
            notes.all += fmt::format("={}", static_cast<int>(error.code));
        }
        return notes.all;
    }

    // A file of these lines; its name.
    static std::string script(const std::string& lines, const char* name = "session_test.pcsim") {
        const std::string path = testing::TempDir() + name;
        std::ofstream(path) << lines;
        return path;
    }
};

}  // namespace pcsim

#endif
