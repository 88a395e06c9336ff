// Finding the values of a function in its description, and in a call.
#include "probe/values/leaves.h"

#include <algorithm>

#include "probe/values/handles.h"

namespace pcsim::probe {

namespace {

constexpr size_t kLongestWay = 3;

// Where an element lies whose leaves are looked for.
struct Position {
    std::string path;
    uint16_t place;
    bool isOutput;
    const Type* block;
    std::vector<uint16_t> steps;
    Repeat repeat;
    uint32_t offset;
};

class Leaves {
public:
    std::vector<Leaf> of(const Function& function);

private:
    void parameter(const Parameter& parameter, uint16_t place);
    void behind(const Type& pointer, const Semantics& semantics, Position at);
    void element(const Type& type, Meaning meaning, const Position& at, const Field* field,
                 const Record* record);
    void recordFields(const Record& record, const Position& at);
    void array(const Field& field, const Record& record, Position at);
    void add(const Position& at, const Type& type, Meaning meaning, const Field* field,
             const Record* record);

    std::vector<Leaf> leaves_;
};

std::string_view lastOf(std::string_view path) {
    const size_t point = path.rfind('.');
    return point == path.npos ? path : path.substr(point + 1);
}

std::vector<Leaf> Leaves::of(const Function& function) {
    const auto count = static_cast<uint16_t>(function.parameters.size());
    for (uint16_t place = 0; place < count; ++place) parameter(function.parameters[place], place);
    const Type& result = *function.result;
    if (result.kind != Kind::kVoid) {
        leaves_.push_back({.path = "result",
                           .type = &result,
                           .meaning = function.resultSemantics.meaning,
                           .place = kResultPlace,
                           .isWord = true,
                           .isOutput = true});
    }
    if (result.kind == Kind::kPointer && !function.resultSemantics.byAddress)
        behind(result, function.resultSemantics,
               {"result", kResultPlace, true, nullptr, {}, {}, 0});
    // The paths stay where they are from here on.
    for (Leaf& leaf : leaves_) leaf.name = lastOf(leaf.path);
    return std::move(leaves_);
}

void Leaves::parameter(const Parameter& parameter, uint16_t place) {
    const Semantics& semantics = parameter.semantics;
    if (semantics.ignored) return;
    const std::string path(parameter.name);
    if (!semantics.out) {
        leaves_.push_back({.path = path,
                           .type = parameter.type,
                           .meaning = semantics.meaning,
                           .place = place,
                           .isWord = true,
                           .isOutput = false});
    }
    if (parameter.type->kind == Kind::kPointer && !semantics.byAddress)
        behind(*parameter.type, semantics, {path, place, semantics.out, nullptr, {}, {}, 0});
}

void Leaves::behind(const Type& pointer, const Semantics& semantics, Position at) {
    const Type& target = *pointer.target;
    at.repeat = {};
    at.offset = 0;
    if (semantics.meaning == Meaning::kFormat || semantics.meaning == Meaning::kArguments) return;
    for (const Case& one : semantics.cases) {
        if (at.block == one.type) continue;  // several values of the request mean one type
        at.block = one.type;
        element(*one.type, one.type->meaning, at, nullptr, nullptr);
    }
    if (target.kind == Kind::kFunction || target.kind == Kind::kVoid || isNamed(target)) return;
    at.block = &target;
    const Meaning meaning =
        semantics.meaning != Meaning::kNone ? semantics.meaning : target.meaning;
    element(target, meaning, at, nullptr, nullptr);
}

void Leaves::element(const Type& type, Meaning meaning, const Position& at, const Field* field,
                     const Record* record) {
    const bool isAddress = meaning == Meaning::kIpv6 || meaning == Meaning::kAddress;
    if (type.kind == Kind::kRecord && !isAddress) {
        recordFields(*type.record, at);
    } else if (type.kind == Kind::kPointer && field == nullptr) {
        Position next = at;
        next.steps.push_back(0);
        behind(type, {}, std::move(next));
    } else if (type.kind != Kind::kPointer) {
        add(at, type, meaning, field, record);
    }
}

void Leaves::recordFields(const Record& record, const Position& at) {
    const auto count = static_cast<uint16_t>(record.fields.size());
    for (uint16_t place = 0; place < count; ++place) {
        const Field& field = record.fields[place];
        const Semantics& semantics = field.semantics;
        if (semantics.ignored || field.name.starts_with("reserved")) continue;
        Position next = at;
        next.path += "." + std::string(field.name);
        next.offset += field.offset;
        if (field.type->kind == Kind::kArray) {
            array(field, record, std::move(next));
        } else if (field.type->kind == Kind::kPointer) {
            if (at.repeat.count != 0 || at.steps.size() >= kLongestWay) continue;
            next.steps.push_back(place);
            behind(*field.type, semantics, std::move(next));
        } else {
            const Meaning meaning =
                semantics.meaning != Meaning::kNone ? semantics.meaning : field.type->meaning;
            element(*field.type, meaning, next, &field, &record);
        }
    }
}

void Leaves::array(const Field& field, const Record& record, Position at) {
    const Type& type = *field.type;
    const Meaning meaning =
        field.semantics.meaning != Meaning::kNone ? field.semantics.meaning : type.target->meaning;
    const bool isWhole = meaning == Meaning::kText || meaning == Meaning::kIpv6 ||
                         (meaning == Meaning::kMac && type.target->kind != Kind::kArray);
    if (isWhole) {
        add(at, type, meaning, &field, &record);
        return;
    }
    // Bytes that stand for nothing known, and arrays in arrays.
    const bool isBytes = type.target->size == 1 && meaning == Meaning::kNone;
    if (isBytes || at.repeat.count != 0 || type.target->kind == Kind::kPointer) return;
    at.repeat = {at.offset, type.target->size, type.count == 0 ? Repeat::kTail : type.count};
    at.offset = 0;
    element(*type.target, meaning, at, &field, &record);
}

void Leaves::add(const Position& at, const Type& type, Meaning meaning, const Field* field,
                 const Record* record) {
    // A field of an output that is read too is both; what a rule tests is what goes in.
    const bool isOutput = at.isOutput || (field != nullptr && field->semantics.out);
    leaves_.push_back({.path = at.path,
                       .type = &type,
                       .meaning = meaning,
                       .place = at.place,
                       .isWord = false,
                       .isOutput = isOutput,
                       .element = at.block,
                       .steps = at.steps,
                       .repeat = at.repeat,
                       .offset = at.offset,
                       .field = field,
                       .record = record});
}

// Whether the walk has come to the block that the leaf lies in.
bool leadsTo(const Leaf& leaf, const Block& block) {
    if (block.element != leaf.element) return false;
    const Block* at = &block;
    for (size_t i = leaf.steps.size(); i > 0; --i) {
        if (at->parent == nullptr || at->place != leaf.steps[i - 1]) return false;
        at = at->parent;
    }
    return at->parent == nullptr && at->place == leaf.place;
}

bool anyInElement(const Leaf& leaf, const Block& block, const char* base,
                  const std::function<bool(const char*, const Block*)>& visit) {
    const auto* const end = static_cast<const char*>(block.content) + block.bytes;
    const bool isArray = leaf.repeat.count != 0;
    const uint32_t count = !isArray                             ? 1
                           : leaf.repeat.count == Repeat::kTail ? block.tailCount
                                                                : leaf.repeat.count;
    for (uint32_t i = 0; i < count; ++i) {
        const char* const at = base + leaf.repeat.offset + i * leaf.repeat.stride + leaf.offset;
        if (at + leaf.type->size > end) return false;
        if (visit(at, &block)) return true;
    }
    return false;
}

}  // namespace

const char* Leaf::beside(const char* at, const Field& other) const {
    return field == nullptr ? nullptr : at - field->offset + other.offset;
}

std::vector<Leaf> leavesOf(const Function& function) {
    return Leaves().of(function);
}

bool anyValue(const Leaf& leaf, const CallWords& call, Phase phase, const Memory& memory,
              const std::function<bool(const char* at, const Block* block)>& visit) {
    if (leaf.isWord) {
        if (leaf.place == kResultPlace)
            return visit(reinterpret_cast<const char*>(&call.result), nullptr);
        if (leaf.place >= call.argumentWords) return false;
        return visit(reinterpret_cast<const char*>(&call.arguments[leaf.place]), nullptr);
    }
    bool done = false;
    visitBlocks(call, phase, memory, [&](const Block& block) {
        if (done || block.content == nullptr || !leadsTo(leaf, block)) return;
        const auto* at = static_cast<const char*>(block.content);
        const bool isText = block.meaning == Meaning::kText || block.meaning == Meaning::kMac;
        const uint32_t count = isText ? 1 : block.count;
        for (uint32_t i = 0; i < count && !done; ++i) {
            done = anyInElement(leaf, block, at, visit);
            at += block.semantics->chainedBy != nullptr
                      ? chainedBytes(at, *block.element, *block.semantics)
                      : block.element->size;
        }
    });
    return done;
}

}  // namespace pcsim::probe
