// Lines of a file.
#include "host/core/text_file.h"

#include <cerrno>
#include <cstring>

#include <fmt/core.h>

#include "console/error.h"

namespace pcsim::host {

TextFile::TextFile(const std::string& path, const Surroundings& surroundings)
    : path_(path), surroundings_(surroundings), file_(path), buffer_(kChunkBytes) {
    const off_t size = file_.status().st_size;
    size_ = size > 0 ? static_cast<uint64_t>(size) : 0;
}

void TextFile::fill() {
    std::memmove(buffer_.data(), buffer_.data() + start_, end_ - start_);
    end_ -= start_;
    start_ = 0;
    ssize_t size = -1;
    errno = EINTR;
    while (size < 0 && errno == EINTR && !surroundings_.interrupted())
        size = file_.read(buffer_.data() + end_, buffer_.size() - end_);
    if (surroundings_.interrupted()) {
        problem_ = fmt::format("interrupted; file {} is read in part", path_);
        ended_ = true;
        return;
    }
    if (size < 0)
        problem_ = fmt::format("file {} can't be read to its end: {}", path_, std::strerror(errno));
    if (size == 0) problem_ = file_.problem();
    ended_ = size <= 0;
    if (ended_) return;
    end_ += static_cast<size_t>(size);
    position_ = file_.position();
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
