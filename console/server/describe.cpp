// What an instance says of itself, so that a client needs no list of its own.
#include <unistd.h>

#include "console/json.h"
#include "console/server/answer.h"
#include "console/server/connection.h"
#include "console/server/methods.h"

namespace pcsim {

namespace {

struct ErrorMeaning {
    int code;
    const char* meaning;
};

constexpr ErrorMeaning kErrors[] = {
    {static_cast<int>(ErrorCode::kFailed), "the line could not be done"},
    {static_cast<int>(ErrorCode::kUsage), "there is no such line"},
    {static_cast<int>(ErrorCode::kUnmet), "what was expected or waited for is not so"},
    {static_cast<int>(ErrorCode::kInterrupted), "the line was interrupted"},
    {kNoJson, "the request is no JSON"},
    {kNoRequest, "the request is no request object"},
    {kNoMethod, "there is no such method"},
    {kBadParameters, "the method takes other parameters"},
    {kInternal, "pcsim has made a mistake"},
    {kRefused, "the request is too large or can't be taken now"},
    {kEnding, "the instance is ending"},
};

// A list of 'one's as JSON.
template <typename List, typename One>
std::string listOf(const List& list, One one) {
    std::string all;
    for (const auto& item : list) all += (all.empty() ? "" : ",") + one(item);
    return "[" + all + "]";
}

std::string formOf(const Element& element) {
    if (element.word.empty())
        return fmt::format(R"({{"name":{},"type":{}}})", jsonString(element.name),
                           jsonString(element.type));
    return fmt::format(R"({{"word":{}{}}})", jsonString(element.word),
                       element.optional ? R"(,"optional":true)" : "");
}

std::string formOf(const OptionGroup& group) {
    return fmt::format(
        R"({{"option":{},"repeats":{}}})",
        listOf(group.elements, [](const Element& element) { return formOf(element); }),
        group.repeats);
}

std::string formOf(const Pattern& pattern) {
    std::string all = listOf(pattern.elements, [](const Element& one) { return formOf(one); });
    const std::string options =
        listOf(pattern.options, [](const OptionGroup& one) { return formOf(one); });
    if (options == "[]") return all;
    all.back() = ',';
    return (all.size() == 2 ? "[" : all) + options.substr(1);
}

std::string of(const Verb& verb) {
    return fmt::format(R"({{"usage":{},"help":{},"show":{},"form":{}}})",
                       jsonString(verb.pattern.usage()), jsonString(verb.help),
                       verb.show != nullptr, formOf(verb.pattern));
}

std::string of(const Parameter& parameter) {
    return fmt::format(R"({{"name":{},"type":{},"optional":{},"help":{}}})",
                       jsonString(parameter.name), jsonString(parameter.type), parameter.optional,
                       jsonString(parameter.help));
}

std::string of(const Method& method) {
    return fmt::format(
        R"({{"name":{},"params":{},"help":{}}})", jsonString(method.name),
        listOf(method.parameters, [](const Parameter& parameter) { return of(parameter); }),
        jsonString(method.help));
}

}  // namespace

std::string description(Connection& connection, const Parameters&) {
    const Hub& hub = connection.hub();
    return fmt::format(R"({{"name":{},"pid":{},"versions":{{"pcsim":{},"abi":{},"protocol":{}}},)"
                       R"("verbs":{},"methods":{},"events":{{"sources":{}}},"errors":{}}})",
                       jsonString(hub.name), getpid(), jsonString(hub.facts.version),
                       jsonString(hub.facts.abi), hub.facts.protocol,
                       listOf(hub.console.verbs.all(), [](const Verb& verb) { return of(verb); }),
                       listOf(methods(), [](const Method& method) { return of(method); }),
                       jsonList(hub.facts.eventSources()),
                       listOf(kErrors, [](const ErrorMeaning& error) {
                           return fmt::format(R"({{"code":{},"meaning":{}}})", error.code,
                                              jsonString(error.meaning));
                       }));
}

}  // namespace pcsim
