// The listings, addresses as text, and the call trace.
#include <cstdarg>

#include "tests/platform/mcast/fixture.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

std::string sinkText;

int collect(uint32_t context, const char* format, ...) __attribute__((format(printf, 2, 3)));
int collect(uint32_t context, const char* format, ...) {
    EXPECT_EQ(context, 0xC0FFEEu);
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    sinkText += text;
    return 0;
}

const pcSimDumpSink kSink{0xC0FFEE, collect};

const std::string kVlanIndent(37, ' ');
const std::string kPortIndent(41, ' ');

TEST_F(Mcast, OneCacheIsListedWithItsVlansAndPorts) {
    host().addVlanIf(0x80000000, 1);
    host().addPif(0xFFFFFFFF, 0xFFFF, 0xFFFF);
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10)
                                 .to(12, 2, 1)
                                 .to(11, 0xFFFF, 0xFFFF)
                                 .to(11, 1, 4)
                                 .to(0x80000000, 1, 1));
    CacheNode* cache = find(Request("225.0.0.1", "10.0.0.1", 10));
    const std::string expected = "Grp 225.0.0.1 Src 10.0.0.1 Iif 10 : \n" +  //
                                 kVlanIndent + "Vlan Inst 10 \n" +           //
                                 kVlanIndent + "Vlan Inst 11 \n" +           //
                                 kPortIndent + "Port 1:4 \n" +               //
                                 kPortIndent + "Port 65535:65535 \n" +       //
                                 kVlanIndent + "Vlan Inst 12 \n" +           //
                                 kPortIndent + "Port 2:1 \n" +               //
                                 kVlanIndent + "Vlan Inst -2147483648 \n" +  //
                                 kPortIndent + "Port 1:1 \n";
    EXPECT_EQ(printed([&] { EXPECT_EQ(dumpCacheNode(nullptr, cache), 0); }), expected);
    EXPECT_EQ(printed([&] { EXPECT_EQ(dumpCacheNode(&kSink, cache), 0); }), "");
    EXPECT_EQ(sinkText, expected);
}

TEST_F(Mcast, TheDatabaseListsVirtualRouterTwoInBucketAndKeyOrder) {
    for (uint32_t vr : {0u, 1u, 2u, 3u})
        pcSimHalIpv4McHwCacheAdd(Request(vr, ip("225.0.0.1") + (vr << 24), ip("10.0.0.1"), 10));
    pcSimHalIpv4McHwCacheAdd(Request("226.0.1.255", "10.0.0.2", 11, 2));
    pcSimHalIpv4McHwCacheAdd(Request("224.9.0.3", "10.0.0.1", 11, 2));
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.3", "10.0.0.1", 11, 2));
    pcSimHalIpv4McHwCacheAdd(Request("225.0.0.3", "10.0.0.1", 12, 2));
    const auto entry = [](const std::string& bucket, const std::string& head, int vlan) {
        return "Bucket " + bucket + " \nGrp " + head + " Iif " + std::to_string(vlan) + " : \n" +
               kVlanIndent + "Vlan Inst " + std::to_string(vlan) + " \n";
    };
    const std::string expected =
        entry("3", "224.9.0.3 Src 10.0.0.1", 11) + entry("3", "225.0.0.3 Src 10.0.0.1", 10) +
        entry("3", "225.0.0.3 Src 10.0.0.1", 11) + entry("3", "225.0.0.3 Src 10.0.0.1", 12) +
        entry("511", "226.0.1.255 Src 10.0.0.2", 11) + "\n";
    EXPECT_EQ(printed([] { EXPECT_EQ(dumpHalMcDb(nullptr), 0); }), expected);
    EXPECT_EQ(printed([] { EXPECT_EQ(dumpHalMcDb(&kSink), 0); }), "");
    EXPECT_EQ(sinkText, expected);
}

