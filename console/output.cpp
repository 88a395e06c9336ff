// Writing to standard output.
#include "console/output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "console/error.h"

namespace pcsim {

OutputError::OutputError(int error)
    : std::runtime_error(fmt::format("standard output can't be written: {}", std::strerror(error))),
      readerGone_(error == EPIPE) {}

Output::Output(const Surroundings& surroundings) : surroundings_(surroundings) {
    std::fflush(stdout);
    file_ = fdopen(dup(STDOUT_FILENO), "w");
    if (file_ == nullptr) fail("standard output is closed; expected a terminal, pipe or file");
}

Output::~Output() {
    std::fclose(file_);
}

int Output::descriptor() const {
    return fileno(file_);
}

void Output::write(const std::string& text) {
    put(text, false);
}

void Output::writeWhole(const std::string& text) {
    put(text, true);
}

bool Output::waitWritable(int timeoutMs) const {
    pollfd writable{descriptor(), POLLOUT, 0};
    return poll(&writable, 1, timeoutMs) != 0;
}

void Output::put(const std::string& text, bool whole) {
    constexpr int kPatienceMs = 2000;  // a reader that takes nothing for so long has stopped
    std::fflush(file_);                // readline's
    for (size_t at = 0; at < text.size() && error_ == 0;) {
        const bool hurried = whole && surroundings_.interrupted();
        if (hurried && !waitWritable(kPatienceMs)) {
            error_ = ETIMEDOUT;
            return;
        }
        // What a pipe has room for doesn't block.
        const size_t left = text.size() - at;
        const ssize_t size = ::write(descriptor(), text.data() + at,
                                     hurried ? std::min<size_t>(left, PIPE_BUF) : left);
        if (size >= 0) {
            at += static_cast<size_t>(size);
        } else if (errno != EAGAIN && errno != EINTR) {
            error_ = errno;
        } else {
            // Another program has left a shared terminal or pipe non-blocking.
            if (errno == EAGAIN && !hurried) waitWritable(-1);
            if (!whole && surroundings_.interrupted()) return;
        }
    }
}

void Output::check() const {
    if (error_ != 0) throw OutputError(error_);
}

}  // namespace pcsim
