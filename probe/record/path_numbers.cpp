// A table by hash that never grows: there are fewer paths than places.
#include "probe/record/path_numbers.h"

namespace pcsim::probe {
namespace {

constexpr uint32_t kPlaces = 8192;
constexpr uint32_t kMost = 4096;

bool hasWords(const Record& record) {
    for (uint32_t offset = 0; offset < record.size; offset += 4)
        if (wordAt(record, offset) != nullptr) return true;
    return false;
}

// The field of 'record', or of one inside it, that the semantics belong to, as a path.
std::string fieldPath(const Record& record, const Semantics* wanted) {
    for (const Field& field : record.fields) {
        const std::string name(field.name);
        if (&field.semantics == wanted) return name;
        if (field.type->kind != Kind::kRecord) continue;
        const std::string inside = fieldPath(*field.type->record, wanted);
        if (!inside.empty()) return name + "." + inside;
    }
    return {};
}

std::string stepTo(const Function& function, const Block& block) {
    if (block.parent != nullptr) {
        const Record* const record = block.parent->element->record;
        return record == nullptr ? "*" : fieldPath(*record, block.semantics);
    }
    if (block.place == kResultPlace) return "result";
    return block.place < function.parameters.size()
               ? std::string(function.parameters[block.place].name)
               : "...";
}

}  // namespace

PathNumbers::PathNumbers() : table_(kPlaces), texts_(1), holdsFunctions_(1) {}

void PathNumbers::define(Path& path, const Block& block, Encoder& encoder) {
    const std::string step = stepTo(*path.function, block);
    texts_.push_back(path.parent == 0 ? step : texts_[path.parent] + "." + step);
    path.number = static_cast<uint32_t>(texts_.size() - 1);
    const Type& element = *block.element;
    holdsFunctions_.push_back(element.record != nullptr && hasWords(*element.record));
    encoder.path(path.number, path.function->name, texts_.back(),
                 element.record != nullptr ? element.record->name : element.name);
}

uint32_t PathNumbers::of(const Function& function, const Block& block, Encoder& encoder) {
    Path wanted{&function, 0, block.semantics, block.element, 0};
    if (block.parent != nullptr) {
        wanted.parent = of(function, *block.parent, encoder);
        if (wanted.parent == 0) return 0;
    }
    uint32_t hash = 0x811C9DC5u;
    for (const uintptr_t part : {reinterpret_cast<uintptr_t>(&function), uintptr_t{wanted.parent},
                                 reinterpret_cast<uintptr_t>(wanted.pointer),
                                 reinterpret_cast<uintptr_t>(wanted.element)}) {
        hash = (hash ^ static_cast<uint32_t>(part)) * 0x01000193u;
        hash ^= hash >> 15;
    }
    for (uint32_t place = hash % kPlaces;; place = (place + 1) % kPlaces) {
        Path& path = table_[place];
        if (path.number != 0 && path.isFor(wanted)) return path.number;
        if (path.number != 0) continue;
        if (texts_.size() > kMost) return 0;
        path = wanted;
        define(path, block, encoder);
        return path.number;
    }
}

}  // namespace pcsim::probe
