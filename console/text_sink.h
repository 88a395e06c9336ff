// Outcomes as text on standard output, for people.
#ifndef PCSIM_CONSOLE_TEXT_SINK_H
#define PCSIM_CONSOLE_TEXT_SINK_H

#include <functional>
#include <string>

#include "console/mood.h"
#include "console/output.h"
#include "console/sink.h"

namespace pcsim {

class TextSink : public Sink {
public:
    explicit TextSink(Output& output) : output_(output) {}

    void begin(const std::string&) override {}
    void end() override {}
    void text(const std::string& text) override;
    void answer(const Report& report) override;
    void event(const Event& event) override;
    // The session's owner prints it.
    void problem(const Problem&) override {}
    bool structured() const override { return false; }
    size_t width() const override { return page().width; }
    void check() const override { output_.check(); }

    // What is printed on. With 'colours' it depends on that whether values and errors have some.
    Page page() const;
    Colours colours = Colours::kAuto;

    // A blank line between what was printed until now and what comes next, if anything does.
    void separate();

    // Set while a line is being typed: what to do before something is printed above it, and after.
    std::function<void()> beforeEvent, afterEvent;
    // Shows a text that is too long for the screen; false: it is to be printed. What comes
    // meanwhile is printed behind it.
    std::function<bool(const std::string&)> pager;

private:
    void print(const std::string& text);

    Output& output_;
    bool printed_ = false;     // since the last separation
    bool separating_ = false;  // a blank line is owed
    bool paging_ = false;
    std::string held_;  // until the pager has ended
};

}  // namespace pcsim

#endif
