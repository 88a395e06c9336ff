// The network interfaces that can back ports.
#include <net/if.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "lab/interface.h"
#include "lab/lab.h"

namespace pcsim::lab {
namespace {

// The N of "ethN", as the kernel writes it: no sign, no leading zero, nothing behind it.
std::optional<unsigned> numberOf(const std::string& name) {
    if (name.rfind("eth", 0) != 0) return std::nullopt;
    unsigned number = 0;
    const char* const end = name.data() + name.size();
    const auto [stopped, error] = std::from_chars(name.data() + 3, end, number);
    if (error != std::errc{} || stopped != end || "eth" + std::to_string(number) != name)
        return std::nullopt;
    return number;
}

std::string text(const Mac& mac) {
    char buffer[18];
    snprintf(buffer, sizeof(buffer), "%02x:%02x:%02x:%02x:%02x:%02x", mac[0], mac[1], mac[2],
             mac[3], mac[4], mac[5]);
    return buffer;
}

}  // namespace

std::vector<Nic> nics() {
    std::vector<Nic> found;
    struct if_nameindex* const all = if_nameindex();
    if (all == nullptr) return found;
    const Descriptor control(openControl());
    for (const struct if_nameindex* at = all; at->if_index != 0; ++at) {
        const std::string name = at->if_name;
        const auto number = numberOf(name);
        if (!number) continue;
        found.push_back({.number = *number,
                         .name = name,
                         .up = isUp(control.get(), name),
                         .carrier = hasCarrier(control.get(), name),
                         .mac = text(macOf(control.get(), name)),
                         .realMii = hasRealMii(control.get(), name)});
    }
    if_freenameindex(all);
    std::ranges::sort(found, {}, &Nic::number);
    return found;
}

}  // namespace pcsim::lab
