// Calls of the library to the HAL: looked for in the recording, compared, answered as they were.
// Calls that the HAL made from inside are made again there.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "probe/replay/player.h"
#include "probe/values/blocks.h"

namespace pcsim::probe {

bool Player::isRecorded(const Site& site) const {
    return std::any_of(recording_.sites.begin(), recording_.sites.end(),
                       [&](const RecordedSite& each) { return each.name == site.name; });
}

void* Player::provide(const Site& site) {
    if (site.side != Side::kHost) return nullptr;
    // Without the tree's calls in the recording, the library has a tree of this program's.
    if (isOfTree(site.name) && !isRecorded(site)) return nullptr;
    return reinterpret_cast<void*>(pointers_.newThunk({0, site.name, site.function}));
}

std::string Player::nameOf(const Callee& callee) const {
    for (const RecordedSite& site : recording_.sites)
        if (site.side == Side::kHost && isTo(site, callee)) return site.name;
    if (!callee.name.empty()) return callee.name;
    return std::string(callee.function != nullptr ? callee.function->name : "a function");
}

bool Player::isTo(const RecordedSite& site, const Callee& callee) {
    if (site.side != Side::kHost) return false;
    return callee.recorded != 0 ? site.target == callee.recorded : site.name == callee.name;
}

// Text of a format and its arguments, as the library has put them.
std::string Player::formatted(const Function& function, uint32_t* arguments) {
    const CallWords words{function, arguments, 64};
    const FormatWords found = formatWords(words, liveMemory());
    if (found.format.empty()) return {};
    va_list list;
    std::memcpy(&list, &found.words, sizeof list);
    char text[16384];
    vsnprintf(text, sizeof text, found.format.data(), list);
    return text;
}

// Whether the event lies in the frame's call, on its thread.
bool Player::isWithin(const Frame& frame, size_t index) const {
    return event(index).thread == event(frame.call).thread &&
           event(index).kind != Event::Kind::kState;
}

// Goes to the next event of the frame that hasn't been met; false when there is none.
bool Player::advance(Frame& frame) {
    const size_t limit = std::min(frame.end, recording_.events.size());
    for (; frame.next < limit; ++frame.next) {
        if (!isWithin(frame, frame.next) || used_[frame.next]) continue;
        const Event& each = event(frame.next);
        if (each.kind == Event::Kind::kReturn) continue;
        // Of a call that never returned, only what is inside belongs to it.
        return each.kind != Event::Kind::kCall || each.depth > event(frame.call).depth;
    }
    return false;
}

// What the frame has left over is not to be met by others.
void Player::skip(const Frame& frame) {
    Frame rest = frame;
    for (rest.next = frame.call + 1; advance(rest); ++rest.next) used_[rest.next] = true;
}

void Player::comparePrints(Frame& frame) {
    if (frame.printed != frame.expectedPrint) {
        // The first line that differs says enough.
        const auto line = [](const std::string& text, size_t from) {
            const std::string all = text.substr(from, text.find('\n', from) - from);
            return from >= text.size() ? std::string("nothing") : "\"" + all + "\"";
        };
        size_t from = 0;
        const auto& [was, is] = std::pair(frame.expectedPrint, frame.printed);
        const size_t same = static_cast<size_t>(
            std::mismatch(was.begin(),
                          was.begin() + static_cast<ptrdiff_t>(std::min(was.size(), is.size())),
                          is.begin())
                .first -
            was.begin());
        if (same != 0) from = was.rfind('\n', same - 1) + 1;
        report("print", line(was, from), line(is, from));
    }
    frame.printed.clear();
    frame.expectedPrint.clear();
}

// Finds the recorded call that the library makes now. What it should have done before is missing.
size_t Player::expectCall(const Callee& callee) {
    Frame& frame = frames_.back();
    std::string missing;
    size_t found = Recording::kNone;
    Frame ahead = frame;
    for (; advance(ahead); ++ahead.next) {
        if (event(ahead.next).kind == Event::Kind::kPrint) {
            if (missing.empty()) {
                used_[ahead.next] = true;
                ahead.expectedPrint += event(ahead.next).text;
            }
        } else if (isTo(siteOf(ahead.next), callee)) {
            found = ahead.next;
            break;
        } else if (isSide(ahead.next, Side::kHost)) {
            if (missing.empty()) frame = ahead;
            if (missing.empty()) missing = siteOf(ahead.next).name;
        }
        if (const size_t ret = returnOf(ahead.next); ret != Recording::kNone) ahead.next = ret;
    }
    if (missing.empty()) frame = ahead;
    comparePrints(frame);
    if (found == Recording::kNone || !missing.empty())
        report("calls", missing.empty() ? "no further call" : missing, nameOf(callee));
    if (found != Recording::kNone) frame.next = found + 1;
    return found;
}

size_t Player::returnOf(size_t index) const {
    return event(index).kind == Event::Kind::kCall ? returns_[index] : Recording::kNone;
}

void Player::compareCall(size_t index, const uint32_t* arguments) {
    const Event& call = event(index);
    const Event& around = event(frames_.back().call);
    const Function* const function = siteOf(index).function;
    if (function == nullptr) return;
    const size_t subject = std::exchange(subject_, index);
    for (size_t i = 0; i < function->parameters.size() && i < call.arguments.size(); ++i) {
        const Parameter& parameter = function->parameters[i];
        comparison_.value(*parameter.type, parameter.semantics, call.arguments[i], arguments[i],
                          std::string(parameter.name), around);
    }
    for (const RecordedBlock& block : call.blocks) {
        const RecordedPath& path = recording_.paths[block.path];
        const Record* const record = path.type == nullptr ? nullptr : path.type->record;
        if (block.platform) comparison_.block(block, pointers_.blockAt(block, record), around);
    }
    subject_ = subject;
}

// Makes the calls that the HAL made inside, in order.
void Player::playInside(size_t frame) {
    while (advance(frames_[frame])) {
        const size_t index = frames_[frame].next++;
        if (event(index).kind == Event::Kind::kPrint) {
            used_[index] = true;
            frames_[frame].expectedPrint += event(index).text;
        } else if (isSide(index, Side::kPlatform)) {
            playCall(index);
            if (const size_t ret = returns_[index]; ret != Recording::kNone)
                frames_[frame].next = ret + 1;
        }
    }
}

void Player::writeAnswer(size_t index, const uint32_t* arguments) {
    const Event& call = event(index);
    const Event& answer = event(returns_[index]);
    writeBlocks(answer);
    for (const RecordedBlock& block : answer.blocks) {
        if (!block.platform || !block.written) continue;
        const RecordedPath& path = recording_.paths[block.path];
        uint32_t place =
            pointers_.blockAt(block, path.type == nullptr ? nullptr : path.type->record);
        for (size_t i = 0; i < call.arguments.size(); ++i)
            if (call.arguments[i] == block.address) place = arguments[i];
        if (place != 0) copyIn(block, reinterpret_cast<uint8_t*>(place));
    }
}

uint64_t Player::giveAnswer(size_t index, uint32_t* arguments) {
    const Function* const function = siteOf(index).function;
    if (returns_[index] == Recording::kNone) longjmp(left_, 1);
    writeAnswer(index, arguments);
    const uint64_t result = event(returns_[index]).result;
    if (function == nullptr || function->result->kind != Kind::kPointer) return result;
    return pointers_.given(*function->result, static_cast<uint32_t>(result));
}

uint64_t Player::answer(const Callee& callee, uint32_t* arguments) {
    if (frames_.empty()) return 0;  // the library calls at a time when it can't have been called
    const Function* const function = callee.function;
    if (function != nullptr && function->name == "HalDumpPrintFn") {
        const std::string text = formatted(*function, arguments);
        frames_.back().printed += text;
        return text.size();
    }
    const size_t index = expectCall(callee);
    if (index == Recording::kNone) return 0;
    used_[index] = true;
    compareCall(index, arguments);
    const size_t around = frames_.size() - 1;
    const size_t subject = std::exchange(subject_, index);
    frames_.push_back({index, returns_[index], index + 1, {}, {}});
    if (function != nullptr) frames_.back().printed = formatted(*function, arguments);
    playInside(frames_.size() - 1);
    comparePrints(frames_.back());
    frames_.pop_back();
    subject_ = subject;
    if (returns_[index] != Recording::kNone) frames_[around].next = returns_[index] + 1;
    return giveAnswer(index, arguments);
}

// What the library should have done and hasn't.
void Player::closeFrame(size_t number) {
    Frame& frame = frames_[number];
    std::string missing;
    for (; advance(frame); ++frame.next) {
        if (event(frame.next).kind == Event::Kind::kPrint)
            frame.expectedPrint += event(frame.next).text;
        else if (missing.empty() && isSide(frame.next, Side::kHost))
            missing = siteOf(frame.next).name;
        if (const size_t ret = returnOf(frame.next); ret != Recording::kNone) frame.next = ret;
    }
    comparePrints(frame);
    if (!missing.empty()) report("calls", missing, "no further call");
}

}  // namespace pcsim::probe
