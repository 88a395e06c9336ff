// Nodes that were found last, so that an add of many ports asks a tree for each of them once and
// not in every cache: one place per remainder of a number, which the last node with it has.
//
// A node that is freed has to be forgotten; nothing else ends a place.
#ifndef PCSIM_MCAST_REMEMBERED_H
#define PCSIM_MCAST_REMEMBERED_H

#include <cstddef>
#include <cstdint>

namespace pcsim {

template <typename Node, size_t places>
class Remembered {
    static_assert((places & (places - 1)) == 0);

public:
    // The last node that was put under 'number' or one that shares its place; null without one.
    Node* at(uint32_t number) const noexcept { return nodes_[number % places]; }
    void put(uint32_t number, Node* node) noexcept { nodes_[number % places] = node; }
    void forget(uint32_t number, const Node* node) noexcept {
        Node*& place = nodes_[number % places];
        if (place == node) place = nullptr;
    }

private:
    Node* nodes_[places];  // static: all null at first
};

}  // namespace pcsim

#endif
