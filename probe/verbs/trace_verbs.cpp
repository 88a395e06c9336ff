// Verbs of the trace and of recording.
#include "probe/verbs/probe_verbs.h"

namespace pcsim::probe {

namespace {

constexpr const char* kFilterPattern =
    " <state:on|off> [all] [only <operation>]* [table <table>]* [port <port>]* [slot "
    "<slot:0-255>]* "
    "[to <file>]";

TraceFilter filterOf(pcsim::Call& call) {
    TraceFilter filter;
    filter.operations = call.all("operation");
    filter.all = call.given("all");
    for (const std::string& table : call.all("table")) filter.operations.push_back(table + ".*");
    filter.ports = call.all("port");
    for (const std::string& slot : call.all("slot")) filter.slots.push_back(parseU32("slot", slot));
    return filter;
}

void turnTrace(const ProbeParts& parts, pcsim::Call& call) {
    const bool on = call.text("state") == "on";
    if (!on) {
        for (const char* word : {"all", "only", "table", "port", "slot", "to"})
            if (call.given(word)) fail("'{}' is for turning the trace on", word);
        if (const std::string problem = parts.trace.stop(); !problem.empty()) fail("{}", problem);
    } else if (call.given("to")) {
        parts.trace.startFile(filterOf(call), call.text("file"));
    } else {
        if (!call.later) fail("a trace needs a file here; expected 'to FILE', too");
        parts.trace.start(filterOf(call), call.later);
    }
}

}  // namespace

void addTraceVerbs(Verbs& verbs, const std::shared_ptr<const ProbeParts>& parts) {
    const auto turn = [parts](pcsim::Call& call) { turnTrace(*parts, call); };
    verbs.action(std::string("calls") + kFilterPattern,
                 "print every call into the platform and out of it, or not", turn);
    verbs.action(std::string("trace") + kFilterPattern, "the same as 'calls'", turn);
    if (!parts->record) return;
    verbs.action("record stop", "end the recording", [parts](pcsim::Call& call) {
        const std::string told = parts->stopRecord();
        if (call.print) call.print(told + "\n");
    });
    verbs.action("record <file>", "write every call to a file, to replay it",
                 [parts](pcsim::Call& call) { parts->record(call.text("file")); });
}

}  // namespace pcsim::probe
