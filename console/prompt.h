// The interactive prompt: readline with history and completion, fed by the event loop so that time
// goes on while somebody types.
#ifndef PCSIM_CONSOLE_PROMPT_H
#define PCSIM_CONSOLE_PROMPT_H

#include <optional>
#include <string>
#include <vector>

#include "console/history.h"
#include "console/pager.h"
#include "console/surroundings.h"
#include "console/text_sink.h"

namespace pcsim {

// What stands behind a prompt: a session of this program, or one of another's.
class PromptDoor {
public:
    virtual ~PromptDoor() = default;

    // What stands before the line being typed: "pcsim> ".
    virtual std::string promptText() = 0;
    // Runs a line, which prints what comes of it. Throws a CommandError.
    virtual void run(const std::string& line) = 0;
    // Whether a line has ended the session.
    virtual bool ended() const = 0;
    // The lines of a block that is not complete are given up.
    virtual void drop() {}

    struct Completion {
        std::vector<std::string> candidates;
        bool files = false;  // names of files as well
    };
    // What may stand behind 'line', which ends where the word to complete begins.
    virtual Completion complete(const std::string& line) = 0;
    // What '?' tells at the end of 'line', on so many columns; nothing where it is a character like
    // others. Throws a CommandError when nothing may stand there.
    virtual std::optional<std::string> following(const std::string& line, size_t width) = 0;
};

// A session of this program as what stands behind a prompt.
class Session;
class SessionDoor : public PromptDoor {
public:
    explicit SessionDoor(Session& session) : session_(session) {}

    std::string promptText() override;
    void run(const std::string& line) override;
    bool ended() const override;
    void drop() override;
    Completion complete(const std::string& line) override;
    std::optional<std::string> following(const std::string& line, size_t width) override;

private:
    Session& session_;
};

// There is one in a process at a time.
class Prompt {
public:
    // All must outlive the prompt. 'sink' prints what the door tells.
    Prompt(Surroundings& surroundings, Output& output, TextSink& sink, PromptDoor& door);
    ~Prompt();
    Prompt(const Prompt&) = delete;
    Prompt& operator=(const Prompt&) = delete;

    // Until the door's session has ended, or the input. Problems are printed and the prompt goes
    // on. Throws a CommandError when it was ended from outside.
    void run();

private:
    void begin();
    void end();
    void lineEntered(char* line);
    bool questionAsked();
    std::string problemText(const CommandError& error) const;
    void interrupted();

    Surroundings& surroundings_;
    Output& output_;
    TextSink& sink_;
    PromptDoor& door_;
    std::optional<History> history_;
    Pager pager_;
    bool typing_ = false;  // a line is being typed, nothing runs
    bool ended_ = false;

    friend struct PromptCallbacks;
};

}  // namespace pcsim

#endif
