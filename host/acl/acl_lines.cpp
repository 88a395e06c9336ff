// The lines of access lists: their rules, then where they are bound.
#include <set>

#include "host/acl/acl_manager.h"
#include "host/core/lines.h"

namespace pcsim::host {

namespace {

std::string bindingText(const AclList& list, const AclPlace& place) {
    return fmt::format("{} vlan {} port {} slot {}", quotedWord(list.name), place.vlanId,
                       portName(place.port), place.slot);
}

// The rules and what loads them are one part: a list is changed as a whole.
template <typename Begin>
void tellList(Lines& lines, const AclList& list, Begin begin) {
    const std::string name = quotedWord(list.name);
    if (list.rules.empty()) {
        begin("acl commit " + name + " empty");
        return;
    }
    bool first = true;
    for (const AclRule& rule : list.rules) {
        const std::string line = "acl rule " + name + " " + rule.text();
        first ? begin(line) : lines.more(line);
        first = false;
    }
    lines.more("acl commit " + name);
}

}  // namespace

// A list that was deleted while it was bound is made, bound and deleted again: all of it one part.
void AclManager::tellDeleted(Lines& lines) const {
    std::set<const AclList*> told;
    for (const auto& [place, list] : bindings_) {
        if (!list->deleted || !told.insert(list.get()).second) continue;
        std::string undo;
        for (const auto& [other, theirs] : bindings_)
            if (theirs == list) undo += "acl unbind " + bindingText(*list, other) + "\n";
        tellList(lines, *list, [&](const std::string& line) { lines.add(line, undo); });
        for (const auto& [other, theirs] : bindings_)
            if (theirs == list) lines.more("acl bind " + bindingText(*list, other));
        lines.more("acl delete " + quotedWord(list->name) + " force");
    }
}

void AclManager::running(Lines& lines) {
    tellDeleted(lines);
    for (const auto& named : lists_) {
        const auto& list = *named.second;
        tellList(lines, list, [&](const std::string& line) {
            lines.replace(line, "acl delete " + quotedWord(list.name));
        });
    }
    for (const auto& [place, list] : bindings_)
        if (!list->deleted)
            lines.add("acl bind " + bindingText(*list, place),
                      "acl unbind " + bindingText(*list, place));
}

}  // namespace pcsim::host
