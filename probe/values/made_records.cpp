// Making the records of a call.
#include <fmt/format.h>

#include <cstring>

#include "console/error.h"
#include "console/text.h"
#include "probe/values/maker.h"
#include "probe/values/write.h"

namespace pcsim::probe {

void Arguments::Maker::elements(const std::string& path, const Type& target,
                                const Semantics& semantics, char* at, const Room& room, int depth) {
    const bool isMany = isList(semantics, target);
    const std::string_view chainedBy =
        semantics.chainedBy != nullptr ? semantics.chainedBy : std::string_view();
    const Field* const length = chainedBy.empty() ? nullptr : target.record->field(chainedBy);
    for (uint32_t i = 0; i < room.elements; ++i, at += target.record->size) {
        if (length != nullptr) {
            const uint32_t bytes = target.record->size << semantics.chainShift;
            std::memcpy(at + length->offset, &bytes, length->type->size);
        }
        record(isMany ? fmt::format("{}[{}]", path, i) : path, *target.record, at,
               room.tail != nullptr ? &room : nullptr, chainedBy, semantics.out, depth);
    }
}

void Arguments::Maker::record(const std::string& path, const Record& record, char* at,
                              const Room* room, std::string_view chainedBy, bool isOutput,
                              int depth) {
    for (const Field& one : record.fields)
        if (isGiven(one, isOutput, chainedBy))
            field(path + "." + std::string(one.name), record, one, at, room, depth);
}

void Arguments::Maker::field(const std::string& path, const Record& record, const Field& field,
                             char* at, const Room* room, int depth) {
    const Type& type = *field.type;
    const Meaning meaning = meaningOf(field.semantics, type);
    char* const own = at + field.offset;
    if (isWhole(type, meaning)) {
        if (joined(path, record, field, at)) return;
        if (const Given* const one = given(path))
            writeWhole({one->name, one->value}, type, meaning, own);
    } else if (type.kind == Kind::kArray) {
        const bool isTail = room != nullptr && &field == room->tail;
        fieldArray(path, field, own, isTail ? room->tailElements : type.count, depth);
        const uint16_t count = field.semantics.countIndex;
        if (!isTail || count == kNoIndex) return;
        // The count is in front of what it counts.
        const std::string list = path.substr(0, path.rfind('.') + 1);
        const Field& counted = record.fields[count];
        if (given_.contains(list + std::string(counted.name))) return;
        const uint32_t elements = named(path);
        std::memcpy(at + counted.offset, &elements, counted.type->size);
    } else if (type.kind == Kind::kRecord) {
        this->record(path, *type.record, own, nullptr, {}, false, depth);
    } else if (type.kind == Kind::kPointer) {
        fieldPointer(path, record, field, at, depth);
    } else if (!joined(path, record, field, at)) {
        value(path, type, meaning, own);
    }
}

void Arguments::Maker::fieldPointer(const std::string& path, const Record& record,
                                    const Field& field, char* at, int depth) {
    const Semantics& semantics = field.semantics;
    const bool isCounted = semantics.countIndex != kNoIndex;
    const Field* const count = isCounted ? &record.fields[semantics.countIndex] : nullptr;
    const std::string list = path.substr(0, path.rfind('.') + 1);
    const std::string countPath = isCounted ? list + std::string(count->name) : "";
    Made made{};
    putPointer(at + field.offset, pointer(path, *field.type, semantics, countPath,
                                          isCounted ? count->type : nullptr, depth + 1, made));
    if (!isCounted || given_.contains(countPath)) return;
    const uint32_t elements = named(path) << semantics.countShift;
    std::memcpy(at + count->offset, &elements, count->type->size);
}

void Arguments::Maker::fieldArray(const std::string& path, const Field& field, char* at,
                                  uint32_t count, int depth) {
    const Type& element = *field.type->target;
    if (element.kind == Kind::kArray || element.kind == Kind::kPointer) return;
    if (const uint32_t most = named(path); most > count)
        fail("{} has {}; expected a place from 0 to {}", path,
             counted(count, "element", "elements"), count - 1);
    for (uint32_t i = 0; i < count; ++i) {
        const std::string one = fmt::format("{}[{}]", path, i);
        if (element.kind == Kind::kRecord)
            record(one, *element.record, at + i * element.size, nullptr, {}, false, depth);
        else
            value(one, element, meaningOf(field.semantics, element), at + i * element.size);
    }
}

// One word for two fields: a prefix, a slot and port.
bool Arguments::Maker::joined(const std::string& path, const Record& record, const Field& field,
                              char* at) {
    const auto found = given_.find(path);
    if (found == given_.end()) return false;
    if (!writeJoined({found->second.name, found->second.value}, record, field, at)) return false;
    found->second.used = true;
    return true;
}

}  // namespace pcsim::probe
