// Calls as people name them: "100-200,@pcSimIpAdj*".
#ifndef PCSIM_PROBE_TOOLS_SELECTION_H
#define PCSIM_PROBE_TOOLS_SELECTION_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "probe/record/recording.h"

namespace pcsim::probe {

class Selection {
public:
    // Everything.
    Selection() = default;
    // Numbers and ranges of call numbers (5, 100-200, 100-, -200) and names behind an @, with wild
    // cards, separated by commas. Throws a CommandError for anything else.
    explicit Selection(std::string_view text);

    bool has(const Recording& recording, const Event& call) const;

private:
    struct Range {
        uint64_t first;
        uint64_t last;
    };

    std::vector<Range> ranges_;
    std::vector<std::string> names_;
};

}  // namespace pcsim::probe

#endif
