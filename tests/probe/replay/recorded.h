// A fixture that records what a test does with the library, and replays it in another process.
#ifndef PCSIM_TESTS_PROBE_REPLAY_RECORDED_H
#define PCSIM_TESTS_PROBE_REPLAY_RECORDED_H

#include <cstdio>
#include <string>

#include "probe/record/recorder.h"
#include "tests/probe/boundary/attached.h"
#include "tests/probe/record/scratch.h"
#include "tests/support/host.h"

namespace pcsim::probe::test {

using pcsim::test::host;

class Recorded : public Attached {
protected:
    void SetUp() override {
        Attached::SetUp();
        ASSERT_TRUE(recorder_.start(file_.path(), false));
        ASSERT_TRUE(boundary.add(recorder_));
    }
    void TearDown() override { boundary.remove(recorder_); }

    // Ends the recording; what a replay of it says.
    std::string replayed(const std::string& library = LIBRARY, const char* option = "") {
        recorder_.stop();
        return replayedFile(library, option);
    }
    // The same of a recording that a test has changed.
    std::string replayed(const Recording& recording, const char* option = "") {
        save(recording, file_.path());
        return replayedFile(LIBRARY, option);
    }
    std::string replayedFile(const std::string& library, const char* option) {
        const std::string command = std::string(REPLAY_RECORDING) + " " + file_.path() + " " +
                                    library + " " + option + " 2>&1";
        FILE* const out = popen(command.c_str(), "r");
        std::string text;
        char part[4096];
        while (const size_t size = fread(part, 1, sizeof part, out)) text.append(part, size);
        status_ = pclose(out);
        return text;
    }
    Recording recorded() {
        recorder_.stop();
        return load(file_.path());
    }
    static std::string noDifference(unsigned calls) {
        return std::to_string(calls) + (calls == 1 ? " call" : " calls") + ", no difference\n";
    }

    int status_ = 0;
    Scratch file_;
    Recorder recorder_;
};

}  // namespace pcsim::probe::test

#endif
