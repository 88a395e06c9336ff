// Entries and what they are made of: numbers, changes, paths, exact bytes of the format.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <random>

#include "console/error.h"
#include "probe/record/bytes.h"
#include "probe/record/decoder.h"
#include "probe/record/encoder.h"
#include "tests/probe/record/sample.h"
#include "tests/probe/record/scratch.h"

namespace pcsim::probe::test {
namespace {

TEST(RecordBytes, NumbersComeBack) {
    Bytes bytes;
    const uint64_t numbers[] = {0, 1, 127, 128, 16383, 16384, 0xFFFFFFFF, UINT64_MAX};
    const int64_t signedNumbers[] = {0, -1, 1, -64, 64, INT32_MIN, INT64_MIN, INT64_MAX};
    for (const uint64_t each : numbers) bytes.number(each);
    for (const int64_t each : signedNumbers) bytes.signedNumber(each);
    ByteReader in(bytes.all());
    for (const uint64_t each : numbers) EXPECT_EQ(in.number(), each);
    for (const int64_t each : signedNumbers) EXPECT_EQ(in.signedNumber(), each);
    EXPECT_FALSE(in.bad());
    EXPECT_EQ(in.left(), 0u);
}

TEST(RecordBytes, SmallNumbersOfEitherSignTakeOneByte) {
    Bytes bytes;
    for (const int64_t each : {0, -1, 1, -64, 63}) bytes.signedNumber(each);
    EXPECT_EQ(bytes.all().size(), 5u);
}

TEST(RecordBytes, WhatCanNotBeIsBad) {
    const uint8_t endless[] = {0x80, 0x80, 0x80};
    ByteReader cut(endless);
    EXPECT_EQ(cut.number(), 0u);
    EXPECT_TRUE(cut.bad());
    const uint8_t long_[] = {5, 'a', 'b'};
    ByteReader text(long_);
    EXPECT_EQ(text.text(), "");
    EXPECT_TRUE(text.bad());
    const uint8_t five[] = {5};
    ByteReader limited(five);
    EXPECT_EQ(limited.below(5), 0u);
    EXPECT_TRUE(limited.bad());
}

TEST(RecordFormat, AFileIsMadeOfTheBytesThatAreDocumented) {
    const Scratch file;
    RecordFile out;
    ASSERT_TRUE(out.open(file.path()));
    Encoder encoder(out);
    EXPECT_TRUE(encoder.fact("a", "bc"));
    encoder.beginCall(0, 2, 1, 0, std::vector<uint32_t>{7});
    const uint8_t memory[] = {0, 0, 5, 0, 0, 0, 0, 6};
    encoder.block(0, 0x10, memory, format::kBlockWritten);
    EXPECT_TRUE(encoder.finish());
    EXPECT_TRUE(out.close());
    const std::vector<uint8_t> fact = {1, 'a', 2, 'b', 'c'};
    // number +2, thread 1, depth 0, site 0, one argument +7, one block: path 0, address +0x10,
    // 8 bytes, written; 2 stay, 1 follows, 4 stay, 1 follows.
    const std::vector<uint8_t> call = {4, 1, 0, 0, 1, 14, 1, 0, 32, 8, 2, 2, 1, 5, 4, 1, 6};
    std::string expected = "pcsim recording\n\x01";
    for (const auto& [kind, contents] : {std::pair(format::kFact, fact), {format::kCall, call}}) {
        const uint16_t check = format::checkOf(kind, contents);
        expected += static_cast<char>(kind);
        expected += static_cast<char>(contents.size());
        expected += static_cast<char>(check);
        expected += static_cast<char>(check >> 8);
        expected.append(contents.begin(), contents.end());
    }
    EXPECT_EQ(file.contents(), expected);
}

TEST(RecordFormat, ChangesOfMemoryComeBackWhateverTheyAre) {
    const Scratch file;
    std::mt19937 random(1);
    RecordFile out;
    ASSERT_TRUE(out.open(file.path()));
    Encoder encoder(out);
    encoder.site(0, {Side::kPlatform, 0, "a", "", "", ""});
    // Blocks that overlap, and that lie across the pieces that the image is made of.
    std::vector<uint8_t> memory(200000, 0);
    std::vector<std::vector<uint8_t>> blocks;
    for (uint64_t number = 1; number <= 300; ++number) {
        const size_t size = random() % 300 + (number % 50 == 0 ? 70000 : 0);
        const size_t offset = random() % (memory.size() - size);
        for (size_t change = random() % 20; change != 0 && size != 0; --change)
            memory[offset + random() % size] = static_cast<uint8_t>(random());
        const std::span part(memory.data() + offset, size);
        blocks.emplace_back(part.begin(), part.end());
        encoder.beginCall(0, number, 1, 0, {});
        encoder.block(0, 0xFFFA0000 + static_cast<uint32_t>(offset), part, 0);
        ASSERT_TRUE(encoder.finish());
    }
    ASSERT_TRUE(encoder.end(300));
    ASSERT_TRUE(out.close());
    const Recording read = load(file.path());
    ASSERT_EQ(read.events.size(), blocks.size());
    for (size_t index = 0; index < blocks.size(); ++index) {
        const auto found = read.events[index].blocks[0].bytes;
        EXPECT_EQ(std::vector(found.begin(), found.end()), blocks[index]) << index;
    }
}

TEST(RecordFormat, WhatStaysTheSameTakesLittle) {
    const Scratch file;
    RecordFile out;
    ASSERT_TRUE(out.open(file.path()));
    Encoder encoder(out);
    std::vector<uint8_t> record(1196, 7);
    for (uint32_t number = 1; number <= 1000; ++number) {
        record[4] = static_cast<uint8_t>(number);
        encoder.beginCall(0, number, 1, 0, std::vector<uint32_t>{0x20001, 0xFFF00000});
        encoder.block(0, 0xFFF00000, record, 0);
        ASSERT_TRUE(encoder.finish());
    }
    ASSERT_TRUE(out.close());
    EXPECT_LT(file.contents().size(), 1196 + 1000 * 26u);
}

TEST(RecordFormat, EntriesOfOtherKindsAndWhatFollowsInAnEntryAreSkipped) {
    const Scratch file;
    RecordFile out;
    ASSERT_TRUE(out.open(file.path()));
    const uint8_t later[] = {1, 2, 3};
    out.append(static_cast<format::EntryKind>(200), later);
    const uint8_t fact[] = {1, 'a', 1, 'b', 99};
    out.append(format::kFact, fact);
    out.append(static_cast<format::EntryKind>(10), {});
    const uint8_t end[] = {0, 42};
    out.append(format::kEnd, end);
    ASSERT_TRUE(out.close());
    const Recording read = load(file.path());
    EXPECT_EQ(read.ending.kind, FileEnding::Kind::kClosed);
    EXPECT_EQ(read.fact("a"), "b");
}

// Memory of which nothing is known takes a few bytes, however much it is.
TEST(RecordFormat, MoreMemoryThanThereIsRoomForIsRefused) {
    constexpr uint32_t kSize = 1 << 18;
    const Scratch file;
    RecordFile out;
    ASSERT_TRUE(out.open(file.path()));
    Bytes contents;
    contents.text("variable");
    contents.number(5);
    for (int block = 0; block < 5; ++block)
        for (const uint32_t number : {0u, 0u, kSize, 0u, kSize}) contents.number(number);
    out.append(format::kState, contents.all());
    ASSERT_TRUE(out.close());
    const std::string bytes = file.contents();
    const std::span whole(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    EXPECT_EQ(parse(whole, "x.rec", 5 * kSize).events.size(), 1u);
    try {
        parse(whole, "x.rec", 4 * kSize);
        FAIL();
    } catch (const CommandError& error) {
        EXPECT_STREQ(error.what(),
                     "recording x.rec has more memory of the program in it than there is room for "
                     "here; expected at most 1 MiB");
    }
}

// Whoever shows a stranger's recording must not have it talk to his terminal.
TEST(RecordFormat, ANameIsOfPrintableCharacters) {
    for (const auto& [name, kind] : {std::pair("mc[0].x y", FileEnding::Kind::kCutShort),
                                     {"a\nb", FileEnding::Kind::kDamaged},
                                     {"\x1B[2J", FileEnding::Kind::kDamaged},
                                     {"\xC2\x9B", FileEnding::Kind::kDamaged}}) {
        const Scratch file;
        RecordFile out;
        ASSERT_TRUE(out.open(file.path()));
        Encoder encoder(out);
        encoder.beginState(name);
        ASSERT_TRUE(encoder.finish());
        ASSERT_TRUE(out.close());
        EXPECT_EQ(load(file.path()).ending.kind, kind) << name;
    }
}

TEST(RecordPaths, LeadToTypes) {
    const auto name = [](std::string_view owner, std::string_view path) {
        const Type* type = targetOf(owner, path).type;
        if (type == nullptr) return std::string("-");
        return std::string(type->record != nullptr ? type->record->name : type->name);
    };
    EXPECT_EQ(name("HalIpAdjAddFn", "record"), "pcSimIpAdjRec");
    EXPECT_EQ(name("HalIPv4AclAddFn", "request.rules"), "HalAclRule");
    EXPECT_EQ(name("HalCardVlanAddPortFn", "vpif.vlanIf"), "HalVlanIf");
    EXPECT_EQ(name("HalCardVlanAddPortFn", "vpif.pif"), "HalPif");
    EXPECT_EQ(name("getVlanIfByInstance", "record.*"), "HalVlanIf");
    EXPECT_EQ(name("getFirstPif", "result"), "HalPif");
    EXPECT_EQ(name("_ems_HAL_Sys_ComponentHandle", "_ems_HAL_Sys_ComponentHandle.level"),
              "HalEmsLevel");
    EXPECT_EQ(targetOf("HalVlanIfCreateFn", "handle").type->kind, Kind::kPointer);
    EXPECT_EQ(targetOf("HalModuleIoctlFn", "argument", "HalDeviceCli").type->record->name,
              "HalDeviceCli");
    EXPECT_EQ(targetOf("HalHmcNtoaFn", "result").meaning, Meaning::kText);
    EXPECT_EQ(name("HalIpAdjAddFn", "nothing"), "-");
    EXPECT_EQ(name("HalIpAdjAddFn", "record.nothing"), "-");
    EXPECT_EQ(name("nobody", "record"), "-");
}

}  // namespace
}  // namespace pcsim::probe::test
