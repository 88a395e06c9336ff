// The verbs of the probe: faults, coverage, trace, times, memory. They are the same at pcsim's
// console, in a plan file and from outside of a running process.
#ifndef PCSIM_PROBE_VERBS_PROBE_VERBS_H
#define PCSIM_PROBE_VERBS_PROBE_VERBS_H

#include <functional>
#include <memory>
#include <string>

#include "console/verbs.h"
#include "probe/ledger/ledger.h"
#include "probe/rules/rules.h"
#include "probe/trace/trace.h"

namespace pcsim::probe {

// What the verbs work with, beside the boundary of the process. Rules and trace must outlive them.
struct ProbeParts {
    Rules& rules;
    Trace& trace;
    // The recorder: begins a file, and ends it with a line about it. Null where there is none.
    std::function<void(const std::string& path)> record;
    std::function<std::string()> stopRecord;
    // Who notes the library's blocks. Null where nobody does. It must outlive the verbs, too.
    Ledger* ledger = nullptr;
};

void addProbeVerbs(Verbs& verbs, ProbeParts parts);

// Where lines go that come after the command which asked for them; null: nowhere.
using Later = std::function<void(const std::string&)>;

// Runs one command and returns what it answers: text, or JSON of a 'show'. Throws a CommandError.
std::string answerOf(const Verbs& verbs, const Words& words, bool json,
                     const Later& later = nullptr);

// Runs the commands of a plan file: lines of these verbs, with comments. Throws a CommandError that
// names the file and the line.
void runPlan(const Verbs& verbs, const std::string& path, const Later& later = nullptr);

class Callables;
// Those of calls by hand, for a HAL's console.
void addCallVerbs(Verbs& verbs, std::shared_ptr<Callables> callables);

void addFaultVerbs(Verbs& verbs, Rules& rules);
void addCoverageVerbs(Verbs& verbs);
void addMemoryVerbs(Verbs& verbs, Ledger& ledger);
void addTraceVerbs(Verbs& verbs, const std::shared_ptr<const ProbeParts>& parts);

}  // namespace pcsim::probe

#endif
