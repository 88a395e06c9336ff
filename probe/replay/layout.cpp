// Walks types down to what has no parts.
#include "probe/replay/layout.h"

#include <map>

namespace pcsim::probe {
namespace {

constexpr Semantics kNothingSaid{};

void collect(const Type& type, const Semantics& semantics, uint32_t offset, Layout& layout) {
    // The links of a node are the tree's: nobody else looks at them.
    const bool isLinks = type.record != nullptr && type.record->name == "HalTreeNode";
    if (semantics.varies || semantics.ignored || (isLinks && type.kind == Kind::kRecord)) {
        layout.free.push_back({offset, type.size});
    } else if (type.kind == Kind::kPointer) {
        layout.pointers.push_back({offset, &type, &semantics});
    } else if (type.kind == Kind::kArray && type.target->kind != Kind::kUnsigned &&
               type.target->kind != Kind::kSigned) {
        for (uint32_t index = 0; index < type.count; ++index)
            collect(*type.target, kNothingSaid, offset + index * type.target->size, layout);
    } else if (type.kind == Kind::kRecord) {
        for (const Field& field : type.record->fields)
            collect(*field.type, field.semantics, offset + field.offset, layout);
    }
}

const Field* fieldAt(const Record& record, uint32_t offset) {
    const Field* found = nullptr;
    for (const Field& field : record.fields) {
        const bool hasEnd = field.type->size != 0;
        if (offset >= field.offset && (!hasEnd || offset < field.offset + field.type->size))
            found = &field;
    }
    return found;
}

}  // namespace

const Layout& layoutOf(const Type& type) {
    static std::map<const Type*, Layout> known;
    const auto [place, isNew] = known.try_emplace(&type);
    if (isNew) collect(type, kNothingSaid, 0, place->second);
    return place->second;
}

Place placeAt(const Type* element, uint32_t offset) {
    Place place;
    if (element == nullptr || element->size == 0) {
        place.path = "[" + std::to_string(offset) + "]";
        place.offset = offset;
        return place;
    }
    const Type* type = element;
    uint32_t rest = offset;
    // A record that ends in an array is alone, however long that is.
    const bool hasTail = element->kind == Kind::kRecord && !element->record->fields.empty() &&
                         element->record->fields.back().type->size == 0;
    if (!hasTail && offset >= element->size) {
        place.path = "[" + std::to_string(offset / element->size) + "]";
        rest = offset % element->size;
    }
    place.meaning = type->meaning;
    for (;;) {
        if (type->kind == Kind::kRecord) {
            const Field* const field = fieldAt(*type->record, rest);
            if (field == nullptr) break;
            place.path += "." + std::string(field->name);
            if (field->semantics.meaning != Meaning::kNone)
                place.meaning = field->semantics.meaning;
            type = field->type;
            rest -= field->offset;
        } else if (type->kind == Kind::kArray && place.meaning == Meaning::kNone) {
            place.path += "[" + std::to_string(rest / type->target->size) + "]";
            rest %= type->target->size;
            type = type->target;
        } else {
            break;
        }
    }
    place.type = type;
    place.offset = offset - rest;
    place.size = type->size != 0 ? type->size : 1;
    return place;
}

}  // namespace pcsim::probe
