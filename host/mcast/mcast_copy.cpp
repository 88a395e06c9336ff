// The copy of the multicast caches.
#include "host/mcast/mcast_copy.h"

#include <fmt/format.h>

#include <algorithm>

namespace pcsim::host {

std::string mcastPortsText(const McastPorts& ports) {
    std::string text;
    for (size_t first = 0; first < ports.size();) {
        size_t last = first;
        while (last + 1 < ports.size() && ports[last + 1] == ports[last] + 1) ++last;
        text += fmt::format("{}{}:{}", first == 0 ? "" : ",", ports[first] >> 16,
                            ports[first] & 0xFFFF);
        if (last != first) text += fmt::format("-{}", ports[last] & 0xFFFF);
        first = last + 1;
    }
    return text;
}

const McastCache* McastCopy::find(const McastKey& key) const {
    const auto found = caches_.find(key);
    return found == caches_.end() ? nullptr : &found->second;
}

std::vector<McastKey> McastCopy::keysOf(uint32_t group, uint32_t vr) const {
    std::vector<McastKey> keys;
    for (auto entry = caches_.lower_bound(McastKey{group, 0, 0, 0});
         entry != caches_.end() && entry->first.group == group; ++entry)
        if (entry->first.vr == vr) keys.push_back(entry->first);
    return keys;
}

void McastCopy::add(const McastKey& key) {
    const auto [entry, isNew] = caches_.try_emplace(key);
    if (!isNew) return;
    McastCache& cache = entry->second;
    cache.key = key;
    cache.vlans.try_emplace(key.incomingVlan);
    users_[key.incomingVlan].insert(&cache);
}

void McastCopy::remove(const McastKey& key) {
    const auto entry = caches_.find(key);
    if (entry == caches_.end()) return;
    McastCache& cache = entry->second;
    while (!cache.vlans.empty()) removePorts(cache, cache.vlans.begin());
    caches_.erase(entry);
}

bool McastCopy::addPort(const McastKey& key, const McastOutgoing& outgoing) {
    McastCache& cache = caches_.at(key);
    const auto [vlan, isNew] = cache.vlans.try_emplace(outgoing.vlanInstance);
    if (isNew) users_[outgoing.vlanInstance].insert(&cache);
    McastPorts& ports = vlan->second;
    const auto place = std::lower_bound(ports.begin(), ports.end(), outgoing.port);
    if (place != ports.end() && *place == outgoing.port) return false;
    ports.insert(place, outgoing.port);
    ++portUse_[outgoing.port][outgoing.vlanInstance];
    ++portCount_;
    return true;
}

bool McastCopy::removePort(const McastKey& key, const McastOutgoing& outgoing) {
    const auto entry = caches_.find(key);
    if (entry == caches_.end()) return false;
    const auto vlan = entry->second.vlans.find(outgoing.vlanInstance);
    if (vlan == entry->second.vlans.end()) return false;
    McastPorts& ports = vlan->second;
    const auto place = std::lower_bound(ports.begin(), ports.end(), outgoing.port);
    if (place == ports.end() || *place != outgoing.port) return false;
    ports.erase(place);
    unuse(outgoing.vlanInstance, outgoing.port);
    return true;
}

bool McastCopy::removeVlan(const McastKey& key, uint32_t vlanInstance) {
    const auto entry = caches_.find(key);
    if (entry == caches_.end()) return false;
    const auto vlan = entry->second.vlans.find(vlanInstance);
    if (vlan == entry->second.vlans.end()) return false;
    removePorts(entry->second, vlan);
    return true;
}

size_t McastCopy::portsOf(const McastCache& cache) const {
    size_t count = 0;
    for (const auto& [vlan, ports] : cache.vlans) count += ports.size();
    return count;
}

// Takes a VLAN with its ports out of a cache.
void McastCopy::removePorts(McastCache& cache, std::map<uint32_t, McastPorts>::iterator vlan) {
    for (const uint32_t port : vlan->second) unuse(vlan->first, port);
    forgetUser(vlan->first, &cache);
    cache.vlans.erase(vlan);
}

void McastCopy::unuse(uint32_t vlanInstance, uint32_t port) {
    --portCount_;
    const auto use = portUse_.find(port);
    const auto count = use->second.find(vlanInstance);
    if (--count->second != 0) return;
    use->second.erase(count);
    if (use->second.empty()) portUse_.erase(use);
}

void McastCopy::forgetUser(uint32_t vlanInstance, McastCache* cache) {
    const auto users = users_.find(vlanInstance);
    users->second.erase(cache);
    if (users->second.empty()) users_.erase(users);
}

McastCopy::Lost McastCopy::dropVlan(uint32_t vlanInstance) {
    Lost lost;
    const auto found = users_.find(vlanInstance);
    if (found == users_.end()) return lost;
    const std::vector<McastCache*> users(found->second.begin(), found->second.end());
    for (McastCache* cache : users) {
        if (cache->key.incomingVlan == vlanInstance) {
            lost.ports += portsOf(*cache);
            ++lost.caches;
            remove(McastKey(cache->key));
            continue;
        }
        const auto vlan = cache->vlans.find(vlanInstance);
        lost.ports += vlan->second.size();
        ++lost.stripped;
        removePorts(*cache, vlan);
    }
    return lost;
}

McastCopy::Lost McastCopy::dropMember(uint32_t vlanInstance, uint32_t port) {
    Lost lost;
    const auto use = portUse_.find(port);
    if (use == portUse_.end() || !use->second.contains(vlanInstance)) return lost;
    size_t left = use->second.at(vlanInstance);
    for (McastCache* cache : users_.at(vlanInstance)) {
        if (!removePort(cache->key, {vlanInstance, port})) continue;
        ++lost.stripped;
        ++lost.ports;
        if (--left == 0) break;
    }
    return lost;
}

// A cache that loses several ports of the slot counts once.
McastCopy::Lost McastCopy::dropSlot(uint32_t slot) {
    Lost lost;
    std::unordered_set<uint32_t> vlans;
    const auto end = portUse_.lower_bound(portKey(slot + 1, 0));
    for (auto use = portUse_.lower_bound(portKey(slot, 0)); use != end; ++use)
        for (const auto& [vlan, count] : use->second) vlans.insert(vlan);
    std::unordered_set<const McastCache*> stripped;
    for (const uint32_t vlan : vlans) {
        for (McastCache* cache : users_.at(vlan)) {
            McastPorts& ports = cache->vlans.at(vlan);
            const auto first = std::lower_bound(ports.begin(), ports.end(), portKey(slot, 0));
            const auto last = std::lower_bound(first, ports.end(), portKey(slot + 1, 0));
            if (first == last) continue;
            for (auto port = first; port != last; ++port) unuse(vlan, *port);
            lost.ports += static_cast<size_t>(last - first);
            ports.erase(first, last);
            stripped.insert(cache);
        }
    }
    lost.stripped = stripped.size();
    return lost;
}

McastCopy::Lost McastCopy::dropAll() {
    const Lost lost{caches_.size(), 0, portCount_};
    caches_.clear();
    users_.clear();
    portUse_.clear();
    portCount_ = 0;
    return lost;
}

}  // namespace pcsim::host
