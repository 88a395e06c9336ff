// Composes an entry in a buffer, and hands it to the file whole.
#include "probe/record/encoder.h"

#include <algorithm>

namespace pcsim::probe {
namespace {

using namespace format;

// So many equal bytes between two changes are worth telling as such.
constexpr size_t kGap = 4;

size_t firstDifference(const uint8_t* a, const uint8_t* b, size_t from, size_t size) {
    while (from + 4 <= size && std::memcmp(a + from, b + from, 4) == 0) from += 4;
    while (from < size && a[from] == b[from]) ++from;
    return from;
}

// The end of the changes that begin at 'from': before kGap equal bytes, or at the end.
size_t endOfChange(const uint8_t* a, const uint8_t* b, size_t from, size_t size) {
    size_t equal = 0;
    for (; from < size && equal < kGap; ++from) equal = a[from] == b[from] ? equal + 1 : 0;
    return from - equal;
}

}  // namespace

bool Encoder::append(EntryKind kind) {
    return whole_.whole() && file_.append(kind, whole_.all());
}

bool Encoder::fact(std::string_view what, std::string_view value) {
    whole_.clear();
    whole_.text(what);
    whole_.text(value);
    return append(kFact);
}

bool Encoder::symbol(const RecordedSymbol& symbol) {
    whole_.clear();
    whole_.text(symbol.name);
    whole_.number(symbol.address);
    whole_.number(symbol.size);
    whole_.number(symbol.function ? 1 : 0);
    return append(kSymbol);
}

bool Encoder::site(uint32_t number, const RecordedSite& site) {
    whole_.clear();
    whole_.number(number);
    whole_.number(static_cast<uint8_t>(site.side));
    whole_.number(site.target);
    for (const std::string_view text :
         {std::string_view(site.name), std::string_view(site.table), std::string_view(site.word),
          std::string_view(site.functionName)})
        whole_.text(text);
    return append(kSite);
}

bool Encoder::path(uint32_t number, std::string_view owner, std::string_view text,
                   std::string_view typeName) {
    whole_.clear();
    whole_.number(number);
    for (const std::string_view each : {owner, text, typeName}) whole_.text(each);
    return append(kPath);
}

bool Encoder::print(uint32_t thread, std::string_view text) {
    whole_.clear();
    whole_.number(thread);
    whole_.text(text);
    return append(kPrint);
}

bool Encoder::end(uint64_t calls) {
    whole_.clear();
    whole_.number(calls);
    return append(kEnd);
}

void Encoder::beginCall(uint32_t site, uint64_t number, uint32_t thread, uint32_t depth,
                        std::span<const uint32_t> arguments) {
    contents_.clear();
    contents_.signedNumber(static_cast<int64_t>(number - lastCall_));
    lastCall_ = number;
    contents_.number(thread);
    contents_.number(depth);
    contents_.number(site);
    const size_t count = std::min(arguments.size(), kArguments);
    contents_.number(count);
    uint32_t* const last = lastArguments_.at(site).words;
    for (size_t index = 0; index < count; ++index) {
        contents_.signedNumber(static_cast<int32_t>(arguments[index] - last[index]));
        last[index] = arguments[index];
    }
    open_ = kCall;
}

void Encoder::beginReturn(uint64_t number, uint32_t thread, uint64_t result) {
    contents_.clear();
    contents_.signedNumber(static_cast<int64_t>(lastCall_ - number));
    contents_.number(thread);
    contents_.signedNumber(static_cast<int64_t>(result));
    open_ = kReturn;
}

void Encoder::beginState(std::string_view variable) {
    contents_.clear();
    contents_.text(variable);
    open_ = kState;
}

void Encoder::block(uint32_t path, uint32_t address, std::span<const uint8_t> bytes,
                    uint8_t flags) {
    blocks_.number(path);
    uint32_t& last = lastAddresses_.at(path);
    blocks_.signedNumber(static_cast<int32_t>(address - last));
    last = address;
    blocks_.number(bytes.size());
    blocks_.number(flags);
    changes(address, bytes);
    ++blockCount_;
}

// 'told' bytes of the block have been told when this part of it begins, 'done' bytes in.
void Encoder::run(std::span<uint8_t> known, const uint8_t* bytes, size_t done, size_t& told) {
    for (size_t at = 0;;) {
        at = firstDifference(known.data(), bytes, at, known.size());
        if (at == known.size()) return;
        const size_t end = endOfChange(known.data(), bytes, at, known.size());
        blocks_.number(done + at - told);
        blocks_.number(end - at);
        blocks_.bytes(bytes + at, end - at);
        std::memcpy(known.data() + at, bytes + at, end - at);
        told = done + end;
        at = end;
    }
}

void Encoder::changes(uint32_t address, std::span<const uint8_t> bytes) {
    size_t told = 0;
    for (size_t done = 0; done < bytes.size();) {
        const auto place = address + static_cast<uint32_t>(done);
        const auto known = image_.at(place, static_cast<uint32_t>(bytes.size() - done));
        if (known.empty()) break;  // no memory: told as unchanged
        run(known, bytes.data() + done, done, told);
        done += known.size();
    }
    if (told < bytes.size()) blocks_.number(bytes.size() - told);
}

bool Encoder::finish() {
    contents_.number(blockCount_);
    contents_.bytes(blocks_.all().data(), blocks_.all().size());
    blocks_.clear();
    blockCount_ = 0;
    return contents_.whole() && blocks_.whole() && file_.append(open_, contents_.all());
}

}  // namespace pcsim::probe
