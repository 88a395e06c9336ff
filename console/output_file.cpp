// Writing a file beside the one that it replaces.
#include "console/output_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "console/error.h"

namespace pcsim {

namespace {

constexpr size_t kBufferBytes = 1 << 16;

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

}  // namespace

OutputFile::OutputFile(const std::string& path, const char* what) : path_(path), what_(what) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        fail("{} {} can't be written: it is {}; expected the name of a file", what, path,
             S_ISDIR(status.st_mode) ? "a directory" : "no regular file");
    if (const int error = file_.open(path)) failToWrite(error);
    sink_ = file_.descriptor();
    if (const Packing* const packing = packingOf(path)) startPacking(*packing);
}

void OutputFile::startPacking(const Packing& packing) {
    const Pipe pipe(path_);
    try {
        packer_.start(packing, PackingChild::Work::kPack, pipe.read, file_.descriptor(), path_);
    } catch (...) {
        close(pipe.read);
        close(pipe.write);
        throw;
    }
    close(pipe.read);
    sink_ = pipe.write;
}

OutputFile::~OutputFile() {
    if (sink_ != file_.descriptor() && sink_ >= 0) close(sink_);
}

void OutputFile::failToWrite(int error) {
    fail("{} {} can't be written: {}", what_, path_, std::strerror(error));
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
            fail("{} {} can't be packed: {} has ended", what_, path_, packingOf(path_)->program);
        else if (errno != EINTR)
            failToWrite(errno);
    }
    buffer_.clear();
}

void OutputFile::keep() {
    flush();
    if (sink_ != file_.descriptor()) {
        close(sink_);
        sink_ = -1;
        if (!packer_.finish())
            fail("{} {} can't be packed: {} has failed", what_, path_, packingOf(path_)->program);
    }
    if (const int error = file_.keep()) failToWrite(error);
}

}  // namespace pcsim
