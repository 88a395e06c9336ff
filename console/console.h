// What all sessions of a program share: its verbs, what completes their values, what happened to
// it, and the time it lives in. The program's main session and every connection has a Session of
// its own on it (session.h).
#ifndef PCSIM_CONSOLE_CONSOLE_H
#define PCSIM_CONSOLE_CONSOLE_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "console/event_log.h"
#include "console/offers.h"
#include "console/surroundings.h"
#include "console/verbs.h"

namespace pcsim {

struct Console {
    // Both must outlive the console. It has the verbs of the language itself; all others are
    // registered by whoever owns it.
    Console(Surroundings& surroundings, EventLog& events);
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    Surroundings& surroundings;
    EventLog& events;
    Verbs verbs;

    // What completion offers for a value, by its place in the help: "<port>".
    using Candidates = std::function<std::vector<std::string>()>;
    std::map<std::string, Candidates> candidates;

    // What may follow in a value that takes all the rest of the line, by its place in the help:
    // "<what...>".
    using Continuation = std::function<Offers(const Words&)>;
    std::map<std::string, Continuation> continuations;

    // What the instance is called.
    std::string name = "pcsim";
    // The status that the program is to end with, once a session has said so.
    std::optional<int> endStatus;
    // What the prompt says behind the name, "" for nothing: the state of the clock.
    std::function<std::string()> state;
};

// The verbs of the language: help, quit, echo, include, events; set; repeat and end; expect and
// wait.
void addLanguageVerbs(Verbs& verbs);
void addVariableVerbs(Verbs& verbs);
void addRepeatVerbs(Verbs& verbs);
void addWaitVerbs(Verbs& verbs);

// What may follow in 'expect', 'wait' and 'help'.
void addContinuations(Console& console);

}  // namespace pcsim

#endif
