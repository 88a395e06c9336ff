// Numbering of handles.
#include "probe/values/handles.h"

#include <algorithm>
#include <cctype>

namespace pcsim::probe {

namespace {

// What the library hands out to get it back, where people have a word for it.
struct NamedKind {
    std::string_view type;
    const char* name;
};
constexpr NamedKind kKinds[] = {
    {"HalHwHandle", "hwHandle"},      {"HalFdbEntry", "entry"},
    {"HalTreeNode", "node"},          {"HalEmsComponent", "component"},
    {"HalMcastCacheNode", "cache"},   {"HalMcastCacheIf", "cacheVlan"},
    {"HalMcastVlanNode", "vlanNode"}, {"HalMcastPortNode", "portNode"},
    {"HalMcastVpifNode", "vpifNode"}, {"HalAclList", "list"},
    {"HalAclInstance", "instance"},   {"pcSimIpAdjEntry", "adjacency"},
    {"pcSimIPv4FibRoute", "route"},   {"pcSimIPv6FibRoute", "route6"},
    {"pcSimFibNextHop", "nextHop"},   {"pcSimIPv6FibNextHop", "nextHop6"},
    {"pcSimFibLinks", "links"},
};

const NamedKind* kindNamed(std::string_view type) {
    const auto* const found = std::ranges::find(kKinds, type, &NamedKind::type);
    return found != std::end(kKinds) ? found : nullptr;
}

}  // namespace

std::string kindOf(const Type& type) {
    if (const NamedKind* kind = kindNamed(type.name)) return kind->name;
    if (type.kind == Kind::kVoid) return "memory";
    std::string_view name = type.name;
    for (const std::string_view prefix : {"Hal", "pcSim"})
        if (name.starts_with(prefix)) name.remove_prefix(prefix.size());
    std::string kind(name);
    if (!kind.empty()) kind[0] = static_cast<char>(std::tolower(kind[0]));
    return kind;
}

bool isNamed(const Type& type) {
    if (type.kind == Kind::kVoid || kindNamed(type.name) != nullptr) return true;
    return type.kind == Kind::kRecord && type.size == 0;
}

std::string Handles::numbered(const std::string& kind, Word address, bool fresh) {
    const std::lock_guard lock(mutex_);
    uint32_t& number = numbers_[{kind, address}];
    if (number == 0 || fresh) number = ++last_[kind];
    return kind + "#" + std::to_string(number);
}

std::string Handles::name(const Type& type, Word address, bool fresh) {
    return numbered(kindOf(type), address, fresh);
}

std::string Handles::function(Word address) {
    std::string name = functionName ? functionName(address) : "";
    return name.empty() ? numbered("callback", address, false) : name;
}

}  // namespace pcsim::probe
