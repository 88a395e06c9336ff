// Lines of a file, through xz when it is packed.
#include "host/core/text_file.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fmt/core.h>

#include "console/error.h"

namespace pcsim::host {

TextFile::TextFile(const std::string& path, const Surroundings& surroundings)
    : path_(path), surroundings_(surroundings), buffer_(kChunkBytes) {
    file_ = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (file_ < 0 || fstat(file_, &info) != 0 || S_ISDIR(info.st_mode)) {
        const int reason = file_ < 0 ? errno : EISDIR;
        if (file_ >= 0) close(file_);
        fail("file {} can't be read: {}", path, std::strerror(reason));
    }
    size_ = info.st_size > 0 ? static_cast<uint64_t>(info.st_size) : 0;
    source_ = file_;
    if (!path.ends_with(".xz")) return;
    try {
        startUnpacking();
    } catch (...) {
        close(file_);
        throw;
    }
}

TextFile::~TextFile() {
    if (source_ != file_ && source_ >= 0) close(source_);
    close(file_);
    // Its pipe is closed: an unpacker that has not come to the end dies of it.
    if (unpacker_ > 0) waitpid(unpacker_, nullptr, 0);
}

// xz reads from the file that we have opened, so its position is ours too.
void TextFile::startUnpacking() {
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

void TextFile::finish() {
    ended_ = true;
    if (unpacker_ <= 0) return;
    int status = 0;
    waitpid(unpacker_, &status, 0);
    unpacker_ = -1;
    if (status != 0)
        problem_ =
            fmt::format("file {} can't be unpacked to its end: it is cut or no xz file", path_);
}

void TextFile::fill() {
    std::memmove(buffer_.data(), buffer_.data() + start_, end_ - start_);
    end_ -= start_;
    start_ = 0;
    ssize_t size = -1;
    errno = EINTR;
    while (size < 0 && errno == EINTR && !surroundings_.interrupted())
        size = read(source_, buffer_.data() + end_, buffer_.size() - end_);
    if (surroundings_.interrupted()) {
        problem_ = fmt::format("interrupted; file {} is read in part", path_);
        ended_ = true;
        return;
    }
    if (size < 0)
        problem_ = fmt::format("file {} can't be read to its end: {}", path_, std::strerror(errno));
    if (size <= 0) {
        finish();
        return;
    }
    end_ += static_cast<size_t>(size);
    position_ = static_cast<uint64_t>(std::max<off_t>(lseek(file_, 0, SEEK_CUR), 0));
}

bool TextFile::next(std::string_view& line) {
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

}  // namespace pcsim::host
