// Texts of calls, and which of them are asked for.
#include "probe/trace/lines.h"

namespace pcsim::probe {

std::string callText(const Call& call) {
    std::string text = call.site.name;
    for (uint32_t i = 0; i < call.argumentWords; ++i)
        text += " " + std::to_string(call.arguments[i]);
    return text;
}

std::string answerText(const Call& call) {
    if (call.site.function->result->kind == Kind::kVoid) return "";
    return " -> " + std::to_string(static_cast<int32_t>(call.result));
}

bool wantsCall(const TraceFilter&, const Call&) {
    return true;
}

}  // namespace pcsim::probe
