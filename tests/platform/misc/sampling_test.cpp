// Packet sampling: prints and counters.
#include "platform/misc/pcSimSampling.h"

#include <gtest/gtest.h>

#include "tests/support/host.h"
#include "tests/support/record_image.h"

namespace {

using namespace pcsim::test;

TEST(Sampling, CallsPrintALine) {
    const HalSamplePort port = {.port = 17, .slot = 3};
    int32_t result = -1;
    EXPECT_EQ(printed([&] { result = pcSimAllocSampleBin(); }), "Called pcSimAllocSampleBin \n ");
    EXPECT_EQ(result, 0);
    result = -1;
    EXPECT_EQ(printed([&] { result = pcSimSFLOWAddPortsForSample(99, &port); }),
              "Called pcSimSFLOWAddPortsForSample 3:17 \n ");
    EXPECT_EQ(result, 0);
    result = -1;
    EXPECT_EQ(printed([&] { result = pcSimSFLOWDelPortsForSample(0, &port); }),
              "Called pcSimSFLOWDelPortsForSample 3:17\n ");
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(host().calls.empty());
}

TEST(Sampling, PortsPrintUnsigned) {
    const HalSamplePort port = {.port = 0xFFFF, .slot = 0x8000};
    EXPECT_EQ(printed([&] { pcSimSFLOWAddPortsForSample(0, &port); }),
              "Called pcSimSFLOWAddPortsForSample 32768:65535 \n ");
    EXPECT_EQ(printed([&] { pcSimSFLOWDelPortsForSample(0, &port); }),
              "Called pcSimSFLOWDelPortsForSample 32768:65535\n ");
}

void u64(RecordImage* record, size_t offset, int64_t value) {
    record->u32(offset, static_cast<uint32_t>(value));
    record->u32(offset + 4, static_cast<uint32_t>(static_cast<uint64_t>(value) >> 32));
}

void readAndExpect(uint32_t port, int64_t frames, int64_t count, int64_t pool) {
    RecordImage record(108 + 16);
    record.zeros(0, 108);
    u64(&record, 0, 8 * frames);
    u64(&record, 8, frames);
    u64(&record, 16, count);
    u64(&record, 24, pool);
    u64(&record, 64, frames);
    u64(&record, 72, count);
    u64(&record, 80, pool);
    int32_t result = -1;
    EXPECT_EQ(printed([&] {
                  result = pcSimSFLOWGetCntSampleOnPort(port, record.as<HalSampleCounters>());
              }),
              "Called pcSimSFLOWGetCntSampleOnPort \n ");
    EXPECT_EQ(result, 0);
    record.check();
    EXPECT_EQ(sampleFrames, frames);
    EXPECT_EQ(sampleCount, count);
    EXPECT_EQ(samplePool, pool);
}

TEST(Sampling, ReadsOfAllPortsAdvanceTheSameCounters) {
    EXPECT_EQ(sampleFrames, 0);
    EXPECT_EQ(sampleCount, 0);
    EXPECT_EQ(samplePool, 0);
    readAndExpect(0x30011, 100, 50, 10);
    readAndExpect(0x10001, 200, 100, 20);
    readAndExpect(0xFFFFFFFF, 300, 150, 30);
}

TEST(Sampling, EightTimesTheFramesNeedsSixtyFourBits) {
    sampleFrames = 0x7FFFFF00;
    readAndExpect(0, 0x7FFFFF64, 50, 10);
}

TEST(Sampling, CountersWrapAndAreSignExtended) {
    sampleFrames = INT32_MAX;
    sampleCount = INT32_MAX - 49;
    samplePool = -11;
    readAndExpect(0, int64_t{INT32_MIN} + 99, INT32_MIN, -1);
}

}  // namespace
