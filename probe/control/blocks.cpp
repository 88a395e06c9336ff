// Finding, reading and removing control blocks.
#include "probe/control/blocks.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "console/error.h"
#include "console/text.h"
#include "probe/control/process.h"

namespace pcsim::probe {

namespace {

constexpr size_t kMostName = 60;
constexpr size_t kKeptFlights = 16;  // of processes that have ended

std::string nameOf(const std::string& file) {
    return file.substr(0, file.size() - (sizeof kBlockEnding - 1));
}

// The words of a file, at least those of a header: what isn't there, or not wanted, is 0.
std::vector<uint64_t> readWords(const std::string& path, BlockCopy::Extent extent, size_t& got) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (file < 0) fail("{} can't be read: {}", path, strerror(errno));
    struct stat status;
    const bool regular = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    const size_t there = regular ? static_cast<size_t>(status.st_size) : 0;
    const size_t wanted =
        extent == BlockCopy::kAbout ? std::min(there, offsetof(BlockHeader, open)) : there;
    std::vector<uint64_t> words(std::max(wanted, sizeof(BlockHeader)) / sizeof(uint64_t) + 1);
    const ssize_t size = read(file, words.data(), wanted);
    close(file);
    got = size == static_cast<ssize_t>(wanted) ? there : 0;
    return words;
}

// Names of the files that may be blocks, sorted.
std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> files;
    DIR* const all = opendir(folder.c_str());
    if (all == nullptr) return files;
    while (const dirent* const entry = readdir(all)) {
        const std::string name = entry->d_name;
        if (name.ends_with(kBlockEnding)) files.push_back(name);
    }
    closedir(all);
    std::ranges::sort(files);
    return files;
}

bool isNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

}  // namespace

BlockCopy::BlockCopy(const std::string& path, Extent extent) : path_(path) {
    size_t size = 0;
    words_ = readWords(path, extent, size);
    constexpr size_t kKnown = offsetof(BlockHeader, pid);
    if (size < kKnown || memcmp(header().magic, kBlockMagic, sizeof kBlockMagic) != 0)
        fail("{} is no control block", path);
    if (header().version != kBlockVersion || header().headerSize != sizeof(BlockHeader) ||
        header().siteSize != sizeof(SiteRow) || header().entrySize != sizeof(FlightEntry))
        fail("the control block {} is of another version of the probe; use that one's pcsim-probe",
             path);
    if (size < sizeof(BlockHeader) || header().flightSize > kMostFlight ||
        header().fileSize != blockSize(header().flightSize) || size < header().fileSize)
        fail("the control block {} is cut short", path);
}

uint32_t BlockCopy::siteCount() const {
    return std::min(header().sites.load(), kMostSites);
}

bool BlockCopy::runs() const {
    const uint64_t start = startOf(header().pid);
    return start != 0 && start == header().start;
}

std::string BlockCopy::name() const {
    return nameOf(path_.substr(path_.rfind('/') + 1));
}

std::string BlockCopy::program() const {
    return printable(textOf(header().program));
}

std::string BlockCopy::library() const {
    return printable(textOf(header().library));
}

void checkBlockName(const std::string& name) {
    const auto allowed = [](unsigned char c) {
        return isalnum(c) != 0 || strchr("-_.", c) != nullptr;
    };
    if (!name.empty() && name.size() <= kMostName && std::ranges::all_of(name, allowed) &&
        name[0] != '.' && name[0] != '-' && !isNumber(name))
        return;
    fail(
        "'{}' can't be a name; expected letters, digits, '-', '_' and '.', at most {}, and not "
        "digits alone",
        shown(name), kMostName);
}

std::vector<BlockCopy> blocksIn(const std::string& folder) {
    std::vector<BlockCopy> blocks;
    for (const std::string& file : filesIn(folder)) {
        try {
            blocks.emplace_back(folder + "/" + file, BlockCopy::kAbout);
        } catch (const CommandError&) {  // another version's, or not ours at all
            continue;
        }
    }
    return blocks;
}

BlockCopy blockOf(const std::string& folder, const std::string& nameOrPid) {
    if (!isNumber(nameOrPid) && nameOrPid.find('/') == nameOrPid.npos) {
        const std::string path = folder + "/" + nameOrPid + kBlockEnding;
        if (access(path.c_str(), F_OK) == 0) return BlockCopy(path);
    }
    std::string names;
    for (const BlockCopy& block : blocksIn(folder)) {
        if (std::to_string(block.header().pid) == nameOrPid) return BlockCopy(block.path());
        names += (names.empty() ? "" : ", ") + block.name();
    }
    fail(
        "there is no probed process '{}'; {}", shown(nameOrPid),
        names.empty() ? "there is none; 'pcsim-probe -- PROGRAM' starts one" : "there is " + names);
}

bool blockRuns(const std::string& path) {
    try {
        return BlockCopy(path, BlockCopy::kAbout).runs();
    } catch (const CommandError&) {
        return false;
    }
}

void removeStaleBlocks(const std::string& folder) {
    std::vector<BlockCopy> flights;
    for (BlockCopy& block : blocksIn(folder)) {
        if (block.runs()) continue;
        if (block.header().flightSize == 0)
            unlink(block.path().c_str());
        else
            flights.push_back(std::move(block));
    }
    if (flights.size() <= kKeptFlights) return;
    std::ranges::stable_sort(flights, std::ranges::greater{},
                             [](const BlockCopy& block) { return block.header().startedAt; });
    for (size_t i = kKeptFlights; i < flights.size(); ++i) unlink(flights[i].path().c_str());
}

}  // namespace pcsim::probe
