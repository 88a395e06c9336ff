// What leads from one text to another: the lines that go and those that come, in the order of the
// texts. Lines that have moved go at one place and come at another.
#ifndef PCSIM_HOST_STATE_LINE_DIFF_H
#define PCSIM_HOST_STATE_LINE_DIFF_H

#include <string_view>
#include <vector>

namespace pcsim::host {

struct LineChange {
    char sign;  // '-' goes, '+' comes
    std::string_view line;
    bool operator==(const LineChange&) const = default;
};

// The lines are those of the texts, which have to outlive the answer.
std::vector<LineChange> lineDiff(std::string_view before, std::string_view after);

}  // namespace pcsim::host

#endif
