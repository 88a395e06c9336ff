// The loop of all loads.
#include "host/core/line_load.h"

#include <fmt/core.h>

#include "console/error.h"
#include "console/progress.h"
#include "console/text.h"
#include "host/core/text_file.h"

namespace pcsim::host {

void LineLoad::run(const Surroundings& surroundings, const char* noun, const Take& take) {
    TextFile file(path_, surroundings);
    Progress progress("Loading " + path_, file.size(), noun);
    std::string_view line;
    for (uint64_t number = 1; file.next(line); ++number) {
        try {
            take(number, line);
        } catch (const CommandError& error) {
            noteBad(number, error.what());
        }
        progress.at(file.position());
    }
    if (!file.problem().empty()) stop(file.problem());
}

void LineLoad::noteBad(uint64_t number, const std::string& problem) {
    ++badLineCount_;
    if (badLines_.size() < kMostBadLines) badLines_.push_back({number, presentable(problem)});
}

std::string LineLoad::problem(uint64_t used) const {
    if (!fileProblem_.empty()) return fileProblem_;
    if (used != 0 || badLineCount_ == 0) return "";
    return fmt::format("file {} has {} and no good one; nothing is loaded", path_,
                       counted(badLineCount_, "bad line", "bad lines"));
}

}  // namespace pcsim::host
