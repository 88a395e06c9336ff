// Standard output as sessions write it: at once, all of it, past whatever stands in for stdout.
#ifndef PCSIM_CONSOLE_OUTPUT_H
#define PCSIM_CONSOLE_OUTPUT_H

#include <cstdio>
#include <stdexcept>
#include <string>

#include "console/surroundings.h"

namespace pcsim {

// Standard output can't be written: the session has no more use. Nobody needs to be told of a
// reader that has gone.
class OutputError : public std::runtime_error {
public:
    explicit OutputError(int error);
    bool readerGone() const { return readerGone_; }

private:
    bool readerGone_;
};

class Output {
public:
    // Throws a CommandError when standard output is closed. 'surroundings' must outlive it.
    explicit Output(const Surroundings& surroundings);
    ~Output();
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // Called from within others' work, so it never throws: check() does, for what has failed until
    // then. Ends early when interrupted.
    void write(const std::string& text);
    // The same for what is of use only as a whole: when interrupted it goes on for as long as
    // somebody reads.
    void writeWhole(const std::string& text);
    void check() const;
    bool failed() const { return error_ != 0; }

    FILE* file() const { return file_; }
    int descriptor() const;

private:
    bool waitWritable(int timeoutMs) const;
    void put(const std::string& text, bool whole);

    const Surroundings& surroundings_;
    FILE* file_;
    int error_ = 0;
};

}  // namespace pcsim

#endif
