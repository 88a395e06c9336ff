// What the tests of the forwarding database share: addresses, a reference hash, buckets of choice.
#ifndef PCSIM_TESTS_L2_FDB_SUPPORT_H
#define PCSIM_TESTS_L2_FDB_SUPPORT_H

#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/l2/pcSimFdb.h"

namespace pcsim::test {

using Mac = std::array<uint8_t, HAL_MAC_LENGTH>;

inline Mac macOf(uint64_t number) {
    Mac mac;
    for (size_t i = mac.size(); i-- > 0; number >>= 8) mac[i] = static_cast<uint8_t>(number);
    return mac;
}

// CRC-16/ARC a nibble at a time, the low nibble of each byte first: the definition of the hash.
inline uint32_t referenceHash(const uint8_t* mac) {
    static const uint16_t kNibbles[16] = {0x0000, 0xCC01, 0xD801, 0x1400, 0xF001, 0x3C00,
                                          0x2800, 0xE401, 0xA001, 0x6C00, 0x7800, 0xB401,
                                          0x5000, 0x9C01, 0x8801, 0x4400};
    uint32_t crc = 0;
    for (size_t i = 0; i < HAL_MAC_LENGTH; ++i) {
        crc = (crc >> 4) ^ kNibbles[(crc ^ mac[i]) & 15];
        crc = (crc >> 4) ^ kNibbles[(crc ^ (mac[i] >> 4)) & 15];
    }
    return crc;
}

inline uint32_t referenceBucket(const Mac& mac, uint16_t vlanId) {
    return referenceHash(mac.data()) ^ vlanId;
}

// 'count' addresses of one bucket, that of 'start', which is the first of them. Each has its own
// first four bytes; as the hash is linear, exactly one pair of last bytes then gives the bucket.
inline std::vector<Mac> macsOfOneBucket(size_t count, uint64_t start = 0x000496000000) {
    static const std::vector<uint16_t> kPairs = [] {
        std::vector<uint16_t> pairs(0x10000);
        for (uint32_t pair = 0; pair < pairs.size(); ++pair)
            pairs[referenceHash(macOf(pair).data())] = static_cast<uint16_t>(pair);
        return pairs;
    }();
    std::vector<Mac> macs;
    const uint32_t hash = referenceHash(macOf(start).data());
    for (uint64_t number = start >> 16; macs.size() < count; ++number) {
        const uint32_t withoutPair = referenceHash(macOf(number << 16).data());
        macs.push_back(macOf(number << 16 | kPairs[withoutPair ^ hash]));
    }
    return macs;
}

inline HalFdbKey keyOf(uint32_t vlanInstance, const Mac& mac) {
    HalFdbKey key{};
    key.vlanInstance = vlanInstance;
    std::memcpy(key.mac, mac.data(), mac.size());
    return key;
}

inline HalFdbRecord recordOf(uint32_t vlanInstance, const Mac& mac, uint32_t port = 0) {
    HalFdbRecord record{};
    record.vlanInstance = vlanInstance;
    std::memcpy(record.mac, mac.data(), mac.size());
    record.port = port;
    return record;
}

inline uint32_t indexOf(const HalFdbEntry* slot) {
    return static_cast<uint32_t>(slot - pcSimFdbTable);
}

// A sink that keeps what is printed and the contexts it is printed with.
struct DumpText {
    std::string text;
    std::vector<uint32_t> contexts;

    pcSimDumpSink sink(uint32_t context) {
        current() = this;
        return {context, print};
    }

private:
    static DumpText*& current() {
        static DumpText* dump;
        return dump;
    }
    __attribute__((format(printf, 2, 3))) static int print(uint32_t context, const char* format,
                                                           ...) {
        char line[512];
        va_list arguments;
        va_start(arguments, format);
        const int length = std::vsnprintf(line, sizeof line, format, arguments);
        va_end(arguments);
        current()->text += line;
        current()->contexts.push_back(context);
        return length;
    }
};

}  // namespace pcsim::test

#endif
