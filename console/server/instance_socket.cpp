// Making and removing an instance's socket.
#include "console/server/instance_socket.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "console/error.h"
#include "console/text.h"

namespace pcsim {

namespace {

constexpr const char* kEarlyEnding = ".new";  // of a socket that does not listen yet
constexpr int kMostTries = 100;
constexpr std::string_view kLockEnding = ".lock";
constexpr std::string_view kNamelessBegin = "pcsim-";  // and a number

// Whether the open file is still the one that the path leads to.
bool isAt(int file, const std::string& path) {
    struct stat open, named;
    return fstat(file, &open) == 0 && stat(path.c_str(), &named) == 0 &&
           open.st_ino == named.st_ino && open.st_dev == named.st_dev;
}

// Held by who looks whether locks are free, so that nobody takes that for the lock of a name.
class FolderLock {
public:
    FolderLock(const std::string& folder, int how)
        : folder_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
          held_(folder_ >= 0 && flock(folder_, how) == 0) {}
    ~FolderLock() {
        if (folder_ >= 0) close(folder_);
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    bool held() const { return held_; }

private:
    int folder_;
    bool held_;
};

bool isSocket(const std::string& path) {
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

// Whether the lock of that name is an instance's: others may keep locks in the folder, too.
bool isOfInstance(const std::string& folder, const std::string& name) {
    if (!nameProblem(name).empty()) return false;
    const std::string socket = folder + "/" + name + kSocketEnding;
    if (isSocket(socket) || isSocket(socket + kEarlyEnding)) return true;
    const std::string_view rest =
        std::string_view(name).substr(std::min(name.size(), kNamelessBegin.size()));
    return name.starts_with(kNamelessBegin) && !rest.empty() &&
           rest.find_first_not_of("0123456789-") == rest.npos;
}

// Removes the socket and the lock of a name that nobody has any more.
void removeIfStale(const std::string& folder, const std::string& name) {
    const std::string socket = folder + "/" + name + kSocketEnding;
    const std::string lock = folder + "/" + name + std::string(kLockEnding);
    const int file = open(lock.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (file < 0) return;
    if (flock(file, LOCK_EX | LOCK_NB) == 0 && isAt(file, lock)) {
        unlink((socket + kEarlyEnding).c_str());
        unlink(socket.c_str());
        unlink(lock.c_str());
    }
    close(file);
}

// One that was killed has left its socket, and its name need not come again.
void removeStale(const std::string& folder) {
    const FolderLock alone(folder, LOCK_EX | LOCK_NB);
    DIR* const all = alone.held() ? opendir(folder.c_str()) : nullptr;
    if (all == nullptr) return;  // somebody else does it
    std::vector<std::string> names;
    while (const dirent* const entry = readdir(all)) {
        const std::string_view file = entry->d_name;
        if (file.ends_with(kLockEnding))
            names.emplace_back(file.substr(0, file.size() - kLockEnding.size()));
    }
    closedir(all);
    for (const std::string& name : names)
        if (isOfInstance(folder, name)) removeIfStale(folder, name);
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        fail(
            "the name of the socket {} is longer than {} bytes; PCSIM_RUN_DIR names a folder with "
            "a shorter one",
            path, sizeof address.sun_path - 1);
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

}  // namespace

std::string nameProblem(const std::string& name) {
    const auto isLetter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    };
    const bool fits = !name.empty() && name.size() <= kLongestName && isLetter(name[0]) &&
                      std::ranges::all_of(name, [&](char c) {
                          return isLetter(c) || c == '.' || c == '_' || c == '-';
                      });
    if (fits) return "";
    return fmt::format(
        "'{}' is no name of an instance; expected up to {} letters, digits, '.', '_' and '-', the "
        "first a letter or digit",
        shown(name), kLongestName);
}

InstanceSocket::InstanceSocket(std::string folder, std::string name)
    : InstanceSocket(Nothing(), std::move(folder)) {
    name_ = std::move(name);
    if (const std::string problem = nameProblem(name_); !problem.empty()) failUsage("{}", problem);
    removeStale(folder_);
    if (!lock()) fail("an instance named '{}' runs already; expected another --name", name_);
    listenHere();
}

InstanceSocket::InstanceSocket(std::string folder) : InstanceSocket(Nothing(), std::move(folder)) {
    const std::string base = std::string(kNamelessBegin) + std::to_string(getpid());
    name_ = base;
    removeStale(folder_);
    // Another process with this id can live where processes are counted anew.
    for (int number = 2; !lock(); ++number) {
        if (number > kMostTries)
            fail("the names {} to {} are taken; expected a --name", base, name_);
        name_ = base + "-" + std::to_string(number);
    }
    listenHere();
}

// Whether the name is ours from now on.
bool InstanceSocket::lock() {
    if (lockFile()) return true;
    const FolderLock nobodyLooks(folder_, LOCK_EX);
    return lockFile();
}

bool InstanceSocket::lockFile() {
    path_ = folder_ + "/" + name_ + kSocketEnding;
    lockPath_ = folder_ + "/" + name_ + std::string(kLockEnding);
    for (;;) {
        lock_ = open(lockPath_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (lock_ < 0) fail("{} can't be made: {}", lockPath_, std::strerror(errno));
        const bool locked = flock(lock_, LOCK_EX | LOCK_NB) == 0;
        // One that ended meanwhile has taken its file away: the next is another.
        if (locked && isAt(lock_, lockPath_)) return true;
        close(lock_);
        lock_ = -1;
        if (!locked) return false;
    }
}

// The socket gets its name when it listens already.
void InstanceSocket::listenHere() {
    const std::string early = path_ + kEarlyEnding;
    unlink(early.c_str());
    const sockaddr_un address = addressOf(early);
    socket_ = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    const auto* const plain = reinterpret_cast<const sockaddr*>(&address);
    if (socket_ < 0 || bind(socket_, plain, sizeof address) != 0 ||
        chmod(early.c_str(), 0600) != 0 || listen(socket_, SOMAXCONN) != 0 ||
        rename(early.c_str(), path_.c_str()) != 0) {
        const int error = errno;
        unlink(early.c_str());  // and the destructor does the rest
        fail("the socket {} can't be made: {}", path_, std::strerror(error));
    }
}

InstanceSocket::~InstanceSocket() {
    if (lock_ < 0) return;
    unlink(path_.c_str());
    if (socket_ >= 0) close(socket_);
    unlink(lockPath_.c_str());
    close(lock_);
}

}  // namespace pcsim
