// Starting a program with the probe in it: by exec, or as the parent that sees how it ends.
#include "probe/launch.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "console/error.h"
#include "console/run_folder.h"
#include "console/text.h"
#include "probe/control/blocks.h"
#include "probe/program_file.h"

namespace pcsim::probe {

namespace {

constexpr char kLibrary[] = "libpcsim-probe.so.0";
constexpr char kPreload[] = "LD_PRELOAD";

// What ends or moves a program from outside. SIGKILL and SIGSTOP can't be passed on; of SIGTSTP and
// the like a terminal tells both.
constexpr int kPassedOn[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGTERM, SIGUSR1,
                             SIGUSR2, SIGALRM, SIGCONT, SIGPIPE, SIGWINCH};

volatile pid_t childToTell = 0;

void passOn(int signal, siginfo_t* info, void*) {
    // The kernel's own are for the whole group of a terminal: the child has it already.
    if (childToTell > 0 && info->si_code != SI_KERNEL) kill(childToTell, signal);
}

std::string ownFolder() {
    char program[4096];
    const ssize_t size = readlink("/proc/self/exe", program, sizeof program);
    std::string folder(program, static_cast<size_t>(size > 0 ? size : 0));
    folder.erase(folder.rfind('/') + 1);
    return folder;
}

// A word for LD_PRELOAD, where blanks and colons separate: a library in a folder that has some in
// its name is named by a descriptor that the program inherits, and closes.
std::string preloadWord(const std::string& library) {
    if (library.find_first_of(" :") == library.npos) return library;
    const int file = open(library.c_str(), O_RDONLY);
    if (file < 0) fail("{} can't be read: {}", library, strerror(errno));
    return "/proc/self/fd/" + std::to_string(file);
}

int refuse(const Refusal& refusal) {
    std::fprintf(stderr, "pcsim-probe: %s\n", printable(refusal.why).c_str());
    return refusal.status;
}

[[noreturn]] void become(const std::string& path, const Words& command) {
    Words words = command;
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(path.c_str(), arguments.data());
    std::fprintf(stderr, "pcsim-probe: '%s': %s\n", printable(path).c_str(), strerror(errno));
    _exit(errno == ENOENT ? 127 : 126);
}

// The block of a process that was our child; "" when it never made one.
std::string blockPathOf(pid_t child) {
    try {
        for (const BlockCopy& block : blocksIn(runFolder()))
            if (block.header().pid == child) return block.path();
    } catch (const CommandError&) {  // it had no folder for one
    }
    return "";
}

int endAs(int status) {
    if (!WIFSIGNALED(status)) return WEXITSTATUS(status);
    // The program's own core, if it wrote one, is the one to keep.
    const rlimit none{};
    setrlimit(RLIMIT_CORE, &none);
    signal(WTERMSIG(status), SIG_DFL);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, WTERMSIG(status));
    sigprocmask(SIG_UNBLOCK, &one, nullptr);
    raise(WTERMSIG(status));
    return 128 + WTERMSIG(status);
}

// Starts the program as a child, and stays.
int accompany(const std::string& path, const Words& command) {
    // Nothing is lost between the fork and the moment when signals are passed on.
    sigset_t passed, before;
    sigemptyset(&passed);
    for (const int signal : kPassedOn) sigaddset(&passed, signal);
    sigprocmask(SIG_BLOCK, &passed, &before);
    const pid_t child = fork();
    if (child < 0) fail("no process can be started: {}", strerror(errno));
    if (child == 0) {
        sigprocmask(SIG_SETMASK, &before, nullptr);
        become(path, command);
    }
    childToTell = child;
    struct sigaction action {};
    action.sa_sigaction = passOn;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    for (const int signal : kPassedOn) sigaction(signal, &action, nullptr);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    childToTell = 0;
    const std::string block = blockPathOf(child);
    if (!block.empty()) noteEnd(block, status);
    return endAs(status);
}

}  // namespace

std::string probeLibrary() {
    const std::string folder = ownFolder();
    for (const char* place : {"", PCSIM_LIBRARIES "/"}) {
        const std::string path = folder + place + kLibrary;
        if (access(path.c_str(), R_OK) == 0) return path;
    }
    fail("{} is neither beside this program nor in {}" PCSIM_LIBRARIES, kLibrary, folder);
}

void setUpEnvironment(const ProbeOptions& options) {
    std::string preload = preloadWord(probeLibrary());
    const char* const others = getenv(kPreload);
    if (others != nullptr && *others != 0) preload += std::string(":") + others;
    setenv(kPreload, preload.c_str(), 1);
    setenv(kProbeVariable, textOf(options).c_str(), 1);
}

int launch(const ProbeOptions& options, const Words& command) {
    std::string path;
    if (const auto refusal = findProgram(command[0], path)) return refuse(*refusal);
    if (const auto refusal = refusalOf(path)) return refuse(*refusal);
    if (!options.name.empty() && blockRuns(runFolder() + "/" + options.name + kBlockEnding))
        fail("a process that runs is called '{}' already; choose another --name", options.name);
    setUpEnvironment(options);
    if (options.flight != 0) return accompany(path, command);
    become(path, command);
}

}  // namespace pcsim::probe
