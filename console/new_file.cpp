// Making files without a name, and giving them one.
#include "console/new_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace pcsim {

namespace {

constexpr int kMostNames = 1000;

// The rights of the file that is replaced, or those that a new one gets.
mode_t modeOf(const struct stat& status, bool exists) {
    if (exists) return status.st_mode & 07777;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

std::string targetOf(const std::string& path) {
    char resolved[PATH_MAX];
    return realpath(path.c_str(), resolved) != nullptr ? resolved : path;
}

std::string folderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, std::max<size_t>(slash, 1));
}

// Where a file without a name can be reached to be given one.
std::string linkOf(int file) {
    return "/proc/self/fd/" + std::to_string(file);
}

int openWithoutName(const std::string& folder) {
    const int file = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file < 0 || access(linkOf(file).c_str(), F_OK) == 0) return file;
    close(file);
    return -1;
}

int giveName(int file, const std::string& name) {
    const std::string link = linkOf(file);
    return linkat(AT_FDCWD, link.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0
                                                                                          : errno;
}

// Removes what a process has left that was killed on the last step: whoever is still on it holds a
// lock.
bool removeLeft(const std::string& name) {
    const int file = open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (file < 0) return false;
    struct stat held {
    }, named{};
    const bool left = flock(file, LOCK_EX | LOCK_NB) == 0 && fstat(file, &held) == 0 &&
                      lstat(name.c_str(), &named) == 0 && held.st_ino == named.st_ino &&
                      unlink(name.c_str()) == 0;
    close(file);
    return left;
}

}  // namespace

bool isReplaceable(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

NewFile::~NewFile() {
    if (file_ >= 0) close(file_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
}

int NewFile::open(const std::string& path) {
    target_ = targetOf(path);
    struct stat status {};
    const bool exists = stat(target_.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode)) return S_ISDIR(status.st_mode) ? EISDIR : ENODEV;
    file_ = openWithoutName(folderOf(target_));
    if (file_ < 0) {
        std::string name = target_ + ".XXXXXX";
        file_ = mkostemp(name.data(), O_CLOEXEC);
        if (file_ < 0) return errno;
        temporary_ = name;
    }
    return fchmod(file_, modeOf(status, exists)) == 0 ? 0 : errno;
}

// One of its own beside the target's, as only rename() puts a file where another one is.
int NewFile::takeName() {
    flock(file_, LOCK_EX | LOCK_NB);
    int error = EEXIST;
    for (int number = 1; error == EEXIST && number <= kMostNames; ++number) {
        temporary_ = target_ + ".pcsim-new-" + std::to_string(number);
        error = giveName(file_, temporary_);
        if (error == EEXIST && removeLeft(temporary_)) error = giveName(file_, temporary_);
    }
    if (error != 0) temporary_.clear();
    return error;
}

int NewFile::place() {
    if (temporary_.empty()) {
        // Where there is none yet, it needs no other name before.
        int error = giveName(file_, target_);
        if (error == 0) return 0;
        if (error == EEXIST) error = takeName();
        if (error != 0) return error;
    }
    if (rename(temporary_.c_str(), target_.c_str()) != 0) return errno;
    temporary_.clear();
    flock(file_, LOCK_UN);
    return 0;
}

int NewFile::keep() {
    if (fsync(file_) != 0) return errno;
    if (const int error = place()) return error;
    // The name is on the disk, too, once its folder is; one that can't be asked has it anyway.
    const int folder = ::open(folderOf(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        fsync(folder);
        close(folder);
    }
    return 0;
}

int NewFile::release() {
    const int file = file_;
    file_ = -1;
    return file;
}

}  // namespace pcsim
