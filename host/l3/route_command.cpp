// Doing commands of routes.
#include "host/l3/route_command.h"

#include "console/error.h"
#include "console/text.h"
#include "host/l3/usual_forms.h"

namespace pcsim::host {

// The next hops and the virtual router.
bool RouteCommands::takeTail(std::string_view rest) {
    hops_.clear();
    vr_ = 0;
    for (;;) {
        const std::string_view word = takeWord(rest);
        if (word.empty()) return true;
        const std::string_view value = takeWord(rest);
        uint64_t number = 0;
        if (word == "vr") {
            if (!readNumber(value, UINT32_MAX, number)) return false;
            vr_ = static_cast<uint32_t>(number);
            return takeWord(rest).empty();
        }
        TypedHop hop{};
        if (word != "via") return false;
        if (!readUsualAddress(value, hop.gateway)) hop.gateway = parseAddress(std::string(value));
        checkStation(hop.gateway);
        if (takeWord(rest) != "vlan") return false;
        if (!readNumber(takeWord(rest), kLastVlan, number) || number == 0) return false;
        hop.vlan = static_cast<uint32_t>(number);
        hops_.push_back(hop);
    }
}

template <typename Family>
bool RouteCommands::change(bool add, const IpPrefix& prefix) {
    const auto key = keyOf<Family>(prefix);
    const auto hops = hopsOf<Family>(hops_, key);
    if (add) {
        manager_.addRoute<Family>(vr_, key, hops);
        return true;
    }
    const RouteCopy<Family>* const copy = manager_.routesOf<Family>(vr_);
    if (!hops.empty() || copy == nullptr || !copy->has(key)) return false;
    manager_.removeRoute<Family>(vr_, key, hops);
    return true;
}

bool RouteCommands::take(std::string_view line) {
    if (line.find_first_of("\"#") != std::string_view::npos || takeWord(line) != "route")
        return false;
    const std::string_view action = takeWord(line), word = takeWord(line);
    if (action != "add" && action != "del") return false;
    IpPrefix prefix;
    try {
        if (!readUsualPrefix(word, prefix)) prefix = parsePrefix(std::string(word));
        checkMasked(prefix);
        if (!takeTail(line)) return false;
        for (const TypedHop& hop : hops_)
            if (hop.gateway.v6 != prefix.address.v6) return false;
    } catch (const CommandError&) {
        return false;
    }
    return prefix.address.v6 ? change<IPv6Family>(action == "add", prefix)
                             : change<IPv4Family>(action == "add", prefix);
}

}  // namespace pcsim::host
