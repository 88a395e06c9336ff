// A whole run as JSON: one array with an object for each line that ran and each thing that happened
// between, or one object per line of output as they come.
//
//     {"command": "show ports", "data": {"ports": [...], "management": {...}}}
//     {"command": "fdb dump", "data": null, "text": "..."}
//     {"command": "nonsense", "error": {"code": 2, "message": "...", "right": "..."}}
//     {"event": {"number": 7, "timeMs": 100000, "source": "port", "text": "Port 1:1 link up"}}
//
// A line that answers more than once has an array of reports as its data. Of a script each line has
// an object of its own, and the line that runs the script one behind them, with "failed": how many
// of them have, if any.
#ifndef PCSIM_CONSOLE_JSON_SINK_H
#define PCSIM_CONSOLE_JSON_SINK_H

#include <string>
#include <vector>

#include "console/output.h"
#include "console/sink.h"

namespace pcsim {

// "number", "timeMs", "source", "text".
std::string jsonOf(const Event& event);
// "code", "message", "right" when there is something to say, "file" and "line" in a script.
std::string jsonOf(const Problem& problem);

class JsonSink : public Sink {
public:
    enum class Form { kArray, kLines };

    JsonSink(Output& output, Form form);
    // A whole run of which there is one thing to tell: why there was none.
    static std::string document(Form form, const std::string& object);
    // Ends the array.
    ~JsonSink() override;

    void begin(const std::string& line) override;
    void end() override;
    void text(const std::string& text) override;
    void answer(const Report& report) override;
    void event(const Event& event) override;
    void problem(const Problem& problem) override;
    void failed(unsigned lines) override;
    bool structured() const override { return true; }
    void check() const override { output_.check(); }

private:
    struct Command {
        std::string line;
        std::vector<std::string> data;
        std::string text;
        std::string error;
        unsigned failed = 0;
    };

    void write(const std::string& object);

    Output& output_;
    Form form_;
    bool first_ = true;
    std::vector<Command> running_;
};

}  // namespace pcsim

#endif
