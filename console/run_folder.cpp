// The folder of control blocks: found, made, and looked at before it is trusted.
#include "console/run_folder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "console/error.h"

namespace pcsim {

namespace {

const char* setVariable(const char* name) {
    const char* const value = getenv(name);
    return value != nullptr && *value != 0 ? value : nullptr;
}

std::string folderName() {
    if (const char* const folder = setVariable("PCSIM_RUN_DIR")) return folder;
    if (const char* const folder = setVariable("XDG_RUNTIME_DIR"))
        return std::string(folder) + "/pcsim";
    const char* const temporary = setVariable("TMPDIR");
    return std::string(temporary != nullptr ? temporary : "/tmp") + "/pcsim-" +
           std::to_string(getuid());
}

}  // namespace

std::string runFolder() {
    const std::string folder = folderName();
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST)
        fail("the folder {} can't be made: {}; PCSIM_RUN_DIR names another", folder,
             strerror(errno));
    struct stat found;
    if (lstat(folder.c_str(), &found) != 0 || !S_ISDIR(found.st_mode))
        fail("{} is no folder; PCSIM_RUN_DIR names another", folder);
    if (found.st_uid != getuid())
        fail("the folder {} is another user's; PCSIM_RUN_DIR names another", folder);
    if ((found.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        fail(
            "others may write into the folder {}; 'chmod 700' it, or name another in PCSIM_RUN_DIR",
            folder);
    return folder;
}

}  // namespace pcsim
