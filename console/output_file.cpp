// Writing a file beside the one that it replaces.
#include "console/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "console/error.h"

namespace pcsim {

namespace {

constexpr size_t kBufferBytes = 1 << 16;

// The rights of the file that is replaced, or those that a new one gets.
mode_t modeOf(const struct stat& status, bool exists) {
    if (exists) return status.st_mode & 07777;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// A packing program that has died takes no more: that is an error to tell, not the end of all.
class WithoutPipeSignal {
public:
    WithoutPipeSignal() { before_ = std::signal(SIGPIPE, SIG_IGN); }
    ~WithoutPipeSignal() { std::signal(SIGPIPE, before_); }
    WithoutPipeSignal(const WithoutPipeSignal&) = delete;
    WithoutPipeSignal& operator=(const WithoutPipeSignal&) = delete;

private:
    void (*before_)(int);
};

std::string targetOf(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? resolved : path;
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path), target_(targetOf(path)) {
    struct stat status {};
    const bool exists = stat(target_.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode))
        fail("file {} can't be written: it is {}; expected the name of a file", path,
             S_ISDIR(status.st_mode) ? "a directory" : "no regular file");
    temporary_ = target_ + ".XXXXXX";
    file_ = mkostemp(temporary_.data(), O_CLOEXEC);
    if (file_ < 0) {
        temporary_.clear();
        failToWrite(errno);
    }
    sink_ = file_;
    try {
        if (fchmod(file_, modeOf(status, exists)) != 0) failToWrite(errno);
        if (const Packing* const packing = packingOf(path)) {
            const Pipe pipe(path);
            sink_ = pipe.write;
            try {
                packer_.start(*packing, PackingChild::Work::kPack, pipe.read, file_, path);
            } catch (...) {
                close(pipe.read);
                throw;
            }
            close(pipe.read);
        }
    } catch (...) {
        if (sink_ != file_) close(sink_);
        close(file_);
        unlink(temporary_.c_str());
        throw;
    }
}

OutputFile::~OutputFile() {
    if (sink_ != file_ && sink_ >= 0) close(sink_);
    if (file_ >= 0) close(file_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputFile::failToWrite(int error) {
    fail("file {} can't be written: {}", path_, std::strerror(error));
}

void OutputFile::write(std::string_view text) {
    buffer_ += text;
    if (buffer_.size() >= kBufferBytes) flush();
}

void OutputFile::flush() {
    const WithoutPipeSignal quiet;
    for (size_t at = 0; at < buffer_.size();) {
        const ssize_t size = ::write(sink_, buffer_.data() + at, buffer_.size() - at);
        if (size >= 0)
            at += static_cast<size_t>(size);
        else if (errno == EPIPE)
            fail("file {} can't be packed: {} has ended", path_, packingOf(path_)->program);
        else if (errno != EINTR)
            failToWrite(errno);
    }
    buffer_.clear();
}

void OutputFile::keep() {
    flush();
    if (sink_ != file_) {
        close(sink_);
        sink_ = -1;
        if (!packer_.finish())
            fail("file {} can't be packed: {} has failed", path_, packingOf(path_)->program);
    }
    if (fsync(file_) != 0) failToWrite(errno);
    if (rename(temporary_.c_str(), target_.c_str()) != 0) failToWrite(errno);
    temporary_.clear();
    // The name is on the disk, too, once its folder is; a folder that can't be asked has it anyway.
    const size_t slash = target_.rfind('/');
    const std::string folder =
        slash == std::string::npos ? "." : target_.substr(0, std::max<size_t>(slash, 1));
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) return;
    fsync(descriptor);
    close(descriptor);
}

}  // namespace pcsim
