// Collecting a dump.
#include "host/core/dump_text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "host/core/quick_print.h"

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
}

void DumpText::finish() {
    if (!text_.empty()) take_(text_);
    text_.clear();
}

int DumpText::print(uint32_t, const char* format, ...) {
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    int size = quickPrint(line, sizeof line - 1, format, arguments);
    if (size < 0) size = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    current->text_.append(line, std::min(static_cast<size_t>(std::max(size, 0)), sizeof line - 1));
    if (current->text_.size() >= kPieceBytes) current->finish();
    return size;
}

void dumpTo(DumpText::Take take, const std::function<void(const pcSimDumpSink*)>& dump) {
    DumpText text(std::move(take));
    dump(text.sink());
    text.finish();
}

}  // namespace pcsim::host
