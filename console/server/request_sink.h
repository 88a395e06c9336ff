// What comes of the lines of a connection: gathered into the answer of the request that runs, or
// told at once as notifications.
#ifndef PCSIM_CONSOLE_SERVER_REQUEST_SINK_H
#define PCSIM_CONSOLE_SERVER_REQUEST_SINK_H

#include <functional>
#include <string>
#include <vector>

#include "console/sink.h"

namespace pcsim {

class RequestSink : public Sink {
public:
    // 'output' takes what is printed beside any answer; an event as a JSON object, "" for none.
    using Output = std::function<void(const std::string& text, const std::string& event)>;
    explicit RequestSink(Output output) : output_(std::move(output)) {}

    // From here on what comes of lines belongs to one answer. With 'streams' the text goes out at
    // once. It is made for 'page'.
    void start(bool streams, const Page& page = {});
    // What it came to: JSON of the reports (null without one), and all that was printed.
    std::string data() const;
    const std::string& printed() const { return text_; }
    // No answer takes it any more.
    void stop() { gathering_ = false; }

    void begin(const std::string& line) override;
    void end() override;
    void text(const std::string& text) override;
    void answer(const Report& report) override;
    void event(const Event& event) override;
    // The request's answer has it.
    void problem(const Problem&) override {}
    bool structured() const override { return true; }
    bool takesLines() const override { return true; }
    size_t width() const override { return page_.width; }

private:
    struct Answered {
        std::string command, data, text;
    };
    struct Line {
        std::string text;
        bool wantsJson;
    };

    Output output_;
    bool gathering_ = false;
    bool streams_ = false;
    Page page_;
    std::string text_;
    std::vector<Answered> answers_;
    std::vector<Line> running_;  // scripts have lines in lines
};

}  // namespace pcsim

#endif
