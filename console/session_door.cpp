// A session of this program behind a prompt.
#include "console/prompt.h"
#include "console/session.h"

namespace pcsim {

std::string SessionDoor::promptText() {
    return session_.collects() ? "...> " : session_.console().name + "> ";
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
    Words words;
    try {
        words = splitWords(line);
    } catch (const CommandError&) {
        return completion;  // inside a quote there is nothing to offer
    }
    const Console& console = session_.console();
    for (const std::string& next : console.verbs.next(words)) {
        if (next == "<file>") completion.files = true;
        const auto values = console.candidates.find(next);
        if (next.front() != '<')
            completion.candidates.push_back(next);
        else if (values != console.candidates.end())
            for (std::string& value : values->second())
                completion.candidates.push_back(std::move(value));
    }
    return completion;
}

}  // namespace pcsim
