// Enters a private network namespace, as root or in a user namespace.
#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "lab/lab.h"

namespace pcsim::lab {
namespace {

Problem cannot(const std::string& why) {
    return "cannot make a network namespace: " + why;
}

bool writeFile(const char* path, const std::string& text) {
    const int file = open(path, O_WRONLY | O_CLOEXEC);
    if (file < 0) return false;
    const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const int error = errno;
    close(file);
    errno = error;
    return written;
}

// A setting of the kernel that forbids user namespaces, with the command that allows them.
Problem forbiddance() {
    static constexpr struct {
        const char* path;
        const char* forbids;
        const char* remedy;
    } kSettings[] = {
        {"/proc/sys/kernel/unprivileged_userns_clone", "0",
         "sysctl kernel.unprivileged_userns_clone=1"},
        {"/proc/sys/kernel/apparmor_restrict_unprivileged_userns", "1",
         "sysctl kernel.apparmor_restrict_unprivileged_userns=0"},
        {"/proc/sys/user/max_user_namespaces", "0", "sysctl user.max_user_namespaces=1000"},
        {"/proc/sys/user/max_net_namespaces", "0", "sysctl user.max_net_namespaces=1000"},
    };
    for (const auto& setting : kSettings) {
        std::string value;
        std::ifstream(setting.path) >> value;
        if (value == setting.forbids)
            return cannot(std::string("this machine forbids it; run as root, or allow it: ") +
                          setting.remedy);
    }
    return std::nullopt;
}

// As root it takes more than another user.
bool startedAsRoot = false;

Problem refused(const char* step) {
    const int error = errno;
    if (error == EPERM || error == ENOSPC || error == EACCES) {
        if (auto why = forbiddance()) return why;
        return cannot(std::string("not permitted here (") + step + "); " +
                      (startedAsRoot ? "a container needs CAP_SYS_ADMIN" : "run as root"));
    }
    return cannot(std::string(step) + ": " + strerror(error));
}

// A user namespace in which this user is root, and its network.
Problem enterAsUser() {
    const std::string uid = "0 " + std::to_string(geteuid()) + " 1";
    const std::string gid = "0 " + std::to_string(getegid()) + " 1";
    if (unshare(CLONE_NEWUSER) < 0) return refused("unshare");
    if (!writeFile("/proc/self/setgroups", "deny")) return refused("setgroups");
    if (!writeFile("/proc/self/uid_map", uid)) return refused("uid_map");
    if (!writeFile("/proc/self/gid_map", gid)) return refused("gid_map");
    if (unshare(CLONE_NEWNET) < 0) return refused("unshare");
    return std::nullopt;
}

}  // namespace

Problem enterNamespace() {
    // A thread is a folder, which a link counts beside those of the folder itself.
    constexpr nlink_t kLinksOfOneThread = 3;
    struct stat tasks = {};
    if (stat("/proc/self/task", &tasks) == 0 && tasks.st_nlink > kLinksOfOneThread)
        return cannot("this process has threads already; enter before the first one starts");
    startedAsRoot = geteuid() == 0;
    if (startedAsRoot && unshare(CLONE_NEWNET) == 0) return std::nullopt;
    return enterAsUser();
}

}  // namespace pcsim::lab
