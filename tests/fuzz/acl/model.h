// A naive model of access lists and their bindings.
#ifndef PCSIM_TESTS_FUZZ_ACL_MODEL_H
#define PCSIM_TESTS_FUZZ_ACL_MODEL_H

#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "platform/acl/pcSimIPv4Acl.h"

namespace pcsim::fuzz {

struct List {
    std::string name;
    uint32_t value;
    uint16_t ruleCount;
    uint16_t counterCount;
    HalAclRule* rules;
    AclList* real;  // the library's
    bool stored = true;
    bool grewLong = false;  // so that it may have an index
};

// A counter is 0 or a byte that it was filled with.
struct Binding {
    std::shared_ptr<List> list;
    bool hasBlock = false;  // there was memory for the counters
    std::vector<uint8_t> counters;
};

using Place = std::tuple<uint32_t, uint32_t, uint8_t>;  // VLAN, port, key

struct AclModel {
    std::map<std::string, std::shared_ptr<List>> lists;  // the stored ones
    std::map<Place, Binding[kAclSlots]> places;

    std::shared_ptr<List> find(const std::string& name) const {
        const auto found = lists.find(name);
        return found != lists.end() ? found->second : nullptr;
    }
    uint32_t boundTo(const List& list) const {
        uint32_t count = 0;
        for (const auto& [place, slots] : places)
            for (const Binding& binding : slots) count += binding.list.get() == &list;
        return count;
    }
};

// Compares the library with it.
void checkAcl(const AclModel& model);

}  // namespace pcsim::fuzz

#endif
