// Files of memory, and the functions that would lead to others.
#include "tests/fuzz/text/files.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "tests/fuzz/text/support.h"

namespace pcsim::fuzz {

namespace {

constexpr const char* kNames[kFiles] = {"a", "b", "c", "d"};
int files[kFiles] = {-1, -1, -1, -1};

}  // namespace

const char* fileName(size_t index) {
    return kNames[index];
}

std::string filePath(size_t index) {
    return "/proc/self/fd/" + std::to_string(files[index]);
}

void setFile(size_t index, std::string_view text) {
    int& file = files[index];
    if (file < 0) file = memfd_create(kNames[index], MFD_CLOEXEC);
    const bool set = ftruncate(file, 0) == 0 &&
                     pwrite(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
    demand(set, "the fuzzer's own files can be written");
}

}  // namespace pcsim::fuzz

// The names are the linker's.
extern "C" {

int __real_open(const char* path, int flags, ...);

int __wrap_open(const char* path, int flags, ...) {
    using namespace pcsim::fuzz;
    for (size_t i = 0; i < kFiles; ++i) {
        if (std::strcmp(path, kNames[i]) != 0 || files[i] < 0) continue;
        if ((flags & O_ACCMODE) != O_RDONLY) break;
        return __real_open(filePath(i).c_str(), flags);
    }
    errno = std::strlen(path) % 2 == 0 ? EACCES : ENOENT;
    return -1;
}

int __wrap_mkostemp(char*, int) {
    errno = EACCES;
    return -1;
}

int __wrap_posix_spawnp(pid_t*, const char*, const posix_spawn_file_actions_t*,
                        const posix_spawnattr_t*, char* const*, char* const*) {
    return ENOENT;
}
}
