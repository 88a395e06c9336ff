// A script: the lines of a file or of standard input, under the name that messages have for it.
#ifndef PCSIM_CONSOLE_SCRIPT_H
#define PCSIM_CONSOLE_SCRIPT_H

#include <memory>
#include <optional>
#include <string>

#include "console/input_file.h"
#include "console/surroundings.h"

namespace pcsim {

class Script {
public:
    // Opens a file, plain or packed. Throws a CommandError when it can't be read.
    explicit Script(const std::string& path);
    // Standard input.
    Script();
    ~Script();
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    const std::string& name() const { return name_; }

    // The next line without its end, or nothing at the end. Time goes on in 'surroundings' while
    // the line is waited for. Throws a CommandError.
    std::optional<std::string> nextLine(Surroundings& surroundings);
    // The number of the line that nextLine() has given, or has failed to give.
    unsigned lineNumber() const { return lineNumber_; }

    // Whether both read the same file.
    bool sameFile(const Script& other) const;

    // A file that the script names: relative to the script's own folder, for standard input to the
    // working directory.
    std::string beside(const std::string& path) const;

private:
    void look(const struct stat& status);
    bool fill(Surroundings& surroundings);

    std::string name_;
    std::unique_ptr<InputFile> file_;  // null: standard input
    bool regular_ = false;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    std::string read_;  // and not yet handed out, from next_ on
    size_t next_ = 0;
    unsigned lineNumber_ = 0;
};

}  // namespace pcsim

#endif
