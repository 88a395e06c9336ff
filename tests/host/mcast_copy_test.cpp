// The host's copy of the multicast caches, and the reading of group lists.
#include "host/mcast/mcast_copy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "console/error.h"
#include "host/mcast/loader.h"

using namespace pcsim;
using namespace pcsim::host;

namespace {

constexpr uint32_t kGroup = 0xEF010101, kSource = 0x0A000001;
constexpr uint32_t kIn = 0x1000, kOut = 0x1001, kOther = 0x1002;

McastKey keyOf(uint32_t source, uint32_t incomingVlan = kIn, uint32_t vr = 0) {
    return {kGroup, source, vr, incomingVlan};
}

TEST(McastPortsText, JoinsNeighboursOfASlot) {
    EXPECT_EQ(mcastPortsText({}), "");
    EXPECT_EQ(mcastPortsText({portKey(1, 1)}), "1:1");
    EXPECT_EQ(mcastPortsText({portKey(1, 1), portKey(1, 2), portKey(1, 3), portKey(1, 7),
                              portKey(2, 1), portKey(2, 2)}),
              "1:1-3,1:7,2:1-2");
}

TEST(McastCopy, ANewCacheHasItsIncomingVlanWithoutPorts) {
    McastCopy copy;
    copy.add(keyOf(kSource));
    const McastCache* cache = copy.find(keyOf(kSource));
    ASSERT_NE(cache, nullptr);
    EXPECT_EQ(cache->vlans, (std::map<uint32_t, McastPorts>{{kIn, {}}}));
}

TEST(McastCopy, APortThatIsThereIsNotAddedAgain) {
    McastCopy copy;
    copy.add(keyOf(kSource));
    EXPECT_TRUE(copy.addPort(keyOf(kSource), {kOut, portKey(1, 2)}));
    EXPECT_FALSE(copy.addPort(keyOf(kSource), {kOut, portKey(1, 2)}));
    EXPECT_TRUE(copy.addPort(keyOf(kSource), {kIn, portKey(1, 2)}));
    EXPECT_EQ(copy.portCount(), 2u);
}

TEST(McastCopy, AVlanStaysWhenItsLastPortGoes) {
    McastCopy copy;
    copy.add(keyOf(kSource));
    copy.addPort(keyOf(kSource), {kOut, portKey(1, 2)});
    EXPECT_TRUE(copy.removePort(keyOf(kSource), {kOut, portKey(1, 2)}));
    EXPECT_FALSE(copy.removePort(keyOf(kSource), {kOut, portKey(1, 2)}));
    EXPECT_EQ(copy.find(keyOf(kSource))->vlans.count(kOut), 1u);
    EXPECT_EQ(copy.portCount(), 0u);
}

TEST(McastCopy, TheIncomingVlanTakesTheCacheAndAnotherOnlyItsPorts) {
    McastCopy copy;
    copy.add(keyOf(kSource, kIn));
    copy.addPort(keyOf(kSource, kIn), {kOut, portKey(1, 1)});
    copy.addPort(keyOf(kSource, kIn), {kOther, portKey(1, 1)});
    copy.add(keyOf(kSource, kOut));
    copy.addPort(keyOf(kSource, kOut), {kOther, portKey(1, 2)});
    const McastCopy::Lost lost = copy.dropVlan(kOut);
    EXPECT_EQ(lost.caches, 1u);
    EXPECT_EQ(lost.stripped, 1u);
    EXPECT_EQ(lost.ports, 2u);
    EXPECT_EQ(copy.find(keyOf(kSource, kOut)), nullptr);
    EXPECT_EQ(copy.find(keyOf(kSource, kIn))->vlans,
              (std::map<uint32_t, McastPorts>{{kIn, {}}, {kOther, {portKey(1, 1)}}}));
    EXPECT_EQ(copy.portCount(), 1u);
}

TEST(McastCopy, ASlotTakesItsPortsAndACacheCountsOnce) {
    McastCopy copy;
    copy.add(keyOf(kSource));
    for (const uint32_t port : {portKey(1, 65535), portKey(2, 0), portKey(2, 9), portKey(3, 1)})
        for (const uint32_t vlan : {kOut, kOther}) copy.addPort(keyOf(kSource), {vlan, port});
    const McastCopy::Lost lost = copy.dropSlot(2);
    EXPECT_EQ(lost.stripped, 1u);
    EXPECT_EQ(lost.ports, 4u);
    EXPECT_EQ(mcastPortsText(copy.find(keyOf(kSource))->vlans.at(kOut)), "1:65535,3:1");
    EXPECT_FALSE(copy.dropSlot(2).any());
}

TEST(McastCopy, KeysOfAGroupAreThoseOfOneVirtualRouter) {
    McastCopy copy;
    copy.add(keyOf(0));
    copy.add(keyOf(kSource, kIn, 1));
    copy.add(keyOf(kSource, kOut));
    copy.add({kGroup + 1, kSource, 0, kIn});
    EXPECT_EQ(copy.keysOf(kGroup, 0), (std::vector<McastKey>{keyOf(0), keyOf(kSource, kOut)}));
    EXPECT_EQ(copy.keysOf(kGroup, 1), (std::vector<McastKey>{keyOf(kSource, kIn, 1)}));
}

// Random operations against a plain set of (cache, VLAN, port).
class McastModel {
public:
    using Member = std::tuple<McastKey, uint32_t, uint32_t>;

