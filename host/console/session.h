// A session of the console: takes lines from whichever door, runs them and prints what comes of
// them. It writes to the real standard output, past the capture of the platform's prints.
#ifndef PCSIM_HOST_CONSOLE_SESSION_H
#define PCSIM_HOST_CONSOLE_SESSION_H

#include <cstdio>
#include <string>

#include "host/console/verbs.h"
#include "host/core/loop.h"
#include "host/core/machine.h"

namespace pcsim::host {

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

    // Runs one line; a trailing --json asks for JSON whatever the look is. Throws a CommandError.
    void run(const std::string& line);

    // Runs a file of lines. A CommandError gets the file and line in front of it.
    void runScript(const std::string& path);

    // The prompt with history and completion, until 'quit' or the end of input. Problems are
    // printed and the prompt goes on.
    void prompt();

    void print(const std::string& text);
    void printEvent(const Event& event);

    bool ended() const { return ended_; }
    const Verbs& verbs() const { return verbs_; }
    Loop& loop() { return loop_; }

private:
    void addConsoleVerbs();
    void addWaitVerbs();
    void include(const std::string& path);
    void lineEntered(char* line);
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
    int includeDepth_ = 0;

    friend struct Prompt;
};

// All verbs of the managers, registered in the order of help.
void addAllVerbs(Verbs& verbs);

// 'help', for a topic or all.
std::string helpText(const Verbs& verbs, const std::string& topic);

}  // namespace pcsim::host

#endif
