// Multicast caches.
#include "host/mcast/mcast_manager.h"

#include <arpa/inet.h>

#include <cstring>

#include "console/text.h"
#include "console/values.h"
#include "host/core/dump_text.h"

namespace pcsim::host {

uint16_t McastManager::vlanOf(uint32_t instance) const {
    const VlanIf* const vlan = context_.records.vlanByInstance(instance);
    return vlan == nullptr ? uint16_t{0} : vlan->record.vlanId;
}

std::string McastManager::describe(const McastKey& key) const {
    const uint16_t vlan = vlanOf(key.incomingVlan);
    std::string text = fmt::format("({}, {})", key.source == 0 ? "*" : ipv4Text(htonl(key.source)),
                                   ipv4Text(htonl(key.group)));
    if (vlan != 0) text += fmt::format(" on VLAN {}", vlan);
    if (key.vr != 0) text += fmt::format(" of virtual router {}", key.vr);
    return text;
}

HalMcastRequest* McastManager::request(const McastKey& key, const OutgoingList& outgoing) {
    const size_t size = sizeof(HalMcastRequest) + outgoing.size() * sizeof(HalMcastOutgoing);
    buffer_.assign(size / sizeof(uint32_t), 0);
    auto* const request = reinterpret_cast<HalMcastRequest*>(buffer_.data());
    request->key.vr = key.vr;
    request->key.incomingVlan = key.incomingVlan;
    request->key.group = htonl(key.group);
    request->key.source = htonl(key.source);
    request->outgoingCount = static_cast<int32_t>(outgoing.size());
    for (size_t i = 0; i < outgoing.size(); ++i) {
        request->outgoing[i].vlanInstance = outgoing[i].vlanInstance;
        request->outgoing[i].port = static_cast<uint16_t>(outgoing[i].port);
        request->outgoing[i].slot = static_cast<uint16_t>(outgoing[i].port >> 16);
    }
    return request;
}

McastManager::Effect McastManager::run(int32_t (*HalFamilyOps::*word)(const HalMcastRequest*),
                                       const McastKey& key, const OutgoingList& outgoing) {
    const McastHooks before = mcastHooks();
    const int32_t result =
        context_.platform.call(context_.platform.family, word, request(key, outgoing));
    return {result, mcastHooks() - before};
}

// The platform adds entries in order, passes over those that are there and stops at the first that
// fails: so the first 'count' new ones are in.
void McastManager::noteAdded(const McastKey& key, const OutgoingList& outgoing, uint64_t count) {
    for (const McastOutgoing& entry : outgoing) {
        if (count == 0) return;
        if (copy_.addPort(key, entry)) --count;
    }
}

bool McastManager::add(const McastKey& key, const OutgoingList& outgoing) {
    const Effect effect = run(&HalFamilyOps::ipv4McHwCacheAdd, key, outgoing);
    const bool known = copy_.find(key) != nullptr;
    if (effect.hooks.cachesMade != 0 && known) {
        ++abandoned_[key.incomingVlan];
        fail(
            "{} is there already; the platform refuses a second one of any source: 'mcast flush' "
            "by group and iif removes the first",
            describe(key));
    }
    if (effect.hooks.cachesMade != 0) copy_.add(key);
    if (known || effect.hooks.cachesMade != 0) noteAdded(key, outgoing, effect.hooks.portsAdded);
    if (effect.result != 0)
        fail("the platform answered {} to the add of {}; {} of its ports are in", effect.result,
             describe(key), effect.hooks.portsAdded);
    return effect.hooks.cachesMade != 0;
}

void McastManager::remove(const McastKey& key) {
    const Effect effect = run(&HalFamilyOps::ipv4McHwCacheDel, key, {});
    if (effect.hooks.cachesReleased != 0) copy_.remove(key);
    if (effect.result != 0 && key.source == 0)
        fail(
            "the platform deletes no single cache of any source; 'mcast flush group {} iif V' "
            "deletes all of the group",
            ipv4Text(htonl(key.group)));
    if (effect.result != 0)
        fail("the platform answered {} to the delete of {}", effect.result, describe(key));
    if (effect.hooks.cachesReleased == 0) fail("there is no cache {}", describe(key));
}

void McastManager::addPorts(const McastKey& key, const OutgoingList& outgoing) {
    const Effect effect = run(&HalFamilyOps::ipv4McHwCacheOifPortAdd, key, outgoing);
    if (copy_.find(key) != nullptr) noteAdded(key, outgoing, effect.hooks.portsAdded);
    if (effect.result == 0) return;
    if (key.source == 0) fail("the platform adds no ports to a cache of any source; name a source");
    if (copy_.find(key) == nullptr)
        fail("there is no cache {}; 'mcast add' makes it", describe(key));
    fail("the platform answered {} to more ports of {}", effect.result, describe(key));
}

std::vector<McastKey> McastManager::meantBy(const McastKey& key) const {
    std::vector<McastKey> keys = copy_.keysOf(key.group, key.vr);
    std::erase_if(keys, [&](const McastKey& candidate) {
        return key.source == 0 ? candidate.incomingVlan != key.incomingVlan : candidate != key;
    });
    return keys;
}

void McastManager::checkRemoval(const McastKey& key, int32_t result) const {
    if (result == 0) return;
    if (copy_.find(key) == nullptr) fail("there is no cache {}", describe(key));
    fail("the platform answered {} to fewer ports of {}", result, describe(key));
}

size_t McastManager::removePorts(const McastKey& key, const OutgoingList& outgoing) {
    const Effect effect = run(&HalFamilyOps::ipv4McHwCacheOifPortDel, key, outgoing);
    if (effect.hooks.portsRemoved != 0)
        for (const McastKey& candidate : meantBy(key))
            for (const McastOutgoing& entry : outgoing) copy_.removePort(candidate, entry);
    checkRemoval(key, effect.result);
    return effect.hooks.portsRemoved;
}

// An entry with a port of 0 is the whole VLAN. One without ports goes without a word of the chip.
McastManager::VlanRemoved McastManager::removeVlan(const McastKey& key, uint32_t vlanInstance) {
    const Effect effect = run(&HalFamilyOps::ipv4McHwCacheOifPortDel, key, {{vlanInstance, 0}});
    checkRemoval(key, effect.result);
    std::vector<McastKey> users;
    size_t ports = 0;
    for (const McastKey& candidate : meantBy(key)) {
        const auto& vlans = copy_.find(candidate)->vlans;
        const auto vlan = vlans.find(vlanInstance);
        if (vlan == vlans.end()) continue;
        users.push_back(candidate);
        ports += vlan->second.size();
    }
    if (effect.hooks.portsRemoved != ports)
        fail("the platform removed {} of {} outgoing ports", effect.hooks.portsRemoved, ports);
    for (const McastKey& user : users) copy_.removeVlan(user, vlanInstance);
    return {users.size(), ports};
}

bool McastManager::stats(const McastKey& key, HalMcastStats& stats) {
    std::memcpy(&stats.key, &request(key, {})->key, sizeof stats.key);
    return context_.platform.call(context_.platform.family, &HalFamilyOps::ipv4McHwCacheGetStats,
                                  &stats) == 0;
}

bool McastManager::platformFinds(const McastKey& key) {
    HalMcastStats ignored{};
    return stats(key, ignored);
}

// After the flush by group and source, which goes on to other sources of the group: asks for each
// cache. Those of any source can't be asked for, but the platform deletes from some point of its
// order to the end, and they come first in it, by incoming VLAN: what is still unaccounted for are
// the last of them.
size_t McastManager::dropMissing(const McastKey& key, uint64_t released) {
    const std::vector<McastKey> keys = copy_.keysOf(key.group, key.vr);
    uint64_t unaccounted = released;
    for (const McastKey& candidate : keys) {
        if (candidate.source == 0 || platformFinds(candidate)) continue;
        copy_.remove(candidate);
        if (unaccounted != 0) --unaccounted;
    }
    for (auto candidate = keys.rbegin(); candidate != keys.rend() && unaccounted != 0;
         ++candidate) {
        if (candidate->source != 0) continue;
        copy_.remove(*candidate);
        --unaccounted;
    }
    return static_cast<size_t>(released - unaccounted);
}

// Repeats in the copy a flush that released something.
size_t McastManager::flushCopy(const McastKey& key, uint64_t released) {
    const size_t before = copy_.caches().size();
    if (key.group == 0 && key.incomingVlan == 0) {
        if (released == 0) return 0;
        copy_.dropAll();
        abandoned_.clear();
    } else if (key.group == 0) {
        copy_.dropVlan(key.incomingVlan);
        abandoned_.erase(key.incomingVlan);
    } else if (released == 0) {
        return 0;
    } else if (key.incomingVlan == 0) {
        dropMissing(key, released);
    } else {
        for (const McastKey& candidate : copy_.keysOf(key.group, key.vr))
            if (candidate.incomingVlan == key.incomingVlan &&
                (key.source == 0 || candidate.source == key.source))
                copy_.remove(candidate);
    }
    return before - copy_.caches().size();
}

size_t McastManager::flush(const McastKey& key) {
    if (key.source != 0 && key.group == 0)
        fail("the platform refuses a flush by source alone; name the group too");
    const size_t portsBefore = copy_.portCount();
    const Effect effect = run(&HalFamilyOps::ipv4McHwCacheFlush, key, {});
    const size_t gone = effect.result == 0 ? flushCopy(key, effect.hooks.cachesReleased) : 0;
    if (gone != 0 || copy_.portCount() != portsBefore)
        context_.events.note(
            "mcast", "Flush: {} gone, {} less", counted(gone, "cache", "caches"),
            counted(portsBefore - copy_.portCount(), "outgoing port", "outgoing ports"));
    if (effect.result != 0) fail("the platform answered {} to the flush", effect.result);
    return gone;
}

void McastManager::dump(const std::function<void(const std::string&)>& print) {
    dumpTo(print, [this](const pcSimDumpSink* sink) {
        context_.platform.call(context_.platform.family, &HalFamilyOps::dumpHalMcDb, sink);
    });
}

size_t McastManager::abandoned() const {
    size_t count = 0;
    for (const auto& [vlan, caches] : abandoned_) count += caches;
    return count;
}

void McastManager::lost(const std::string& what, const McastCopy::Lost& lost) {
    if (!lost.any()) return;
    std::string text;
    const auto append = [&text](size_t count, const char* one, const char* many) {
        if (count != 0) text += (text.empty() ? "" : ", ") + counted(count, one, many);
    };
    append(lost.caches, "cache deleted", "caches deleted");
    append(lost.stripped, "cache stripped", "caches stripped");
    append(lost.ports, "outgoing port less", "outgoing ports less");
    context_.events.note("mcast", "{} gone: {}", what, text);
}

// The platform has one operation for what goes everywhere: the removal of outgoing ports that
// names no cache. A VLAN of 0 in an entry is the port everywhere, a port of 0 the VLAN.
void McastManager::cardDown(int slot) {
    const uint32_t count = context_.platform.slotRecord(slot).portCount;
    OutgoingList ports;
    for (uint32_t port = 1; port <= count; ++port)
        ports.push_back({0, portKey(static_cast<uint32_t>(slot), port)});
    if (ports.empty()) return;
    const Effect effect = run(&HalFamilyOps::ipv4McHwCacheOifPortDel, {}, ports);
    if (effect.result == 0 || effect.hooks.portsRemoved != 0)
        lost(fmt::format("Slot {}", slot), copy_.dropSlot(static_cast<uint32_t>(slot)));
}

void McastManager::memberDown(uint16_t vlanId, uint32_t vlanInstance, uint32_t portInstance) {
    if (typeOf(portInstance) != HAL_PORT_TYPE_FRONT_PANEL) return;
    const McastOutgoing member{vlanInstance, portKey(slotOf(portInstance), portOf(portInstance))};
    const Effect effect = run(&HalFamilyOps::ipv4McHwCacheOifPortDel, {}, {member});
    if (effect.result == 0 || effect.hooks.portsRemoved != 0)
        lost(fmt::format("VLAN {} on port {}", vlanId, portName(portInstance)),
             copy_.dropMember(vlanInstance, member.port));
}

void McastManager::vlanDown(uint16_t vlanId, uint32_t vlanInstance) {
    const Effect effect = run(&HalFamilyOps::ipv4McHwCacheOifPortDel, {}, {{vlanInstance, 0}});
    if (effect.result != 0 && effect.hooks.cachesReleased == 0 && effect.hooks.portsRemoved == 0)
        return;
    abandoned_.erase(vlanInstance);
    lost(fmt::format("VLAN {}", vlanId), copy_.dropVlan(vlanInstance));
}

}  // namespace pcsim::host
