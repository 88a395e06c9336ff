// Where the outcome of lines goes: to a terminal, into a JSON document, into the answer of a
// request. A session tells its sink what happened; the sink knows what that looks like.
#ifndef PCSIM_CONSOLE_SINK_H
#define PCSIM_CONSOLE_SINK_H

#include <string>

#include "console/error.h"
#include "console/event_log.h"
#include "console/report.h"

namespace pcsim {

// A line that could not be run.
struct Problem {
    ErrorCode code;
    std::string message;
    std::string file;     // of the script that it stands in; empty without one
    unsigned lineNumber;  // there
};

class Sink {
public:
    virtual ~Sink() = default;

    // A line begins, and is over. Lines of scripts are within the line that runs the script.
    virtual void begin(const std::string& line) = 0;
    virtual void end() = 0;

    // Lines of text that are no report: of echo, of dumps and traces.
    virtual void text(const std::string& text) = 0;
    // What the line answers.
    virtual void answer(const Report& report) = 0;
    // Something has happened, while a session prints events.
    virtual void event(const Event& event) = 0;
    // What is wrong with the line that runs. The session's owner gets it as a CommandError, too.
    virtual void problem(const Problem& problem) = 0;
    // So many lines within the line that runs have failed, each of which was told.
    virtual void failed(unsigned) {}

    // Whether programs read this: then a line's own wish for JSON changes nothing.
    virtual bool structured() const = 0;
    // Whether what is printed arrives as lines of text, which may be filtered.
    virtual bool takesLines() const { return !structured(); }
    // Columns of what people read it on.
    virtual size_t width() const { return kTerminalWidth; }
    // Throws an OutputError when what was told until now can't reach anybody.
    virtual void check() const {}
};

}  // namespace pcsim

#endif
