// Running the programs that pack and unpack.
#include "console/packing.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "console/error.h"

namespace pcsim {

namespace {

constexpr Packing kPackings[] = {
    {".xz", "xz", "xz-utils", "-1"},
    {".gz", "gzip", "gzip", "-6"},
    {".zst", "zstd", "zstd", "-3"},
};

}  // namespace

const Packing* packingOf(const std::string& path) {
    for (const Packing& packing : kPackings)
        if (path.ends_with(packing.ending)) return &packing;
    return nullptr;
}

// One that is still at work is of no use to anybody any more.
PackingChild::~PackingChild() {
    if (child_ <= 0) return;
    kill(child_, SIGKILL);
    finish();
}

void PackingChild::start(const Packing& packing, Work work, int input, int output,
                         const std::string& path) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const bool unpack = work == Work::kUnpack;
    std::string words[] = {packing.program, unpack ? "-dc" : "-c", packing.level};
    char* arguments[] = {words[0].data(), words[1].data(), unpack ? nullptr : words[2].data(),
                         nullptr};
    const int result =
        posix_spawnp(&child_, packing.program, &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (result == 0) return;
    child_ = -1;
    fail("file {} can't be {}: {}: {}; install {}, or take a file that is not packed", path,
         unpack ? "unpacked" : "packed", packing.program, std::strerror(result), packing.package);
}

bool PackingChild::finish() {
    int status = -1;
    while (waitpid(child_, &status, 0) < 0 && errno == EINTR) continue;
    child_ = -1;
    return status == 0;
}

Pipe::Pipe(const std::string& path) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) fail("no pipe for file {}: {}", path, std::strerror(errno));
    read = ends[0];
    write = ends[1];
}

}  // namespace pcsim
