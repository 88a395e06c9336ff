// The verbs of the language itself, but those that wait.
#include "console/help.h"
#include "console/session.h"
#include "console/text.h"

namespace pcsim {

namespace {

void end(Call& call, int status) {
    Console& console = call.session->console();
    console.endStatus = status;
    console.surroundings.terminate();
    call.session->end();
}

}  // namespace

void addLanguageVerbs(Verbs& verbs) {
    verbs.action("help", "list the verbs", [&verbs](Call& call) {
        call.print(helpText(verbs, call.session->sink().width()));
    });
    verbs.action("help about <word>", "those with a word in them", [&verbs](Call& call) {
        call.print(helpAbout(verbs, call.text("word"), call.session->sink().width()));
    });
    verbs.action("help <verb:rest>", "those that begin so", [&verbs](Call& call) {
        call.print(helpOf(verbs, call.joined("verb"), call.session->sink().width()));
    });
    for (const std::string name : {"quit", "exit"}) {
        verbs.action(name, "end the session", [](Call& call) { call.session->end(); });
        verbs.action(name + " <status:0-255>", "end pcsim with this exit status", [](Call& call) {
            call.session->end(static_cast<int>(call.number("status")));
        });
    }
    verbs.action("shutdown~", "end pcsim, whichever door this is",
                 [](Call& call) { end(call, 0); });
    verbs.action("shutdown~ <status:0-255>", "the same, with an exit status",
                 [](Call& call) { end(call, static_cast<int>(call.number("status"))); });
    verbs.action("echo <text:rest>", "print a line",
                 [](Call& call) { call.print(printable(call.joined("text")) + "\n"); });
    verbs.action("echo", "print an empty line", [](Call& call) { call.print("\n"); });
    verbs.action("include <file>", "run the lines of a file; its folder is the including script's",
                 [](Call& call) { call.session->include(call.text("file")); });
    verbs.action("events <state:on|off>", "print events as they happen, or not",
                 [](Call& call) { call.session->look().liveEvents = call.text("state") == "on"; });
}

}  // namespace pcsim
