// The state of the switch as one text: the lines of all managers, kept with what a way back to it
// needs to know of them.
//
// Lines that are of no use without each other are a part. Two states are compared part by part,
// whatever the order.
#ifndef PCSIM_HOST_STATE_STATE_TEXT_H
#define PCSIM_HOST_STATE_STATE_TEXT_H

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/core/lines.h"

namespace pcsim::host {

class StateText : public Lines {
public:
    void add(std::string_view line, std::string_view undo) override;
    void more(std::string_view line) override;
    void replace(std::string_view line, std::string_view undo) override;

    // All lines with their ends.
    const std::string& text() const { return text_; }
    size_t lineCount() const { return begins_.size(); }

    // The parts in their order, each the lines of it with their ends.
    std::vector<std::string_view> parts() const;
    // Whether there is a line that takes the place of what 'undo' takes away.
    bool replaces(const std::string& undo) const { return replaced_.contains(undo); }

private:
    std::string text_;
    std::vector<bool> begins_;  // a part, by line
    std::set<std::string> replaced_;
};

// Hands the parts of a state on, each with what undoes it.
class PartReader : public Lines {
public:
    struct Part {
        std::string lines;
        std::string undo;
        bool replaces = false;
    };
    using See = std::function<void(const Part&)>;
    explicit PartReader(See see) : see_(std::move(see)) {}

    void add(std::string_view line, std::string_view undo) override { begin(line, undo, false); }
    void more(std::string_view line) override;
    void replace(std::string_view line, std::string_view undo) override { begin(line, undo, true); }
    // After the last line.
    void finish();

private:
    void begin(std::string_view line, std::string_view undo, bool replaces);

    See see_;
    Part part_;
};

// Calls 'see' for each line of a text, without its end.
template <typename See>
void forEachLine(std::string_view text, See see) {
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        see(text.substr(start, end - start));
        start = end + 1;
    }
}

}  // namespace pcsim::host

#endif
