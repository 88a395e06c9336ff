// Printing for people.
#include "console/text_sink.h"

#include <unistd.h>

#include <utility>

#include "console/present.h"

namespace pcsim {

void TextSink::text(const std::string& text) {
    if (text.empty()) return;
    if (paging_) {
        held_ += text;
        return;
    }
    paging_ = true;
    const bool shown = pager && pager(text);
    paging_ = false;
    if (!shown) print(text);
    print(std::exchange(held_, ""));
}

void TextSink::print(const std::string& text) {
    if (text.empty()) return;
    if (separating_) output_.write("\n");
    separating_ = false;
    printed_ = true;
    output_.write(text);
}

Page TextSink::page() const {
    const int descriptor = output_.descriptor();
    return {widthOf(descriptor), isatty(descriptor) != 0, hasColours(colours, descriptor)};
}

void TextSink::answer(const Report& report) {
    text(report.text(page()));
}

void TextSink::event(const Event& event) {
    if (beforeEvent) beforeEvent();
    text(formatEvent(event) + "\n");
    if (afterEvent) afterEvent();
}

void TextSink::separate() {
    separating_ = separating_ || printed_;
    printed_ = false;
}

}  // namespace pcsim
