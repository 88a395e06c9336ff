// A file that what a command prints goes to. It is what it was until the command is done.
#ifndef PCSIM_CONSOLE_RESULT_FILE_H
#define PCSIM_CONSOLE_RESULT_FILE_H

#include <memory>
#include <string>

namespace pcsim {

class OutputFile;

class ResultFile {
public:
    // Throws a CommandError when the file can't be written, before anything is changed.
    ResultFile(const std::string& path, bool appends);
    // Leaves the file as it was unless finish() was called.
    ~ResultFile();
    ResultFile(const ResultFile&) = delete;
    ResultFile& operator=(const ResultFile&) = delete;

    // Puts 'text' into the file, all or nothing. Throws a CommandError.
    void finish(const std::string& text);

private:
    [[noreturn]] void failWith(int error);

    std::string path_;
    std::unique_ptr<OutputFile> whole_;  // what becomes the file; null: it is written itself
    int descriptor_ = -1;
    bool created_ = false;
};

}  // namespace pcsim

#endif
