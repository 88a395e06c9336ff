// The record of a run, and what the process still holds behind it.
#include "tests/platform/failure/run.h"

#include <dirent.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "tests/support/host.h"
#include "tests/support/libc.h"

namespace pcsim::test {

MemoryFile::MemoryFile() : descriptor_(memfd_create("printed", 0)) {}

MemoryFile::~MemoryFile() {
    close(descriptor_);
}

void MemoryFile::replace(int descriptor) const {
    dup2(descriptor_, descriptor);
}

std::string MemoryFile::next() {
    std::fflush(stdout);
    std::string text;
    char piece[4096];
    for (ssize_t size; (size = pread(descriptor_, piece, sizeof piece, read_)) > 0; read_ += size)
        text.append(piece, static_cast<size_t>(size));
    return text;
}

std::string MemoryFile::path() const {
    return "/proc/self/fd/" + std::to_string(descriptor_);
}

void MemoryFile::write(const std::string& text) const {
    for (size_t at = 0; at < text.size();) {
        const ssize_t size = ::write(descriptor_, text.data() + at, text.size() - at);
        if (size <= 0) return;
        at += static_cast<size_t>(size);
    }
}

std::string Run::state() {
    if (scenario_.state == nullptr) return "";
    scenario_.state();
    return printed_.next();
}

int32_t Run::step(const std::string& name, const std::function<int32_t()>& action) {
    std::snprintf(progress_.step, sizeof progress_.step, "%s", name.c_str());
    const std::string before = state();
    host().calls.clear();
    host().incidents.clear();
    const int32_t result = action();
    note(name + " = " + std::to_string(result));
    for (const std::string& call : host().calls) note("  calls " + call);
    for (const std::string& text : host().incidentTexts()) note("  tells " + text);
    if (const std::string text = printed_.next(); !text.empty()) note("  prints " + text);
    if (result < 0 && state() != before) changedByFailures_.push_back(name);
    return result;
}

namespace {

int descriptorsNow() {
    DIR* const folder = opendir("/proc/self/fd");
    int count = 0;
    while (readdir(folder) != nullptr) ++count;
    closedir(folder);
    return count;
}

}  // namespace

Kept keptNow() {
    Kept kept;
    for (const auto& [block, size] : *libc().blockSizes) kept.blocks.insert(size);
    kept.descriptors = descriptorsNow();
    return kept;
}

std::multiset<size_t> since(const std::multiset<size_t>& before, const std::multiset<size_t>& now) {
    std::multiset<size_t> more;
    std::set_difference(now.begin(), now.end(), before.begin(), before.end(),
                        std::inserter(more, more.end()));
    return more;
}

}  // namespace pcsim::test
