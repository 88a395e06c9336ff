// A session: takes lines from one door, runs them, and tells its sink what comes of them.
#ifndef PCSIM_CONSOLE_SESSION_H
#define PCSIM_CONSOLE_SESSION_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "console/console.h"
#include "console/script.h"
#include "console/sink.h"

namespace pcsim {

class Session {
public:
    struct Look {
        bool json = false;        // answer with JSON, though the sink takes text
        bool liveEvents = false;  // tell events as they happen
        bool echo = false;        // tell a script's commands before they run
    };

    // Both must outlive the session.
    Session(Console& console, Sink& sink, Look look);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Runs one line; --json anywhere in it asks for JSON whatever the look is. Throws a
    // CommandError, of which the sink has been told, and an OutputError when what was told did not
    // arrive.
    void run(const std::string& line);

    // Runs the lines of a script. A CommandError gets the file and line in front of it.
    void runScript(Script& script);

    bool ended() const { return ended_; }
    void end() { ended_ = true; }

    // For the verbs of the language.
    Console& console() { return console_; }
    Sink& sink() { return sink_; }
    Look& look() { return look_; }
    // Runs a file's lines, which is looked for beside the script that runs.
    void include(const std::string& path);
    // Whether the words of an 'expect' or 'wait' hold now; otherwise 'found' says what is so.
    bool holds(const Words& words, std::string& found);

    // Tells lines that come later than the command that asked for them; nothing once the session is
    // gone.
    std::function<void(const std::string&)> later();

private:
    void runWords(Words words, bool json);
    void tell(const CommandError& error);
    Call callOf(Values values, bool json);
    bool eventHolds(const Words& words, std::string& found);
    Report evaluate(const Words& words);

    Console& console_;
    Sink& sink_;
    Look look_;
    bool ended_ = false;
    uint64_t eventCursor_ = 0;            // where 'wait event' and 'expect event' go on looking
    std::vector<const Script*> running_;  // the scripts that include each other
    EventLog::ListenerId listener_;
    std::shared_ptr<Session*> self_;  // for what outlives the session
};

}  // namespace pcsim

#endif
