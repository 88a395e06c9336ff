// Values that people type.
#include "console/values.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include "console/error.h"

namespace pcsim::host {
namespace {

TEST(Values, NumbersKeepToTheirRange) {
    EXPECT_EQ(parseNumber("n", "7", 1, 9), 7u);
    for (const char* bad : {"0", "10", "", "7x", "-1", "0x7", " 7", "99999999999999999999999"})
        EXPECT_THROW(parseNumber("n", bad, 1, 9), CommandError) << bad;
}

TEST(Values, SignedNumbersKeepToTheirRange) {
    EXPECT_EQ(parseSigned("n", "-9", 9), -9);
    EXPECT_EQ(parseSigned("n", "9", 9), 9);
    EXPECT_EQ(parseSigned("n", "-0", 9), 0);
    for (const char* bad : {"10", "-10", "", "-", "--1", "+1", "1-", "- 1"})
        EXPECT_THROW(parseSigned("n", bad, 9), CommandError) << bad;
}

TEST(Values, WordsAreDecimalOrHexadecimal) {
    EXPECT_EQ(parseU32("mask", "4294967295"), 0xFFFFFFFFu);
    EXPECT_EQ(parseU32("mask", "0xFFFF06FF"), 0xFFFF06FFu);
    for (const char* bad : {"4294967296", "0x100000000", "0x", "F", ""})
        EXPECT_THROW(parseU32("mask", bad), CommandError) << bad;
}

TEST(Values, Ports) {
    const SlotPort port = parseSlotPort("10:256");
    EXPECT_EQ(port.slot, 10u);
    EXPECT_EQ(port.port, 256u);
    for (const char* bad : {"1", "1:", ":1", "1:2:3", "a:b", "1:70000", ""})
        EXPECT_THROW(parseSlotPort(bad), CommandError) << bad;
}

TEST(Values, Prefixes) {
    const IpPrefix plain = parsePrefix("10.1.0.0/16");
    EXPECT_EQ(plain.mask, htonl(0xFFFF0000));
    EXPECT_EQ(plain.length, 16u);
    EXPECT_EQ(parsePrefix("0.0.0.0/0").mask, 0u);
    EXPECT_EQ(parsePrefix("10.0.0.0/255.0.255.0").mask, htonl(0xFF00FF00));
    EXPECT_EQ(parsePrefix("10.0.0.0/255.0.255.0").length, 8u);
    const IpPrefix six = parsePrefix("fd00:1::/32");
    EXPECT_TRUE(six.address.v6);
    EXPECT_EQ(six.text(), "fd00:1::/32");
    for (const char* bad : {"10.0.0.0", "10.0.0.0/33", "fd00::/129", "10.0.0/8", "/8", "10.0.0.0/"})
        EXPECT_THROW(parsePrefix(bad), CommandError) << bad;
}

}  // namespace
TEST(Ipv4Text, EveryByteInEveryPlace) {
    for (uint32_t place = 0; place < 4; ++place) {
        for (uint32_t byte = 0; byte < 256; ++byte) {
            const uint32_t address =
                htonl(0x0A64FF01u & ~(0xFFu << 8 * place)) | htonl(byte << 8 * place);
            char text[INET_ADDRSTRLEN];
            ASSERT_STREQ(ipv4Text(address).c_str(),
                         inet_ntop(AF_INET, &address, text, sizeof text));
        }
    }
    EXPECT_EQ(ipv4Text(0), "0.0.0.0");
    EXPECT_EQ(ipv4Text(0xFFFFFFFFu), "255.255.255.255");
}

TEST(Ipv4Text, MasksAreLengthsUnlessTheyHaveGaps) {
    const uint32_t address = htonl(0xC0A80000u);
    for (uint32_t length = 0; length <= 32; ++length) {
        const uint32_t mask = length == 0 ? 0 : htonl(~uint32_t{0} << (32 - length));
        EXPECT_EQ(ipv4Text(address, mask), "192.168.0.0/" + std::to_string(length));
    }
    EXPECT_EQ(ipv4Text(address, htonl(0xFF00FF00u)), "192.168.0.0/255.0.255.0");
    EXPECT_EQ(ipv4Text(0xFFFFFFFFu, htonl(0xFFFFFF7Fu)), "255.255.255.255/255.255.255.127");
    EXPECT_EQ(ipv4Text(0, htonl(1)), "0.0.0.0/0.0.0.1");
}

}  // namespace pcsim::host
