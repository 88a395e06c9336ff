// A session of the console: takes lines from whichever door, runs them and prints what comes of
// them. It writes to the real standard output, past whatever stands in for it.
//
// The session has the verbs of the language itself: help, quit, echo, include, events, expect and
// wait. All others are registered by whoever owns it.
#ifndef PCSIM_CONSOLE_SESSION_H
#define PCSIM_CONSOLE_SESSION_H

#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "console/event_log.h"
#include "console/script.h"
#include "console/surroundings.h"
#include "console/verbs.h"

namespace pcsim {

// Standard output can't be written: the session has no more use. Nobody needs to be told of a
// reader that has gone.
class OutputError : public std::runtime_error {
public:
    explicit OutputError(int error);
    bool readerGone() const { return readerGone_; }

private:
    bool readerGone_;
};

class Session {
public:
    struct Look {
        bool json = false;
        bool liveEvents = false;  // print events as they happen
        bool echo = false;        // print a script's commands before they run
    };

    // Both must outlive the session.
    Session(Surroundings& surroundings, EventLog& events, Look look);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Runs one line; --json anywhere in it asks for JSON whatever the look is. Throws a
    // CommandError, and an OutputError when what it printed did not arrive.
    void run(const std::string& line);

    // Runs the lines of a script. A CommandError gets the file and line in front of it.
    void runScript(Script& script);

    // The prompt with history and completion, until 'quit' or the end of input. Problems are
    // printed and the prompt goes on.
    void prompt();

    // Prints all of the text. It is called from within others' work, so it never throws:
    // checkOutput() does, for what has failed until then.
    void print(const std::string& text);
    void checkOutput() const;
    void printEvent(const Event& event);
    // A blank line between what was printed until now and what comes next, if anything does.
    void separate();

    bool ended() const { return ended_; }
    Verbs& verbs() { return verbs_; }

    // What completion offers for a value, by its place in the help: "<port>".
    using Candidates = std::function<std::vector<std::string>()>;
    std::map<std::string, Candidates> candidates;

private:
    void addLanguageVerbs();
    void addWaitVerbs();
    void include(const std::string& path);
    void lineEntered(char* line);
    void interruptedAtPrompt();
    Call callOf(Values values, bool json);
    // Whether the words of an 'expect' or 'wait' hold now; otherwise 'found' says what is so.
    bool holds(const Words& words, std::string& found);
    bool eventHolds(const Words& words, std::string& found);
    Report evaluate(const Words& words);

    Surroundings& surroundings_;
    EventLog& events_;
    Look look_;
    Verbs verbs_;
    FILE* out_;
    bool ended_ = false;
    bool prompting_ = false;
    bool printed_ = false;                // since the last separation
    bool separating_ = false;             // a blank line is owed
    int outputError_ = 0;                 // why standard output failed
    std::vector<const Script*> running_;  // the scripts that include each other

    friend struct Prompt;
};

// 'help': all verbs, those with a word in them, or those that begin with some words.
std::string helpText(const Verbs& verbs);
std::string helpAbout(const Verbs& verbs, const std::string& word);
std::string helpOf(const Verbs& verbs, const std::string& beginning);

}  // namespace pcsim

#endif
