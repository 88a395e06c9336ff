// Writing to standard output.
#include "console/output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
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
    std::fflush(file_);  // readline's
    for (size_t at = 0; at < text.size() && error_ == 0;) {
        const ssize_t size = ::write(descriptor(), text.data() + at, text.size() - at);
        if (size >= 0) {
            at += static_cast<size_t>(size);
        } else if (errno == EAGAIN) {
            // Another program has left a shared terminal or pipe non-blocking.
            pollfd writable{descriptor(), POLLOUT, 0};
            poll(&writable, 1, -1);
            if (surroundings_.interrupted()) return;
        } else if (errno != EINTR) {
            error_ = errno;
        } else if (surroundings_.interrupted()) {
            return;
        }
    }
}

void Output::check() const {
    if (error_ != 0) throw OutputError(error_);
}

}  // namespace pcsim
