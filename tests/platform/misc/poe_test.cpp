// Power over Ethernet: reply messages byte by byte, and settings that are ignored.
#include "platform/misc/pcSimPoe.h"

#include <gtest/gtest.h>

#include "pcsim/host.h"
#include "tests/support/host.h"
#include "tests/support/record_image.h"
#include "tests/support/stubs.h"

namespace {

using namespace pcsim::test;

// One reply of the expected bytes went to the PoE manager.
void expectReply(const RecordImage& expected, size_t length) {
    ASSERT_EQ(host().replies.size(), 1u);
    const Reply& reply = host().replies[0];
    EXPECT_EQ(reply.handle, poeHandle);
    EXPECT_EQ(reply.messageId, 0x9001u);
    EXPECT_EQ(reply.flag, 1);
    ASSERT_EQ(reply.message.size(), length);
    expected.checkAgainst(reply.message.data());
    EXPECT_EQ(host().calls.size(), 1u);
    host().replies.clear();
    host().calls.clear();
}

RecordImage message(size_t length, uint32_t type, uint32_t slot) {
    RecordImage image(length);
    image.zeros(0, length).u16(0, type).u32(4, slot);
    return image;
}

RecordImage portMessage(size_t length, uint32_t type, uint32_t slot, uint32_t port) {
    RecordImage image = message(length, type, slot);
    image.u16(8, port).u16(10, slot);
    return image;
}

TEST(Poe, SlotQueriesAnswerAtOnce) {
    for (const uint32_t slot : {0u, 3u, 0x12345678u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(slot);
        RecordImage version = message(48, 3, slot);
        version.u32(8, 1).u32(20, 4).u32(32, 4).u32(36, 300).u32(40, 200).u32(44, 380);
        EXPECT_EQ(pcSimCardPoeGetVersion(slot), 0);
        expectReply(version, 48);

        RecordImage information = message(20, 12, slot);
        information.u32(12, 1).u32(16, 300);
        EXPECT_EQ(pcSimCardPoeSNMPGetSlotInfo(slot), 0);
        expectReply(information, 20);
    }
}

TEST(Poe, PortQueriesTakeTheSlotFromBitsSixteenToTwentyThreeAlone) {
    struct Row {
        uint32_t portInstance, slot, port;
    };
    const Row rows[] = {{0x00030011, 3, 17},
                        {0, 0, 0},
                        {0xFF0A0100, 10, 256},
                        {0x01030011, 3, 17},
                        {0xFFFFFFFF, 255, 0xFFFF}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.portInstance);
        RecordImage snmp = portMessage(20, 13, row.slot, row.port);
        snmp.u32(16, 300);
        EXPECT_EQ(pcSimCardPoeSNMPGetPortInfo(row.portInstance), 0);
        expectReply(snmp, 20);

        RecordImage information = portMessage(44, 9, row.slot, row.port);
        information.u32(12, 1);
        EXPECT_EQ(pcSimCardPoePortInfo(row.portInstance), 0);
        expectReply(information, 44);

        for (const uint32_t value : {0u, 7u, 0xDEADBEEFu}) {
            RecordImage details = portMessage(48, 6, row.slot, row.port);
            details.u32(12, value).u8(16, 1).u8(17, 1).u8(45, 3);
            EXPECT_EQ(pcSimCardPoeGetPortDetails(row.portInstance, value), 0);
            expectReply(details, 48);
        }
    }
}

TEST(Poe, HandleIsReadAtEachCall) {
    poeHandle = 5;
    pcSimCardPoeGetVersion(1);
    poeHandle = 0xFFFFFFFF;
    pcSimCardPoeGetVersion(1);
    ASSERT_EQ(host().replies.size(), 2u);
    EXPECT_EQ(host().replies[0].handle, 5u);
    EXPECT_EQ(host().replies[1].handle, 0xFFFFFFFFu);
}

TEST(Poe, SettingsAreAcceptedAndIgnored) {
    expectStubs({PCSIM_POE_STUBS(PCSIM_STUB_ROW)}, 11);
}

}  // namespace
