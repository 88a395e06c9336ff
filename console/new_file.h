// A file that takes the place of another one, or of none, once it is complete. Until then it has no
// name, so that nothing is left of it when the process is killed; only file systems that know no
// such files have it beside the other one meanwhile. On the last step to where another one is it
// has the name FILE.pcsim-new-N for a moment: what is left of a process that was killed then is
// removed by the next that takes the step.
#ifndef PCSIM_CONSOLE_NEW_FILE_H
#define PCSIM_CONSOLE_NEW_FILE_H

#include <string>

namespace pcsim {

// Whether a file of that name can be replaced by another one; a device or a pipe can't.
bool isReplaceable(const std::string& path);

class NewFile {
public:
    NewFile() = default;
    // Without place() before it, the file is gone and the other one as it was.
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    // Makes it, for reading and writing, with the rights of the one that it will replace. 0, or the
    // error's number.
    int open(const std::string& path);
    // Its descriptor, which stays this object's; -1 without a file.
    int descriptor() const { return file_; }
    // Puts it where the other one is, at a stroke. 0, or the error's number: then nothing is
    // changed.
    int place();
    // The same once all of it is on the disk.
    int keep();
    // Has the descriptor be the caller's from now on.
    int release();

private:
    int takeName();

    std::string target_;     // where symbolic links lead to
    std::string temporary_;  // its name as long as it has one that isn't the target's
    int file_ = -1;
};

}  // namespace pcsim

#endif
