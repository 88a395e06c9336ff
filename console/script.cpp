// Reading scripts.
#include "console/script.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "console/error.h"

namespace pcsim {

namespace {

constexpr size_t kChunk = 16384;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr size_t kLongestLine = 65536;  // what is longer is no script

}  // namespace

Script::Script(const std::string& path) : name_(path), file_(std::make_unique<InputFile>(path)) {
    look(file_->status());
}

Script::Script() : name_("standard input") {
    struct stat status = {};
    int error = fstat(STDIN_FILENO, &status) != 0 ? errno : 0;
    if (error == 0 && S_ISDIR(status.st_mode)) error = EISDIR;
    if (error != 0) fail("{} can't be read: {}", name_, std::strerror(error));
    look(status);
}

Script::~Script() = default;

void Script::look(const struct stat& status) {
    regular_ = S_ISREG(status.st_mode);
    device_ = status.st_dev;
    inode_ = status.st_ino;
}

bool Script::sameFile(const Script& other) const {
    return regular_ && other.regular_ && device_ == other.device_ && inode_ == other.inode_;
}

std::string Script::beside(const std::string& path) const {
    const size_t slash = name_.rfind('/');
    if (file_ == nullptr || path.starts_with('/') || slash == std::string::npos) return path;
    return name_.substr(0, slash + 1) + path;
}

// Reads on; whether there was something.
bool Script::fill(Surroundings& surroundings) {
    read_.erase(0, next_);
    next_ = 0;
    for (;;) {
        const int descriptor = file_ != nullptr ? file_->descriptor() : STDIN_FILENO;
        if (!surroundings.waitReadable(descriptor)) surroundings.checkInterrupt();
        char bytes[kChunk];
        const ssize_t size = file_ != nullptr ? file_->read(bytes, sizeof bytes)
                                              : read(descriptor, bytes, sizeof bytes);
        if (size >= 0) {
            read_.append(bytes, static_cast<size_t>(size));
            if (size == 0 && file_ != nullptr && !file_->problem().empty())
                fail("{}", file_->problem());
            return size != 0;
        }
        if (errno != EINTR && errno != EAGAIN)
            fail("the script can't be read: {}", std::strerror(errno));
    }
}

std::optional<std::string> Script::nextLine(Surroundings& surroundings) {
    ++lineNumber_;
    size_t end;
    size_t from = next_;
    while ((end = read_.find('\n', from)) == std::string::npos) {
        if (read_.size() - next_ > kLongestLine)
            fail("the line is longer than {} bytes; is this a script?", kLongestLine);
        from = read_.size() - next_;  // filling moves the rest to the front
        if (fill(surroundings)) continue;
        if (read_.empty()) return std::nullopt;
        end = read_.size();  // the last line may have no end
        read_ += '\n';
        break;
    }
    std::string line = read_.substr(next_, end - next_);
    next_ = end + 1;
    // Editors of other systems begin a text with a mark of its encoding.
    if (lineNumber_ == 1 && line.starts_with(kByteOrderMark)) line.erase(0, kByteOrderMark.size());
    if (line.find('\0') != std::string::npos)
        fail("the line has a NUL byte in it; expected a script of plain text (UTF-8)");
    return line;
}

}  // namespace pcsim
