// Writing a file in one piece.
#include "console/result_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "console/error.h"
#include "console/output_file.h"
#include "console/text.h"

namespace pcsim {

namespace {

int writeAll(int descriptor, const std::string& text) {
    for (size_t at = 0; at < text.size();) {
        const ssize_t size = write(descriptor, text.data() + at, text.size() - at);
        if (size < 0 && errno != EINTR) return errno;
        if (size > 0) at += static_cast<size_t>(size);
    }
    return 0;
}

}  // namespace

ResultFile::ResultFile(const std::string& path, bool appends) : path_(path) {
    struct stat status {};
    const bool exists = stat(path.c_str(), &status) == 0;
    // A device or a pipe can't be replaced, and a file that is added to stays the same one.
    if (!appends && (isReplaceable(path) || S_ISDIR(status.st_mode))) {
        whole_ = std::make_unique<OutputFile>(path);
        return;
    }
    descriptor_ =
        open(path.c_str(), O_WRONLY | O_CLOEXEC | (appends ? O_APPEND | O_CREAT : 0), 0666);
    if (descriptor_ < 0) failWith(errno);
    created_ = !exists;
}

ResultFile::~ResultFile() {
    if (descriptor_ >= 0) close(descriptor_);
    if (created_) unlink(path_.c_str());
}

void ResultFile::failWith(int error) {
    fail("file {} can't be written: {}", shown(path_), std::strerror(error));
}

void ResultFile::finish(const std::string& text) {
    if (whole_ != nullptr) {
        whole_->write(text);
        whole_->keep();
        return;
    }
    struct stat before {};
    fstat(descriptor_, &before);
    if (const int error = writeAll(descriptor_, text)) {
        // What was added in part goes again.
        if (S_ISREG(before.st_mode) && ftruncate(descriptor_, before.st_size) != 0) failWith(errno);
        failWith(error);
    }
    created_ = false;
}

}  // namespace pcsim
