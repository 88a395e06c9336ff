// The interface's layout, as the tests' compiler sees it: the checks are made while this compiles.
// Beside the rows of layout.h: the library's globals, and parts of records whose place the HAL
// knows from the record around them.
#define PCSIM_LAYOUT_ANY_WORD_SIZE
#include "pcsim/layout.h"

#define CHECK_SIZE(global, size) static_assert(sizeof(global) == (size), #global)
#define CHECK_OFFSET(type, field, offset) static_assert(offsetof(type, field) == (offset), #field)

CHECK_SIZE(pcSimCardPresentMask, 4);
CHECK_SIZE(pcSimFanPresentMask, 4);
CHECK_SIZE(pcSimPowerSupplyPresentMask, 4);
CHECK_SIZE(simulateRemoteIO, 4);
CHECK_SIZE(portInfo, 2827);
CHECK_SIZE(currstats, 11 * 257 * 1196);
CHECK_SIZE(prevstats, 11 * 257 * 1196);
CHECK_SIZE(skfd, 4);
CHECK_SIZE(pcSimDeviceState, 24);
CHECK_SIZE(sampleFrames, 4);
CHECK_SIZE(sampleCount, 4);
CHECK_SIZE(samplePool, 4);

#ifndef __LP64__
CHECK_OFFSET(HalCardDb, ops.cardGetCapability, 8);
CHECK_OFFSET(HalCardDb, ops.familyDBSetup, 12);
CHECK_OFFSET(HalCardDb, ops.isCardHwPresent, 20);
CHECK_OFFSET(HalCardDb, ops.cardPowerEnable, 24);
CHECK_OFFSET(HalCardDb, ops.cardOffline, 28);
CHECK_OFFSET(HalCardDb, ops.cardLinkIntrMask, 32);
CHECK_OFFSET(HalCardDb, ops.cardLinkIntrEnable, 36);
#endif

CHECK_OFFSET(HalFanHwInfo, head.part.description, 4);
CHECK_OFFSET(HalFanHwInfo, head.part.serialNumber, 36);
CHECK_OFFSET(HalFanHwInfo, head.part.partNumber, 52);
CHECK_OFFSET(HalFanHwInfo, head.part.byte64, 68);
CHECK_OFFSET(HalFanHwInfo, head.part.byte65, 69);
CHECK_OFFSET(HalFanHwInfo, head.part.timeStamp, 76);
CHECK_OFFSET(HalFanHwInfo, head.part.word76, 80);
CHECK_OFFSET(HalFanHwInfo, rating.half2, 222);
CHECK_OFFSET(HalFanHwInfo, rating.half4, 224);
CHECK_OFFSET(HalFanHwInfo, rating.half6, 226);
CHECK_OFFSET(HalFanHwInfo, rating.word8, 228);
CHECK_OFFSET(HalFanHwInfo, rating.word12, 232);
CHECK_OFFSET(HalFanHwInfo, rating.word16, 236);
CHECK_OFFSET(HalPowerSupplyHwInfo, lines[1], 248);
CHECK_OFFSET(HalPowerSupplyHwInfo, lines[2], 268);

CHECK_OFFSET(HalDeviceInfo, part.serialNumber, 76);
CHECK_OFFSET(HalDeviceInfo, part.partNumber, 92);
CHECK_OFFSET(HalDeviceInfo, part.byte64, 108);
CHECK_OFFSET(HalDeviceInfo, part.byte65, 109);
CHECK_OFFSET(HalDeviceInfo, part.word68, 112);
CHECK_OFFSET(HalDeviceInfo, part.timeStamp, 116);
CHECK_OFFSET(HalDeviceInfo, part.word76, 120);
