// The end of loads.
#include "host/verbs/load_answer.h"

#include "host/l2/l2_manager.h"

namespace pcsim::host {

std::string loadProblem(const LoadOutcome& outcome) {
    if (!outcome.fileProblem.empty()) return outcome.fileProblem;
    if (outcome.used != 0 || outcome.badLines == 0) return "";
    return fmt::format("file {} has {} and no good one; nothing is loaded", outcome.path,
                       counted(static_cast<size_t>(outcome.badLines), "bad line", "bad lines"));
}

Report loadAnswer(Call& call, Report report, const LoadOutcome& outcome) {
    const std::string problem = loadProblem(outcome);
    if (problem.empty()) return report;
    // An 'expect' looks at values alone and prints nothing.
    if (call.print) call.print(report.text());
    fail("{}", problem);
}

}  // namespace pcsim::host
