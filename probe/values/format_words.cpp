// Finding the arguments of a printf format: behind it among the words of the call, or in a list.
#include <algorithm>
#include <cstring>

#include "probe/values/blocks.h"
#include "probe/values/format.h"

namespace pcsim::probe {

namespace {

#ifdef __i386__
// A list is where its words lie in a row.
const Word* wordsOfList(Word list, uint32_t& count, const Memory& memory) {
    return static_cast<const Word*>(
        memory.at(list, count * static_cast<uint32_t>(sizeof(Word)), true));
}
#else
// What a list is: words that were in registers, from 'registers' bytes on, and those behind them on
// the stack.
struct List {
    uint32_t registers, fractions;
    const char* stack;
    const char* saved;
};
constexpr uint32_t kRegisterBytes = 6 * sizeof(Word);
constexpr uint32_t kMostListed = 32;

const Word* wordsOfList(Word address, uint32_t& count, const Memory& memory) {
    static thread_local Word words[kMostListed];
    const void* const at = memory.at(address, sizeof(List), true);
    if (at == nullptr) return nullptr;
    List list;
    std::memcpy(&list, at, sizeof list);
    count = std::min(count, kMostListed);
    for (uint32_t i = 0; i < count; ++i) {
        const bool isSaved = list.registers < kRegisterBytes;
        std::memcpy(&words[i], isSaved ? list.saved + list.registers : list.stack, sizeof(Word));
        if (isSaved)
            list.registers += sizeof(Word);
        else
            list.stack += sizeof(Word);
    }
    return words;
}
#endif

}  // namespace

FormatWords formatWords(const CallWords& call, const Memory& memory) {
    const auto& parameters = call.function.parameters;
    for (uint32_t place = 0; place < parameters.size() && place < call.argumentWords; ++place) {
        if (parameters[place].semantics.meaning != Meaning::kFormat) continue;
        FormatWords found;
        const Word address = call.arguments[place];
        const uint32_t length = address == 0 ? 0 : memory.textBytes(address, kLargestText, true);
        if (length == 0) return {};
        const auto* const text = static_cast<const char*>(memory.at(address, length, true));
        found.format = std::string_view(text, strnlen(text, length));
        std::string_view format = found.format;
        while (!format.empty()) {
            const FormatPiece piece = takePiece(format);
            found.count += piece.stars + piece.words;
        }
        const auto count = static_cast<uint32_t>(parameters.size());
        if (call.function.variadic) {
            found.words = call.arguments + count;
            found.count = std::min(found.count, std::max(call.argumentWords, count) - count);
        } else if (place + 1 < call.argumentWords && found.count != 0) {
            found.words = wordsOfList(call.arguments[place + 1], found.count, memory);
        }
        return found;
    }
    return {};
}

}  // namespace pcsim::probe
