// Looking at a program's file: its word size, how it is linked, whose rights it runs with.
#include "probe/program_file.h"

#include <elf.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace pcsim::probe {

namespace {

constexpr int kNotFound = 127;
constexpr int kCannotRun = 126;
constexpr int kMostScripts = 4;  // interpreters that are scripts themselves, as for the kernel
constexpr size_t kBeginning = 256;

bool isFile(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::string quoted(const std::string& path) {
    return "'" + path + "'";
}

std::string beginningOf(const std::string& path, size_t size) {
    std::ifstream file(path, std::ios::binary);
    std::string text(size, '\0');
    file.read(text.data(), static_cast<std::streamsize>(size));
    text.resize(static_cast<size_t>(file.gcount()));
    return text;
}

// Whether a 32-bit program asks for the dynamic linker.
bool isDynamic(const std::string& path, const Elf32_Ehdr& header) {
    std::ifstream file(path, std::ios::binary);
    for (int i = 0; i < header.e_phnum; ++i) {
        Elf32_Phdr segment;
        file.seekg(static_cast<std::streamoff>(header.e_phoff) +
                   std::streamoff{i} * header.e_phentsize);
        if (!file.read(reinterpret_cast<char*>(&segment), sizeof segment)) return false;
        if (segment.p_type == PT_INTERP) return true;
    }
    return false;
}

// Programs that run with more rights than their user get no library preloaded by him.
bool takesOthersRights(const std::string& path, const struct stat& status) {
    if ((status.st_mode & S_ISUID) != 0 && status.st_uid != getuid()) return true;
    if ((status.st_mode & S_ISGID) != 0 && status.st_gid != getgid()) return true;
    return getuid() != 0 && getxattr(path.c_str(), "security.capability", nullptr, 0) > 0;
}

std::optional<Refusal> refusalOfElf(const std::string& path, const std::string& beginning) {
    Elf32_Ehdr header{};
    memcpy(&header, beginning.data(), std::min(sizeof header, beginning.size()));
    if (header.e_ident[EI_CLASS] == ELFCLASS64)
        return Refusal{quoted(path) +
                           " is a 64-bit program; the platform library and its probe "
                           "are for 32-bit ones",
                       kCannotRun};
    if (header.e_ident[EI_CLASS] != ELFCLASS32 || header.e_machine != EM_386 ||
        (header.e_type != ET_EXEC && header.e_type != ET_DYN))
        return Refusal{
            quoted(path) + " is no program for this processor; expected a 32-bit i386 one",
            kCannotRun};
    if (!isDynamic(path, header))
        return Refusal{quoted(path) +
                           " is statically linked: nothing can be preloaded into it; "
                           "link it dynamically",
                       kCannotRun};
    return std::nullopt;
}

// The program that the kernel starts for a script.
std::string interpreterOf(const std::string& beginning) {
    constexpr const char* kBlanks = " \t";
    const std::string line = beginning.substr(2, beginning.find('\n') - 2);
    const size_t start = std::min(line.find_first_not_of(kBlanks), line.size());
    return line.substr(start, line.find_first_of(kBlanks, start) - start);
}

std::optional<Refusal> lookAt(const std::string& path, int scripts) {
    const auto cannotRun = [&](const std::string& why) {
        return Refusal{quoted(path) + " " + why, kCannotRun};
    };
    struct stat status;
    if (stat(path.c_str(), &status) != 0)
        return Refusal{quoted(path) + ": there is no such program", kNotFound};
    if (!S_ISREG(status.st_mode)) return cannotRun("is no program: it is no file");
    if (access(path.c_str(), X_OK) != 0)
        return cannotRun("is not executable; 'chmod +x' makes it so");
    if (takesOthersRights(path, status))
        return cannotRun(
            "runs with rights of its own (set-user-ID, set-group-ID or capabilities): nothing can "
            "be preloaded into it; start a copy without them");
    const std::string beginning = beginningOf(path, kBeginning);
    if (beginning.starts_with(ELFMAG)) return refusalOfElf(path, beginning);
    if (!beginning.starts_with("#!"))
        return cannotRun("is no program: neither a 32-bit one nor a script");
    if (scripts == kMostScripts) return cannotRun("is a script of scripts");
    auto refusal = lookAt(interpreterOf(beginning), scripts + 1);
    if (refusal)
        refusal->why = quoted(path) + " is a script, and " + refusal->why +
                       (scripts == 0 ? "; start the 32-bit program itself" : "");
    return refusal;
}

}  // namespace

std::optional<Refusal> findProgram(const std::string& command, std::string& path) {
    const Refusal missing{quoted(command) + ": there is no such program", kNotFound};
    if (command.find('/') != command.npos) {
        path = command;
        return access(path.c_str(), F_OK) == 0 ? std::nullopt : std::optional(missing);
    }
    const char* const variable = getenv("PATH");
    const std::string places = variable != nullptr ? variable : "/bin:/usr/bin";
    for (size_t at = 0; at <= places.size();) {
        const size_t end = std::min(places.find(':', at), places.size());
        const std::string folder = places.substr(at, end - at);
        path = (folder.empty() ? "." : folder) + "/" + command;
        if (isFile(path) && access(path.c_str(), X_OK) == 0) return std::nullopt;
        at = end + 1;
    }
    if (isFile(command))
        return Refusal{quoted(command) + ": there is no such program in PATH; './" + command +
                           "' is the one in this folder",
                       kNotFound};
    return missing;
}

std::optional<Refusal> refusalOf(const std::string& path) {
    return lookAt(path, 0);
}

}  // namespace pcsim::probe
