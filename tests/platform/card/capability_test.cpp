// The capability record of each card type, byte by byte.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "platform/card/pcSimCardDB.h"
#include "platform/port/hostInterfaces.h"
#include "tests/support/host.h"
#include "tests/support/image.h"
#include "tests/support/libc.h"

namespace {

using namespace pcsim::test;

struct Row {
    const char* name;
    uint32_t cardType;
    uint32_t size;
    uint32_t ports;
    uint32_t word36, word40, word44, word48;
    uint32_t portKind;
};

const Row kRows[] = {
    {"PCSimC2", 404, 292, 2, 0, 1, 1, 4, 4},
    {"PCSimC128", 407, 2308, 128, 0, 1, 1, 4, 7},
    {"PCSimC256", 403, 4356, 256, 0, 1, 2, 4, 4},
    {"PCSimMGT", 405, 260, 0, 1, 8, 10, 1030, 0},
};

void resources(Image& image) {
    struct Word {
        uint32_t offset, value;
    };
    const Word words[] = {
        {80, 4096},   {84, 8},       {88, 6},     {92, 8},     {96, 30},     {100, 1},
        {104, 7},     {108, 115},    {112, 1524}, {116, 0},    {124, 32768}, {128, 32768},
        {132, 1},     {136, 0},      {148, 16},   {152, 512},  {156, 0},     {160, 0},
        {164, 32768}, {168, 32768},  {172, 64},   {176, 256},  {180, 3},     {184, 4096},
        {188, 4096},  {192, 4096},   {196, 4096}, {200, 4096}, {204, 4096},  {208, 29},
        {220, 4096},  {256, 288000},
    };
    const Word halves[] = {
        {56, 0},   {58, 0},     {60, 0},    {62, 0},     {224, 256}, {226, 64},
        {228, 64}, {230, 64},   {232, 64},  {234, 1025}, {236, 128}, {238, 32},
        {244, 3},  {246, 4096}, {248, 512}, {250, 512},  {252, 4},   {254, 2048},
    };
    for (const Word& word : words) image.u32(word.offset, word.value);
    for (const Word& half : halves) image.u16(half.offset, half.value);
    for (const uint32_t offset : {240, 241, 242}) image.u8(offset, 0);
}

Image known(const Row& row) {
    Image image(row.size, 0);
    image.u32(0, row.size).u32(4, row.cardType).text(8, row.name);
    image.u32(28, 0xFFFFFFFFu).u32(32, row.ports);
    image.u32(36, row.word36).u32(40, row.word40).u32(44, row.word44).u32(48, row.word48);
    image.u32(52, 8);
    resources(image);
    return image;
}

class Capability : public testing::Test {
protected:
    ~Capability() override {
        EXPECT_EQ(libc().blocksInUse, taken_);  // the record, and nothing else, is the HAL's
        for (HalCardCapability* record : records_) std::free(record);
    }
    HalCardCapability* get(const char* name, int32_t slot = 1) {
        records_.push_back(pcSimCardGetCapability(slot, name));
        ++taken_;
        return records_.back();
    }

private:
    std::vector<HalCardCapability*> records_;
    int32_t taken_ = 0;
};

TEST_F(Capability, ChassisCards) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        Image image = known(row);
        for (uint32_t i = 0; i < row.ports; ++i)
            image.u32(260 + 16 * i, row.portKind).u32(264 + 16 * i, 4).u8(272 + 16 * i, i);
        EXPECT_TRUE(bytesAre(get(row.name), image));
    }
}

TEST_F(Capability, StackablesHaveAPortPerInterfaceUpToTwelve) {
    for (const uint32_t interfaces : {0u, 1u, 4u, 5u, 11u, 12u, 13u, 100u}) {
        SCOPED_TRACE(interfaces);
        pcSimSystemNumPorts = interfaces;
        const uint32_t ports = interfaces < 12 ? interfaces : 12;
        Image image = known({"PCSimStack", 406, 260 + 16 * ports, ports, 1, 0, 0, 1038, 4});
        for (uint32_t i = 0; i < ports; ++i) {
            image.u32(260 + 16 * i, 4).u32(264 + 16 * i, 4);
            image.u32(268 + 16 * i, i == ports - 1 ? 9 : 8).u8(272 + 16 * i, i / 4);
        }
        EXPECT_TRUE(bytesAre(get("PCSimStack"), image));
    }
}

TEST_F(Capability, AStackableWithFiveInterfacesEndsInFlagNineAndIndexOne) {
    pcSimSystemNumPorts = 5;
    const HalCardCapability* record = get("PCSimStack");
    EXPECT_EQ(record->size, 340u);
    EXPECT_EQ(record->ports[3].index, 0);
    EXPECT_EQ(record->ports[4].index, 1);
    EXPECT_EQ(record->ports[3].flags, 8u);
    EXPECT_EQ(record->ports[4].flags, 9u);
}

TEST_F(Capability, UnknownNamesGetASmallRecord) {
    for (const char* name :
         {"", "PCSimC12", "PCSimC", "PCSimC1280", "pcsimc2", "PCSimC2 ", "PCSimMGTX", "x"}) {
        SCOPED_TRACE(name);
        EXPECT_TRUE(bytesAre(get(name), Image(260, 0).u32(0, 260).text(8, name).u32(52, 8)));
    }
}

TEST_F(Capability, NamesAreCutAtSixteenCharacters) {
    for (const char* name : {"ABCDEFGHIJKLMNO", "ABCDEFGHIJKLMNOP", "ABCDEFGHIJKLMNOPQ",
                             "ABCDEFGHIJKLMNOPQRSTUVWXYZ-and-much-longer-than-that"}) {
        SCOPED_TRACE(name);
        const size_t length = std::min<size_t>(std::strlen(name), 16);
        EXPECT_TRUE(bytesAre(get(name), Image(260, 0).u32(0, 260).raw(8, name, length).u32(52, 8)));
    }
}

TEST_F(Capability, TheSlotMakesNoDifference) {
    for (const int32_t slot : {-1, 0, 8, 9, 1000})
        EXPECT_EQ(std::memcmp(get("PCSimC2", slot), get("PCSimC2", 1), 292), 0);
}

TEST_F(Capability, NoMemoryIsTracedAndYieldsNull) {
    host().attachComponents();
    for (const char* name : {"PCSimC256", "PCSimStack", "nonesuch"}) {
        host().incidents.clear();
        libc().failNext();
        EXPECT_EQ(pcSimCardGetCapability(1, name), nullptr);
        ASSERT_EQ(host().incidents.size(), 1u);
        EXPECT_EQ(host().incidents[0].text, "Unable to malloc");
        EXPECT_EQ(host().incidents[0].file, "pcSimCardDB.c");
        EXPECT_EQ(host().incidents[0].function, "pcSimCardGetCapability");
        EXPECT_EQ(host().incidents[0].id, 0x540001u);
    }
    EXPECT_EQ(host().card.counters[1], 3u);
    host().card.set(1, 0xFF);  // errors need level 2
    libc().failNext();
    EXPECT_EQ(pcSimCardGetCapability(1, "x"), nullptr);
    EXPECT_EQ(host().card.counters[1], 3u);
    host().card.set(2, 0x02);
    libc().failNext();
    EXPECT_EQ(pcSimCardGetCapability(1, "x"), nullptr);
    EXPECT_EQ(host().card.counters[1], 4u);
}

}  // namespace
