// Walking what hangs on a call. A recorder does this for every call: no name is looked up, nothing
// is allocated, and a call without pointers costs a look at its parameters.
#include "probe/values/blocks.h"

#include <algorithm>
#include <cstring>

#include "probe/values/format.h"

namespace pcsim::probe {

namespace {

constexpr uint32_t kLargestBlock = 1024 * 1024;  // a count that makes more is no count
constexpr int kDeepest = 4;
constexpr Semantics kNothingSaid{};

Word wordAt(const void* content) {
    Word word;
    std::memcpy(&word, content, sizeof word);
    return word;
}

bool isText(Meaning meaning) {
    return meaning == Meaning::kText || meaning == Meaning::kFormat;
}

// The number of elements that a value of a count stands for.
uint32_t countFrom(int64_t value, const Semantics& semantics) {
    const auto count = static_cast<uint64_t>(std::max<int64_t>(value, 0)) >> semantics.countShift;
    if (semantics.atMost != 0 && count > semantics.atMost) return 0;
    return static_cast<uint32_t>(std::min<uint64_t>(count, kLargestBlock));
}

// As many of 'count' elements as make a block that is one.
uint32_t bounded(uint32_t count, uint32_t size) {
    return uint64_t{count} * size <= kLargestBlock ? count : kLargestBlock / size;
}

// The array of unstated length that a record ends in; null when it ends in something else.
const Field* tailOf(const Type& type) {
    if (type.kind != Kind::kRecord || type.record->fields.empty()) return nullptr;
    const Field& last = type.record->fields.back();
    return last.type->kind == Kind::kArray && last.type->count == 0 ? &last : nullptr;
}

// Without what a compiler adds behind the last field: a caller's record may end there.
uint32_t bytesOf(const Type& type) {
    if (type.kind != Kind::kRecord || type.record->fields.empty()) return type.size;
    const Field& last = type.record->fields.back();
    return last.offset + last.type->size;
}

class Walk {
public:
    Walk(const CallWords& call, Phase phase, const Memory& memory, detail::BlockSink sink,
         void* context)
        : call_(call), phase_(phase), memory_(memory), sink_(sink), context_(context) {}

    void parameters();
    void result();

private:
    void parameter(uint16_t place);
    const Type* behind(const Parameter& parameter) const;
    void formatArguments(uint16_t formatPlace);
    // Works out how much is at the block's address, hands it on and follows what is in it.
    // 'counted' is the count that was found for it, -1 for none.
    void complete(Block& block, int64_t counted, int level);
    bool measure(Block& block, int64_t counted, bool certain) const;
    bool measureChain(Block& block, uint32_t count, bool certain) const;
    void measureTail(Block& block) const;
    void follow(const Block& block, int level);
    void followFields(const Block& block, const Record& record, uint32_t offset, uint32_t index,
                      int level);
    void followPointer(const Block& parent, const Field& field, const char* base, uint32_t index,
                       uint16_t place, const Record& record, int level);

