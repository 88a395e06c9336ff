// Starting a command, waiting for its end, and telling a crash from an error.
#include "probe/trial.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>

#include "console/error.h"
#include "console/text.h"
#include "probe/control/blocks.h"
#include "probe/launch.h"

namespace pcsim::probe {

namespace {

constexpr std::array kCrashes = {SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE, SIGSEGV, SIGSYS};
constexpr char kRunName[] = "run";
constexpr int kShellsSignal = 128;  // what a shell adds to the signal of what it ran

uint64_t nowMs() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

std::string wholeFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::string lastLineOf(std::string text) {
    while (text.ends_with('\n')) text.pop_back();
    return printable(text.substr(text.rfind('\n') + 1));
}

void redirect(const char* path, int flags, int descriptor) {
    const int file = open(path, flags, 0600);
    if (file < 0 || dup2(file, descriptor) < 0) _exit(126);
    if (file != descriptor) close(file);
}

}  // namespace

Trial::Trial(const Words& command, const std::string& rules, const std::string& folder,
             uint32_t limitMs)
    : folder_(folder), limitMs_(limitMs), startedMs_(nowMs()) {
    mkdir(folder_.c_str(), 0700);
    for (const char* file : {"out", "err"}) unlink(at(file).c_str());
    unlink((at(kRunName) + kBlockEnding).c_str());
    std::ofstream plan(at("plan"));
    plan << rules;
    plan.close();
    if (!plan) fail("{} can't be written: {}", at("plan"), strerror(errno));
    child_ = fork();
    if (child_ < 0) fail("no process can be started: {}", strerror(errno));
    if (child_ == 0) become(command);
    setpgid(child_, child_);  // by both, so that neither sees it undone
}

Trial::~Trial() {
    if (child_ <= 0) return;
    killGroup();
    waitpid(child_, nullptr, 0);
}

void Trial::become(const Words& command) const {
    setpgid(0, 0);
    redirect("/dev/null", O_RDONLY, STDIN_FILENO);
    redirect(at("out").c_str(), O_WRONLY | O_CREAT | O_APPEND, STDOUT_FILENO);
    redirect(at("err").c_str(), O_WRONLY | O_CREAT | O_APPEND, STDERR_FILENO);
    setenv("PCSIM_RUN_DIR", folder_.c_str(), 1);
    int status = 126;
    try {
        ProbeOptions options;
        options.plan = at("plan");
        options.name = kRunName;
        status = launch(options, command);
    } catch (const std::exception& problem) {
        dprintf(STDERR_FILENO, "pcsim-probe: %s\n", problem.what());
    }
    _exit(status);
}

void Trial::killGroup() const {
    kill(-child_, SIGKILL);
    kill(child_, SIGKILL);  // when it hasn't got as far as its group
}

bool Trial::ended() {
    if (child_ <= 0) return true;
    const pid_t waited = waitpid(child_, &status_, WNOHANG);
    if (waited == 0 && nowMs() - startedMs_ < limitMs_) return false;
    // What it has started itself ends with it.
    killGroup();
    if (waited == 0) {
        tooLong_ = true;
        waitpid(child_, &status_, 0);
    }
    endedMs_ = nowMs();
    child_ = 0;
    return true;
}

Outcome Trial::outcome() const {
    Outcome outcome;
    const std::string said = wholeFile(at("err"));
    outcome.tookMs = static_cast<uint32_t>(endedMs_ - startedMs_);
    outcome.lastLine = lastLineOf(said);
    outcome.status = WIFSIGNALED(status_) ? WTERMSIG(status_) : WEXITSTATUS(status_);
    if (tooLong_) {
        outcome.ending = Ending::kTooLong;
    } else if (said.find("Sanitizer: ") != said.npos ||
               said.find(": runtime error: ") != said.npos) {
        outcome.ending = Ending::kSanitizer;
    } else if (WIFSIGNALED(status_)) {
        outcome.ending = Ending::kSignal;
    } else if (std::ranges::count(kCrashes, outcome.status - kShellsSignal) != 0) {
        outcome.ending = Ending::kSignal;
        outcome.status -= kShellsSignal;
    }
    // Also of a run that had no end in which to write it down.
    const std::string block = at(kRunName) + kBlockEnding;
    if (access(block.c_str(), F_OK) == 0) {
        const BlockCopy copy(block);
        outcome.coverage = coverageOf(copy.sites(), copy.siteCount());
    }
    return outcome;
}

std::string textOf(const Outcome& outcome) {
    switch (outcome.ending) {
        case Ending::kSignal:
            return fmt::format("killed by signal {} ({})", outcome.status,
                               strsignal(outcome.status));
        case Ending::kSanitizer:
            return "a sanitizer's report";
        case Ending::kTooLong:
            return fmt::format("still running after {} ms", outcome.tookMs);
        default:
            return fmt::format("ended with {}", outcome.status);
    }
}

}  // namespace pcsim::probe
