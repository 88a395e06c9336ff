// What is made of a type and what is said about it.
#include "tests/fuzz/tables/maker.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "pcsim/acl.h"
#include "pcsim/env.h"
#include "pcsim/l2.h"
#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/library.h"

namespace pcsim::fuzz {
namespace {

using probe::Kind;
using probe::Meaning;
using probe::Semantics;
using probe::Type;

constexpr uint32_t kMostElements = 4;
constexpr uint32_t kPlaces = 4;
HalHwHandle* handles[kPlaces];

// Whatever the HAL hands over to be called: it is the caller who takes its words off the stack.
extern "C" int32_t callback(...) {
    return 0;
}

uint32_t wordOf(const void* pointer) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pointer));
}

// The array at the end of a record that is as long as somebody says.
const probe::Field* tailOf(const probe::Record& record) {
    if (record.fields.empty()) return nullptr;
    const probe::Field& last = record.fields.back();
    return last.type->kind == Kind::kArray && last.type->count == 0 ? &last : nullptr;
}

void put(uint8_t* at, uint32_t value, uint32_t size) {
    std::memcpy(at, &value, std::min<uint32_t>(size, sizeof value));
}

}  // namespace

void forgetHandles() {
    for (HalHwHandle*& handle : handles) handle = nullptr;
}

Maker::~Maker() {
    for (void* each : blocks_) std::free(each);
}

uint8_t* Maker::block(size_t size) {
    auto* const made = static_cast<uint8_t*>(std::calloc(1, size));
    blocks_.push_back(made);
    return made;
}

// Of exactly its size: a few letters mostly, or more than any record has room for.
uint8_t* Maker::text() {
    const auto letter = static_cast<uint8_t>('a' + input_.below(26));
    const uint8_t choice = input_.byte();
    const size_t length = choice < 240 ? choice % 8 : choice;
    uint8_t* const made = block(length + 1);
    std::memset(made, letter, length);
    return made;
}

// Mostly small numbers of things that there are, else anything.
uint32_t Maker::number(Meaning meaning) {
    const uint8_t choice = input_.byte();
    if (choice >= 160) return input_.hostile();
    switch (meaning) {
        case Meaning::kSlot:
            return choice % 12;
        case Meaning::kPort:
            return (choice % 6 == 5 ? 2u << 24 : 0) | (1 + choice % 2) << 16 | choice % 5;
        case Meaning::kVlanInstance:
            return 10 + choice % 4;
        case Meaning::kVirtualRouter:
            return choice % 4;
        case Meaning::kFlag:
            return choice % 2;
        default:
            return choice % 20;
    }
}

// Rules one behind the other, which pass to the library.
uint32_t Maker::chain(const Semantics&, uint32_t count) {
    constexpr size_t kSize = sizeof(HalAclRule);
    auto* const rules = static_cast<HalAclRule*>(std::calloc(std::max(count, 1u), kSize));
    for (uint32_t i = 0; i < count; ++i) {
        std::memset(rules[i].name, input_.byte(), sizeof rules[i].name);
        rules[i].length = input_.below(8) == 7 ? 0 : kSize << HAL_ACL_RULE_LENGTH_SHIFT;
    }
    handOver(rules);
    return wordOf(rules);
}

uint8_t* Maker::record(const Type& type, const Semantics& semantics, uint32_t count) {
    const probe::Record& described = *type.record;
    const probe::Field* const tail = tailOf(described);
    uint32_t elements = 0;
    if (tail != nullptr && semantics.upToBytes == 0)
        elements = semantics.tail >= 0 ? static_cast<uint32_t>(semantics.tail)
                                       : input_.below(kMostElements);
    uint32_t size = semantics.upToBytes != 0 ? semantics.upToBytes : described.size;
    if (tail != nullptr && elements != 0)
        size = std::max(size, tail->offset + elements * tail->type->target->size);
    uint8_t* const made = block(size_t{size} * std::max(count, 1u));
    // Of an output, too, some has to be there: it may be the HAL's to fill.
    for (uint32_t i = 0; i < std::max(count, 1u); ++i)
        fillRecord(described, made + size_t{i} * size, size, elements);
    return made;
}