TEST(McastDump, OfFewerThanThreeRoutersIsEmpty) {
    host().addVlanIf(10, 10);
    EXPECT_EQ(printed([] { EXPECT_EQ(dumpHalMcDb(nullptr), 0); }), "\n") << "before set-up";
    for (uint32_t routers : {0u, 1u, 2u}) {
        host().maxVr = routers;
        pcSimHalIPv4McDbInit();
        pcSimHalIpv4McHwCacheAdd(Request("225.0.0.1", "10.0.0.1", 10, routers - 1));
        EXPECT_EQ(printed([] { EXPECT_EQ(dumpHalMcDb(nullptr), 0); }), "\n");
    }
}

TEST(McastText, FiveAddressesStayValidAtOnce) {
    const char* texts[6];
    for (int i = 0; i < 6; ++i) {
        texts[i] = hmc_ntoa(ip("10.0.0.0") + (static_cast<uint32_t>(i) << 24));
        EXPECT_EQ(texts[i], "10.0.0." + std::to_string(i));
    }
    EXPECT_EQ(texts[5], texts[0]) << "the sixth overwrites the first";
    for (int i = 1; i < 6; ++i) EXPECT_EQ(texts[i], "10.0.0." + std::to_string(i));
}

TEST(McastText, BytesAreUnsignedAndInMemoryOrder) {
    EXPECT_STREQ(hmc_ntoa(0xFFFFFFFF), "255.255.255.255");
    EXPECT_STREQ(hmc_ntoa(0), "0.0.0.0");
    EXPECT_STREQ(hmc_ntoa(0x04030201), "1.2.3.4");
    for (uint32_t byte = 0; byte < 256; ++byte) {
        const std::string number = std::to_string(byte);
        EXPECT_EQ(hmc_ntoa(byte * 0x01010101), number + "." + number + "." + number + "." + number);
    }
}

TEST_F(Mcast, FiveOperationsSayThatTheyAreCalled) {
    const Request request("225.0.0.1", "10.0.0.1", 10);
    struct Row {
        const char* name;
        std::function<void()> call;
    };
    const Row rows[] = {
        {"pcSimHalIpv4McHwCacheAdd", [&] { pcSimHalIpv4McHwCacheAdd(request); }},
        {"pcSimHalIpv4McHwCacheOifAdd", [&] { pcSimHalIpv4McHwCacheOifAdd(request); }},
        {"pcSimHalIpv4McHwCacheOifAdd", [&] { pcSimHalIpv4McHwCacheOifPortAdd(request); }},
        {"pcSimHalIpv4McHwCacheOifDel", [&] { pcSimHalIpv4McHwCacheOifDel(request); }},
        {"pcSimHalIpv4McHwCacheOifDel", [&] { pcSimHalIpv4McHwCacheOifPortDel(request); }},
        {"pcSimHalIpv4McHwCacheDel", [&] { pcSimHalIpv4McHwCacheDel(request); }},
        {"dumpHalMcDb", [] { dumpHalMcDb(&kSink); }},
    };
    for (const Row& row : rows) {
        mcLogMess = 0;
        EXPECT_EQ(printed(row.call), "") << row.name;
        mcLogMess = 2;
        std::string text = printed(row.call);
        const std::string start = "VNMC pcSimIPv4McDb.c ";
        ASSERT_EQ(text.substr(0, start.size()), start);
        text.erase(0, start.size());
        const size_t digits = text.find_first_not_of("0123456789");
        EXPECT_GT(digits, 0u) << "a line number";
        EXPECT_EQ(text.substr(digits), ": " + std::string(row.name) + " is called \n");
    }
}

TEST_F(Mcast, TheOtherOperationsAreSilent) {
    mcLogMess = 1;
    const Request request("225.0.0.1", "10.0.0.1", 10);
    HalMcastStats stats{};
    stats.key = *request.key();
    EXPECT_EQ(printed([&] {
                  pcSimHalIPv4McDbInit();
                  find(request);
                  pcSimHalIpv4McHwCacheGetStats(&stats);
                  pcSimHalIpv4McHwCacheFlush(request);
                  pcSimHalIpv4McHwVlanDel(10);
                  pcSimHalIpv4McHwPifDel(0x10001);
                  pcSimHalIpv4McHwVpifDel(10, 0x10001);
                  pcSimHalIpv4McHwFlushAll();
              }),
              "");
    EXPECT_TRUE(host().incidents.empty());
}

}  // namespace
