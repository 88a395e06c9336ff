// A session of the console: takes lines from whichever door, runs them and prints what comes of
// them. It writes to the real standard output, past the capture of the platform's prints.
#ifndef PCSIM_CONSOLE_SESSION_H
#define PCSIM_CONSOLE_SESSION_H

#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "console/script.h"
#include "console/verbs.h"
#include "host/core/loop.h"
#include "host/machine/machine.h"

namespace pcsim::host {

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

    Session(Machine& machine, Look look);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Runs one line; a trailing --json asks for JSON whatever the look is. Throws a CommandError,
    // and an OutputError when what it printed did not arrive.
    void run(const std::string& line);

    // Runs the lines of a script. A CommandError gets the file and line in front of it.
    void runScript(Script& script);

    // The prompt with history and completion, until 'quit' or the end of input. Problems are
    // printed and the prompt goes on.
    void prompt();

    // Prints all of the text. It is called from within the platform's calls, so it never throws:
    // checkOutput() does, for what has failed until then.
    void print(const std::string& text);
    void checkOutput() const;
    void printEvent(const Event& event);

    bool ended() const { return ended_; }
    const Verbs& verbs() const { return verbs_; }
    Loop& loop() { return loop_; }

private:
    void addConsoleVerbs();
    void addWaitVerbs();
    void include(const std::string& path);
    void lineEntered(char* line);
    void interruptedAtPrompt();
    // Whether the words of an 'expect' or 'wait' hold now; otherwise 'found' says what is so.
    bool holds(const Words& words, std::string& found);
    Report evaluate(const Words& words);

    Machine& machine_;
    Look look_;
    Verbs verbs_;
    Loop loop_;
    FILE* out_;
    bool ended_ = false;
    bool prompting_ = false;
    int outputError_ = 0;                 // why standard output failed
    std::vector<const Script*> running_;  // the scripts that include each other

    friend struct Prompt;
};

// All verbs of the managers, registered in the order of help.
void addAllVerbs(Verbs& verbs);

// 'help': all verbs, those with a word in them, or those that begin with some words.
std::string helpText(const Verbs& verbs);
std::string helpAbout(const Verbs& verbs, const std::string& word);
std::string helpOf(const Verbs& verbs, const std::string& beginning);

}  // namespace pcsim::host

#endif
