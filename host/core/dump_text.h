// A dump sink that hands the platform's dump on as text, in pieces of many lines.
#ifndef PCSIM_HOST_CORE_DUMP_TEXT_H
#define PCSIM_HOST_CORE_DUMP_TEXT_H

#include <functional>
#include <string>

#include "pcsim/dump_sink.h"

namespace pcsim::host {

// There is one at a time.
class DumpText {
public:
    using Take = std::function<void(const std::string&)>;

    explicit DumpText(Take take);
    ~DumpText();
    DumpText(const DumpText&) = delete;
    DumpText& operator=(const DumpText&) = delete;

    const pcSimDumpSink* sink() const { return &sink_; }
    // Hands on what is left, when the dump has ended.
    void finish();

private:
    static int print(uint32_t context, const char* format, ...)
        __attribute__((format(printf, 2, 3)));

    static constexpr size_t kPieceBytes = 65536;

    Take take_;
    std::string text_;
    pcSimDumpSink sink_;
};

// Runs 'dump' with a sink, and hands what it prints to 'take'.
void dumpTo(DumpText::Take take, const std::function<void(const pcSimDumpSink*)>& dump);

}  // namespace pcsim::host

#endif
