// A replay in a process of its own: what it finds comes back through a pipe, and what it is at
// stands in memory that both have, for the case that it comes to an end there.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <ctime>

#include "console/error.h"
#include "probe/record/bytes.h"
#include "probe/replay/replay.h"

namespace pcsim::probe {
namespace {

struct Progress {
    uint64_t calls;
    uint64_t call;
    char operation[64];
};

void writeAll(int descriptor, std::span<const uint8_t> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = write(descriptor, bytes.data(), bytes.size());
        if (written <= 0) return;
        bytes = bytes.subspan(static_cast<size_t>(written));
    }
}

[[noreturn]] void runChild(const Recording& recording, ReplayOptions options, Progress& progress,
                           int out) {
    options.onCall = [&](const Event& call, const RecordedSite& site) {
        ++progress.calls;
        progress.call = call.call;
        strncpy(progress.operation, site.name.c_str(), sizeof progress.operation - 1);
    };
    ReplayResult result;
    std::string error;
    try {
        result = replay(recording, options);
    } catch (const CommandError& thrown) {
        error = thrown.what();
    }
    Bytes bytes;
    bytes.text(error);
    bytes.number(result.calls);
    bytes.number(result.differences.size());
    for (const Difference& each : result.differences) {
        bytes.number(each.call);
        for (const std::string* text : {&each.operation, &each.field, &each.expected, &each.seen})
            bytes.text(*text);
    }
    writeAll(out, bytes.all());
    // Nothing of this process is the parent's to run, such as handlers of its exit.
    _exit(0);
}

uint64_t milliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

// What the child says until it ends; false when that takes too long.
bool readAll(int in, uint32_t limitMs, std::vector<uint8_t>& bytes) {
    const uint64_t end = milliseconds() + limitMs;
    for (;;) {
        const uint64_t now = milliseconds();
        pollfd wait{in, POLLIN, 0};
        if (now >= end || poll(&wait, 1, static_cast<int>(end - now)) == 0) return false;
        uint8_t part[4096];
        const ssize_t got = read(in, part, sizeof part);
        if (got <= 0) return true;
        bytes.insert(bytes.end(), part, part + got);
    }
}

void take(const std::vector<uint8_t>& bytes, ChildResult& child) {
    ByteReader in(bytes);
    child.error = in.text();
    child.result.calls = in.number();
    const uint32_t count = in.below(1u << 24);
    for (uint32_t index = 0; index < count && !in.bad(); ++index) {
        Difference each;
        each.call = in.number();
        for (std::string* text : {&each.operation, &each.field, &each.expected, &each.seen})
            *text = in.text();
        if (!in.bad()) child.result.differences.push_back(std::move(each));
    }
}

}  // namespace

ChildResult replayInChild(const Recording& recording, const ReplayOptions& options,
                          uint32_t limitMs) {
    int ends[2];
    void* const shared =
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED || pipe2(ends, O_CLOEXEC) != 0)
        fail("no replay can be begun: {}", std::strerror(errno));
    auto& progress = *static_cast<Progress*>(shared);
    const pid_t pid = fork();
    if (pid < 0) fail("no replay can be begun: {}", std::strerror(errno));
    if (pid == 0) runChild(recording, options, progress, ends[1]);
    close(ends[1]);
    ChildResult child;
    std::vector<uint8_t> bytes;
    child.timedOut = !readAll(ends[0], limitMs, bytes);
    close(ends[0]);
    if (child.timedOut) kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!child.timedOut && WIFSIGNALED(status)) child.signal = WTERMSIG(status);
    child.call = progress.call;
    child.operation = progress.operation;
    child.result.calls = progress.calls;
    if (!bytes.empty())
        take(bytes, child);
    else if (!child.timedOut && child.signal == 0)
        child.error = "the library has ended the process";
    munmap(shared, sizeof(Progress));
    return child;
}

}  // namespace pcsim::probe
