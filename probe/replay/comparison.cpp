// Makes of the recorded bytes those that should be there now, and looks for the first that isn't.
#include "probe/replay/comparison.h"

#include <dlfcn.h>
#include <fmt/core.h>

#include <algorithm>
#include <cstring>

#include "pcsim/l2.h"
#include "probe/boundary/boundary.h"
#include "probe/values/memory.h"

namespace pcsim::probe {

uint32_t wordAt(const uint8_t* bytes) {
    uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}
namespace {

// Memory that the library hands out as one piece: the HAL may work out addresses in it.
struct HandedPiece {
    std::string_view record;
    std::string_view owner;
    uint32_t size;
};
constexpr HandedPiece kPieces[] = {
    {"HalFdbEntry", "HalFdbInitFn", HAL_FDB_ENTRIES * sizeof(HalFdbEntry)},
};

void setWord(uint8_t* bytes, uint32_t word) {
    std::memcpy(bytes, &word, sizeof word);
}

// The memory that the HAL has passed with the call, where an address in it is known exactly.
bool isPassed(const Event& call, uint32_t address) {
    return std::any_of(call.blocks.begin(), call.blocks.end(), [&](const RecordedBlock& block) {
        return !block.platform && address - block.address < block.bytes.size();
    });
}

std::string nameAt(uint32_t function) {
    Dl_info info{};
    auto* const code = reinterpret_cast<void*>(function);
    if (function == 0 || dladdr(code, &info) == 0 || info.dli_saddr != code) return {};
    return info.dli_sname == nullptr ? std::string() : info.dli_sname;
}

uint32_t addressOf(const std::string& name) {
    void* const found = dlsym(Boundary::instance().libraryHandle(), name.c_str());
    return reinterpret_cast<uint32_t>(Boundary::behind(found));
}

}  // namespace

Comparison::Comparison(const Recording& recording, Pointers& pointers, Report report)
    : recording_(recording), pointers_(pointers), report_(std::move(report)) {
    for (const RecordedSymbol& symbol : recording.symbols)
        if (symbol.function) functions_[symbol.address] = symbol.name;
}

const std::string* Comparison::functionName(uint32_t recorded) const {
    const auto found = functions_.find(recorded);
    return found == functions_.end() ? nullptr : &found->second;
}

// A function that the library has put somewhere. Those without a name are only followed.
uint32_t Comparison::function(uint32_t recorded, uint32_t seen) {
    const auto now = reinterpret_cast<uint32_t>(Boundary::behind(reinterpret_cast<void*>(seen)));
    const std::string* const wanted = functionName(recorded);
    // Some have several names.
    const bool same = wanted == nullptr ? nameAt(now).empty() : now == addressOf(*wanted);
    if (same) pointers_.bindFunction(recorded, seen);
    return same ? seen : recorded;
}

uint32_t Comparison::pointer(const Type& type, uint32_t recorded, uint32_t seen, uint32_t size,
                             const Event& call, const std::string& field) {
    if (recorded == 0 || seen == 0) return recorded;
    if (const auto known = pointers_.expected(type, recorded)) return *known;
    if (type.target->kind == Kind::kFunction) return function(recorded, seen);
    if (isPassed(call, recorded)) {
        pointers_.unbind(recorded);
        return pointers_.given(type, recorded);
    }
    const Record* const record = type.target->record;
    for (const HandedPiece& piece : kPieces) {
        if (record == nullptr || record->name != piece.record) continue;
        if (field.starts_with(piece.owner)) pointers_.bindRange(recorded, piece.size, seen, record);
    }
    pointers_.bind(recorded, size, seen);
    return seen;
}

std::string Comparison::functionText(uint32_t recorded, uint32_t now) const {
    if (now != 0) {
        const std::string name =
            nameAt(reinterpret_cast<uint32_t>(Boundary::behind(reinterpret_cast<void*>(now))));
        return name.empty() ? "another function" : name;
    }
    const std::string* const name = functionName(recorded);
    return recorded == 0 ? "null" : name != nullptr ? *name : "a function";
}

void Comparison::value(const Type& type, const Semantics& semantics, uint64_t recorded,
                       uint64_t seen, const std::string& name, const Event& call) {
    const bool isArguments = semantics.meaning == Meaning::kArguments;
    if (semantics.varies || semantics.ignored || isArguments || type.kind == Kind::kVoid) return;
    if (type.kind == Kind::kPointer) {
        const auto was = static_cast<uint32_t>(recorded);
        const auto is = static_cast<uint32_t>(seen);
        const uint32_t wanted = pointer(type, was, is, std::max(type.target->size, 1u), call, name);
        if (wanted == is) return;
        if (type.target->kind == Kind::kFunction)
            report_(name, functionText(was, 0), is == 0 ? "null" : functionText(0, is));
        else
            report_(name, was == 0 ? "null" : "a pointer to what it was",
                    is == 0 ? "null" : "another pointer");
        return;
    }
    const uint32_t size = std::min<uint32_t>(type.size, sizeof recorded);
    if (std::memcmp(&recorded, &seen, size) == 0) return;
    const auto text = [&](const uint64_t& number) {
        const Meaning meaning =
            semantics.meaning != Meaning::kNone ? semantics.meaning : type.meaning;
        return valueText(&type, meaning, reinterpret_cast<const uint8_t*>(&number), size);
    };
    report_(name, text(recorded), text(seen));
}

// Puts into 'wanted' what should be where pointers are, and what is there where it doesn't matter.
void Comparison::pointersIn(const RecordedBlock& block, const Type& element, const uint8_t* seen,
                            uint8_t* wanted, const Event& call) {
    const Layout& layout = layoutOf(element);
    const RecordedPath& path = recording_.paths[block.path];
    const auto size = static_cast<uint32_t>(block.bytes.size());
    const uint32_t step = std::max(element.size, 1u);
    for (uint32_t begin = 0; begin < size; begin += step) {
        for (const Layout::Pointer& each : layout.pointers) {
            const uint32_t offset = begin + each.offset;
            if (offset + 4 > size) continue;
            const uint32_t is = wordAt(seen + offset);
            setWord(wanted + offset,
                    pointer(*each.type, wordAt(wanted + offset), is,
                            std::max(each.type->target->size, 1u), call, path.owner));
        }
        for (const Layout::Piece& each : layout.free) {
            const uint32_t offset = begin + each.offset;
            if (offset < size)
                std::memcpy(wanted + offset, seen + offset, std::min(each.size, size - offset));
        }
        if (layout.pointers.empty() && layout.free.empty()) return;
    }
}

void Comparison::block(const RecordedBlock& block, uint32_t seen, const Event& call) {
    const RecordedPath& path = recording_.paths[block.path];
    const auto size = static_cast<uint32_t>(block.bytes.size());
    if (size == 0) return;
    const auto* const bytes =
        seen == 0 ? nullptr : static_cast<const uint8_t*>(liveMemory().at(seen, size, false));
    if (bytes == nullptr) {
        report_(path.text, std::to_string(size) + " bytes of memory", "none");
        return;
    }
    const bool isText = path.meaning == Meaning::kText || path.meaning == Meaning::kFormat;
    if (isText) {
        const auto* const text = reinterpret_cast<const char*>(bytes);
        const std::string was(reinterpret_cast<const char*>(block.bytes.data()),
                              strnlen(reinterpret_cast<const char*>(block.bytes.data()), size));
        const std::string is(text, strnlen(text, size));
        if (was != is) report_(path.text, "\"" + was + "\"", "\"" + is + "\"");
        return;
    }
    std::vector<uint8_t> wanted(block.bytes.begin(), block.bytes.end());
    if (path.type != nullptr) pointersIn(block, *path.type, bytes, wanted.data(), call);
    if (std::memcmp(wanted.data(), bytes, size) != 0) differ(path, wanted.data(), bytes, size);
}

void Comparison::differ(const RecordedPath& path, const uint8_t* wanted, const uint8_t* seen,
                        uint32_t size) {
    for (uint32_t at = 0; at < size;) {
        if (wanted[at] == seen[at]) {
            ++at;
            continue;
        }
        const Place place = placeAt(path.type, at);
        const uint32_t length = std::min(place.size, size - place.offset);
        const auto text = [&](const uint8_t* bytes) {
            return valueText(place.type, place.meaning, bytes + place.offset, length);
        };
        at = std::max(at + 1, place.offset + length);
        // What lies behind the NUL of a text is nobody's.
        if (place.meaning == Meaning::kText && text(wanted) == text(seen)) continue;
        const bool isFunction = place.type != nullptr && place.type->kind == Kind::kPointer &&
                                place.type->target->kind == Kind::kFunction;
        if (isFunction)
            report_(path.text + place.path, functionText(wordAt(wanted + place.offset), 0),
                    wordAt(seen + place.offset) == 0
                        ? "null"
                        : functionText(0, wordAt(seen + place.offset)));
        else
            report_(path.text + place.path, text(wanted), text(seen));
    }
}

std::string valueText(const Type* type, Meaning meaning, const uint8_t* bytes, uint32_t size) {
    if (meaning == Meaning::kText) {
        const auto* const text = reinterpret_cast<const char*>(bytes);
        return fmt::format("\"{}\"", std::string(text, strnlen(text, size)));
    }
    if (meaning == Meaning::kIpv4 || meaning == Meaning::kMask)
        return fmt::format("{}.{}.{}.{}", bytes[0], bytes[1], bytes[2], bytes[3]);
    const bool isNumber = type != nullptr && size <= 8 &&
                          (type->kind == Kind::kSigned || type->kind == Kind::kUnsigned);
    if (isNumber) {
        uint64_t number = 0;
        std::memcpy(&number, bytes, size);
        if (type->kind == Kind::kUnsigned)
            return meaning == Meaning::kHex ? fmt::format("0x{:x}", number)
                                            : fmt::format("{}", number);
        const auto unused = static_cast<int>(64 - 8 * size);
        return fmt::format("{}", static_cast<int64_t>(number << unused) >> unused);
    }
    if (type != nullptr && type->kind == Kind::kPointer)
        return wordAt(bytes) == 0 ? "null" : "a pointer";
    std::string text;
    for (uint32_t index = 0; index < std::min(size, 16u); ++index)
        text += fmt::format("{}{:02x}", index == 0 ? "" : ":", bytes[index]);
    return size > 16 ? text + "..." : text;
}

}  // namespace pcsim::probe
