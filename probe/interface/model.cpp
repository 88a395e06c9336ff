// Finding things in the description by name.
#include "probe/interface/model.h"

#include <algorithm>

#include "probe/interface/tables.h"

namespace pcsim::probe {

namespace {

template <typename Entry>
const Entry* named(std::span<const Entry> sorted, std::string_view name) {
    const auto found = std::ranges::lower_bound(sorted, name, {}, &Entry::name);
    return found != sorted.end() && found->name == name ? &*found : nullptr;
}

}  // namespace

std::span<const Operation> operations() {
    return description::operations;
}

std::span<const Record> records() {
    return description::records;
}

std::span<const Function> functions() {
    return description::functions;
}

std::span<const Variable> variables() {
    return description::variables;
}

const Operation* operationNamed(std::string_view name) {
    return named(operations(), name);
}

const Record* recordNamed(std::string_view name) {
    return named(records(), name);
}

const Function* functionNamed(std::string_view name) {
    return named(functions(), name);
}

bool isOfTree(std::string_view name) {
    const Operation* const operation = operationNamed(name);
    return operation != nullptr && operation->header == "host_tree";
}

const Field* Record::field(std::string_view wanted) const {
    const auto found = std::ranges::find(fields, wanted, &Field::name);
    return found != fields.end() ? &*found : nullptr;
}

Meaning meaningOf(const Semantics& semantics, const Type& type) {
    return semantics.meaning != Meaning::kNone ? semantics.meaning : type.meaning;
}

const Field* wordAt(const Record& record, uint32_t offset) {
    for (const Field& field : record.fields) {
        if (offset < field.offset || offset >= field.offset + field.type->size) continue;
        if (field.type->kind == Kind::kRecord)
            return wordAt(*field.type->record, offset - field.offset);
        const bool holdsFunction =
            field.type->kind == Kind::kPointer && field.type->target->kind == Kind::kFunction;
        return holdsFunction && field.offset == offset ? &field : nullptr;
    }
    return nullptr;
}

}  // namespace pcsim::probe
