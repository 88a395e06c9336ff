// Processes, as /proc tells of them.
#include "probe/control/process.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>

#include "console/text.h"

namespace pcsim::probe {

uint64_t startIn(const std::string& line) {
    constexpr int kState = 3, kStart = 22;  // fields, from 1
    // The second field is the program's name in parentheses, with whatever it has in it.
    const size_t behind = line.rfind(") ");
    if (behind == line.npos) return 0;
    std::string_view rest = std::string_view(line).substr(behind + 2);
    for (int field = kState; field < kStart; ++field) {
        const std::string_view word = takeWord(rest);
        if (field == kState && (word == "Z" || word == "X")) return 0;
    }
    const std::string_view word = takeWord(rest);
    uint64_t start = 0;
    std::from_chars(word.data(), word.data() + word.size(), start);
    return start;
}

uint64_t startOf(pid_t pid) {
    const std::string path = "/proc/" + std::to_string(pid) + "/stat";
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return 0;
    char text[1024];
    const ssize_t size = read(file, text, sizeof text);
    close(file);
    return size > 0 ? startIn(std::string(text, static_cast<size_t>(size))) : 0;
}

}  // namespace pcsim::probe
