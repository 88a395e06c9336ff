// Keeping lines in a file. Each is added when it is typed, so that prompts beside each other lose
// nothing of each other's.
#include "console/history.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>  // readline wants it before its own

#include <readline/history.h>

#include <cstdlib>

namespace pcsim {

namespace {

constexpr int kHistoryLines = 1000;

std::string folderOf(const char* variable) {
    const char* const folder = std::getenv(variable);
    return folder == nullptr || *folder != '/' ? "" : folder;
}

// Where it was always kept.
std::string homeFile() {
    const std::string home = folderOf("HOME");
    return home.empty() ? "" : home + "/.pcsim_history";
}

// The file for all prompts, in a folder of its own where users keep such things in one.
std::string stateFile() {
    const std::string state = folderOf("XDG_STATE_HOME");
    if (state.empty()) return homeFile();
    mkdir(state.c_str(), 0700);
    mkdir((state + "/pcsim").c_str(), 0700);
    return state + "/pcsim/history";
}

}  // namespace

History::History() : path_(stateFile()) {
    using_history();
    clear_history();
    stifle_history(kHistoryLines);
    const bool kept = !path_.empty() && access(path_.c_str(), F_OK) == 0;
    const std::string from = kept ? path_ : homeFile();
    if (!from.empty()) read_history(from.c_str());
    if (path_.empty()) return;
    if (!kept || history_length < kHistoryLines) {
        const int file = open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (file >= 0) close(file);
    } else {
        history_truncate_file(path_.c_str(), kHistoryLines);
    }
}

void History::add(const std::string& line) {
    if (line.find_first_not_of(" \t") == std::string::npos) return;
    const HIST_ENTRY* const last =
        history_length == 0 ? nullptr : history_get(history_base + history_length - 1);
    if (last != nullptr && line == last->line) return;
    add_history(line.c_str());
    if (!path_.empty()) append_history(1, path_.c_str());
}

}  // namespace pcsim
