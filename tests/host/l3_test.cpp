// The layer-3 manager over the real platform library: after any sequence of operations its copy of
// neighbors and routes is what the platform lists.
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "host/core/dump_text.h"
#include "host/l3/l3_manager.h"
#include "host/machine/machine.h"

namespace pcsim::host {
namespace {

Options optionsOfTest() {
    Options options;
    options.library = PCSIM_TEST_LIBRARY;
    options.maxVr = 300;  // numbers whose order as bytes is not that as numbers
    return options;
}

// The platform is loaded and its family table filled, but no card is brought up: the tables of
// layer 3 need none.
class L3ManagerTest : public testing::Test {
protected:
    L3ManagerTest() : machine(optionsOfTest()), l3(machine.l3()) {
        machine.context.scheduler.stop();
        Platform& platform = machine.context.platform;
        platform.load(machine.context.options.library);
        platform.setUpCards();
        platform.call(platform.cardDb, &HalCardDbOps::familyDBSetup, 0u, &platform.family.ops);
        platform.family.valid = true;
    }

    std::string dump(HalIpAdjDumpFn* HalFamilyOps::*word) {
        std::string all;
        Platform& platform = machine.context.platform;
        dumpTo([&](const std::string& piece) { all += piece; },
               [&](const pcSimDumpSink* sink) { platform.call(platform.family, word, sink); });
        return all;
    }

    void expectSameTables() {
        EXPECT_EQ(withoutOldMacs(dump(IPv4Family::kDump)), ipv4Listing());
        EXPECT_EQ(dump(IPv6Family::kDump), ipv6Listing());
        EXPECT_EQ(withoutOldMacs(dump(&HalFamilyOps::ipAdjDump)), adjacencyListing());
    }

    // The MAC address that the platform remembers of a lost neighbor is its own affair.
    static std::string withoutOldMacs(std::string text) {
        static const std::string kNoPort = " 00000000\n", kNoMac = "00:00:00:00:00:00";
        for (size_t at = text.find(kNoPort); at != std::string::npos;
             at = text.find(kNoPort, at + 1)) {
            const size_t mac = text.rfind(':', at) + 3 - kNoMac.size();
            text.replace(mac, kNoMac.size(), kNoMac);
        }
        return text;
    }

    static std::string padded(uint32_t address) {
        const uint32_t number = ntohl(address);
        return fmt::format("{:03}.{:03}.{:03}.{:03}", number >> 24, number >> 16 & 255,
                           number >> 8 & 255, number & 255);
    }

    std::string macAndPort(uint32_t vr, uint32_t address, uint32_t vlan, const char* gap) {
        const auto found = l3.neighbors().find({vr, ntohl(address), vlan});
        if (found == l3.neighbors().end()) return fmt::format("00:00:00:00:00:00{}00000000", gap);
        return fmt::format("{}{}{:08x}", macText(found->second.mac.data()), gap,
                           found->second.port);
    }

    template <typename Family, typename Row>
    void forEachHop(Row row) {
        for (const auto& [vr, copy] : l3.routes<Family>()) {
            for (const auto& route : copy.sorted()) {
                // By entry and by key, these are the same.
                EXPECT_TRUE(std::ranges::equal(copy.hopsOf(route), copy.hopsOf(route.key)));
                for (const auto& hop : copy.hopsOf(route)) row(vr, route.key, hop);
            }
        }
    }

    template <typename Family>
    uint64_t routeCount() {
        uint64_t count = 0;
        for (const auto& [vr, copy] : l3.routes<Family>()) count += copy.counts().routes;
        return count;
    }

    std::string ipv4Listing() {
        std::string text = "                            HAL IPv4 FIB: \n";
        text += fmt::format("{:<4} {:<18} {:<15} {:<6} {:<17} Port\n", "VrId", "Prefix/Mask",
                            "Gateway", "Vlan", "MAC");
        text += std::string(73, '=') + "\n";
        forEachHop<IPv4Family>([&](uint32_t vr, const auto& key, const auto& hop) {
            uint32_t length = 0;
            while (length < 32 && (ntohl(key.mask) >> (31 - length) & 1) != 0) ++length;
            text += fmt::format("{:4} {}/{:2} {} {:06} {}\n", vr, padded(key.prefix), length,
                                padded(hop.gateway), hop.vlan,
                                macAndPort(vr, hop.gateway, hop.vlan, " "));
        });
        return text + fmt::format("\ntotal routes = {}\n", routeCount<IPv4Family>());
    }

