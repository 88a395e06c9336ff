// Walking through types and bytes together.
#include "probe/tools/data.h"

#include <algorithm>
#include <cstring>

namespace pcsim::probe {
namespace {

// Whether an array is one value: a text, an address, bytes that nobody tells apart.
bool isOneValue(const Type& array) {
    return array.target->size == 1;
}

// Walks through all leaves; 'Path' makes the names, or nothing at all.
template <typename Visit>
class Walk {
public:
    Walk(uint32_t size, bool named, Visit& visit) : size_(size), named_(named), visit_(visit) {}

    void value(const Type& type, uint32_t offset, const Semantics* semantics,
               const std::string& path, bool reserved) {
        switch (type.kind) {
            case Kind::kRecord:
                for (const Field& field : type.record->fields)
                    if (offset + field.offset < size_)
                        value(*field.type, offset + field.offset, &field.semantics,
                              joined(path, field.name),
                              reserved || field.name.starts_with("reserved"));
                break;
            case Kind::kArray:
                array(type, offset, semantics, path, reserved);
                break;
            default:
                leaf(type, offset, type.size, semantics, path, reserved);
        }
    }

private:
    void array(const Type& type, uint32_t offset, const Semantics* semantics,
               const std::string& path, bool reserved) {
        const uint32_t each = type.target->size;
        if (each == 0) return;
        const uint32_t fits = (size_ - offset) / each;
        const uint32_t count = type.count == 0 ? fits : std::min(fits, type.count);
        if (isOneValue(type)) {
            leaf(type, offset, count, semantics, path, reserved);
            return;
        }
        for (uint32_t index = 0; index < count; ++index)
            value(*type.target, offset + index * each, semantics,
                  named_ ? joined(path, std::to_string(index)) : path, reserved);
    }

    void leaf(const Type& type, uint32_t offset, uint32_t size, const Semantics* semantics,
              const std::string& path, bool reserved) {
        // Of a union the first member tells all.
        if (size == 0 || offset < end_ || size > size_ - offset) return;
        end_ = offset + size;
        Meaning meaning = semantics != nullptr ? semantics->meaning : Meaning::kNone;
        if (meaning == Meaning::kNone) meaning = type.meaning;
        if (meaning == Meaning::kNone && type.kind == Kind::kArray) meaning = type.target->meaning;
        visit_(Datum{offset, size, &type, semantics, meaning, path, reserved});
    }

    std::string joined(const std::string& path, std::string_view name) const {
        if (!named_) return {};
        return path.empty() ? std::string(name) : path + "." + std::string(name);
    }

    uint32_t size_;
    bool named_;
    Visit& visit_;
    uint32_t end_ = 0;  // of the last leaf
};

// The size of the element at 'offset': a record that is chained says it itself.
uint32_t strideAt(const RecordedBlock& block, uint32_t offset, const Type& element,
                  const Semantics* semantics) {
    if (semantics == nullptr || semantics->chainedBy == nullptr) return element.size;
    const Field* field = element.record->field(semantics->chainedBy);
    if (field == nullptr || offset + field->offset + field->type->size > block.bytes.size())
        return element.size;
    uint32_t length = 0;
    std::memcpy(&length, &block.bytes[offset + field->offset],
                std::min<size_t>(field->type->size, sizeof length));
    length >>= semantics->chainShift;
    return length == 0 ? element.size : length;
}

bool endsInArray(const Type& type) {
    if (type.kind != Kind::kRecord || type.record->fields.empty()) return false;
    const Type& last = *type.record->fields.back().type;
    return last.kind == Kind::kArray && last.count == 0;
}

template <typename Visit>
void walk(const RecordedPath& path, const RecordedBlock& block, bool named, Visit&& visit) {
    const auto size = static_cast<uint32_t>(block.bytes.size());
    const Type* const element = path.type;
    const Semantics* const semantics = semanticsOf(path);
    Walk<Visit> walker(size, named, visit);
    uint32_t offset = 0;
    const bool known = element != nullptr && element->size != 0;
    if (known && (element->size == 1 || endsInArray(*element))) {
        if (element->size == 1) {
            Meaning meaning = path.meaning;
            if (meaning == Meaning::kNone && semantics != nullptr) meaning = semantics->meaning;
            if (meaning == Meaning::kNone) meaning = element->meaning;
            if (size != 0) visit(Datum{0, size, nullptr, nullptr, meaning, "", false});
        } else {
            walker.value(*element, 0, nullptr, "", false);
        }
        return;
    }
    const bool several = known && size > element->size;
    for (uint32_t index = 0; known && size - offset >= element->size; ++index) {
        const uint32_t stride = strideAt(block, offset, *element, semantics);
        walker.value(*element, offset, nullptr, named && several ? std::to_string(index) : "",
                     false);
        offset += std::min(std::max(stride, element->size), size - offset);
    }
    if (offset < size)
        visit(Datum{offset, size - offset, nullptr, nullptr, Meaning::kNone, "", false});
}

}  // namespace

std::vector<Datum> dataIn(const RecordedPath& path, const RecordedBlock& block) {
    std::vector<Datum> found;
    walk(path, block, true, [&](Datum leaf) { found.push_back(std::move(leaf)); });
    return found;
}

void pointersIn(const RecordedPath& path, const RecordedBlock& block,
                std::vector<PointerDatum>& found) {
    found.clear();
    // Most blocks have none: no walk for those that can't.
    if (path.type == nullptr || path.type->size == 1 || block.bytes.size() < 4) return;
    if (path.type->kind == Kind::kSigned || path.type->kind == Kind::kUnsigned) return;
    walk(path, block, false, [&](const Datum& leaf) {
        if (leaf.isPointer())
            found.push_back(
                {wordAt(block.bytes, leaf.offset), leaf.type, leaf.semantics, leaf.offset});
    });
}

const Semantics* semanticsOf(const RecordedPath& path) {
    const Function* const function = functionNamed(path.owner);
    if (function == nullptr) return nullptr;
    std::string_view rest = path.text;
    const std::string_view first = rest.substr(0, rest.find('.'));
    const Semantics* semantics = first == "result" ? &function->resultSemantics : nullptr;
    const Type* type = first == "result" ? function->result : nullptr;
    for (const Parameter& parameter : function->parameters)
        if (parameter.name == first) {
            semantics = &parameter.semantics;
            type = parameter.type;
        }
    while (type != nullptr && rest.size() > rest.find('.')) {
        rest.remove_prefix(rest.find('.') + 1);
        while (type->kind == Kind::kArray || type->kind == Kind::kPointer) type = type->target;
        const std::string_view name = rest.substr(0, rest.find('.'));
        const Field* field = type->record == nullptr ? nullptr : type->record->field(name);
        if (field == nullptr) return semantics;
        semantics = &field->semantics;
        type = field->type;
    }
    return semantics;
}

uint32_t wordAt(std::span<const uint8_t> bytes, uint32_t offset) {
    uint32_t word = 0;
    if (offset + sizeof word <= bytes.size()) std::memcpy(&word, &bytes[offset], sizeof word);
    return word;
}

int64_t numberOf(const Datum& leaf, std::span<const uint8_t> bytes) {
    uint64_t number = 0;
    const uint32_t size = std::min<uint32_t>(leaf.size, sizeof number);
    std::memcpy(&number, &bytes[leaf.offset], size);
    if (leaf.type == nullptr || leaf.type->kind != Kind::kSigned || size == 8)
        return static_cast<int64_t>(number);
    const unsigned shift = 64 - 8 * size;
    return static_cast<int64_t>(number << shift) >> shift;
}

}  // namespace pcsim::probe
