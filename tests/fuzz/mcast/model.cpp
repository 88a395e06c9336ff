// What the operations of the multicast database do, in the plainest way.
#include "tests/fuzz/mcast/model.h"

#include <arpa/inet.h>

#include <algorithm>

#include "tests/fuzz/support/check.h"

namespace pcsim::fuzz {
namespace {

void leave(std::vector<Cache*>& list, const Cache& cache) {
    const auto found = std::find(list.begin(), list.end(), &cache);
    FUZZ_CHECK(found != list.end());
    list.erase(found);
}

}  // namespace

Cache* McastModel::find(uint32_t vr, uint32_t group, uint32_t source, uint32_t iif) {
    for (Cache& cache : caches)
        if (cache.inTree && cache.vr == vr && cache.group == group && cache.source == source &&
            cache.iif == iif)
            return &cache;
    return nullptr;
}

bool McastModel::getGroup(uint32_t vr, uint32_t group) {
    if (vr >= routers) return false;
    const std::pair<uint32_t, uint32_t> key{vr, ntohl(group)};
    if (groups.contains(key)) return true;
    if (!inserted()) return false;
    groups.insert(key);
    return true;
}

bool McastModel::getVlan(uint32_t vlan) {
    if (vlans.contains(vlan)) return true;
    if (!knownVlans.contains(vlan) || !inserted()) return false;
    vlans[vlan];
    return true;
}

bool McastModel::getCacheVlan(Cache& cache, uint32_t vlan) {
    if (cache.vlans.contains(vlan)) return true;
    if (!getVlan(vlan) || !inserted()) return false;
    cache.vlans[vlan];
    vlans[vlan].push_back(&cache);
    return true;
}

bool McastModel::getPort(uint32_t port) {
    if (ports.contains(port)) return true;
    if (!knownPorts.contains(port) || !inserted()) return false;
    ports[port];
    return true;
}

bool McastModel::getVpif(uint32_t port, uint32_t vlan) {
    if (ports.at(port).contains(vlan)) return true;
    if (!getVlan(vlan) || !inserted()) return false;
    ports.at(port)[vlan];
    return true;
}

bool McastModel::add(Cache& cache, const Outgoing& entry) {
    if (!getCacheVlan(cache, entry.vlan)) return false;
    CacheVlan& vlan = cache.vlans.at(entry.vlan);
    vlan.word = entry.vlanWord;
    if (vlan.ports.contains(entry.port)) return true;
    if (!getPort(entry.port) || !getVpif(entry.port, entry.vlan) || !inserted()) return false;
    vlan.ports[entry.port] = entry.portWord >> 12;
    ports.at(entry.port).at(entry.vlan).push_back(&cache);
    return true;
}

int32_t McastModel::addAll(Cache& cache, const std::vector<Outgoing>& entries) {
    for (const Outgoing& entry : entries)
        if (!add(cache, entry)) return -1;
    return 0;
}

// A cache that the tree refuses stays on the list of its incoming VLAN; without one it is freed.
Cache* McastModel::create(const HalMcastKey& key) {
    caches.push_back({key.vr, key.group, key.source, key.incomingVlan, {}});
    Cache& cache = caches.back();
    getCacheVlan(cache, key.incomingVlan);
    const bool isThere = find(key.vr, key.group, key.source, key.incomingVlan) != nullptr;
    // The tree is asked in either case.
    cache.inTree = inserted() && !isThere;
    if (cache.inTree) return &cache;
    if (cache.vlans.empty())
        caches.pop_back();
    else
        ++retired;
    return nullptr;
}

void McastModel::removePort(Cache& cache, uint32_t vlan, uint32_t port) {
    const auto known = cache.vlans.find(vlan);
    if (known == cache.vlans.end() || known->second.ports.erase(port) == 0) return;
    Vpifs& vpifs = ports.at(port);
    leave(vpifs.at(vlan), cache);
    if (vpifs.at(vlan).empty()) vpifs.erase(vlan);
    if (vpifs.empty()) ports.erase(port);
}

void McastModel::removeVlan(Cache& cache, uint32_t vlan) {
    const auto known = cache.vlans.find(vlan);
    if (known == cache.vlans.end()) return;
    while (!known->second.ports.empty())
        removePort(cache, vlan, known->second.ports.begin()->first);
    cache.vlans.erase(known);
    leave(vlans.at(vlan), cache);
    if (vlans.at(vlan).empty()) vlans.erase(vlan);
}

// Groups of the first router go with their last cache.
void McastModel::remove(Cache& cache) {
    while (!cache.vlans.empty()) removeVlan(cache, cache.vlans.begin()->first);
    const Cache gone = cache;
    caches.remove_if([&](const Cache& each) { return &each == &cache; });
    if (!gone.inTree) return;  // retired when it was refused
    ++retired;
    const bool last = std::none_of(caches.begin(), caches.end(), [&](const Cache& each) {
        return each.inTree && each.vr == gone.vr && each.group == gone.group;
    });
    if (last && gone.vr == 0) retired += groups.erase({0, ntohl(gone.group)});
}

void McastModel::removeIf(const std::function<bool(const Cache&)>& condition) {
    std::vector<Cache*> chosen;
    for (Cache& cache : caches)
        if (condition(cache)) chosen.push_back(&cache);
    for (Cache* cache : chosen) remove(*cache);
}

// A VLAN of 0 is every VLAN but the incoming one, a port of 0 every port and the VLAN.
void McastModel::removeEntries(Cache& cache, const std::vector<Outgoing>& entries) {
    for (const Outgoing& entry : entries) {
        std::vector<uint32_t> chosen;
        for (const auto& [vlan, ports] : cache.vlans)
            if (entry.vlan != 0 ? vlan == entry.vlan : vlan != cache.iif) chosen.push_back(vlan);
        for (uint32_t vlan : chosen)
            entry.port == 0 ? removeVlan(cache, vlan) : removePort(cache, vlan, entry.port);
    }
}

void McastModel::vlanGoes(uint32_t vlan) {
    const auto known = vlans.find(vlan);
    if (known == vlans.end()) return;
    const std::vector<Cache*> users = known->second;
    if (users.empty()) vlans.erase(known);
    for (Cache* cache : users) cache->iif == vlan ? remove(*cache) : removeVlan(*cache, vlan);
}

void McastModel::vpifGoes(uint32_t vlan, uint32_t port) {
    const auto known = ports.find(port);
    if (known == ports.end() || !known->second.contains(vlan)) return;
    const std::vector<Cache*> users = known->second.at(vlan);
    for (Cache* cache : users) removePort(*cache, vlan, port);
}

void McastModel::portGoes(uint32_t port) {
    const auto known = ports.find(port);
    if (known == ports.end()) return;
    std::vector<uint32_t> chosen;
    for (const auto& [vlan, users] : known->second) chosen.push_back(vlan);
    for (uint32_t vlan : chosen) vpifGoes(vlan, port);
}

void McastModel::flushAll() {
    while (!vlans.empty()) vlanGoes(vlans.begin()->first);
}

// What a set-up does with all that is there.
void McastModel::clear() {
    removeIf([](const Cache& cache) { return cache.inTree; });
    retired += groups.size();
    groups.clear();
    flushAll();
    ports.clear();
}

size_t McastModel::blocks() const {
    size_t count = retired + groups.size() + vlans.size() + (hasTable ? 1 : 0);
    for (const Cache& cache : caches) {
        if (cache.inTree) ++count;
        for (const auto& [vlan, each] : cache.vlans) count += 1 + each.ports.size();
    }
    for (const auto& [port, vpifs] : ports) count += 1 + vpifs.size();
    return count;
}

}  // namespace pcsim::fuzz