    std::string ipv6Listing() {
        std::string text = "                            HAL IPv6 FIB: \n";
        text += fmt::format("{:<4} {:<44} {:<8} {:<17} Port\n", "VrId", "Prefix/MaskLen", "Vlan",
                            "MAC");
        text += "     Gateway\n" + std::string(88, '=') + "\n";
        forEachHop<IPv6Family>([&](uint32_t vr, const auto& key, const auto& hop) {
            text +=
                fmt::format("{:4} {:>39}/{:3} {:08} \n     {} \n", vr, IPv6Family::text(key.prefix),
                            key.length, hop.vlan, IPv6Family::text(hop.gateway));
        });
        return text + fmt::format("\ntotal routes = {}\n", routeCount<IPv6Family>());
    }

    // In the order of the key's bytes: VR and VLAN with their lowest byte first.
    std::string adjacencyListing() {
        std::set<std::tuple<uint32_t, uint32_t, uint32_t>> keys;
        const auto add = [&](const NeighborKey& key) {
            keys.insert({htonl(key.vr), key.address, htonl(key.vlan)});
        };
        for (const auto& neighbor : l3.neighbors()) add(neighbor.first);
        for (const auto& gateway : l3.gateways()) add(gateway.first);
        std::string text = "VR    IP               Vlan    MAC                Port\n";
        text += std::string(58, '=') + "\n";
        for (const auto& [vr, address, vlan] : keys)
            text +=
                fmt::format("{:04}  {}  {:06}  {}\n", ntohl(vr), padded(htonl(address)),
                            ntohl(vlan), macAndPort(ntohl(vr), htonl(address), ntohl(vlan), "  "));
        return text;
    }

    uint32_t roll(uint32_t below) { return static_cast<uint32_t>(random() % below); }
    uint32_t anyVr() { return std::array{0u, 1u, 256u}[roll(3)]; }
    uint32_t anyVlan() { return std::array{1u, 2u, 256u}[roll(3)]; }
    uint32_t anyAddress() { return htonl(0x0A000000u | roll(6)); }
    NeighborKey anyNeighbor() { return {anyVr(), ntohl(anyAddress()), anyVlan()}; }

    IPv4Family::Key anyKey(IPv4Family) {
        static constexpr uint32_t kMasks[] = {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFF00,
                                              0xFF0000FF, 0x00FF0003, 0xFF000000, 0};
        const uint32_t mask = htonl(kMasks[roll(8)]);
        return {anyAddress() & mask, mask};
    }
    IPv6Family::Key anyKey(IPv6Family) {
        static constexpr uint32_t kLengths[] = {128, 127, 126, 64, 48, 31, 1, 0};
        const IPv6Family::Address address = anyGateway(IPv6Family{});
        IpPrefix prefix;
        prefix.address.v6 = true;
        std::memcpy(prefix.address.bytes.data(), &address, sizeof address);
        prefix.length = kLengths[roll(8)];
        return IPv6Family::keyOf(prefix.masked());
    }
    uint32_t anyGateway(IPv4Family) { return anyAddress(); }
    IPv6Family::Address anyGateway(IPv6Family) {
        return {{htonl(0xFE800000u), 0, htonl(roll(2)), htonl(roll(4))}};
    }

    template <typename Family>
    std::vector<typename Family::Hop> anyHops() {
        std::vector<typename Family::Hop> hops(roll(4));
        for (auto& hop : hops) hop = {anyGateway(Family{}), anyVlan()};
        return hops;
    }

    template <typename Family>
    void anyRouteOperation() {
        const uint32_t vr = anyVr();
        const auto hops = anyHops<Family>();
        const uint32_t what = roll(100);
        if (what < 45)
            l3.addRoute<Family>(vr, anyKey(Family{}), hops);
        else if (what < 70)
            l3.removeRoute<Family>(vr, anyKey(Family{}), hops);
        else if (what < 95)
            l3.replaceRoute<Family>(vr, anyKey(Family{}), hops);
        else
            l3.flush<Family>(vr, anyKey(Family{}), roll(2) == 0 ? 0 : anyVlan());
    }

