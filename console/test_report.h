// What a run has tested, for programs that collect such things: a case for each 'expect' and
// 'wait', and for each other line that has failed.
#ifndef PCSIM_CONSOLE_TEST_REPORT_H
#define PCSIM_CONSOLE_TEST_REPORT_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "console/output_file.h"
#include "console/step.h"

namespace pcsim {

// A file of one of the usual forms, which takes its place when the run has ended: until then the
// file is as it was. Into a pipe or a device TAP is written as the cases come, so that somebody may
// follow.
class TestReport {
public:
    enum class Form { kTap, kJunit };

    // Opens the file. Throws a CommandError when it can't be written.
    TestReport(Form form, const std::string& path);

    void add(const Step& step);
    // What has failed beside the lines: the boot of the system.
    void addProblem(const std::string& message);

    // Writes what is left, however the run has ended. Throws a CommandError when not all of it has
    // arrived.
    void finish();

private:
    enum class Result { kPassed, kFailed, kError };
    struct Case {
        std::string name;
        std::string file;  // empty outside of a script
        unsigned line = 0;
        double seconds = 0;
        Result result = Result::kPassed;
        std::string message{};
    };

    void put(const std::string& text);
    void add(const Case& one);
    void writeTap(const Case& one);
    void writeJunit();

    Form form_;
    std::string path_;
    std::unique_ptr<OutputFile> whole_;           // what becomes the file, or
    std::unique_ptr<FILE, int (*)(FILE*)> pipe_;  // what can't be replaced
    std::string problem_;                         // of the first write that has failed
    uint64_t count_[3] = {};                      // by result
    double seconds_ = 0;
    std::string junit_;  // the cases, until their numbers are known
};

}  // namespace pcsim

#endif
