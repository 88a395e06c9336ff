// Loading a file line by line: what loads of every kind share. A bad line is noted with its number
// and the rest is loaded; a load that is interrupted keeps what it has loaded, and says so.
#ifndef PCSIM_HOST_CORE_LINE_LOAD_H
#define PCSIM_HOST_CORE_LINE_LOAD_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "console/surroundings.h"

namespace pcsim::host {

class LineLoad {
public:
    struct BadLine {
        uint64_t number;
        std::string problem;
    };
    static constexpr size_t kMostBadLines = 100;  // that are told one by one

    explicit LineLoad(std::string path) : path_(std::move(path)) {}

    // Hands each line without its end to 'take', which throws a CommandError for a bad one. Shows
    // its progress in 'noun's when standard error is a terminal. Throws a CommandError when the
    // file can't be opened.
    using Take = std::function<void(uint64_t number, std::string_view line)>;
    void run(const Surroundings& surroundings, const char* noun, const Take& take);

    // For what turns out to be bad after its line was taken.
    void noteBad(uint64_t number, const std::string& problem);

    const std::string& path() const { return path_; }
    // The first ones, and how many there are in all.
    const std::vector<BadLine>& badLines() const { return badLines_; }
    uint64_t badLineCount() const { return badLineCount_; }

    // Why the load fails as a whole, or nothing: the file could not be read to its end, or nothing
    // of it was of use. 'used' counts lines, or what was made of them.
    std::string problem(uint64_t used) const;

    // Ends the load for a reason that is not a line's.
    void stop(const std::string& reason) { fileProblem_ = reason; }

private:
    std::string path_;
    std::vector<BadLine> badLines_;
    uint64_t badLineCount_ = 0;
    std::string fileProblem_;  // why its rest was not read
};

}  // namespace pcsim::host

#endif
