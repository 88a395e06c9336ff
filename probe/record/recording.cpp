// The store, and what can be asked of a whole recording.
#include "probe/record/recording.h"

#include <algorithm>
#include <unordered_map>

namespace pcsim::probe {

Recording::Recording() : store_(std::make_shared<std::pmr::monotonic_buffer_resource>(65536)) {
    paths.emplace_back();
}

Recording Recording::withoutEvents() const {
    Recording other = *this;
    other.events.clear();
    return other;
}

std::span<uint8_t> Recording::space(size_t size) {
    return {static_cast<uint8_t*>(store_->allocate(size, 4)), size};
}

std::string_view Recording::keep(std::string_view text) {
    const auto kept = space(text.size());
    std::copy(text.begin(), text.end(), kept.begin());
    return {reinterpret_cast<const char*>(kept.data()), kept.size()};
}

std::span<const uint32_t> Recording::keep(std::span<const uint32_t> words) {
    auto* const kept = reinterpret_cast<uint32_t*>(space(words.size_bytes()).data());
    std::copy(words.begin(), words.end(), kept);
    return {kept, words.size()};
}

std::span<const RecordedBlock> Recording::keep(std::span<const RecordedBlock> blocks) {
    auto* const kept = reinterpret_cast<RecordedBlock*>(space(blocks.size_bytes()).data());
    std::uninitialized_copy(blocks.begin(), blocks.end(), kept);
    return {kept, blocks.size()};
}

std::string_view Recording::fact(std::string_view what) const {
    const auto found = std::find_if(facts.begin(), facts.end(),
                                    [&](const auto& fact) { return fact.first == what; });
    return found == facts.end() ? std::string_view() : std::string_view(found->second);
}

uint64_t Recording::calls() const {
    return static_cast<uint64_t>(std::count_if(events.begin(), events.end(), [](const Event& each) {
        return each.kind == Event::Kind::kCall;
    }));
}

std::vector<size_t> Recording::returns() const {
    std::vector<size_t> found(events.size(), kNone);
    std::unordered_map<uint64_t, size_t> open;
    for (size_t index = 0; index < events.size(); ++index) {
        const Event& event = events[index];
        if (event.kind == Event::Kind::kCall) open[event.call] = index;
        if (event.kind != Event::Kind::kReturn) continue;
        if (const auto call = open.find(event.call); call != open.end()) {
            found[call->second] = index;
            open.erase(call);
        }
    }
    return found;
}

namespace {

std::string_view nameOf(const Type& type) {
    return type.record != nullptr ? type.record->name : type.name;
}

// What a void pointer may lead to, as another parameter says.
const Type* caseOf(const Parameter& parameter, std::string_view typeName) {
    for (const Case& one : parameter.semantics.cases)
        if (nameOf(*one.type) == typeName) return one.type;
    return nullptr;
}

// What is behind a parameter, result or variable: elements, or a pointer to them.
PathTarget rootOf(std::string_view owner, std::string_view name, std::string_view typeName) {
    if (const Function* function = functionNamed(owner)) {
        if (name == "result") return {function->result, function->resultSemantics.meaning};
        for (const Parameter& parameter : function->parameters) {
            if (parameter.name != name) continue;
            const Type* const selected = caseOf(parameter, typeName);
            return {selected != nullptr ? selected : parameter.type, parameter.semantics.meaning};
        }
        return {};
    }
    for (const Variable& variable : variables())
        if (variable.name == owner && name == owner) return {variable.type, Meaning::kNone};
    return {};
}

const Type* elementOf(const Type* type) {
    while (type != nullptr && type->kind == Kind::kArray) type = type->target;
    return type;
}

// What follows the first dot, and the name before it.
std::string_view takeName(std::string_view& path) {
    const size_t dot = path.find('.');
    const std::string_view name = path.substr(0, dot);
    path.remove_prefix(dot == std::string_view::npos ? path.size() : dot + 1);
    return name;
}

}  // namespace

PathTarget targetOf(std::string_view owner, std::string_view path, std::string_view typeName) {
    PathTarget target = rootOf(owner, takeName(path), typeName);
    const Type* type = target.type;
    // A pointer leads to its target; a record inside a record is walked through, not to.
    for (;;) {
        type = elementOf(type);
        if (type == nullptr) return {};
        if (type->kind == Kind::kPointer) type = elementOf(type->target);
        if (type == nullptr) return {};
        if (path.empty()) {
            if (target.meaning == Meaning::kNone) target.meaning = type->meaning;
            return {type, target.meaning};
        }
        const std::string_view name = takeName(path);
        target.meaning = Meaning::kNone;
        if (name == "*") continue;  // what an element that is a pointer leads to
        const Field* field = type->record == nullptr ? nullptr : type->record->field(name);
        if (field == nullptr) return {};
        type = field->type;
        target.meaning = field->semantics.meaning;
    }
}

}  // namespace pcsim::probe
