// A run of a scenario: its steps one after the other, with all that the host sees of each, and what
// is left when everything has been given back.
#ifndef PCSIM_TESTS_FAILURE_RUN_H
#define PCSIM_TESTS_FAILURE_RUN_H

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/platform/failure/scenarios.h"

namespace pcsim::test {

// A file in memory that survives a fork: what one process writes the other can read.
class MemoryFile {
public:
    MemoryFile();
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    // Whatever the process prints to 'descriptor' from now on is in the file.
    void replace(int descriptor) const;
    // What was written since the last call.
    std::string next();
    std::string path() const;
    void write(const std::string& text) const;

private:
    int descriptor_;
    int64_t read_ = 0;
};

// What a process that stops was doing, in memory that its parent sees.
struct Progress {
    char step[64];
    uint32_t failed;  // calls that have failed
};

class Run {
public:
    Run(const Scenario& scenario, Progress& progress, MemoryFile& printed)
        : scenario_(scenario), progress_(progress), printed_(printed) {}

    // Does one step and notes its result, what the host was called with and told, and what was
    // printed. One that answers a negative number has failed, and must not have changed anything
    // of the scenario's state.
    int32_t step(const std::string& name, const std::function<int32_t()>& action);
    void note(const std::string& line) { lines_.push_back(line); }

    const std::vector<std::string>& lines() const { return lines_; }
    const std::vector<std::string>& changedByFailures() const { return changedByFailures_; }

private:
    std::string state();

    const Scenario& scenario_;
    Progress& progress_;
    MemoryFile& printed_;
    std::vector<std::string> lines_;
    std::vector<std::string> changedByFailures_;
};

// What is still there: sizes of blocks, and how many files and sockets are open.
struct Kept {
    std::multiset<size_t> blocks;
    int descriptors = 0;
};
Kept keptNow();
// What 'now' has that 'before' has not.
std::multiset<size_t> since(const std::multiset<size_t>& before, const std::multiset<size_t>& now);

}  // namespace pcsim::test

#endif