    const CallWords& call_;
    const Phase phase_;
    const Memory& memory_;
    const detail::BlockSink sink_;
    void* const context_;
};

void Walk::parameters() {
    const auto count = std::min<size_t>(call_.function.parameters.size(), call_.argumentWords);
    for (uint16_t place = 0; place < count; ++place)
        if (call_.function.parameters[place].type->kind == Kind::kPointer) parameter(place);
}

const Type* Walk::behind(const Parameter& parameter) const {
    const Semantics& semantics = parameter.semantics;
    if (semantics.cases.empty()) return parameter.type->target;
    if (semantics.selectIndex >= call_.argumentWords) return nullptr;
    for (const Case& one : semantics.cases)
        if (one.value == static_cast<uint32_t>(call_.arguments[semantics.selectIndex]))
            return one.type;
    return nullptr;
}

void Walk::parameter(uint16_t place) {
    const Parameter& parameter = call_.function.parameters[place];
    const Semantics& semantics = parameter.semantics;
    const Word address = call_.arguments[place];
    if (address == 0 || semantics.ignored || semantics.byAddress) return;
    if (semantics.meaning == Meaning::kArguments) return;  // with its format
    const Type* const element = behind(parameter);
    if (element == nullptr || element->kind == Kind::kFunction) return;
    Block block{.address = address,
                .content = nullptr,
                .bytes = 0,
                .element = element,
                .count = 1,
                .tailCount = 0,
                .meaning = semantics.meaning,
                .written = !parameter.type->isConst && element->owner == Owner::kNobody &&
                           semantics.cases.empty(),
                .read = !semantics.out,
                .semantics = &semantics,
                .parent = nullptr,
                .place = place,
                .index = 0};
    if (phase_ == Phase::kAfter && !block.written) return;
    int64_t counted = -1;
    if (semantics.countIndex < call_.argumentWords) {
        const Type& type = *call_.function.parameters[semantics.countIndex].type;
        counted = countFrom(integerAt(&call_.arguments[semantics.countIndex], type), semantics);
    }
    if (semantics.resultBytes && phase_ == Phase::kAfter)
        counted = std::clamp<int64_t>(static_cast<int32_t>(call_.result), 0, counted);
    complete(block, counted, 0);
    if (semantics.meaning == Meaning::kFormat) formatArguments(place);
}

void Walk::formatArguments(uint16_t formatPlace) {
    const FormatWords found = formatWords(call_, memory_);
    if (found.words == nullptr) return;
    Block block{.address = 0,
                .content = found.words,
                .bytes = found.count * static_cast<uint32_t>(sizeof(Word)),
                .element = call_.function.parameters[formatPlace].type->target,
                .count = found.count * static_cast<uint32_t>(sizeof(Word)),
                .tailCount = 0,
                .meaning = Meaning::kArguments,
                .written = false,
                .read = true,
                .semantics = &kNothingSaid,
                .parent = nullptr,
                .place = static_cast<uint16_t>(formatPlace + 1),
                .index = 0};
    if (!call_.function.variadic) {
        block.address = call_.arguments[formatPlace + 1];
        block.semantics = &call_.function.parameters[formatPlace + 1].semantics;
        sink_(context_, block);
    }
    std::string_view format = found.format;
    for (uint32_t at = 0; !format.empty();) {
        const FormatPiece piece = takePiece(format);
        at += piece.stars;
        if (at + piece.words > found.count) return;
        if (piece.conversion == 's' && found.words[at] != 0) {
            int64_t limit = piece.precision;
            if (piece.precisionStar) limit = static_cast<int32_t>(found.words[at - 1]);
            Block text = block;
            text.address = found.words[at];
            text.meaning = Meaning::kText;
            text.semantics = &kNothingSaid;
            text.place = kVariadicPlace;
            text.index = at;
            complete(text, limit, 1);
        }
        at += piece.words;
    }
}

void Walk::result() {
    const Type& type = *call_.function.result;
    const Semantics& semantics = call_.function.resultSemantics;
    const auto address = static_cast<Word>(call_.result);
    if (type.kind != Kind::kPointer || address == 0 || semantics.byAddress) return;
    if (type.target->kind == Kind::kFunction) return;
    Block block{.address = address,
                .content = nullptr,
                .bytes = 0,
                .element = type.target,
                .count = 1,
                .tailCount = 0,
                .meaning = semantics.meaning,
                .written = true,
                .read = false,
                .semantics = &semantics,
                .parent = nullptr,
                .place = kResultPlace,
                .index = 0};
    complete(block, -1, 0);
}

bool Walk::measureChain(Block& block, uint32_t count, bool certain) const {
    uint32_t bytes = 0, reached = 0;
    while (reached < count) {
        const void* const record =
            memory_.at(block.address + bytes, block.element->size, certain && reached == 0);
        if (record == nullptr) break;
        const uint32_t length = chainedBytes(record, *block.element, *block.semantics);
        if (length == 0 || bytes + length > kLargestBlock) break;
        bytes += length;
        ++reached;
    }
    block.count = reached;
    block.bytes = bytes;
    return reached != 0;
}

// Puts the array at the record's end behind it, as far as its count says.
void Walk::measureTail(Block& block) const {
    const Field* const tail = tailOf(*block.element);
    if (tail == nullptr || block.content == nullptr) return;
    const Record& record = *block.element->record;
    const Type& element = *tail->type->target;
    if (block.semantics->tail >= 0) {
        block.tailCount = static_cast<uint32_t>(block.semantics->tail);
    } else if (tail->semantics.countIndex < record.fields.size()) {
        const Field& count = record.fields[tail->semantics.countIndex];
        block.tailCount = countFrom(
            integerAt(static_cast<const char*>(block.content) + count.offset, *count.type),
            tail->semantics);
    }
    block.tailCount = bounded(block.tailCount, element.size);
    block.bytes = tail->offset + block.tailCount * element.size;
}

bool Walk::measure(Block& block, int64_t counted, bool certain) const {
    const Semantics& semantics = *block.semantics;
    const bool known = phase_ == Phase::kAfter || block.read;
    if (isText(block.meaning)) {
        if (!known) return false;
        const auto limit = counted >= 0 ? static_cast<uint32_t>(counted) : kLargestText;
        block.bytes = block.count =
            memory_.textBytes(block.address, std::min(limit, kLargestText), certain);
    } else if (semantics.chainedBy != nullptr) {
        if (!measureChain(block, static_cast<uint32_t>(std::max<int64_t>(counted, 0)), certain))
            return false;
    } else {
        const uint32_t size = block.element->kind == Kind::kVoid ? 1 : block.element->size;
        const bool isCounted = counted >= 0 || semantics.elements != 0;
        if (size == 0 || (block.element->kind == Kind::kVoid && !isCounted)) return false;
        block.count = counted >= 0              ? static_cast<uint32_t>(counted)
                      : semantics.elements != 0 ? semantics.elements
                                                : 1;
        block.count = bounded(block.count, size);
        block.bytes = isCounted ? block.count * size : bytesOf(*block.element);
        if (semantics.upToBytes != 0) block.bytes = semantics.upToBytes;
    }
    if (block.bytes == 0) return false;
    if (!known) return true;
    block.content = memory_.at(block.address, block.bytes, certain);
    const uint32_t fixed = block.bytes;
    if (semantics.upToBytes == 0) measureTail(block);
    if (block.bytes != fixed) block.content = memory_.at(block.address, block.bytes, certain);
    return block.content != nullptr;
}

void Walk::complete(Block& block, int64_t counted, int level) {
    if (block.meaning == Meaning::kNone) block.meaning = block.element->meaning;
    // What the HAL has just handed out the platform looks at, so it is there.
    const bool certain =
        level == 0 || (level == 1 && phase_ == Phase::kAfter && block.owner() == Owner::kHost);
    if (!measure(block, counted, certain)) return;
    sink_(context_, block);
    if (block.content != nullptr && block.owner() != Owner::kPlatform && level < kDeepest)
        follow(block, level + 1);
}

void Walk::follow(const Block& block, int level) {
    const Type& element = *block.element;
    const auto* const content = static_cast<const char*>(block.content);
    if (element.kind == Kind::kRecord && element.record->reaches) {
        followFields(block, *element.record, 0, 0, level);
    } else if (element.kind == Kind::kPointer) {
        const Field pointer{{}, &element, 0, {}};
        const Record none{{}, 0, Owner::kNobody, false, {}};
        for (uint32_t i = 0; i < block.count; ++i)
            followPointer(block, pointer, content + sizeof(Word) * i, i, 0, none, level);
    }
}

void Walk::followFields(const Block& block, const Record& record, uint32_t offset, uint32_t index,
                        int level) {
    const auto* const base = static_cast<const char*>(block.content) + offset;
    const auto count = static_cast<uint16_t>(record.fields.size());
    for (uint16_t place = 0; place < count; ++place) {
        const Field& field = record.fields[place];
        if (offset + field.offset + field.type->size > block.bytes) return;
        if (field.type->kind == Kind::kRecord && field.type->record->reaches)
            followFields(block, *field.type->record, offset + field.offset, index, level);
        else if (field.type->kind == Kind::kPointer)
            followPointer(block, field, base, index, place, record, level);
    }
}

void Walk::followPointer(const Block& parent, const Field& field, const char* base, uint32_t index,
                         uint16_t place, const Record& record, int level) {
    const Type& element = *field.type->target;
    const Word address = wordAt(base + field.offset);
    if (address == 0 || element.kind == Kind::kFunction || field.semantics.byAddress) return;
    // What is behind a pointer of this kind is told by where the pointer lies.
    const Semantics& semantics = record.fields.empty() ? kNothingSaid : field.semantics;
    Block block{.address = address,
                .content = nullptr,
                .bytes = 0,
                .element = &element,
                .count = 1,
                .tailCount = 0,
                .meaning = semantics.meaning,
                .written = false,
                .read = true,
                .semantics = &semantics,
                .parent = &parent,
                .place = place,
                .index = index};
    int64_t counted = -1;
    if (semantics.countIndex < record.fields.size()) {
        const Field& count = record.fields[semantics.countIndex];
        counted = countFrom(integerAt(base + count.offset, *count.type), semantics);
    }
    complete(block, counted, level);
}

}  // namespace

int64_t integerAt(const void* content, const Type& type) {
    uint64_t value = 0;
    const uint32_t size = std::min<uint32_t>(type.size, sizeof value);
    std::memcpy(&value, content, size);
    if (type.kind != Kind::kSigned || size == 0 || size == sizeof value)
        return static_cast<int64_t>(value);
    const auto unused = 64 - 8 * size;
    return static_cast<int64_t>(value << unused) >> unused;
}

uint32_t chainedBytes(const void* content, const Type& element, const Semantics& semantics) {
    const Field* const length = element.record->field(semantics.chainedBy);
    const auto value = integerAt(static_cast<const char*>(content) + length->offset, *length->type);
    return static_cast<uint32_t>(value >> semantics.chainShift);
}

namespace detail {

void visitBlocks(const CallWords& call, Phase phase, const Memory& memory, BlockSink sink,
                 void* context) {
    Walk walk(call, phase, memory, sink, context);
    walk.parameters();
    if (phase == Phase::kAfter) walk.result();
}

}  // namespace detail

}  // namespace pcsim::probe
