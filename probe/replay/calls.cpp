// Calls of the HAL into the library: the memory that they pass, their arguments, what comes back.
#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "probe/boundary/boundary.h"
#include "probe/replay/player.h"

namespace pcsim::probe {
namespace {

constexpr size_t kWords = 16;

// Any operation can be called with more words than it takes: the caller removes them.
uint64_t invoke(void* target, const uint32_t* w) {
    using Operation =
        uint64_t(uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t,
                 uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t);
    return reinterpret_cast<Operation*>(target)(w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7],
                                                w[8], w[9], w[10], w[11], w[12], w[13], w[14],
                                                w[15]);
}

}  // namespace

void* Player::targetOf(const RecordedSite& site) {
    // What a table or a timer was given is called there; a name is looked up.
    if (const uint32_t bound = pointers_.function(site.target))
        return reinterpret_cast<void*>(bound);
    Boundary& boundary = Boundary::instance();
    void* const found = dlsym(boundary.libraryHandle(), site.name.c_str());
    return found == nullptr ? nullptr : boundary.looksUp(site.name, found);
}

// Copies what the HAL passes, with its pointers as they are now.
void Player::copyIn(const RecordedBlock& block, uint8_t* place) {
    const RecordedPath& path = recording_.paths[block.path];
    std::memcpy(place, block.bytes.data(), block.bytes.size());
    if (path.type == nullptr) return;
    const Layout& layout = layoutOf(*path.type);
    if (layout.pointers.empty()) return;
    const uint32_t step = std::max(path.type->size, 1u);
    for (size_t begin = 0; begin < block.bytes.size(); begin += step) {
        for (const Layout::Pointer& each : layout.pointers) {
            const size_t offset = begin + each.offset;
            if (offset + 4 > block.bytes.size()) continue;
            const uint32_t now = pointers_.given(*each.type, wordAt(&block.bytes[offset]));
            std::memcpy(place + offset, &now, sizeof now);
        }
    }
}

void Player::writeBlocks(const Event& from) {
    for (const RecordedBlock& block : from.blocks) {
        if (block.platform) continue;
        const RecordedPath& path = recording_.paths[block.path];
        const uint32_t place =
            pointers_.blockAt(block, path.type == nullptr ? nullptr : path.type->record);
        if (place != 0) copyIn(block, reinterpret_cast<uint8_t*>(place));
    }
}

// Memory that passes to the platform with the call, which frees it.
uint32_t Player::taken(const Event& call, uint32_t recorded) {
    for (const RecordedBlock& block : call.blocks) {
        if (block.address != recorded || recorded == 0) continue;
        auto* const copy = static_cast<uint8_t*>(std::malloc(block.bytes.size()));
        if (copy == nullptr) return 0;
        copyIn(block, copy);
        return reinterpret_cast<uint32_t>(copy);
    }
    return 0;
}

std::vector<uint32_t> Player::argumentsOf(const Event& call, const Function& function) {
    std::vector<uint32_t> words(call.arguments.begin(), call.arguments.end());
    words.resize(std::max(words.size(), kWords));
    for (size_t index = 0; index < function.parameters.size() && index < kWords; ++index) {
        const Parameter& parameter = function.parameters[index];
        if (parameter.type->kind != Kind::kPointer) continue;
        words[index] = parameter.semantics.taken ? taken(call, words[index])
                                                 : pointers_.given(*parameter.type, words[index]);
    }
    // Texts among the arguments of a format.
    for (size_t index = function.parameters.size(); index < call.arguments.size(); ++index)
        for (const RecordedBlock& block : call.blocks)
            if (block.address == words[index] && !block.platform)
                words[index] = pointers_.blockAt(block, nullptr);
    // Pointers in records that pass to the platform.
    for (const RecordedBlock& block : call.blocks) {
        const RecordedPath& path = recording_.paths[block.path];
        if (path.type == nullptr || block.platform) continue;
        for (const Layout::Pointer& each : layoutOf(*path.type).pointers) {
            if (!each.semantics->taken || each.offset + 4 > block.bytes.size()) continue;
            const uint32_t place = pointers_.blockAt(block, path.type->record);
            const uint32_t copy = taken(call, wordAt(&block.bytes[each.offset]));
            if (place != 0 && copy != 0)
                std::memcpy(reinterpret_cast<void*>(place + each.offset), &copy, sizeof copy);
        }
    }
    return words;
}

void Player::playCall(size_t index) {
    const Event& call = event(index);
    const RecordedSite& site = siteOf(index);
    const size_t subject = std::exchange(subject_, index);
    used_[index] = true;
    frames_.push_back({index, returns_[index], index + 1, {}, {}});
    void* const target = targetOf(site);
    if (target == nullptr || site.function == nullptr) {
        report("operation", site.name, "not exported by the library");
    } else {
        writeBlocks(call);
        std::vector<uint32_t> words = argumentsOf(call, *site.function);
        const uint64_t result = invoke(target, words.data());
        closeFrame(frames_.size() - 1);
        if (returns_[index] != Recording::kNone) compareReturn(index, result);
    }
    skip(frames_.back());
    frames_.pop_back();
    subject_ = subject;
}

void Player::compareReturn(size_t index, uint64_t result) {
    const Event& call = event(index);
    const Event& was = event(returns_[index]);
    const Function& function = *siteOf(index).function;
    comparison_.value(*function.result, function.resultSemantics, was.result, result, "result",
                      call);
    for (const RecordedBlock& block : was.blocks) {
        const RecordedPath& path = recording_.paths[block.path];
        const Record* const record = path.type == nullptr ? nullptr : path.type->record;
        comparison_.block(block, pointers_.blockAt(block, record), call);
    }
}

}  // namespace pcsim::probe
