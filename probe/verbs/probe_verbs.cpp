// Registering the verbs, and running them without a console.
#include "probe/verbs/probe_verbs.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "console/text.h"

namespace pcsim::probe {

namespace {

std::string contentOf(const std::string& path) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(path.c_str(), "re"), std::fclose);
    std::string content;
    char bytes[4096];
    size_t size = 0;
    while (file != nullptr && (size = std::fread(bytes, 1, sizeof bytes, file.get())) != 0)
        content.append(bytes, size);
    if (file == nullptr || std::ferror(file.get()) != 0)
        fail("plan {} can't be read: {}", shown(path), std::strerror(errno));
    return content;
}

}  // namespace

void addProbeVerbs(Verbs& verbs, ProbeParts parts) {
    addCoverageVerbs(verbs);
    addFaultVerbs(verbs, parts.rules);
    if (parts.ledger != nullptr) addMemoryVerbs(verbs, *parts.ledger);
    addTraceVerbs(verbs, std::make_shared<const ProbeParts>(std::move(parts)));
}

std::string answerOf(const Verbs& verbs, const Words& words, bool json, const Later& later) {
    if (words.empty()) return "";
    Verbs::Found found = verbs.find(words);
    pcsim::Call call(std::move(found.values));
    std::string answer;
    call.later = later;
    call.print = [&](const std::string& text) { answer += text; };
    call.answer = [&](const Report& report) { answer += json ? report.json() : report.text(); };
    if (found.verb->show)
        call.answer(found.verb->show(call));
    else
        found.verb->action(call);
    return answer;
}

void runPlan(const Verbs& verbs, const std::string& path, const Later& later) {
    const std::string content = contentOf(path);
    unsigned lineNumber = 0;
    for (size_t start = 0; start < content.size();) {
        const size_t end = std::min(content.find('\n', start), content.size());
        ++lineNumber;
        try {
            answerOf(verbs, splitWords(content.substr(start, end - start)), false, later);
        } catch (const CommandError& error) {
            fail("{}:{}: {}", shown(path), lineNumber, presentable(error.what()));
        }
        start = end + 1;
    }
}

}  // namespace pcsim::probe
