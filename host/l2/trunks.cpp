// Making trunks, and moving ports in and out of them.
#include "host/l2/trunks.h"

#include "host/core/lines.h"

namespace pcsim::host {

Trunks::Members& Trunks::membersOf(uint32_t number) {
    const auto found = members_.find(number);
    if (found != members_.end()) return found->second;
    std::string known;
    for (const auto& [other, members] : members_)
        known += fmt::format("{}{}", known.empty() ? "" : ", ", other);
    if (known.empty()) fail("trunk {} does not exist; there are no trunks yet", number);
    fail("trunk {} does not exist; trunks are {}", number, known);
}

void Trunks::create(uint32_t number) {
    if (members_.contains(number)) fail("trunk {} exists already", number);
    Platform& platform = context_.platform;
    Pif& trunk = context_.records.addPif(instanceOf(number));
    platform.call(platform.family, &HalFamilyOps::trunkCreate, &trunk.record, &trunk.handle);
    if (trunk.handle == nullptr) {
        context_.records.removePif(instanceOf(number));
        fail("trunk {} can't be made: the platform gave no hardware handle", number);
    }
    members_[number] = {};
}

// Members let go of the trunk before its record disappears.
void Trunks::remove(uint32_t number) {
    const Members members = membersOf(number);
    for (const uint32_t instance : members) removeMember(number, instance);
    Platform& platform = context_.platform;
    Pif& trunk = *context_.records.pif(instanceOf(number));
    platform.call(platform.family, &HalFamilyOps::trunkDelete, &trunk.record, &trunk.handle);
    context_.records.removePif(instanceOf(number));
    members_.erase(number);
}

void Trunks::addMember(uint32_t number, uint32_t instance) {
    Members& members = membersOf(number);
    for (const auto& [other, theirs] : members_)
        if (theirs.contains(instance))
            fail("port {} is in trunk {} already", portName(instance), other);
    Pif* const pif = context_.records.pif(instance);
    if (pif == nullptr) {
        members.insert(instance);
        return;
    }
    Platform& platform = context_.platform;
    const HalPif& trunk = context_.records.pif(instanceOf(number))->record;
    const int32_t result =
        platform.call(platform.family, &HalFamilyOps::trunkAddPorts, &trunk, 1u, &instance, 0u);
    if (result != 0)
        fail("port {} can't join trunk {}: the platform answered {}", portName(instance), number,
             result);
    members.insert(instance);
    pif->record.trunkInstance = instanceOf(number);
    // From now on what is behind the port is learned on the trunk.
    const Fdb::Removed removed = fdb_.removeOf(0, instance);
    if (removed.count != 0)
        context_.events.note("l2", "Port {} joined trunk {}: {}", portName(instance), number,
                             Fdb::goneText(removed));
}

void Trunks::removeMember(uint32_t number, uint32_t instance) {
    if (membersOf(number).erase(instance) == 0)
        fail("port {} is not in trunk {}", portName(instance), number);
    Pif* pif = context_.records.pif(instance);
    if (pif == nullptr) return;  // its card is absent
    context_.platform.call(context_.platform.family, &HalFamilyOps::trunkDelPorts);
    pif->record.trunkInstance = 0;
    const Fdb::Removed removed = fdb_.removeIf(unreachable([](const HalPif&) { return false; }));
    if (removed.count != 0)
        context_.events.note("l2", "Port {} left trunk {}: {}", portName(instance), number,
                             Fdb::goneText(removed));
}

bool Trunks::leadsTo(uint32_t trunkInstance, uint32_t vlanInstance, const Leaving& leaving) const {
    const VlanIf* vlan = context_.records.vlanByInstance(vlanInstance);
    if (vlan == nullptr) return false;
    for (const auto& [instance, member] : vlan->members) {
        const HalPif& pif = *member->record.pif;
        if (pif.trunkInstance == trunkInstance && !leaving(pif)) return true;
    }
    return false;
}

Fdb::Predicate Trunks::unreachable(Leaving leaving) const {
    // Many entries ask the same question.
    using Question = std::pair<uint32_t, uint32_t>;
    return [this, leaving = std::move(leaving),
            answers = std::map<Question, bool>()](const MacEntry& entry) mutable {
        if (typeOf(entry.port) != HAL_PORT_TYPE_TRUNK) return false;
        const auto [answer, isNew] = answers.try_emplace({entry.port, entry.vlanInstance});
        if (isNew) answer->second = !leadsTo(entry.port, entry.vlanInstance, leaving);
        return answer->second;
    };
}

void Trunks::running(Lines& lines) const {
    for (const auto& [number, members] : members_) {
        lines.add(fmt::format("trunk create {}", number), fmt::format("trunk delete {}", number));
        for (const uint32_t instance : members)
            lines.add(fmt::format("trunk add {} {}", number, portName(instance)),
                      fmt::format("trunk remove {} {}", number, portName(instance)));
    }
    if (algorithm_ != 0)
        lines.replace(fmt::format("trunk algorithm {}", algorithm_), "trunk algorithm 0");
}

void Trunks::sync(int slot) {
    auto& table = context_.platform.slot(slot);
    if (table.ops.trunkSyncSlot == nullptr) return;
    context_.platform.call(table, &HalCardSlotOps::trunkSyncSlot, static_cast<uint32_t>(slot));
}

void Trunks::cardUp(int slot) {
    for (const auto& [number, members] : members_) {
        for (const uint32_t instance : members) {
            Pif* pif = context_.records.pif(instance);
            if (pif != nullptr) pif->record.trunkInstance = instanceOf(number);
        }
    }
    Platform& platform = context_.platform;
    platform.call(platform.family, &HalFamilyOps::syncLoadShareAddrAlgoSlot,
                  static_cast<uint32_t>(slot), algorithm_, 0u);
    sync(slot);
}

void Trunks::cardDown(int slot) {
    for (const auto& [instance, pif] : context_.records.pifs())
        if (pif->record.slot == slot) pif->record.trunkInstance = 0;
}

void Trunks::chooseAlgorithm(uint32_t algorithm, const std::set<int>& slotsUp) {
    Platform& platform = context_.platform;
    const int32_t result =
        platform.call(platform.family, &HalFamilyOps::trunkConfigAddrAlgo, algorithm);
    if (result != 0)
        fail("the platform has no address algorithm {}; it takes any number but 1 and 2",
             algorithm);
    algorithm_ = algorithm;
    for (const int slot : slotsUp)
        platform.call(platform.family, &HalFamilyOps::syncLoadShareAddrAlgoSlot,
                      static_cast<uint32_t>(slot), algorithm_, 0u);
}

void Trunks::shutDown() {
    while (!members_.empty()) remove(members_.begin()->first);
}

}  // namespace pcsim::host
