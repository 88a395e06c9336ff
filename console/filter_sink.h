// What stands between a session and its sink: the filters and the file behind the lines that run.
#ifndef PCSIM_CONSOLE_FILTER_SINK_H
#define PCSIM_CONSOLE_FILTER_SINK_H

#include <memory>
#include <string>
#include <vector>

#include "console/piping.h"
#include "console/sink.h"

namespace pcsim {

class ResultFile;

class FilterSink : public Sink {
public:
    // 'sink' must outlive it.
    explicit FilterSink(Sink& sink);
    ~FilterSink() override;

    // What is told while it lives goes through the filters of a line. Lines of a script go through
    // those of the line that runs it, too.
    class Line {
    public:
        // Throws a CommandError when the file can't be written.
        Line(FilterSink& sink, const Piping& piping);
        // A line that failed: what it has printed is not lost, and its file stays as it was.
        ~Line();
        Line(const Line&) = delete;
        Line& operator=(const Line&) = delete;

        // The line is done. Throws a CommandError when its file can't be written.
        void finish();

    private:
        FilterSink& sink_;
        bool there_;
    };

    void begin(const std::string& line) override { sink_.begin(line); }
    void end() override { sink_.end(); }
    void text(const std::string& text) override;
    void answer(const Report& report) override;
    void event(const Event& event) override { sink_.event(event); }
    void problem(const Problem& problem) override { sink_.problem(problem); }
    void failed(unsigned lines) override { sink_.failed(lines); }
    bool structured() const override { return sink_.structured(); }
    bool takesLines() const override { return sink_.takesLines(); }
    size_t width() const override { return pageWidth(); }
    void check() const override { sink_.check(); }

private:
    struct Stage;
    size_t pageWidth() const;
    // Text that comes out of the stages above 'level'.
    void pass(size_t level, const std::string& text);

    Sink& sink_;
    std::vector<std::unique_ptr<Stage>> stages_;
};

}  // namespace pcsim

#endif
