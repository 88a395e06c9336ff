// Programming neighbors and routes.
#include "host/l3/l3_manager.h"

#include <cstring>

#include "console/text.h"

namespace pcsim::host {

namespace {

pcSimIpAdjRec recordOf(const NeighborKey& key, const Neighbor& neighbor) {
    pcSimIpAdjRec record{};
    record.vrId = key.vr;
    record.family = HAL_IP_FAMILY_IPV4;
    record.ipAddr.words[0] = htonl(key.address);
    record.vlan = key.vlan;
    std::memcpy(record.mac, neighbor.mac.data(), sizeof record.mac);
    record.port = neighbor.port;
    return record;
}

std::string text(const NeighborKey& key) {
    return fmt::format("{} on VLAN {} in virtual router {}", IPv4Family::text(htonl(key.address)),
                       key.vlan, key.vr);
}

}  // namespace

void L3Manager::cardDown(int slot) {
    std::vector<NeighborKey> gone;
    for (const auto& [key, neighbor] : neighbors_)
        if (slotOf(neighbor.port) == static_cast<uint32_t>(slot)) gone.push_back(key);
    for (const NeighborKey& key : gone) removeNeighbor(key);
    if (!gone.empty())
        context_.events.note("l3", "Slot {}: {} gone", slot,
                             counted(gone.size(), "adjacency", "adjacencies"));
}

void L3Manager::addNeighbor(const NeighborKey& key, const Neighbor& neighbor) {
    context_.checkVirtualRouter(key.vr);
    const pcSimIpAdjRec record = recordOf(key, neighbor);
    const int32_t result =
        context_.platform.call(context_.platform.family, &HalFamilyOps::ipAdjAdd, &record);
    if (result != 0)
        fail("neighbor {} can't be added: the platform answered {}", text(key), result);
    neighbors_[key] = neighbor;
    const uint32_t address = htonl(key.address);
    const auto host = IPv4Family::hostKey(address);
    RouteCopy<IPv4Family>& copy = copies<IPv4Family>()[key.vr];
    const IPv4Family::Hop own{address, key.vlan};
    if (!copy.has(host)) copy.add(host, {&own, 1});
}

// The platform takes whatever host route the address has for the neighbor's own, and frees it with
// the first next hop alone; it stops the process when there is no next hop. So a host route that
// has become anything else is set aside while the neighbor goes.
void L3Manager::removeNeighbor(const NeighborKey& key) {
    const auto found = neighbors_.find(key);
    if (found == neighbors_.end())
        fail("there is no neighbor {}; 'show neighbors' lists them", text(key));
    const uint32_t address = htonl(key.address);
    const auto host = IPv4Family::hostKey(address);
    const IPv4Family::Hop own{address, key.vlan};
    const RouteCopy<IPv4Family>* copy = routesOf<IPv4Family>(key.vr);
    const bool hasRoute = copy != nullptr && copy->has(host);
    std::vector<IPv4Family::Hop> others;
    if (hasRoute) {
        const auto hops = copy->hopsOf(host);
        others.assign(hops.rbegin(), hops.rend());  // the oldest is added first again
    }
    const bool setAside = hasRoute && others != std::vector{own};
    if (setAside) removeRoute<IPv4Family>(key.vr, host, {});

    const pcSimIpAdjRec record = recordOf(key, found->second);
    context_.platform.call(context_.platform.family, &HalFamilyOps::ipAdjRemove, &record);
    neighbors_.erase(found);

    if (setAside) {
        std::erase(others, own);
        addRoute<IPv4Family>(key.vr, host, others);
    } else if (hasRoute) {
        copies<IPv4Family>()[key.vr].remove(host, {});
        dropIfEmpty<IPv4Family>(key.vr);
    }
}

std::map<NeighborKey, uint64_t> L3Manager::gateways() const {
    std::map<NeighborKey, uint64_t> result;
    for (const auto& [vr, copy] : routes<IPv4Family>())
        copy.forEachHop([&, vr = vr](const IPv4Family::Hop& hop, uint32_t uses) {
            result[{vr, ntohl(hop.gateway), hop.vlan}] += uses;
        });
    return result;
}

AdjacencyCounts L3Manager::adjacencyCounts() const {
    AdjacencyCounts counts{neighbors_.size(), 0};
    for (const auto& gateway : gateways())
        if (!neighbors_.contains(gateway.first)) ++counts.placeholders;
    return counts;
}

// A request record with a slot for each next hop. A flush reads a first slot in any case.
template <typename Family>
typename Family::Request* L3Manager::request(uint32_t vr, const typename Family::Key& key,
                                             Hops<Family> hops) {
    using Request = typename Family::Request;
    context_.checkVirtualRouter(vr);
    if (hops.size() > Family::kMostHops)
        fail("{} next hops are too many; an {} request holds {}", hops.size(), Family::kName,
             Family::kMostHops);
    const size_t slots = std::max<size_t>(1, hops.size());
    request_.assign(sizeof(Request) + slots * sizeof(Request::slots[0]), std::byte{0});
    auto* const result = reinterpret_cast<Request*>(request_.data());
    result->vrId = vr;
    Family::setKey(*result, key, hops.size());
    for (size_t i = 0; i < hops.size(); ++i) {
        Family::setGateway(result->slots[i], hops[i].gateway);
        result->slots[i].vlan = hops[i].vlan;
    }
    return result;
}

template <typename Family>
void L3Manager::callOrFail(int32_t (*HalFamilyOps::*word)(const typename Family::Request*),
                           uint32_t vr, const typename Family::Key& key, Hops<Family> hops) {
    const int32_t result =
        context_.platform.call(context_.platform.family, word, request<Family>(vr, key, hops));
    if (result != 0)
        fail("route {} can't be programmed: the platform answered {}", Family::text(key), result);
}

template <typename Family>
void L3Manager::dropIfEmpty(uint32_t vr) {
    const auto found = copies<Family>().find(vr);
    if (found != copies<Family>().end() && found->second.empty()) copies<Family>().erase(found);
}

template <typename Family>
const RouteCopy<Family>* L3Manager::routesOf(uint32_t vr) const {
    const auto found = routes<Family>().find(vr);
    return found == routes<Family>().end() ? nullptr : &found->second;
}

template <typename Family>
void L3Manager::addRoute(uint32_t vr, const typename Family::Key& key, Hops<Family> hops) {
    callOrFail<Family>(Family::kAdd, vr, key, hops);
    copies<Family>()[vr].add(key, hops);
}

template <typename Family>
void L3Manager::removeRoute(uint32_t vr, const typename Family::Key& key, Hops<Family> hops) {
    context_.platform.call(context_.platform.family, Family::kDelete,
                           request<Family>(vr, key, hops));
    copies<Family>()[vr].remove(key, hops);
    dropIfEmpty<Family>(vr);
}

template <typename Family>
void L3Manager::replaceRoute(uint32_t vr, const typename Family::Key& key, Hops<Family> hops) {
    callOrFail<Family>(Family::kReplace, vr, key, hops);
    copies<Family>()[vr].replace(key, hops);
}

template <typename Family>
RouteCounts L3Manager::flush(uint32_t vr, const typename Family::Key& filter, uint32_t vlan) {
    auto* const record = request<Family>(vr, filter, {});
    record->slots[0].vlan = vlan;
    context_.platform.call(context_.platform.family, Family::kFlush, record);
    const RouteCounts gone = copies<Family>()[vr].flush(filter, vlan);
    dropIfEmpty<Family>(vr);
    return gone;
}

#define PCSIM_INSTANTIATE(Family)                                                              \
    template const RouteCopy<Family>* L3Manager::routesOf<Family>(uint32_t) const;             \
    template void L3Manager::addRoute<Family>(uint32_t, const Family::Key&, Hops<Family>);     \
    template void L3Manager::removeRoute<Family>(uint32_t, const Family::Key&, Hops<Family>);  \
    template void L3Manager::replaceRoute<Family>(uint32_t, const Family::Key&, Hops<Family>); \
    template RouteCounts L3Manager::flush<Family>(uint32_t, const Family::Key&, uint32_t);
PCSIM_INSTANTIATE(IPv4Family)
PCSIM_INSTANTIATE(IPv6Family)
#undef PCSIM_INSTANTIATE

}  // namespace pcsim::host
