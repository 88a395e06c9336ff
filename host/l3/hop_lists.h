// Lists of next hops, each kept once however many routes have it: a full Internet table has a
// million routes and few different lists.
//
// A list is named by a number; 0 is the empty one. Whoever keeps a number holds one use of it.
#ifndef PCSIM_HOST_L3_HOP_LISTS_H
#define PCSIM_HOST_L3_HOP_LISTS_H

#include <boost/unordered/unordered_flat_set.hpp>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace pcsim::host {

template <typename Hop>
class HopLists {
public:
    using Id = uint32_t;
    static constexpr Id kEmpty = 0;

    HopLists() : lists_(1), index_(0, HashOf{this}, Equal{this}) {}
    HopLists(const HopLists&) = delete;
    HopLists& operator=(const HopLists&) = delete;

    // The number of a list with these hops in this order, with one use more.
    Id take(std::span<const Hop> hops) {
        if (hops.empty()) return kEmpty;
        const auto found = index_.find(hops);
        if (found != index_.end()) {
            ++lists_[*found].uses;
            return *found;
        }
        Id id = static_cast<Id>(lists_.size());
        if (free_.empty()) {
            lists_.emplace_back();
        } else {
            id = free_.back();
            free_.pop_back();
        }
        lists_[id].hops.assign(hops.begin(), hops.end());
        lists_[id].uses = 1;
        index_.insert(id);
        return id;
    }

    void release(Id id) {
        if (id == kEmpty || --lists_[id].uses != 0) return;
        index_.erase(id);
        lists_[id].hops = {};
        free_.push_back(id);
    }

    std::span<const Hop> at(Id id) const { return lists_[id].hops; }

    // Calls 'see(id, hops, uses)' for every list in use but the empty one.
    template <typename See>
    void forEach(See see) const {
        for (Id id = 1; id < lists_.size(); ++id)
            if (lists_[id].uses != 0)
                see(id, std::span<const Hop>(lists_[id].hops), lists_[id].uses);
    }

    Id end() const { return static_cast<Id>(lists_.size()); }

    size_t bytes() const {
        size_t sum = lists_.capacity() * sizeof(List) + free_.capacity() * sizeof(Id) +
                     index_.bucket_count() * sizeof(Id);
        for (const List& list : lists_) sum += list.hops.capacity() * sizeof(Hop);
        return sum;
    }

private:
    struct List {
        std::vector<Hop> hops;
        uint32_t uses = 0;
    };

    // The index holds numbers and finds them by what their lists hold.
    struct HashOf {
        using is_transparent = void;
        const HopLists* owner;
        size_t operator()(std::span<const Hop> hops) const {
            return std::hash<std::string_view>{}(
                {reinterpret_cast<const char*>(hops.data()), hops.size_bytes()});
        }
        size_t operator()(Id id) const { return (*this)(owner->at(id)); }
    };
    struct Equal {
        using is_transparent = void;
        const HopLists* owner;
        bool operator()(Id a, Id b) const { return a == b; }
        bool operator()(std::span<const Hop> a, Id b) const {
            return std::equal(a.begin(), a.end(), owner->at(b).begin(), owner->at(b).end());
        }
        bool operator()(Id a, std::span<const Hop> b) const { return (*this)(b, a); }
    };

    std::vector<List> lists_;
    std::vector<Id> free_;
    boost::unordered_flat_set<Id, HashOf, Equal> index_;
};

}  // namespace pcsim::host

#endif
