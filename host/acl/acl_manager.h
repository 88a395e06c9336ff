// The access-list manager: loads compiled lists into the platform, binds them to a VLAN on a port
// in one of two slots, and keeps a copy of both.
//
// A list that is deleted while it is bound stays with its bindings, as it does in the platform, and
// is shown as deleted until the last of them goes. Bindings go with their card, port membership or
// VLAN.
#ifndef PCSIM_HOST_ACL_ACL_MANAGER_H
#define PCSIM_HOST_ACL_ACL_MANAGER_H

#include <compare>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/acl/rules.h"
#include "host/core/context.h"

namespace pcsim::host {

struct AclList {
    std::string name;
    std::vector<AclRule> rules;
    uint16_t counterCount = 0;
    size_t boundCount = 0;
    bool deleted = false;
};

// Where a list can be bound. In the platform the instance is (VLAN, port, key) with two slots; the
// key byte is always 0 here.
struct AclPlace {
    uint16_t vlanId = 0;
    uint32_t port = 0;  // port instance
    uint8_t slot = 0;   // 0 or 1

    auto operator<=>(const AclPlace&) const = default;
    std::string text() const;
};

class AclManager : public Manager {
public:
    // In the place of a list's name: the collection of dynamic rules, of which the platform
    // stores nothing.
    static constexpr const char* kDynamic = "dynamic";

    explicit AclManager(Context& context) : context_(context) {}

    void cardDown(int slot) override;
    void running(Lines& lines) override;
    void vlanDown(uint16_t vlanId, uint32_t vlanInstance) override;
    void memberDown(uint16_t vlanId, uint32_t vlanInstance, uint32_t portInstance) override;

    void load(const std::string& name, AclProgram program);
    // What the platform prints goes to 'print'.
    using Print = std::function<void(const std::string&)>;
    void refresh(const std::string& name, AclProgram program, const Print& print);
    // A list that is told rule by rule: the rules are kept until commit() loads them, or refreshes
    // the list that there is. Without one commit() fails, unless the list is to be 'empty'.
    void addRule(const std::string& name, const Words& words);
    void commit(const std::string& name, bool empty, const Print& print);
    void diff(const std::string& name, const AclProgram& program, const Print& print);
    // A bound list is deleted only with 'force'. 'index' is that of a dynamic rule.
    void remove(const std::string& name, bool force, uint32_t index);

    void bind(const std::string& name, const AclPlace& place, uint32_t index);
    void unbind(const std::string& name, const AclPlace& place, uint32_t index);

    struct Counter {
        bool answered = false;  // whether the platform wrote anything
        uint8_t value[16] = {};
    };
    // One per counter of the list.
    std::vector<Counter> counters(const std::string& name, const AclPlace& place);
    void clearCounters(const std::string& name, const AclPlace& place, uint16_t number);

    // The list, or a CommandError that says how to get it.
    const AclList& list(const std::string& name);
    using Lists = std::map<std::string, std::shared_ptr<AclList>>;
    const Lists& lists() const { return lists_; }
    using Bindings = std::map<AclPlace, std::shared_ptr<AclList>>;
    const Bindings& bindings() const { return bindings_; }

private:
    void checkName(const std::string& name) const;
    void tellDeleted(Lines& lines) const;
    std::shared_ptr<AclList> find(const std::string& name);
    // The list that is bound at 'place', which must be of that name.
    AclList& boundAt(const std::string& name, const AclPlace& place);
    int32_t sendRules(int32_t (*HalFamilyOps::*word)(const HalAclListRequest*),
                      const std::string& name, const AclProgram& program);
    int32_t sendBinding(int32_t (*HalFamilyOps::*word)(const HalAclBindRequest*),
                        const std::string& name, const AclPlace& place, uint32_t index);
    std::vector<uint8_t> counterRequest(const std::string& name, const AclPlace& place,
                                        size_t entries);
    template <typename Predicate>
    void unbindAll(const std::string& what, Predicate goes);
    // Runs 'call' while the platform's prints go to 'print'.
    void printing(const Print& print, const std::function<void()>& call);

    Context& context_;
    Lists lists_;
    Bindings bindings_;
    std::map<std::string, AclCompiler> drafts_;
};

}  // namespace pcsim::host

#endif
