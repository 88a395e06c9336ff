// A session: takes lines from one door, runs them, and tells its sink what comes of them.
#ifndef PCSIM_CONSOLE_SESSION_H
#define PCSIM_CONSOLE_SESSION_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "console/block.h"
#include "console/console.h"
#include "console/filter_sink.h"
#include "console/lists.h"
#include "console/script.h"
#include "console/sink.h"
#include "console/step.h"
#include "console/variables.h"

namespace pcsim {

class Session {
public:
    struct Look {
        bool json = false;        // answer with JSON, though the sink takes text
        bool liveEvents = false;  // tell events as they happen
        bool echo = false;        // tell a script's commands before they run
        bool keepGoing = false;   // pass over lines of scripts and blocks that fail
    };

    // Both must outlive the session.
    Session(Console& console, Sink& sink, Look look);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Runs one line; --json anywhere in it asks for JSON whatever the look is. A line of a block
    // that is not complete is kept. Throws a CommandError, of which the sink has been told, and an
    // OutputError when what was told did not arrive.
    void run(const std::string& line);
    // Runs a line that others follow: with keepGoing, one that fails is passed over.
    void runStep(const std::string& line);
    // Runs the lines of a script. A CommandError gets the file and line in front of it.
    void runScript(Script& script);
    // No line comes any more. Throws a CommandError when a block is not complete.
    void finish();

    bool ended() const { return ended_; }
    // The exit status is what the last line wants of the program, nothing when it doesn't mind.
    void end(std::optional<int> exitStatus = std::nullopt);
    std::optional<int> exitStatus() const { return exitStatus_; }

    // Lines that were passed over; 'onPassedOver' gets each, with file and line.
    unsigned passedOver() const { return passedOver_; }
    std::function<void(const CommandError&)> onPassedOver;
    // Called for each line that has run, but for those that fail because a line within them does.
    std::function<void(const Step&)> onStep;

    // Lines are being kept until their block ends.
    bool collects() const { return block_.has_value(); }
    // Forgets them.
    void drop() { block_.reset(); }

    // For the verbs of the language.
    Console& console() { return console_; }
    Sink& sink() { return sink_; }
    Look& look() { return look_; }
    Variables& variables() { return variables_; }
    // Runs a file's lines, which is looked for beside the script that runs.
    void include(const std::string& path);
    // Begins to collect the lines of a block, and runs them.
    void beginBlock(uint64_t turns, const std::string& variable);
    void runBlock();
    // The line that runs is a demand: of the words of an 'expect' or 'wait'.
    void noteDemand() { account_->demand = true; }
    // Where 'wait event' and 'expect event' go on looking.
    uint64_t& eventCursor() { return eventCursor_; }
    // Throws a CommandError when a variable may not be called so.
    void setVariable(const std::string& name, std::string value);
    // What a show command answers, for its values.
    Report evaluate(const Words& words);
    // Runs a command that is to fail; nothing when it doesn't.
    std::optional<CommandError> errorOf(const Words& words);

    // Tells lines that come later than the command that asked for them; nothing once the session is
    // gone.
    std::function<void(const std::string&)> later();

private:
    // What is noted of a line while it runs.
    struct Account {
        Account* outer;    // of the line that this one is within
        std::string line;  // with the values of its variables
        std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
        unsigned failed = 0;  // lines within it
        bool demand = false;
    };
    // A script that runs, and where.
    struct Place {
        const Script* script;
        unsigned line;
    };

    void runLine(const std::string& line);
    void runWords(Words words, bool json);
    void runEach(const Verb& verb, std::vector<Single> commands, bool json);
    std::vector<Single> singlesOf(Verbs::Found& found) const;
    void runScriptLine(const std::string& line);
    bool keep(const std::string& line);
    bool isVerb(std::string_view word, std::string_view verb) const;
    void giveWay();
    void noteEnd(const Account& account, const CommandError* error, bool own);
    void noteStep(const Account& account, const CommandError* error);
    void tell(const CommandError& error);
    CommandError located(const CommandError& error) const;
    bool passesOver(const CommandError& error);
    void refuse(CommandError error, unsigned line);
    Call callOf(Values values, bool json);

    Console& console_;
    FilterSink filters_;
    Sink& sink_;  // by way of the filters
    Look look_;
    bool ended_ = false;
    std::optional<int> exitStatus_;
    unsigned passedOver_ = 0;
    Variables variables_;
    std::optional<Block> block_;     // whose lines are being collected
    std::optional<Block> complete_;  // whose 'end' is the line that runs
    size_t blocksRunning_ = 0;
    unsigned expecting_ = 0;  // commands that are to fail are running
    std::chrono::steady_clock::time_point gaveWay_{};
    Account* account_ = nullptr;  // of the line that runs
    uint64_t eventCursor_ = 0;    // where 'wait event' and 'expect event' go on looking
    std::vector<Place> running_;  // the scripts that include each other
    EventLog::ListenerId listener_;
    std::shared_ptr<Session*> self_;  // for what outlives the session
};

}  // namespace pcsim

#endif
