// Lines of a file, through xz when it is packed.
#include "host/l3/route_file.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/core/error.h"

namespace pcsim::host {

RouteFile::RouteFile(const std::string& path) : path_(path), buffer_(kChunkBytes) {
    file_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (file_ < 0 || fstat(file_, &info) != 0 || S_ISDIR(info.st_mode)) {
        const int reason = file_ < 0 ? errno : EISDIR;
        if (file_ >= 0) close(file_);
        fail("file {} can't be read: {}; name a file of routes", path, std::strerror(reason));
    }
    source_ = file_;
    if (!path.ends_with(".xz")) return;
    try {
        startUnpacking();
    } catch (...) {
        close(file_);
        throw;
    }
}

RouteFile::~RouteFile() {
    if (source_ != file_ && source_ >= 0) close(source_);
    close(file_);
    if (unpacker_ > 0) waitpid(unpacker_, nullptr, 0);
}

// xz reads from the file that we have opened, so its position is ours too.
void RouteFile::startUnpacking() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) fail("no pipe for xz: {}", std::strerror(errno));
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, file_, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    char name[] = "xz", options[] = "-dc";
    char* arguments[] = {name, options, nullptr};
    const int result = posix_spawnp(&unpacker_, "xz", &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    if (result != 0) {
        close(ends[0]);
        unpacker_ = -1;
        fail("file {} can't be unpacked: xz: {}; install xz-utils or unpack it first", path_,
             std::strerror(result));
    }
    source_ = ends[0];
}

void RouteFile::finish() {
    ended_ = true;
    if (unpacker_ <= 0) return;
    int status = 0;
    waitpid(unpacker_, &status, 0);
    unpacker_ = -1;
    if (status != 0) problem_ = "xz can't unpack the rest of the file";
}

bool RouteFile::fill() {
    std::memmove(buffer_.data(), buffer_.data() + start_, end_ - start_);
    end_ -= start_;
    start_ = 0;
    ssize_t size;
    do size = read(source_, buffer_.data() + end_, buffer_.size() - end_);
    while (size < 0 && errno == EINTR);
    if (size < 0) problem_ = std::strerror(errno);
    if (size <= 0) {
        finish();
        return false;
    }
    end_ += static_cast<size_t>(size);
    return true;
}

bool RouteFile::next(std::string_view& line) {
    for (;;) {
        const char* const from = buffer_.data() + start_;
        const size_t size = end_ - start_;
        const auto* lineEnd = static_cast<const char*>(std::memchr(from, '\n', size));
        if (lineEnd == nullptr && size == buffer_.size()) {
            // Nobody writes such a line: what is here is taken for it, the rest is passed over.
            const bool again = skipping_;
            skipping_ = true;
            start_ = end_ = 0;
            line = {from, size};
            if (!again) return true;
            continue;
        }
        if (lineEnd == nullptr && !ended_) {
            fill();
            continue;
        }
        if (size == 0) return false;
        line = {from, lineEnd == nullptr ? size : static_cast<size_t>(lineEnd - from)};
        start_ = lineEnd == nullptr ? end_ : start_ + line.size() + 1;
        if (!skipping_) return true;
        skipping_ = false;
    }
}

int RouteFile::percent() const {
    struct stat info {};
    if (fstat(file_, &info) != 0 || info.st_size <= 0) return 0;
    const off_t at = lseek(file_, 0, SEEK_CUR);
    return at <= 0 ? 0 : static_cast<int>(static_cast<int64_t>(at) * 100 / info.st_size);
}

}  // namespace pcsim::host
