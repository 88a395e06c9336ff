// Collecting a dump.
#include "host/core/dump_text.h"

#include <cstdarg>
#include <cstdio>

namespace pcsim::host {

namespace {
// The sink's context is a number that need not hold a pointer; dumps don't nest.
DumpText* current = nullptr;
}  // namespace

DumpText::DumpText(Take take) : take_(std::move(take)), sink_{0, print} {
    current = this;
}

DumpText::~DumpText() {
    current = nullptr;
    if (!text_.empty()) take_(text_);
}

int DumpText::print(uint32_t, const char* format, ...) {
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    const int size = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    current->text_ += line;
    if (current->text_.size() >= kPieceBytes) {
        current->take_(current->text_);
        current->text_.clear();
    }
    return size;
}

}  // namespace pcsim::host
