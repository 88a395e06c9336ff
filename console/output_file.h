// A file that is written whole or not at all, plain or packed (packing.h): its content goes to a
// new file, which takes its place when all of it is on the disk.
#ifndef PCSIM_CONSOLE_OUTPUT_FILE_H
#define PCSIM_CONSOLE_OUTPUT_FILE_H

#include <string>
#include <string_view>

#include "console/new_file.h"
#include "console/packing.h"

namespace pcsim {

class OutputFile {
public:
    // Throws a CommandError when there can be no such file. It is called 'what' in messages.
    explicit OutputFile(const std::string& path, const char* what = "file");
    // Without keep() before it, what was written is gone and the file is as it was.
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Throw a CommandError when the disk, or the program that packs, takes no more.
    void write(std::string_view text);
    void keep();

private:
    void flush();
    void startPacking(const Packing& packing);
    [[noreturn]] void failToWrite(int error);

    std::string path_;  // as it was given, for messages
    const char* what_;
    NewFile file_;
    int sink_ = -1;  // where content goes: the file, or the program that packs
    PackingChild packer_;
    std::string buffer_;
};

}  // namespace pcsim

#endif
