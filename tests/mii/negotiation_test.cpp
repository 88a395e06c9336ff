// What two PHYs agree upon: each pair of offers, told speeds, and cables that carry less.
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "mii/negotiation.h"

namespace {

using pcsim::mii::agree;
using pcsim::mii::Agreement;
using pcsim::mii::Phy;

constexpr Phy kEverything;
constexpr Phy offering(uint16_t abilities) {
    return {.control = 0x3100, .advertisement = static_cast<uint16_t>(0x0401 | abilities)};
}
constexpr Phy told(uint16_t control) {
    return {.control = control, .advertisement = 0x05e1};
}
constexpr Phy k10Half = told(0x0000), k10Full = told(0x0100);
constexpr Phy k100Half = told(0x2000), k100Full = told(0x2100);

struct Pair {
    const char* name;
    Phy own, partner;
    bool link;
    uint16_t register5;
    bool partnerNegotiates;
    uint16_t carried = 0x01e0;
};

class AgreementTest : public testing::TestWithParam<Pair> {};

TEST_P(AgreementTest, Is) {
    const Pair& pair = GetParam();
    const Agreement learnt = agree(pair.own, pair.partner, pair.carried);
    EXPECT_EQ(pair.link, learnt.link);
    EXPECT_EQ(pair.register5, learnt.partner) << std::hex << learnt.partner;
    EXPECT_EQ(pair.partnerNegotiates, learnt.partnerNegotiates);
}

INSTANTIATE_TEST_SUITE_P(
    Pairs, AgreementTest,
    testing::Values(
        Pair{"Everything", kEverything, kEverything, true, 0x45e1, true},
        Pair{"PartnerOffersLess", kEverything, offering(0x0040), true, 0x4441, true},
        Pair{"OwnOffersLess", offering(0x0020), kEverything, true, 0x45e1, true},
        Pair{"NothingInCommon", offering(0x0100), offering(0x0040), false, 0x4441, true},
        Pair{"Nothing", kEverything, {0x3100, 0x0001}, false, 0x4001, true},
        // A partner that is told its speed says nothing: the speed is heard, the duplex is not.
        Pair{"Hears100Full", kEverything, k100Full, true, 0x0080, false},
        Pair{"Hears100Half", kEverything, k100Half, true, 0x0080, false},
        Pair{"Hears10Full", kEverything, k10Full, true, 0x0020, false},
        Pair{"Hears10Half", kEverything, k10Half, true, 0x0020, false},
        Pair{"HearsWhatItLacks", offering(0x0060), k100Full, false, 0x0080, false},
        Pair{"HearsHalfButOffersFull", offering(0x0100), k100Full, false, 0x0080, false},
        Pair{"Told100AndHeard", k100Full, kEverything, true, 0, false},
        Pair{"Told10AndHeard", k10Full, kEverything, true, 0, false},
        Pair{"Told100AndNotOffered", k100Full, offering(0x0060), false, 0, false},
        Pair{"BothTold100", k100Full, k100Full, true, 0, false},
        Pair{"BothToldOtherDuplex", k100Full, k100Half, true, 0, false},
        Pair{"BothToldOtherSpeed", k100Full, k10Full, false, 0, false},
        // A cable that carries 10 Mbit/s alone, and one that carries half duplex alone.
        Pair{"Slow", kEverything, kEverything, true, 0x4461, true, 0x0060},
        Pair{"SlowForOneThatOffers100", offering(0x0180), kEverything, false, 0x4461, true, 0x0060},
        Pair{"SlowForTold100", k100Full, k100Full, false, 0, false, 0x0060},
        Pair{"SlowForTold10", k10Full, k10Full, true, 0, false, 0x0060},
        Pair{"SlowAndHeard", kEverything, k10Full, true, 0x0020, false, 0x0060},
        Pair{"SlowAndHears100", kEverything, k100Full, false, 0x0080, false, 0x0060},
        Pair{"Half", kEverything, kEverything, true, 0x44a1, true, 0x00a0}),
    [](const auto& pair) { return std::string(pair.param.name); });

// Whoever has link has a partner that has link, whatever the two were told: there is no cable with
// one end.
TEST(NegotiationTest, BothEndsSeeTheSameLink) {
    for (unsigned own = 0; own < 16 + 4; ++own) {
        for (unsigned partner = 0; partner < 16 + 4; ++partner) {
            for (uint16_t carried = 0; carried < 16; ++carried) {
                const auto phy = [](unsigned n) {
                    if (n < 16) return offering(static_cast<uint16_t>(n << 5));
                    return told(static_cast<uint16_t>(((n & 1) << 13) | ((n & 2) << 7)));
                };
                const auto cable = static_cast<uint16_t>(carried << 5);
                EXPECT_EQ(agree(phy(own), phy(partner), cable).link,
                          agree(phy(partner), phy(own), cable).link)
                    << own << ' ' << partner << ' ' << carried;
            }
        }
    }
}

}  // namespace
