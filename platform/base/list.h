// A circular doubly linked list whose head is a link like its members': an empty head points to
// itself. A member carries one link per list that it may be in, so that leaving one needs neither
// the list nor a walk. Any module of the library may include this.
#ifndef PCSIM_BASE_LIST_H
#define PCSIM_BASE_LIST_H

namespace pcsim {

struct ListLink {
    ListLink* next;
    ListLink* previous;
};

inline void listInit(ListLink* head) noexcept {
    head->next = head;
    head->previous = head;
}

inline bool listEmpty(const ListLink* head) noexcept {
    return head->next == head;
}

// Links 'member' before 'place': a member of the list, or its head for the tail.
inline void listInsertBefore(ListLink* member, ListLink* place) noexcept {
    member->next = place;
    member->previous = place->previous;
    place->previous->next = member;
    place->previous = member;
}

inline void listUnlink(ListLink* member) noexcept {
    member->previous->next = member->next;
    member->next->previous = member->previous;
    listInit(member);
}

}  // namespace pcsim

#endif
