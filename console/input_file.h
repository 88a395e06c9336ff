// A file that is read from its begin to its end, plain or packed (packing.h): the one way in which
// scripts, loads and saved states open theirs.
#ifndef PCSIM_CONSOLE_INPUT_FILE_H
#define PCSIM_CONSOLE_INPUT_FILE_H

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "console/packing.h"

namespace pcsim {

class InputFile {
public:
    // Throws a CommandError when the file can't be read, as a directory can't.
    explicit InputFile(const std::string& path);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    // As read() of the descriptor: what came, 0 at the end, -1 with errno. At the end of a packed
    // file problem() tells whether that was all of it.
    ssize_t read(void* bytes, size_t size);
    // What to wait for until there is something to read.
    int descriptor() const { return source_; }
    // Why what was read is not all of the file; empty when it is.
    const std::string& problem() const { return problem_; }

    // Of the file on the disk: what it is, and how many of its bytes have been read.
    const struct stat& status() const { return status_; }
    uint64_t position() const;

private:
    void unpack(const Packing& packing);

    std::string path_;
    int file_;
    int source_;  // where its content comes from
    struct stat status_ {};
    PackingChild unpacker_;
    std::string problem_;
};

}  // namespace pcsim

#endif
