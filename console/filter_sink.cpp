// Filters at work.
#include "console/filter_sink.h"

#include <fmt/core.h>

#include <algorithm>

#include "console/result_file.h"
#include "console/text.h"

namespace pcsim {

struct FilterSink::Stage {
    // A filter, and what it has seen.
    struct Running {
        Filter filter;
        bool begun = false;
        uint64_t count = 0;

        bool lets(const std::string& line) {
            const bool has = line.find(filter.text) != std::string::npos;
            switch (filter.kind) {
                case Filter::Kind::kInclude:
                    return has;
                case Filter::Kind::kExclude:
                    return !has;
                case Filter::Kind::kBegin:
                    return begun = begun || has;
                case Filter::Kind::kCount:
                    ++count;
                    return false;
            }
            return true;
        }
    };

    std::vector<Running> filters;
    std::string partial;  // a line that has not ended
    std::unique_ptr<ResultFile> file;
    std::string collected;  // for it
    bool json = false;      // answers are wanted so

    bool lets(const std::string& line, size_t from) {
        for (size_t i = from; i < filters.size(); ++i)
            if (!filters[i].lets(line)) return false;
        return true;
    }

    // What comes out of 'text' with its end, if it is one.
    std::string filtered(const std::string& text, bool last) {
        if (filters.empty()) return text;
        partial += text;
        std::string result;
        size_t start = 0;
        for (size_t end; (end = partial.find('\n', start)) != std::string::npos; start = end + 1)
            if (lets(partial.substr(start, end - start), 0))
                result.append(partial, start, end + 1 - start);
        partial.erase(0, start);
        if (!last) return result;
        if (!partial.empty() && lets(partial, 0)) result += partial + "\n";
        partial.clear();
        for (size_t i = 0; i < filters.size(); ++i) {
            if (filters[i].filter.kind != Filter::Kind::kCount) continue;
            const std::string line = counted(filters[i].count, "line", "lines");
            if (lets(line, i + 1)) result += line + "\n";
        }
        return result;
    }
};

FilterSink::FilterSink(Sink& sink) : sink_(sink) {}
FilterSink::~FilterSink() = default;

void FilterSink::pass(size_t level, const std::string& text) {
    if (text.empty()) return;
    if (level == 0) {
        sink_.text(text);
        return;
    }
    Stage& stage = *stages_[level - 1];
    const std::string result = stage.filtered(text, false);
    if (stage.file != nullptr)
        stage.collected += result;
    else
        pass(level - 1, result);
}

void FilterSink::text(const std::string& text) {
    pass(stages_.size(), text);
}

void FilterSink::answer(const Report& report) {
    if (stages_.empty())
        sink_.answer(report);
    else if (stages_.back()->json || !takesLines())
        text(report.json());
    else
        text(report.text({.width = pageWidth()}));
}

// Of a report that is filtered: as wide as what it is read on, for a file as for any other.
size_t FilterSink::pageWidth() const {
    const bool toFile = std::any_of(stages_.begin(), stages_.end(),
                                    [](const auto& stage) { return stage->file != nullptr; });
    return toFile ? kTerminalWidth : sink_.width();
}

FilterSink::Line::Line(FilterSink& sink, const Piping& piping)
    : sink_(sink), there_(!piping.empty()) {
    if (!there_) return;
    auto stage = std::make_unique<Stage>();
    stage->json = piping.json;
    if (!piping.file.empty())
        stage->file = std::make_unique<ResultFile>(piping.file, piping.appends);
    for (const Filter& filter : piping.filters) stage->filters.push_back({filter});
    sink_.stages_.push_back(std::move(stage));
}

FilterSink::Line::~Line() {
    if (!there_) return;
    const std::unique_ptr<Stage> stage = std::move(sink_.stages_.back());
    sink_.stages_.pop_back();
    // A count of half of it would be wrong.
    std::erase_if(stage->filters, [](const Stage::Running& one) {
        return one.filter.kind == Filter::Kind::kCount;
    });
    sink_.text(stage->collected + stage->filtered("", true));
}

void FilterSink::Line::finish() {
    if (!there_) return;
    Stage& stage = *sink_.stages_.back();
    std::string rest = stage.filtered("", true);
    if (stage.file != nullptr) {
        stage.collected += rest;
        stage.file->finish(stage.collected);
        rest.clear();
    }
    there_ = false;
    sink_.stages_.pop_back();
    sink_.text(rest);
}

}  // namespace pcsim
