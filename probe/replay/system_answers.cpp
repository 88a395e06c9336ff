// What the library takes from the C library: time, files, link registers, chance. It gets what the
// recorded one got, so that a replay needs no interface, and the counters are the same. Texts that
// it prints are compared and go nowhere else.
#include <algorithm>
#include <cstring>

#include "probe/replay/player.h"
#include "probe/values/blocks.h"

namespace pcsim::probe {

bool Player::wants(const Site& site) const {
    // The tree's calls come to the boundary only while somebody wants them.
    if (site.side == Side::kHost) return isOfTree(site.name) && isRecorded(site);
    if (site.side != Side::kSystem) return false;
    for (const char* name : {"malloc", "calloc", "free", "madvise"})
        if (site.name == name) return false;
    return true;
}

bool Player::print(Call& call) {
    const std::string& name = call.site.name;
    std::string text;
    if (name == "putchar")
        text = static_cast<char>(call.arguments[0]);
    else if (name == "puts" || name == "fputs")
        text = reinterpret_cast<const char*>(call.arguments[0]);
    else if (name == "printf" || name == "fprintf")
        text = formatted(*call.site.function, call.arguments);
    else
        return false;
    if (name == "puts") text += '\n';
    frames_.back().printed += text;
    call.result = name == "putchar" ? static_cast<uint8_t>(text[0]) : text.size();
    return true;
}

// Whether the library asks for the same: numbers and texts that it passes.
bool Player::isSameRequest(size_t index, const Call& call) const {
    const Event& was = event(index);
    const Function& function = *call.site.function;
    for (size_t i = 0; i < function.parameters.size() && i < was.arguments.size(); ++i)
        if (function.parameters[i].type->kind != Kind::kPointer &&
            was.arguments[i] != call.arguments[i])
            return false;
    return std::all_of(was.blocks.begin(), was.blocks.end(), [&](const RecordedBlock& block) {
        for (size_t i = 0; i < was.arguments.size(); ++i) {
            if (was.arguments[i] != block.address) continue;
            const auto* const here = reinterpret_cast<const char*>(call.arguments[i]);
            const auto* const there = reinterpret_cast<const char*>(block.bytes.data());
            // A request about an interface begins with its name.
            return std::strncmp(here, there, block.bytes.size()) == 0;
        }
        return true;
    });
}

size_t Player::systemCall(const Call& call) const {
    const Frame& frame = frames_.back();
    const size_t limit = std::min(frame.end, recording_.events.size());
    for (size_t index = frame.call + 1; index < limit; ++index)
        if (!used_[index] && isWithin(frame, index) && isSide(index, Side::kSystem) &&
            siteOf(index).name == call.site.name && isSameRequest(index, call) &&
            returns_[index] != Recording::kNone)
            return index;
    return Recording::kNone;
}

void Player::before(Call& call) {
    if (frames_.empty() || call.site.side != Side::kSystem) return;
    call.answered = true;
    if (print(call)) return;
    const size_t index = systemCall(call);
    if (index == Recording::kNone) {
        report("C library", "no such call", call.site.name);
        call.result = call.site.function->result->kind == Kind::kPointer ? 0 : UINT64_MAX;
        return;
    }
    used_[index] = true;
    call.result = giveAnswer(index, call.arguments);
}

}  // namespace pcsim::probe