    void anyOperation() {
        const uint32_t what = roll(100);
        if (what < 15) {
            const uint8_t last = static_cast<uint8_t>(roll(256));
            l3.addNeighbor(anyNeighbor(), {{0, 0x11, 0x22, 0x33, 0x44, last},
                                           portInstance(1 + roll(3), 1 + roll(4))});
        } else if (what < 25) {
            const NeighborKey key = anyNeighbor();
            if (l3.neighbors().contains(key)) l3.removeNeighbor(key);
        } else if (what < 27) {
            l3.cardDown(static_cast<int>(1 + roll(3)));
        } else if (what < 75) {
            anyRouteOperation<IPv4Family>();
        } else {
            anyRouteOperation<IPv6Family>();
        }
    }

    Machine machine;
    L3Manager& l3;
    std::mt19937 random{20240310};
};

TEST_F(L3ManagerTest, CopyIsWhatThePlatformListsAfterAnyOperations) {
    constexpr int kOperations = 20000;
    for (int i = 0; i < kOperations; ++i) {
        anyOperation();
        if (i % 20 != 0) continue;
        expectSameTables();
        if (HasFailure()) FAIL() << "after operation " << i;
    }
    EXPECT_GT(routeCount<IPv4Family>(), 20u);
    EXPECT_GT(routeCount<IPv6Family>(), 20u);
}

TEST_F(L3ManagerTest, NothingIsLeftBehindWhenAllIsTakenAway) {
    for (int i = 0; i < 3000; ++i) anyOperation();
    for (int slot = 1; slot <= 3; ++slot) l3.cardDown(slot);
    for (const uint32_t vr : {0u, 1u, 256u}) {
        l3.flush<IPv4Family>(vr, IPv4Family::everything(), 0);
        l3.flush<IPv6Family>(vr, IPv6Family::everything(), 0);
    }
    EXPECT_TRUE(l3.neighbors().empty());
    EXPECT_TRUE(l3.routes<IPv4Family>().empty());
    EXPECT_TRUE(l3.routes<IPv6Family>().empty());
    expectSameTables();
}

TEST_F(L3ManagerTest, HostRouteOfTwoNeighborsStaysWithTheOther) {
    const NeighborKey first{0, 0x0A000001, 5}, second{0, 0x0A000001, 6};
    l3.addNeighbor(first, {{}, portInstance(1, 1)});
    l3.addNeighbor(second, {{}, portInstance(1, 2)});
    l3.removeNeighbor(second);
    expectSameTables();
    const auto* copy = l3.routesOf<IPv4Family>(0);
    ASSERT_NE(copy, nullptr);
    const auto hops = copy->hopsOf(IPv4Family::hostKey(htonl(0x0A000001)));
    ASSERT_EQ(hops.size(), 1u);
    EXPECT_EQ(hops[0].vlan, 5u);
}

TEST_F(L3ManagerTest, RefusedRequestLeavesTheCopyAlone) {
    const auto key = IPv4Family::hostKey(htonl(0x0A000001));
    const IPv4Family::Hop hop{htonl(0x0A000002), 5};
    machine.context.platform.rules.add({.operation = "ipv4FibAddEntry"});
    EXPECT_THROW(l3.addRoute<IPv4Family>(0, key, {&hop, 1}), CommandError);
    EXPECT_EQ(l3.routesOf<IPv4Family>(0), nullptr);
    expectSameTables();
}

TEST_F(L3ManagerTest, RequestHoldsAsManyNextHopsAsItsCountCanTell) {
    std::vector<IPv6Family::Hop> hops(255);
    for (uint32_t i = 0; i < hops.size(); ++i) hops[i] = {{{0, 0, 0, htonl(i + 1)}}, 7};
    l3.addRoute<IPv6Family>(0, IPv6Family::everything(), hops);
    expectSameTables();
    hops.push_back({{{1, 0, 0, 0}}, 7});
    EXPECT_THROW(l3.addRoute<IPv6Family>(0, IPv6Family::everything(), hops), CommandError);
    expectSameTables();
}

}  // namespace
}  // namespace pcsim::host
