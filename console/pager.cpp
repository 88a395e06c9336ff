// Running the user's pager.
#include "console/pager.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>

namespace pcsim {

namespace {

// A descriptor of its own that is closed with its owner.
struct Descriptor {
    int number = -1;
    Descriptor() = default;
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    void close() {
        if (number >= 0) ::close(number);
        number = -1;
    }
};

bool installed(const std::string& program) {
    const char* const path = std::getenv("PATH");
    std::string_view rest = path != nullptr ? path : "/usr/bin:/bin";
    while (!rest.empty()) {
        const size_t end = std::min(rest.find(':'), rest.size());
        if (access((std::string(rest.substr(0, end)) + "/" + program).c_str(), X_OK) == 0)
            return true;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return false;
}

std::string chosenCommand() {
    for (const char* name : {"PCSIM_PAGER", "PAGER"})
        if (const char* const command = std::getenv(name))
            return std::string_view(command) == "cat" ? "" : command;
    // Colours as they are, no page that fits, and the text stays on the screen behind it.
    if (installed("less")) return "less -FRX";
    return installed("more") ? "more" : "";
}

// The text as a file that is nowhere, from its begin.
bool fill(Descriptor& file, const std::string& text) {
    file.number = memfd_create("pcsim", MFD_CLOEXEC);
    if (file.number < 0) return false;
    for (size_t at = 0; at < text.size();) {
        const ssize_t size = write(file.number, text.data() + at, text.size() - at);
        if (size <= 0) return false;
        at += static_cast<size_t>(size);
    }
    return lseek(file.number, 0, SEEK_SET) == 0;
}

// The pager with the text as its input; it holds 'alive' open as long as it lives.
pid_t start(const std::string& command, int text, int output, int alive) {
    constexpr int kAlive = 3;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, text, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, alive, kAlive);
    const char* const words[] = {"sh", "-c", command.c_str(), nullptr};
    pid_t child = -1;
    if (posix_spawn(&child, "/bin/sh", &actions, nullptr, const_cast<char* const*>(words),
                    environ) != 0)
        child = -1;
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

}  // namespace

Pager::Pager(Surroundings& surroundings, const Output& output)
    : surroundings_(surroundings), output_(output), command_(chosenCommand()) {}

bool Pager::fits(const std::string& text) const {
    winsize size{};
    const bool known = ioctl(output_.descriptor(), TIOCGWINSZ, &size) == 0 && size.ws_row != 0;
    return !known || std::count(text.begin(), text.end(), '\n') < size.ws_row;
}

// Ctrl-C is the pager's, which gets it from the terminal as well.
void Pager::waitForEnd(int child, int ending) {
    while (!surroundings_.waitReadable(ending)) {
        if (surroundings_.terminated()) {
            kill(child, SIGTERM);
            break;
        }
        surroundings_.forgetInterrupt();
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
}

bool Pager::show(const std::string& text) {
    if (command_.empty() || fits(text)) return false;
    Descriptor file, ending, alive;
    int ends[2];
    if (!fill(file, text) || pipe2(ends, O_CLOEXEC) != 0) return false;
    ending.number = ends[0];
    alive.number = ends[1];
    const pid_t child = start(command_, file.number, output_.descriptor(), alive.number);
    alive.close();
    if (child < 0) return false;
    waitForEnd(child, ending.number);
    return true;
}

}  // namespace pcsim
