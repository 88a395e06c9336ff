// What may differ between runs, and what may not.
#include "probe/tools/compare.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "console/text.h"

namespace pcsim::probe {
namespace {

// Words that the library hands back as the HAL gave them; many a HAL puts addresses there.
constexpr std::string_view kCookies[] = {"argument", "argument1", "argument2", "context", "reply"};

bool isFree(const Semantics* semantics) {
    return semantics != nullptr && (semantics->varies || semantics->ignored);
}

bool isCookie(std::string_view path) {
    const std::string_view name = path.substr(path.rfind('.') + 1);
    return std::ranges::find(kCookies, name) != std::end(kCookies);
}

std::string pointerText(uint32_t value) {
    return value == 0 ? "null" : fmt::format("0x{:x}", value);
}

const RecordedBlock* blockAt(const Recording& recording, const Event& event,
                             std::string_view path) {
    const auto found = std::ranges::find_if(event.blocks, [&](const RecordedBlock& block) {
        return recording.paths[block.path].text == path;
    });
    return found == event.blocks.end() ? nullptr : &*found;
}

std::string bytesText(std::span<const uint8_t> bytes) {
    constexpr size_t kMost = 32;
    std::string text;
    for (const uint8_t byte : bytes.first(std::min(bytes.size(), kMost)))
        text += fmt::format("{:02x}", byte);
    return bytes.size() > kMost ? text + "..." : text;
}

std::string quoted(std::span<const uint8_t> bytes) {
    return quotedText({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

std::string addressText(std::span<const uint8_t> bytes) {
    char text[INET6_ADDRSTRLEN] = "";
    inet_ntop(bytes.size() == 16 ? AF_INET6 : AF_INET, bytes.data(), text, sizeof text);
    return text;
}

}  // namespace

std::string quotedText(std::string_view text) {
    std::string result = "\"";
    for (const char each : text.substr(0, text.find('\0'))) {
        if (each == '\n')
            result += "\\n";
        else if (each == '"' || each == '\\')
            result += {'\\', each};
        else
            result += printable(std::string(1, each));
    }
    return result + "\"";
}

std::string valueText(const Datum& leaf, std::span<const uint8_t> all) {
    const auto bytes = all.subspan(leaf.offset, leaf.size);
    if (leaf.isPointer()) return pointerText(wordAt(all, leaf.offset));
    switch (leaf.meaning) {
        case Meaning::kText:
        case Meaning::kFormat:
            return quoted(bytes);
        case Meaning::kIpv4:
        case Meaning::kMask:
        case Meaning::kIpv6:
            if (bytes.size() == 4 || bytes.size() == 16) return addressText(bytes);
            break;
        case Meaning::kHex:
            return fmt::format("0x{:x}", static_cast<uint64_t>(numberOf(leaf, all)));
        default:
            break;
    }
    const bool number = leaf.type != nullptr && leaf.type->kind != Kind::kArray;
    if (!number) return bytesText(bytes);
    const int64_t value = numberOf(leaf, all);
    return leaf.type->kind == Kind::kUnsigned && leaf.size == 8
               ? fmt::to_string(static_cast<uint64_t>(value))
               : fmt::to_string(value);
}

void RunComparison::note(const Event& a, const Event& b, std::string field, std::string first,
                         std::string second) {
    const bool print = a.kind == Event::Kind::kPrint;
    found_.push_back({a.call, b.call, print ? "" : a_.siteOf(a).name, std::move(field),
                      std::move(first), std::move(second)});
}

void RunComparison::compare(const Event& a, const Event& b) {
    if (a.kind == Event::Kind::kPrint) {
        if (a.text != b.text) note(a, b, "print", quotedText(a.text), quotedText(b.text));
        return;
    }
    const RecordedSite& site = a_.siteOf(a);
    const bool returns = a.kind == Event::Kind::kReturn;
    const Place place{a, b, returns == (site.side == Side::kPlatform)};
    if (!returns) {
        arguments(place);
    } else if (site.function != nullptr && site.function->result->kind != Kind::kVoid &&
               !isFree(&site.function->resultSemantics)) {
        const auto& function = *site.function;
        const Value value{function.result, &function.resultSemantics, "result",
                          static_cast<uint32_t>(a.result), static_cast<uint32_t>(b.result)};
        const auto bytesOf = [](const uint32_t& word) {
            return std::span(reinterpret_cast<const uint8_t*>(&word), sizeof word);
        };
        const Datum result{0,
                           std::min(function.result->size, 4u),
                           function.result,
                           &function.resultSemantics,
                           function.resultSemantics.meaning,
                           "",
                           false};
        if (result.isPointer()
                ? !samePointer(place, value)
                : numberOf(result, bytesOf(value.a)) != numberOf(result, bytesOf(value.b)))
            note(a, b, "result", valueText(result, bytesOf(value.a)),
                 valueText(result, bytesOf(value.b)));
    }
    blocks(place);
}

void RunComparison::arguments(const Place& place) {
    const Function* const function = a_.siteOf(place.a).function;
    if (function == nullptr) return;
    const size_t count =
        std::min({function->parameters.size(), place.a.arguments.size(), place.b.arguments.size()});
    for (size_t index = 0; index < count; ++index) {
        const Parameter& parameter = function->parameters[index];
        const Datum word{0,
                         4,
                         parameter.type,
                         &parameter.semantics,
                         parameter.semantics.meaning,
                         std::string(parameter.name),
                         false};
        const auto bytesOf = [](const uint32_t& each) {
            return std::span(reinterpret_cast<const uint8_t*>(&each), sizeof each);
        };
        // A void pointer may be a number, when another parameter says so.
        Datum shown = word;
        static constexpr Type kWord{Kind::kUnsigned, false,         4,       0,
                                    nullptr,         nullptr,       nullptr, "uint32_t",
                                    Meaning::kNone,  Owner::kNobody};
        if (!parameter.semantics.cases.empty() && blockAt(a_, place.a, parameter.name) == nullptr &&
            blockAt(b_, place.b, parameter.name) == nullptr)
            shown.type = &kWord;
        leaf(place, word.path, shown, bytesOf(place.a.arguments[index]),
             bytesOf(place.b.arguments[index]));
    }
}

void RunComparison::blocks(const Place& place) {
    const auto& a = place.a.blocks;
    const auto& b = place.b.blocks;
    for (size_t index = 0; index < std::min(a.size(), b.size()); ++index) {
        const std::string& path = a_.paths[a[index].path].text;
        if (path != b_.paths[b[index].path].text) {
            note(place.a, place.b, path, "there", "not there");
            return;
        }
        block(place, a[index], b[index]);
    }
    if (a.size() == b.size()) return;
    const bool more = a.size() > b.size();
    const RecordedBlock& extra = more ? a[b.size()] : b[a.size()];
    note(place.a, place.b, (more ? a_ : b_).paths[extra.path].text, more ? "there" : "not there",
         more ? "not there" : "there");
}

void RunComparison::block(const Place& place, const RecordedBlock& a, const RecordedBlock& b) {
    const RecordedPath& path = a_.paths[a.path];
    const Semantics* const semantics = semanticsOf(path);
    if (isFree(semantics)) return;
    const bool output = place.a.kind == Event::Kind::kCall && semantics != nullptr &&
                        semantics->out && !semantics->in;
    if (output) return;
    if (a.bytes.size() != b.bytes.size()) {
        note(place.a, place.b, path.text, fmt::format("{} bytes", a.bytes.size()),
             fmt::format("{} bytes", b.bytes.size()));
        return;
    }
    if (std::ranges::equal(a.bytes, b.bytes) && path.type != nullptr && path.type->size == 1)
        return;
    for (const Datum& each : dataIn(path, a))
        leaf(place, each.path.empty() ? path.text : path.text + "." + each.path, each, a.bytes,
             b.bytes);
}

void RunComparison::leaf(const Place& place, const std::string& path, const Datum& leaf,
                         std::span<const uint8_t> a, std::span<const uint8_t> b) {
    const bool carried = leaf.semantics != nullptr && leaf.semantics->carried;
    if (isFree(leaf.semantics) || (leaf.reserved && !carried)) return;
    const auto wholeA = a.subspan(leaf.offset, leaf.size);
    const auto wholeB = b.subspan(leaf.offset, leaf.size);
    bool same = std::ranges::equal(wholeA, wholeB);
    if (leaf.isPointer()) {
        same = samePointer(place, {leaf.type, leaf.semantics, path, wordAt(a, leaf.offset),
                                   wordAt(b, leaf.offset)});
    } else if (leaf.meaning == Meaning::kText) {
        same = quoted(wholeA) == quoted(wholeB);
    } else if (!same && leaf.size == 4 && isCookie(path)) {
        same = sameHandle(place, wordAt(a, leaf.offset), wordAt(b, leaf.offset));
    }
    if (!same) note(place.a, place.b, path, valueText(leaf, a), valueText(leaf, b));
}

bool RunComparison::samePointer(const Place& place, const Value& value) {
    if (value.a == 0 || value.b == 0) return value.a == value.b;
    const Type& target = *value.type->target;
    if (target.kind == Kind::kFunction) {
        const std::string_view a = symbolAt(a_, value.a);
        const std::string_view b = symbolAt(b_, value.b);
        return a.empty() || b.empty() || a == b;
    }
    return target.owner != Owner::kPlatform || sameHandle(place, value.a, value.b);
}

bool RunComparison::sameHandle(const Place& place, uint32_t a, uint32_t b) {
    const auto bound = toB_.find(a);
    const auto boundBack = toA_.find(b);
    const bool known = bound != toB_.end() || boundBack != toA_.end();
    const bool same = bound != toB_.end() && bound->second == b && boundBack != toA_.end() &&
                      boundBack->second == a;
    if (same) return true;
    // An address that is handed out anew is something new in its place.
    if (known && !place.given) return false;
    if (bound != toB_.end()) toA_.erase(bound->second);
    if (boundBack != toA_.end()) toB_.erase(boundBack->second);
    toB_[a] = b;
    toA_[b] = a;
    return true;
}

std::string_view RunComparison::symbolAt(const Recording& recording, uint32_t address) const {
    for (const RecordedSymbol& symbol : recording.symbols)
        if (symbol.function && symbol.address == address) return symbol.name;
    return {};
}

}  // namespace pcsim::probe
