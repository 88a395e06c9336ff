// Writing whole lines.
#include "probe/trace/trace_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "console/error.h"
#include "console/text.h"

namespace pcsim::probe {

TraceFile::TraceFile(const std::string& path) : path_(path) {
    int error = 0;
    if (isReplaceable(path)) {
        error = file_.open(path);
        descriptor_ = file_.descriptor();
    } else {
        descriptor_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor_ < 0) error = errno;
    }
    if (error != 0) fail("file {} can't be written: {}", shown(path), std::strerror(error));
}

// One without a line is empty, and there all the same.
TraceFile::~TraceFile() {
    if (file_.descriptor() < 0)
        close(descriptor_);
    else if (error_ == 0)
        file_.place();
}

void TraceFile::write(const std::string& line) {
    for (size_t at = 0; error_ == 0 && at < line.size();) {
        const ssize_t size = ::write(descriptor_, line.data() + at, line.size() - at);
        if (size >= 0)
            at += static_cast<size_t>(size);
        else if (errno != EINTR)
            error_ = errno;
    }
    if (error_ == 0 && file_.descriptor() >= 0) {
        error_ = file_.place();
        if (error_ == 0) file_.release();
    }
    if (error_ == 0)
        size_ += line.size();
    else if (ftruncate64(descriptor_, static_cast<off64_t>(size_)) != 0)
        return;  // a pipe or a device keeps what it has of the line
}

std::string TraceFile::problem() const {
    if (error_ == 0) return "";
    return fmt::format("trace {} ends early: {}", shown(path_), std::strerror(error_));
}

}  // namespace pcsim::probe
