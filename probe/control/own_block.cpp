// Making the control block of this process, and serving its mailbox.
#include "probe/control/own_block.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "console/error.h"
#include "console/run_folder.h"
#include "probe/control/blocks.h"
#include "probe/control/process.h"

namespace pcsim::probe {

namespace {

template <size_t size>
void store(char (&field)[size], std::string_view text) {
    const size_t length = std::min(text.size(), size - 1);
    memcpy(field, text.data(), length);
    field[length] = 0;
}

std::string programPath() {
    char path[256];
    const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
    return {path, static_cast<size_t>(std::max<ssize_t>(size, 0))};
}

std::string ownName(const std::string& program) {
    const std::string base = program.substr(program.rfind('/') + 1);
    return base.substr(0, 40) + "-" + std::to_string(getpid());
}

// Memory of a new file. All of it is taken at once: a full disk is told here and isn't a signal in
// the middle of a call.
BlockHeader* mapNew(const std::string& path, size_t size) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0) fail("the control block {} can't be made: {}", path, strerror(errno));
    const int problem = posix_fallocate(file, 0, static_cast<off_t>(size));
    void* const memory = problem != 0
                             ? MAP_FAILED
                             : mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    const int error = problem != 0 ? problem : errno;
    close(file);
    if (memory != MAP_FAILED) return static_cast<BlockHeader*>(memory);
    unlink(path.c_str());
    fail("there is no room for the control block {}: {}", path, strerror(error));
}

void fill(BlockHeader& block, const std::string& name, const std::string& program,
          uint32_t flightSize) {
    memcpy(block.magic, kBlockMagic, sizeof block.magic);
    block.version = kBlockVersion;
    block.headerSize = sizeof(BlockHeader);
    block.siteSize = sizeof(SiteRow);
    block.entrySize = sizeof(FlightEntry);
    block.fileSize = blockSize(flightSize);
    block.pid = getpid();
    block.start = startOf(getpid());
    block.startedAt = static_cast<uint64_t>(time(nullptr));
    block.flightSize = flightSize;
    store(block.name, name);
    store(block.program, program);
}

}  // namespace

OwnBlock::OwnBlock(const std::string& given, uint32_t flightSize) {
    const std::string folder = runFolder(), program = programPath();
    const std::string name = given.empty() ? ownName(program) : given;
    checkBlockName(name);
    removeStaleBlocks(folder);
    path_ = folder + "/" + name + kBlockEnding;
    const std::string making = path_ + "." + std::to_string(getpid());
    unlink(making.c_str());
    block_ = mapNew(making, blockSize(flightSize));
    fill(*block_, name, program, flightSize);
    // A block of that name is seen whole or not at all, and one of two that start together has it.
    bool placed = link(making.c_str(), path_.c_str()) == 0;
    const bool runs = !placed && errno == EEXIST && blockRuns(path_);
    if (!placed && !runs) placed = rename(making.c_str(), path_.c_str()) == 0;
    const int error = errno;
    unlink(making.c_str());
    if (placed) return;
    munmap(block_, blockSize(flightSize));
    if (runs) fail("a process that runs is called '{}' already; choose another --name", name);
    fail("the control block {} can't be made: {}", path_, strerror(error));
}

OwnBlock::~OwnBlock() {
    munmap(block_, block_->fileSize);
}

SiteRow* OwnBlock::addSite(const Site& site) {
    const std::lock_guard lock(adding_);
    const uint32_t index = block_->sites.load(std::memory_order_relaxed);
    if (index == kMostSites) {
        block_->sitesLeftOut.fetch_add(1, std::memory_order_relaxed);
        return nullptr;
    }
    SiteRow& row = sitesOf(block_)[index];
    store(row.name, site.name);
    store(row.function, site.function != nullptr ? site.function->name : "");
    nameWord(row, site);
    row.side = static_cast<uint32_t>(site.side);
    block_->sites.store(index + 1, std::memory_order_release);
    return &row;
}

SiteRow* OwnBlock::rowOf(const Site& site) {
    const uint32_t index = rowIndex(block_, site);
    return index < kMostSites ? &sitesOf(block_)[index] : nullptr;
}

void OwnBlock::nameWord(SiteRow& row, const Site& site) {
    store(row.word, site.word);
    store(row.table, site.table);
}

void OwnBlock::foundLibrary(const std::string& path) {
    store(block_->library, path);
}

void OwnBlock::end() {
    if (ours()) block_->ended.store(1, std::memory_order_release);
}

bool OwnBlock::ours() const {
    return block_->pid == getpid();
}

const volatile uint32_t* OwnBlock::flag() const {
    static_assert(sizeof(block_->mailbox.flag) == sizeof(uint32_t));
    return reinterpret_cast<const volatile uint32_t*>(&block_->mailbox.flag);
}

void OwnBlock::serve(const std::function<Answer(const std::string& request)>& answer) {
    Mailbox& box = block_->mailbox;
    uint32_t asked = Mailbox::kAsked;
    // Another thread serves it, its client has taken it back, or this is a child.
    if (!ours() || !box.flag.compare_exchange_strong(asked, Mailbox::kServing)) return;
    Answer given;
    try {
        const size_t size = std::min<size_t>(box.requestSize, sizeof box.request);
        given = answer(std::string(box.request, size));
    } catch (const std::exception& problem) {
        given = {true, problem.what()};
    }
    constexpr std::string_view cut = "\n(the answer is longer than fits here)\n";
    if (given.text.size() > sizeof box.answer)
        given.text.replace(sizeof box.answer - cut.size(), given.text.npos, cut);
    memcpy(box.answer, given.text.data(), given.text.size());
    box.answerSize = static_cast<uint32_t>(given.text.size());
    box.failed = given.failed ? 1 : 0;
    box.answered.store(box.asked.load());
    box.flag.store(Mailbox::kEmpty, std::memory_order_release);
}

}  // namespace pcsim::probe
