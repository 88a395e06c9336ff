// 'expect' and 'wait': what a script demands of the system, now or within a time.
//
//     expect event "Port 1:2 link down"
//     wait show port 1:2 -- link is up within 3000
//     expect show counters 1:1 -- rxPackets is 1000 and rxErrors is 0
//     expect error "does not exist" port 9:9 disable
#include "console/demand.h"
#include "console/session.h"

namespace pcsim {

namespace {

template <typename... Arguments>
[[noreturn]] void failUnmet(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    failFormatted(ErrorCode::kUnmet, format, fmt::make_format_args(arguments...));
}

constexpr uint64_t kDefaultWithinMs = 5000;

constexpr uint64_t kLongestWithinMs = 86400000;

// Takes a trailing "within MS" off the words.
uint64_t takeWithin(Words& words) {
    if (!words.empty() && words.back() == "within")
        fail("'within' is not complete; expected a number of ms from 0 to {}", kLongestWithinMs);
    if (words.size() < 2 || words[words.size() - 2] != "within") return kDefaultWithinMs;
    const uint64_t ms = parseNumber("within", words.back(), 0, kLongestWithinMs);
    words.resize(words.size() - 2);
    return ms;
}

// The command is to fail with a part of its message.
void expectError(Session& session, const std::string& text, const Words& command) {
    const auto error = session.errorOf(command);
    if (!error) failUnmet("expected an error \"{}\", but '{}' succeeded", text, joinWords(command));
    if (std::string(error->what()).find(text) == std::string::npos)
        failUnmet("expected an error \"{}\", but it is: {}", text, error->what());
}

void expect(Session& session, const Words& words) {
    std::string found;
    if (!Demand(words).holds(session, found))
        failUnmet("expected {}, but {}", joinWords(words), found);
}

void wait(Session& session, Words words) {
    const uint64_t withinMs = takeWithin(words);
    if (words.empty()) failUsage("'wait within' is not complete; expected what for");
    const Demand demand(words);
    std::string found;
    if (!session.console().surroundings.waitUntil([&] { return demand.holds(session, found); },
                                                  withinMs))
        failUnmet("expected {} within {} ms, but {}", joinWords(words), withinMs, found);
}

}  // namespace

void addWaitVerbs(Verbs& verbs) {
    verbs.action("expect error <text> <command:rest>",
                 "fail unless the command fails with this text in its message", [](Call& call) {
                     call.session->noteDemand();
                     expectError(*call.session, call.text("text"), call.all("command"));
                 });
    verbs.action("expect <what:rest>", "fail unless an event was seen or a value is so",
                 [](Call& call) {
                     call.session->noteDemand();
                     expect(*call.session, call.all("what"));
                 });
    verbs.show("keys <command:rest>", "values of a show command, as they stand behind --",
               [](Call& call) { return call.session->evaluate(call.all("command")).keys(); });
    verbs.action("wait <what:rest>", "the same, but give it time: ... within MS (5000 if not said)",
                 [](Call& call) {
                     call.session->noteDemand();
                     wait(*call.session, call.all("what"));
                 });
}

}  // namespace pcsim
