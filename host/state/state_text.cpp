// Collecting lines.
#include "host/state/state_text.h"

namespace pcsim::host {

void StateText::add(std::string_view line, std::string_view undo) {
    static_cast<void>(undo);
    text_.append(line) += '\n';
    begins_.push_back(true);
}

void StateText::more(std::string_view line) {
    text_.append(line) += '\n';
    begins_.push_back(false);
}

void StateText::replace(std::string_view line, std::string_view undo) {
    add(line, undo);
    replaced_.emplace(undo);
}

std::vector<std::string_view> StateText::parts() const {
    const std::string_view text = text_;
    std::vector<std::string_view> parts;
    size_t line = 0, start = 0, at = 0;
    forEachLine(text, [&](std::string_view one) {
        if (begins_[line++] && at != 0) {
            parts.push_back(text.substr(start, at - start));
            start = at;
        }
        at += one.size() + 1;
    });
    if (at != 0) parts.push_back(text.substr(start, at - start));
    return parts;
}

void PartReader::begin(std::string_view line, std::string_view undo, bool replaces) {
    finish();
    part_.lines.assign(line) += '\n';
    part_.undo = undo;
    part_.replaces = replaces;
}

void PartReader::more(std::string_view line) {
    part_.lines.append(line) += '\n';
}

void PartReader::finish() {
    if (!part_.lines.empty()) see_(part_);
    part_.lines.clear();
}

}  // namespace pcsim::host
