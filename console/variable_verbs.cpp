// 'set': variables, from texts and from reports.
#include "console/demand.h"
#include "console/session.h"

namespace pcsim {

namespace {

// A value of a report, for a variable.
std::string valueBehind(Session& session, const Words& words) {
    const auto question = Question::of(words);
    if (!question || question->value.empty())
        failUsage("'{}' is not complete; expected SHOW... -- VALUE", joinWords(words));
    size_t at = 0;
    const ReportValue value(question->value, at);
    if (at != question->value.size())
        failUsage("'{}' takes nothing more; got '{}'", value.text(), question->value[at]);
    std::string problem;
    const auto cell =
        value.in(session.evaluate(question->show), joinWords(question->show), problem);
    if (!cell) fail("{}", problem);
    return cell->plain();
}

}  // namespace

void addVariableVerbs(Verbs& verbs) {
    verbs.show("set", "list the variables; $NAME in a line is its value",
               [](Call& call) { return call.session->variables().report(); });
    verbs.action("set <name> from <what:rest>",
                 "give a variable a value of a report: SHOW... -- VALUE", [](Call& call) {
                     call.session->setVariable(call.text("name"),
                                               valueBehind(*call.session, call.all("what")));
                 });
    verbs.action("set <name> <value:rest>", "give a variable a value", [](Call& call) {
        call.session->setVariable(call.text("name"), call.joined("value"));
    });
}

}  // namespace pcsim
