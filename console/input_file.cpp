// Opening and reading files.
#include "console/input_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fmt/core.h>

#include "console/error.h"

namespace pcsim {

InputFile::InputFile(const std::string& path)
    : path_(path), file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)), source_(file_) {
    int reason = file_ < 0 || fstat(file_, &status_) != 0 ? errno : 0;
    if (reason == 0 && S_ISDIR(status_.st_mode)) reason = EISDIR;
    if (reason != 0) {
        if (file_ >= 0) close(file_);
        fail("file {} can't be read: {}", path, std::strerror(reason));
    }
    const Packing* const packing = packingOf(path);
    if (packing == nullptr) return;
    try {
        unpack(*packing);
    } catch (...) {
        close(file_);
        throw;
    }
}

InputFile::~InputFile() {
    if (source_ != file_) close(source_);
    close(file_);
}

// The program reads from the descriptor that we have opened, so its position is ours too.
void InputFile::unpack(const Packing& packing) {
    const Pipe pipe(path_);
    try {
        unpacker_.start(packing, PackingChild::Work::kUnpack, file_, pipe.write, path_);
    } catch (...) {
        close(pipe.write);
        close(pipe.read);
        throw;
    }
    close(pipe.write);
    source_ = pipe.read;
}

ssize_t InputFile::read(void* bytes, size_t size) {
    const ssize_t result = ::read(source_, bytes, size);
    if (result != 0 || !unpacker_.running()) return result;
    if (!unpacker_.finish())
        problem_ = fmt::format("file {} can't be unpacked to its end: it is cut or no {} file",
                               path_, packingOf(path_)->program);
    return 0;
}

uint64_t InputFile::position() const {
    return static_cast<uint64_t>(std::max<off_t>(lseek(file_, 0, SEEK_CUR), 0));
}

}  // namespace pcsim
