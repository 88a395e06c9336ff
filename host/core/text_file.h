// Reading a text file line by line, and how far one is: the one way in which loads of every kind
// read their files.
#ifndef PCSIM_HOST_CORE_TEXT_FILE_H
#define PCSIM_HOST_CORE_TEXT_FILE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "console/input_file.h"
#include "console/surroundings.h"

namespace pcsim::host {

class TextFile {
public:
    // Throws a CommandError when the file can't be read, as a directory can't. An interrupt ends
    // the reading: many a file has no end.
    TextFile(const std::string& path, const Surroundings& surroundings);

    // The next line without its end, valid until the next call; false at the end of the file. Of a
    // line that is longer than any that makes sense, the beginning alone.
    bool next(std::string_view& line);

    // Bytes on the disk, 0 when that is not known, and how many of them have been read.
    uint64_t size() const { return size_; }
    uint64_t position() const { return position_; }

    // What was wrong with the rest of the file, empty when it was read to its end.
    const std::string& problem() const { return problem_; }

private:
    static constexpr size_t kChunkBytes = 1 << 18;

    // Reads on behind what is left of the buffer.
    void fill();

    std::string path_;
    const Surroundings& surroundings_;
    InputFile file_;
    uint64_t size_ = 0, position_ = 0;
    std::vector<char> buffer_;
    size_t start_ = 0, end_ = 0;
    bool ended_ = false;
    bool skipping_ = false;  // the rest of a line that was too long
    std::string problem_;
};

}  // namespace pcsim::host

#endif
