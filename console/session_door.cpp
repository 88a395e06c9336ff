// A session of this program behind a prompt.
#include "console/offers.h"
#include "console/prompt.h"
#include "console/session.h"

namespace pcsim {

std::string SessionDoor::promptText() {
    if (session_.collects()) return "...> ";
    const Console& console = session_.console();
    const std::string state = console.state ? console.state() : "";
    return console.name + (state.empty() ? "" : " (" + state + ")") + "> ";
}

void SessionDoor::run(const std::string& line) {
    session_.run(line);
}

bool SessionDoor::ended() const {
    return session_.ended();
}

void SessionDoor::drop() {
    session_.drop();
}

PromptDoor::Completion SessionDoor::complete(const std::string& line) {
    Completion completion;
    try {
        completion.candidates =
            candidatesBehind(session_.console(), splitWords(line), completion.files);
    } catch (const CommandError&) {
        // Inside a quote there is nothing to offer.
    }
    return completion;
}

std::optional<std::string> SessionDoor::following(const std::string& line, size_t width) {
    return pcsim::following(session_.console(), line, width);
}

}  // namespace pcsim