    std::set<McastKey> caches;
    std::set<Member> ports;
    std::set<std::pair<McastKey, uint32_t>> vlans;

    void remove(const McastKey& key) {
        caches.erase(key);
        std::erase_if(ports, [&](const Member& member) { return std::get<0>(member) == key; });
        std::erase_if(vlans, [&](const auto& vlan) { return vlan.first == key; });
    }

    void dropVlan(uint32_t vlan) {
        std::vector<McastKey> gone;
        for (const McastKey& key : caches)
            if (key.incomingVlan == vlan && vlans.contains({key, vlan})) gone.push_back(key);
        for (const McastKey& key : gone) remove(key);
        std::erase_if(ports, [&](const Member& member) { return std::get<1>(member) == vlan; });
        std::erase_if(vlans, [&](const auto& member) { return member.second == vlan; });
    }

    void dropPorts(uint32_t vlan, uint32_t first, uint32_t last) {
        std::erase_if(ports, [&](const Member& member) {
            return (vlan == 0 || std::get<1>(member) == vlan) && std::get<2>(member) >= first &&
                   std::get<2>(member) <= last;
        });
    }
};

TEST(McastCopy, RandomOperationsAgreeWithAModel) {
    const uint32_t seed = std::random_device{}();
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 random(seed);
    const auto pick = [&](uint32_t count) { return static_cast<uint32_t>(random() % count); };
    McastCopy copy;
    McastModel model;
    for (int step = 0; step < 20000; ++step) {
        const McastKey key{kGroup + pick(3), kSource + pick(3), pick(2), kIn + pick(4)};
        const McastOutgoing entry{kIn + pick(4), portKey(1 + pick(3), 1 + pick(3))};
        switch (pick(40)) {
            case 0:
                copy.remove(key);
                model.remove(key);
                break;
            case 1:
                copy.dropVlan(entry.vlanInstance);
                model.dropVlan(entry.vlanInstance);
                break;
            case 2:
                copy.dropMember(entry.vlanInstance, entry.port);
                model.dropPorts(entry.vlanInstance, entry.port, entry.port);
                break;
            case 3:
                copy.dropSlot(entry.port >> 16);
                model.dropPorts(0, entry.port & 0xFFFF0000, entry.port | 0xFFFF);
                break;
            case 4:
            case 5:
            case 6:
                ASSERT_EQ(copy.removePort(key, entry),
                          model.ports.erase({key, entry.vlanInstance, entry.port}) == 1);
                break;
            default:
                copy.add(key);
                if (model.caches.insert(key).second) model.vlans.insert({key, key.incomingVlan});
                model.vlans.insert({key, entry.vlanInstance});
                ASSERT_EQ(copy.addPort(key, entry),
                          model.ports.insert({key, entry.vlanInstance, entry.port}).second);
        }
        ASSERT_EQ(copy.caches().size(), model.caches.size()) << "step " << step;
        ASSERT_EQ(copy.portCount(), model.ports.size()) << "step " << step;
    }
    std::set<McastModel::Member> ports;
    for (const auto& [key, cache] : copy.caches())
        for (const auto& [vlan, members] : cache.vlans)
            for (const uint32_t port : members) ports.insert({key, vlan, port});
    EXPECT_EQ(ports, model.ports);
}

TEST(McastLine, NamesAGroupAndPerhapsASource) {
    EXPECT_EQ(parseMcastLine("").group, 0u);
    EXPECT_EQ(parseMcastLine("  # 239.1.1.1").group, 0u);
    EXPECT_EQ(parseMcastLine("239.1.1.1:8000\r").group, 0xEF010101u);
    EXPECT_FALSE(parseMcastLine("239.1.1.1:8000").source.has_value());
    EXPECT_EQ(parseMcastLine("239.1.1.1 10.0.0.9 # x").source, 0x0A000009u);
    EXPECT_EQ(parseMcastLine("\t239.1.1.1  *").source, 0u);
}

TEST(McastLine, MaySayAllOfACache) {
    const McastLine line =
        parseMcastLine("239.1.1.1 10.0.0.1 iif 10 oif 20 1:2 oif 4094 2:1 vr 3  # all");
    EXPECT_EQ(line.source, 0x0A000001u);
    EXPECT_EQ(line.place.incomingVlan, 10);
    EXPECT_EQ(line.place.vr, 3u);
    ASSERT_EQ(line.place.outgoing.size(), 2u);
    EXPECT_EQ(line.place.outgoing[1].vlanId, 4094);
    EXPECT_EQ(line.place.outgoing[1].port.slot, 2u);
    EXPECT_EQ(parseMcastLine("239.1.1.1 *").place.incomingVlan, 0);
}

struct BadLine {
    const char* line;
    const char* problem;
};

void PrintTo(const BadLine& bad, std::ostream* out) {
    *out << bad.line;
}

class BadMcastLines : public testing::TestWithParam<BadLine> {};

TEST_P(BadMcastLines, SayWhatIsWrong) {
    try {
        parseMcastLine(GetParam().line);
        FAIL() << "was accepted";
    } catch (const CommandError& error) {
        EXPECT_STREQ(error.what(), GetParam().problem);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, BadMcastLines,
    testing::Values(
        BadLine{"nonsense", "'nonsense' is not an IPv4 address; expected four numbers as 10.0.0.1"},
        BadLine{"223.255.255.255",
                "'223.255.255.255' is not a multicast group; expected 224.0.0.0 to "
                "239.255.255.255"},
        BadLine{"240.0.0.0",
                "'240.0.0.0' is not a multicast group; expected 224.0.0.0 to 239.255.255.255"},
        BadLine{"239.1.1.1:0", "UDP port '0' is not a number from 1 to 65535"},
        BadLine{"239.1.1.1:", "UDP port '' is not a number from 1 to 65535"},
        BadLine{"239.1.1.1 0.0.0.0",
                "'0.0.0.0' is not a source; expected the address of one sender, or * for any"},
        BadLine{"239.1.1.1 239.1.1.1",
                "'239.1.1.1' is not a source; expected the address of one sender, or * for any"},
        BadLine{"239.1.1.1 10.0.0.1 x",
                "'x' is too much; expected GROUP[:UDPPORT] [SOURCE [iif VLAN ...]]"},
        BadLine{"239.1.1.1 10.0.0.1 oif 10 1:1",
                "'oif' is too much; expected GROUP[:UDPPORT] [SOURCE [iif VLAN ...]]"},
        BadLine{"239.1.1.1 10.0.0.1 iif 10 iif 20",
                "'iif' is too much; expected GROUP[:UDPPORT] [SOURCE [iif VLAN ...]]"},
        BadLine{"239.1.1.1 10.0.0.1 iif", "VLAN '' is not a number from 1 to 4094"},
        BadLine{"239.1.1.1 10.0.0.1 iif 10 oif 4095 1:1",
                "VLAN '4095' is not a number from 1 to 4094"},
        BadLine{"239.1.1.1 10.0.0.1 iif 10 oif 20",
                "'' is not a port; expected SLOT:PORT, for example 1:2"},
        BadLine{"239.1.1.1 10.0.0.1 iif 10 vr x",
                "virtual router 'x' is not a 32-bit number; expected decimal or 0x and "
                "hexadecimal digits"}));

}  // namespace