uint32_t Maker::pointer(const Type& type, const Semantics& semantics, uint32_t count) {
    const Type& target = *type.target;
    if (target.kind == Kind::kFunction) {
        const bool none = semantics.orNull && input_.below(4) == 0;
        return none ? 0 : wordOf(reinterpret_cast<const void*>(callback));
    }
    if (semantics.orNull && input_.below(4) == 0) return 0;
    if (target.kind == Kind::kPointer && target.target->name == "HalHwHandle")
        return wordOf(&handles[input_.below(kPlaces)]);
    if (target.name == "HalHwHandle") return wordOf(handles[input_.below(kPlaces)]);
    if (semantics.chainedBy != nullptr) return chain(semantics, count);
    if (target.record != nullptr && target.record->name == "HalFdbEntry")
        return wordOf(&pcSimFdbTable[input_.below(64)]);
    if (depth_ > 4) return 0;
    ++depth_;
    uint8_t* made = nullptr;
    if (target.kind == Kind::kRecord) {
        made = record(target, semantics, count);
    } else if (semantics.meaning == Meaning::kText || target.meaning == Meaning::kText) {
        made = text();
    } else {
        const uint32_t elements = std::max({count, semantics.elements, 1u});
        const uint32_t size = std::max(target.size, target.kind == Kind::kVoid ? 1u : 4u);
        made = block(size_t{elements} * (target.size != 0 ? target.size : size));
        for (uint32_t i = 0; i < elements && target.kind != Kind::kVoid; ++i)
            fill(target, semantics, made + size_t{i} * target.size, 0);
    }
    --depth_;
    return wordOf(made);
}

uint32_t Maker::value(const Type& type, const Semantics& semantics, uint32_t count) {
    if (type.kind == Kind::kPointer) return pointer(type, semantics, count);
    return number(probe::meaningOf(semantics, type));
}

void Maker::fill(const Type& type, const Semantics& semantics, uint8_t* at, uint32_t count) {
    switch (type.kind) {
        case Kind::kRecord:
            return fillRecord(*type.record, at, type.record->size, 0);
        case Kind::kArray: {
            const uint32_t elements = type.count != 0 ? type.count : count;
            if (type.target->kind == Kind::kRecord || type.target->kind == Kind::kPointer) {
                for (uint32_t i = 0; i < elements; ++i)
                    fill(*type.target, semantics, at + size_t{i} * type.target->size, 0);
                return;
            }
            std::memset(at, input_.byte(), size_t{elements} * type.target->size);
            return;
        }
        default:
            put(at, value(type, semantics, count), type.size);
    }
}

// Fields behind 'length' are not there. What counts another field says what there is of it.
void Maker::fillRecord(const probe::Record& record, uint8_t* at, uint32_t length, uint32_t tail) {
    for (const probe::Field& field : record.fields) {
        const bool isTail = &field == tailOf(record);
        if (field.offset + field.type->size > length || field.semantics.ignored) continue;
        if (field.name.starts_with("reserved")) continue;
        uint32_t count = isTail ? tail : 0;
        if (field.type->kind == Kind::kPointer && field.semantics.countIndex != probe::kNoIndex)
            count = input_.below(kMostElements);
        fill(*field.type, field.semantics, at + field.offset, count);
        if (field.semantics.countIndex == probe::kNoIndex) continue;
        const probe::Field& counter = record.fields[field.semantics.countIndex];
        if (counter.offset + counter.type->size <= length)
            put(at + counter.offset, count << field.semantics.countShift, counter.type->size);
    }
}

std::vector<uint32_t> Maker::arguments(const probe::Function& function) {
    std::vector<uint32_t> words;
    for (const probe::Parameter& parameter : function.parameters) {
        const Semantics& semantics = parameter.semantics;
        // The argument that another one chooses the type of.
        const Type* type = parameter.type;
        if (type->kind == Kind::kPointer && !semantics.cases.empty()) {
            const probe::Case& chosen =
                semantics.cases[input_.below(static_cast<uint32_t>(semantics.cases.size()))];
            words[semantics.selectIndex] = chosen.value;
            const Type pointerTo{.kind = Kind::kPointer, .size = 4, .target = chosen.type};
            words.push_back(pointer(pointerTo, {}, 0));
            continue;
        }
        uint32_t count = 0;
        if (type->kind == Kind::kPointer && semantics.countIndex != probe::kNoIndex &&
            semantics.countIndex < words.size()) {
            count = input_.below(kMostElements);
            words[semantics.countIndex] = count << semantics.countShift;
        }
        words.push_back(value(*type, semantics, count));
        // The count follows: it is made when its turn comes, as many as there are.
    }
    for (size_t i = 0; i < function.parameters.size(); ++i) {
        const Semantics& semantics = function.parameters[i].semantics;
        if (semantics.countIndex != probe::kNoIndex && semantics.countIndex > i)
            words[semantics.countIndex] = 0;
    }
    // The number of fans comes with the call, not in the record.
    if (function.name == "HalFanReadHwInfoFn") {
        const uint32_t fans = words[0] <= HAL_FANS_MAX ? words[0] : 0;
        words[1] = wordOf(block(sizeof(HalFanHwInfo) + fans * sizeof(HalFanEntry)));
    }
    return words;
}

}  // namespace pcsim::fuzz
