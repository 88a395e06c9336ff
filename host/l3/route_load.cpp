// Lines of routes, as fast as the platform takes them.
#include "host/l3/route_load.h"

#include <chrono>

#include "console/text.h"
#include "host/l3/usual_forms.h"

namespace pcsim::host {

template <typename Family>
std::vector<typename Family::Hop> hopsOf(const std::vector<TypedHop>& typed,
                                         const typename Family::Key& route) {
    std::vector<typename Family::Hop> hops;
    for (const TypedHop& hop : typed) {
        if (hop.gateway.v6 != Family::kV6)
            fail("gateway {} is not of the family of {}; expected an {} address",
                 hop.gateway.text(), Family::text(route), Family::kName);
        hops.push_back({Family::addressOf(hop.gateway), hop.vlan});
    }
    return hops;
}

template <typename Family>
typename Family::Key keyOf(const IpPrefix& prefix) {
    checkMasked(prefix);
    return Family::keyOf(prefix);
}

template std::vector<IPv4Family::Hop> hopsOf<IPv4Family>(const std::vector<TypedHop>&,
                                                         const IPv4Family::Key&);
template std::vector<IPv6Family::Hop> hopsOf<IPv6Family>(const std::vector<TypedHop>&,
                                                         const IPv6Family::Key&);
template IPv4Family::Key keyOf<IPv4Family>(const IpPrefix&);
template IPv6Family::Key keyOf<IPv6Family>(const IpPrefix&);

namespace {

using Clock = std::chrono::steady_clock;

// No word of a line is longer: a message would quote it.
void checkWord(std::string_view word, const char* what) {
    constexpr size_t kLongest = 100;
    if (word.size() > kLongest) fail("'{}' is not {}", shown(word), what);
}

class RouteLoader {
public:
    RouteLoader(L3Manager& manager, uint32_t vr, const std::vector<TypedHop>& otherwise,
                RouteLoad& load)
        : manager_(manager), vr_(vr), load_(load) {
        for (const TypedHop& hop : otherwise) {
            if (hop.gateway.v6)
                otherwise6_.push_back({IPv6Family::addressOf(hop.gateway), hop.vlan});
            else
                otherwise4_.push_back({IPv4Family::addressOf(hop.gateway), hop.vlan});
        }
    }

    // Fails when the line is not right.
    void take(std::string_view line) {
        line = line.substr(0, line.find('#'));
        const std::string_view word = takeWord(line);
        if (word.empty()) return;
        IpPrefix prefix;
        checkWord(word, "a prefix");
        if (!readUsualPrefix(word, prefix)) prefix = parsePrefix(std::string(word));
        takeHops(line);
        if (prefix.address.v6) {
            add<IPv6Family>(prefix, otherwise6_);
            ++load_.ipv6Lines;
        } else {
            add<IPv4Family>(prefix, otherwise4_);
            ++load_.ipv4Lines;
        }
    }

private:
    void takeHops(std::string_view line) {
        typed_.clear();
        for (;;) {
            const std::string_view gateway = takeWord(line);
            if (gateway.empty()) return;
            const std::string_view vlan = takeWord(line);
            checkWord(gateway, "an IP address");
            checkWord(vlan, "a VLAN");
            if (vlan.empty())
                fail("gateway {} has no VLAN; expected PREFIX [ADDRESS VLAN]...", gateway);
            typed_.push_back(hopOf(gateway, vlan));
        }
    }

    static TypedHop hopOf(std::string_view gateway, std::string_view vlan) {
        TypedHop hop{};
        uint64_t number = 0;
        if (!readUsualAddress(gateway, hop.gateway) || !readNumber(vlan, kLastVlan, number) ||
            number == 0)
            return typedHop(std::string(gateway), std::string(vlan));
        checkStation(hop.gateway);
        hop.vlan = static_cast<uint32_t>(number);
        return hop;
    }

    template <typename Family>
    void add(const IpPrefix& prefix, const std::vector<typename Family::Hop>& otherwise) {
        const auto key = keyOf<Family>(prefix);
        const bool noneGiven = otherwise4_.empty() && otherwise6_.empty();
        if (typed_.empty() && otherwise.empty() && !noneGiven) ++load_.withoutNextHops;
        if (typed_.empty())
            manager_.addRoute<Family>(vr_, key, otherwise);
        else
            manager_.addRoute<Family>(vr_, key, hopsOf<Family>(typed_, key));
    }

    L3Manager& manager_;
    uint32_t vr_;
    RouteLoad& load_;
    std::vector<IPv4Family::Hop> otherwise4_;
    std::vector<IPv6Family::Hop> otherwise6_;
    std::vector<TypedHop> typed_;
};

}  // namespace

TypedHop typedHop(const std::string& gateway, const std::string& vlan) {
    const IpAddress address = parseAddress(gateway);
    checkStation(address);
    return {address, static_cast<uint32_t>(parseNumber("VLAN", vlan, 1, 4094))};
}

RouteLoad loadRoutes(Context& context, L3Manager& manager, const std::string& path, uint32_t vr,
                     const std::vector<TypedHop>& otherwise) {
    context.checkVirtualRouter(vr);
    RouteLoad result(path);
    const auto start = Clock::now();
    RouteLoader loader(manager, vr, otherwise, result);
    result.file.run(context.loop, "routes",
                    [&](uint64_t, std::string_view line) { loader.take(line); });
    result.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return result;
}

}  // namespace pcsim::host
