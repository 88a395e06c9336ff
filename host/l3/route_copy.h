// The host's own copy of the routes of one virtual router and family. The platform's tables can be
// programmed and dumped but not asked, so whatever the host shows, it knows from here.
//
// Each operation does to the copy what the platform's does to its table, next hop order included:
// a route's next hops run from the newest to the oldest. A route takes a key and four bytes.
#ifndef PCSIM_HOST_L3_ROUTE_COPY_H
#define PCSIM_HOST_L3_ROUTE_COPY_H

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <span>
#include <vector>

#include "host/l3/hop_lists.h"

namespace pcsim::host {

struct RouteCounts {
    uint64_t routes = 0;
    uint64_t nextHops = 0;
};

template <typename Family>
class RouteCopy {
public:
    using Key = typename Family::Key;
    using Hop = typename Family::Hop;
    using Lists = HopLists<Hop>;

    void add(const Key& key, std::span<const Hop> hops) {
        const auto [route, isNew] = routes_.try_emplace(key, Lists::kEmpty);
        if (hops.empty()) return;
        load(route->second);
        pushMissing(hops);
        store(route->second);
    }

    // Removes the named next hops, and the route when it has none left; the whole route when no
    // next hop is named.
    void remove(const Key& key, std::span<const Hop> hops) {
        const auto route = routes_.find(key);
        if (route == routes_.end()) return;
        load(route->second);
        std::erase_if(work_, [&](const Hop& hop) { return hops.empty() || has(hops, hop); });
        store(route->second);
        if (work_.empty()) routes_.erase(route);
    }

    void replace(const Key& key, std::span<const Hop> hops) {
        const auto [route, isNew] = routes_.try_emplace(key, Lists::kEmpty);
        load(route->second);
        pushMissing(hops);
        std::erase_if(work_, [&](const Hop& hop) { return !has(hops, hop); });
        store(route->second);
    }

    // Removes the next hops whose gateway is in 'filter' and whose VLAN is 'vlan' (0: any), and
    // all routes without next hops.
    RouteCounts flush(const Key& filter, uint32_t vlan) {
        // What becomes of a list becomes of all routes that have it.
        constexpr typename Lists::Id kUntouched = ~typename Lists::Id{0};
        std::vector<typename Lists::Id> after(lists_.end(), kUntouched);
        after[Lists::kEmpty] = Lists::kEmpty;
        std::vector<std::vector<Hop>> kept(lists_.end());
        RouteCounts gone;
        lists_.forEach([&](auto id, std::span<const Hop> hops, uint32_t uses) {
            const auto goes = [&](const Hop& hop) {
                return (vlan == 0 || vlan == hop.vlan) && Family::contains(filter, hop.gateway);
            };
            if (std::none_of(hops.begin(), hops.end(), goes)) return;
            std::remove_copy_if(hops.begin(), hops.end(), std::back_inserter(kept[id]), goes);
            gone.nextHops += (hops.size() - kept[id].size()) * uses;
            after[id] = id;
        });
        const size_t before = routes_.size();
        boost::unordered::erase_if(routes_, [&](auto& route) {
            auto& id = route.second;
            if (after[id] == kUntouched) return false;
            const auto now = lists_.take(kept[id]);
            lists_.release(id);
            id = now;
            return now == Lists::kEmpty;
        });
        gone.routes = before - routes_.size();
        return gone;
    }

    bool has(const Key& key) const { return routes_.contains(key); }
    // Its next hops, newest first; none also when there is no such route.
    std::span<const Hop> hopsOf(const Key& key) const {
        const auto route = routes_.find(key);
        return route == routes_.end() ? std::span<const Hop>() : lists_.at(route->second);
    }

    // A route as sorted() gives it: until the copy changes, its next hops need no look-up.
    struct Entry {
        Key key;
        typename Lists::Id list;
    };

    // All routes in the order of the platform's dump.
    std::vector<Entry> sorted() const {
        std::vector<Entry> result;
        result.reserve(routes_.size());
        for (const auto& [key, list] : routes_) result.push_back({key, list});
        std::sort(result.begin(), result.end(),
                  [](const Entry& a, const Entry& b) { return Family::before(a.key, b.key); });
        return result;
    }
    std::span<const Hop> hopsOf(const Entry& entry) const { return lists_.at(entry.list); }

    // The keys of all routes that 'wanted' takes, in no order.
    template <typename Wanted>
    std::vector<Key> keys(Wanted wanted) const {
        std::vector<Key> result;
        for (const auto& route : routes_)
            if (wanted(route.first)) result.push_back(route.first);
        return result;
    }

    // Calls 'see(hop, uses)' for each different list's hops; a hop may come several times.
    template <typename See>
    void forEachHop(See see) const {
        lists_.forEach([&](auto, std::span<const Hop> hops, uint32_t uses) {
            for (const Hop& hop : hops) see(hop, uses);
        });
    }

    bool empty() const { return routes_.empty(); }

    RouteCounts counts() const {
        RouteCounts counts{routes_.size(), 0};
        forEachHop([&](const Hop&, uint32_t uses) { counts.nextHops += uses; });
        return counts;
    }

    size_t bytes() const {
        using Pair = typename Routes::value_type;
        return sizeof *this + routes_.bucket_count() * (sizeof(Pair) + 1) + lists_.bytes();
    }

    static bool has(std::span<const Hop> hops, const Hop& hop) {
        return std::find(hops.begin(), hops.end(), hop) != hops.end();
    }

private:
    void load(typename Lists::Id id) {
        const auto hops = lists_.at(id);
        work_.assign(hops.begin(), hops.end());
    }

    void store(typename Lists::Id& id) {
        const auto now = lists_.take(work_);
        lists_.release(id);
        id = now;
    }

    void pushMissing(std::span<const Hop> hops) {
        for (const Hop& hop : hops)
            if (!has(work_, hop)) work_.insert(work_.begin(), hop);
    }

    using Routes = boost::unordered_flat_map<Key, typename Lists::Id, typename Family::Hash>;
    Routes routes_;
    Lists lists_;
    std::vector<Hop> work_;  // the list at hand
};

}  // namespace pcsim::host

#endif
