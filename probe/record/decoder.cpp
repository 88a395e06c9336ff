// One function per kind of entry.
#include "probe/record/decoder.h"

#include <algorithm>
#include <new>

namespace pcsim::probe {
namespace {

using namespace format;

constexpr uint32_t kMostBlocks = 4096;
constexpr uint64_t kAnyWord = uint64_t{1} << 32;

// Of functions, variables and types, as they are told at a terminal later.
std::string_view nameIn(ByteReader& in) {
    const auto name = in.text();
    if (!std::ranges::all_of(name, [](char c) { return c >= ' ' && c < '\x7F'; })) in.spoil();
    return name;
}

}  // namespace

bool Decoder::take(uint8_t kind, std::span<const uint8_t> contents) {
    ByteReader in(contents);
    switch (kind) {
        case kFact:
            fact(in);
            break;
        case kSymbol:
            symbol(in);
            break;
        case kSite:
            site(in);
            break;
        case kPath:
            path(in);
            break;
        case kCall:
            call(in);
            break;
        case kReturn:
            returned(in);
            break;
        case kPrint:
            print(in);
            break;
        case kState:
            state(in);
            break;
        case kEnd:
            in.number();
            ended_ = !in.bad();
            break;
        default:  // of a later version
            break;
    }
    return !in.bad();
}

void Decoder::fact(ByteReader& in) {
    const auto what = in.text();
    const auto value = in.text();
    if (!in.bad()) recording_.facts.emplace_back(what, value);
}

void Decoder::symbol(ByteReader& in) {
    RecordedSymbol symbol;
    symbol.name = nameIn(in);
    symbol.address = in.below(kAnyWord);
    symbol.size = in.below(kAnyWord);
    symbol.function = in.number() != 0;
    if (!in.bad()) recording_.symbols.push_back(std::move(symbol));
}

void Decoder::site(ByteReader& in) {
    if (in.number() != recording_.sites.size()) in.spoil();
    RecordedSite site;
    site.side = static_cast<Side>(in.below(256));
    site.target = in.below(kAnyWord);
    for (std::string* text : {&site.name, &site.table, &site.word, &site.functionName})
        *text = nameIn(in);
    site.function = functionNamed(site.functionName);
    if (!in.bad()) recording_.sites.push_back(std::move(site));
}

void Decoder::path(ByteReader& in) {
    if (in.number() != recording_.paths.size()) in.spoil();
    RecordedPath path;
    for (std::string* text : {&path.owner, &path.text, &path.typeName}) *text = nameIn(in);
    const PathTarget target = targetOf(path.owner, path.text, path.typeName);
    path.type = target.type;
    path.meaning = target.meaning;
    if (!in.bad()) recording_.paths.push_back(std::move(path));
}

void Decoder::call(ByteReader& in) {
    Event event{.kind = Event::Kind::kCall};
    event.call = lastCall_ + static_cast<uint64_t>(in.signedNumber());
    event.thread = in.below(kAnyWord);
    event.depth = in.below(kAnyWord);
    event.site = in.below(recording_.sites.size());
    uint32_t arguments[kArguments];
    const uint32_t count = in.below(kArguments + 1);
    LastArguments& last = lastArguments_.at(event.site);
    for (uint32_t index = 0; index < count; ++index)
        arguments[index] = last.words[index] + static_cast<uint32_t>(in.signedNumber());
    const auto found = blocks(in);
    if (in.bad()) return;
    lastCall_ = event.call;
    std::copy_n(arguments, count, last.words);
    event.arguments = recording_.keep(std::span<const uint32_t>(arguments, count));
    event.blocks = found;
    recording_.events.push_back(event);
    open_.push_back({event.call, event.site, event.thread, event.depth});
}

void Decoder::returned(ByteReader& in) {
    Event event{.kind = Event::Kind::kReturn};
    event.call = lastCall_ - static_cast<uint64_t>(in.signedNumber());
    event.thread = in.below(kAnyWord);
    event.result = static_cast<uint64_t>(in.signedNumber());
    // A call that a jump has left never returns, so the one sought need not be the last.
    const auto found = std::find_if(open_.rbegin(), open_.rend(),
                                    [&](const Open& open) { return open.call == event.call; });
    if (found == open_.rend()) {
        in.spoil();
        return;
    }
    event.site = found->site;
    event.depth = found->depth;
    event.blocks = blocks(in);
    if (in.bad()) return;
    open_.erase(std::next(found).base());
    recording_.events.push_back(event);
}

void Decoder::print(ByteReader& in) {
    Event event{.kind = Event::Kind::kPrint};
    event.thread = in.below(kAnyWord);
    const auto text = in.text();
    for (const Open& open : open_)
        if (open.thread == event.thread) event.call = open.call;
    if (in.bad()) return;
    event.text = recording_.keep(text);
    recording_.events.push_back(event);
}

void Decoder::state(ByteReader& in) {
    Event event{.kind = Event::Kind::kState};
    const auto variable = nameIn(in);
    event.blocks = blocks(in);
    if (in.bad()) return;
    event.text = recording_.keep(variable);
    recording_.events.push_back(event);
}

std::span<const RecordedBlock> Decoder::blocks(ByteReader& in) {
    found_.clear();
    const uint32_t count = in.below(kMostBlocks);
    for (uint32_t index = 0; index < count && !in.bad(); ++index) {
        RecordedBlock block;
        block.path = in.below(recording_.paths.size());
        uint32_t& last = lastAddresses_.at(block.path);
        block.address = last + static_cast<uint32_t>(in.signedNumber());
        const uint32_t size = in.below(kLongest);
        const uint64_t flags = in.number();
        block.platform = (flags & kBlockPlatform) != 0;
        block.written = (flags & kBlockWritten) != 0;
        block.bytes = changes(in, block.address, size);
        last = block.address;
        if (!in.bad()) found_.push_back(block);
    }
    return in.bad() ? std::span<const RecordedBlock>{} : recording_.keep(found_);
}

namespace {

// Copies memory into an image, or out of it; false when there is none.
template <typename Copy>
bool withImage(Image& image, uint32_t address, size_t size, Copy copy) {
    for (size_t done = 0; done < size;) {
        const auto known =
            image.at(address + static_cast<uint32_t>(done), static_cast<uint32_t>(size - done));
        if (known.empty()) return false;
        copy(known, done);
        done += known.size();
    }
    return true;
}

}  // namespace

std::span<const uint8_t> Decoder::changes(ByteReader& in, uint32_t address, uint32_t size) {
    for (uint32_t told = 0; told < size && !in.bad();) {
        told += in.below(size - told + uint64_t{1});
        if (told == size) break;
        const auto changed = in.bytes(in.below(size - told + uint64_t{1}));
        const auto into = [&](std::span<uint8_t> known, size_t done) {
            std::copy_n(&changed[done], known.size(), known.data());
        };
        if (changed.empty() || !withImage(image_, address + told, changed.size(), into)) in.spoil();
        told += static_cast<uint32_t>(changed.size());
    }
    if (in.bad() || size == 0) return {};
    if (size > room_) throw std::bad_alloc();
    room_ -= size;
    const auto bytes = recording_.space(size);
    const auto out = [&](std::span<uint8_t> known, size_t done) {
        std::copy_n(known.data(), known.size(), &bytes[done]);
    };
    if (!withImage(image_, address, size, out)) in.spoil();
    return bytes;
}

}  // namespace pcsim::probe
