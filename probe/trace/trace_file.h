// The file that a trace goes to, line by line: whoever follows it has complete lines, and so has
// whoever reads it after a crash. It takes the place of a former one with its first line, so that a
// trace that can't be written costs nothing.
#ifndef PCSIM_PROBE_TRACE_TRACE_FILE_H
#define PCSIM_PROBE_TRACE_TRACE_FILE_H

#include <cstdint>
#include <string>

#include "console/new_file.h"

namespace pcsim::probe {

class TraceFile {
public:
    // Throws a CommandError when there can be no such file.
    explicit TraceFile(const std::string& path);
    ~TraceFile();
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    // Adds a line, which has its end. Once one can't be written, none is any more.
    void write(const std::string& line);
    // What is to be said of it: "" while all lines have arrived.
    std::string problem() const;

private:
    std::string path_;
    NewFile file_;  // until it has its place
    int descriptor_ = -1;
    uint64_t size_ = 0;  // of the lines
    int error_ = 0;
};

}  // namespace pcsim::probe

#endif
