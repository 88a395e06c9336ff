// One pass over the events: who gave a value last is who a later use of it needs.
#include "probe/tools/needs.h"

#include <algorithm>

namespace pcsim::probe {
namespace {

bool isFunction(const Type& type) {
    return type.kind == Kind::kPointer && type.target->kind == Kind::kFunction;
}

bool isHandle(const Type& type) {
    return type.kind == Kind::kPointer && type.target->owner == Owner::kPlatform;
}

// Whether a function of the C library hands out a descriptor, which later calls work with.
bool opens(const RecordedSite& site) {
    return site.side == Side::kSystem && (site.name == "socket" || site.name == "open");
}

}  // namespace

Needs::Needs(const Recording& recording, const CallTree& tree, Of what)
    : recording_(recording), what_(what), needs_(tree.units().size()) {
    for (size_t index = 0; index < recording.events.size(); ++index) {
        const Event& event = recording.events[index];
        const uint32_t unit = tree.unitOf(index);
        if (unit == CallTree::kNone) continue;
        if (event.kind == Event::Kind::kCall) called(event, unit);
        if (event.kind == Event::Kind::kReturn) returned(event, unit);
    }
}

void Needs::use(const Givers& givers, uint32_t value, uint32_t unit) {
    const auto giver = givers.find(value);
    if (giver == givers.end() || giver->second == unit) return;
    auto& needs = needs_[unit];
    if (std::ranges::find(needs, giver->second) == needs.end()) needs.push_back(giver->second);
}

void Needs::pointer(uint32_t value, const Type& type, uint32_t unit, bool given) {
    if (value == 0) return;
    if (isHandle(type)) {
        if (given)
            handles_[value] = unit;
        else
            use(handles_, value, unit);
    } else if (isFunction(type)) {
        functions_[value] = unit;
    }
}

void Needs::blocks(const Event& event, uint32_t unit, bool given) {
    for (const RecordedBlock& block : event.blocks) {
        const RecordedPath& path = recording_.paths[block.path];
        pointersIn(path, block, found_);
        if (found_.empty()) continue;
        // What an output held before the call is nobody's need.
        const Semantics* const semantics = given ? nullptr : semanticsOf(path);
        if (semantics != nullptr && semantics->out && !semantics->in) continue;
        for (const PointerDatum& leaf : found_) pointer(leaf.value, *leaf.type, unit, given);
    }
}

void Needs::arguments(const Event& event, uint32_t unit) {
    const RecordedSite& site = recording_.siteOf(event);
    if (site.function == nullptr) return;
    const bool given = site.side != Side::kPlatform;
    const auto& parameters = site.function->parameters;
    const size_t count = std::min(parameters.size(), event.arguments.size());
    for (size_t index = 0; index < count; ++index) {
        const uint32_t value = event.arguments[index];
        pointer(value, *parameters[index].type, unit, given);
        if (site.side == Side::kSystem && parameters[index].name == "descriptor")
            use(descriptors_, value, unit);
    }
}

void Needs::called(const Event& event, uint32_t unit) {
    const RecordedSite& site = recording_.siteOf(event);
    // A callback that one side has handed to the other has no other name than its address.
    const bool callback = operationNamed(site.name) == nullptr;
    if (callback || what_ == Of::kFunctions) use(functions_, site.target, unit);
    arguments(event, unit);
    blocks(event, unit, site.side != Side::kPlatform);
}

void Needs::returned(const Event& event, uint32_t unit) {
    const RecordedSite& site = recording_.siteOf(event);
    const auto result = static_cast<uint32_t>(event.result);
    if (opens(site)) descriptors_[result] = unit;
    const bool given = site.side == Side::kPlatform;
    if (site.function != nullptr && given) pointer(result, *site.function->result, unit, true);
    blocks(event, unit, given);
}

void Needs::close(std::vector<bool>& kept) const {
    // Needs are of earlier units: one pass from the end finds all.
    for (size_t unit = kept.size(); unit-- > 0;) {
        if (!kept[unit]) continue;
        for (const uint32_t need : needs_[unit]) kept[need] = true;
    }
}

}  // namespace pcsim::probe
