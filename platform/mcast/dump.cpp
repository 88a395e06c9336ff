// The listing of the database, and addresses as text.
#include <cstring>

#include "platform/base/dump.h"
#include "platform/mcast/database.h"

#define BLANKS_37 "                                     "
#define BLANKS_41 BLANKS_37 "    "

namespace pcsim {

namespace {

// Results of hmc_ntoa: a format with several addresses needs them all at once.
constexpr uint32_t kTexts = 5;
char texts[kTexts][32];
uint32_t nextText;

// Writes a decimal number and returns the place behind it. A dump of a full database writes a
// hundred thousand addresses, which the C library's formatting would take most of the time of.
char* appendNumber(char* to, uint8_t number) noexcept {
    if (number >= 100) *to++ = static_cast<char>('0' + number / 100);
    if (number >= 10) *to++ = static_cast<char>('0' + number / 10 % 10);
    *to++ = static_cast<char>('0' + number % 10);
    return to;
}

int32_t shown(uint32_t number) noexcept {
    return static_cast<int32_t>(number);  // the HAL shows instances and ports as signed
}

void dumpBucket(const pcSimDumpSink* sink, uint32_t bucket) noexcept {
    HalTreeRoot* const root = bucketRoot(kDumpedRouter, bucket);
    if (root == nullptr) return;
    for (GroupNode* group = firstOf<GroupNode>(root); group != nullptr; group = nextOf(group)) {
        for (CacheNode* cache = firstOf<CacheNode>(&group->caches); cache != nullptr;
             cache = nextOf(cache)) {
            DUMP_PRINT(sink, "Bucket %d \n", shown(bucket));
            dumpCacheNode(sink, cache);
        }
    }
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

extern "C" {

// Lists virtual router 2 alone: the HAL's listing is about that one.
int32_t dumpHalMcDb(const pcSimDumpSink* sink) noexcept {
    MCAST_TRACE();
    for (uint32_t bucket = 0; bucket < kBucketsPerRouter; ++bucket) dumpBucket(sink, bucket);
    DUMP_PRINT(sink, "\n");
    return 0;
}

int32_t dumpCacheNode(const pcSimDumpSink* sink, CacheNode* cache) noexcept {
    MCAST_ASSERT_NAMED(cache != nullptr, "cacheNode");
    DUMP_PRINT(sink, "Grp %s Src %s Iif %d : \n", hmc_ntoa(cache->group), hmc_ntoa(cache->source),
               shown(cache->incomingVlan));
    for (CacheIf* cacheIf = firstOf<CacheIf>(&cache->vlans); cacheIf != nullptr;
         cacheIf = nextOf(cacheIf)) {
        DUMP_PRINT(sink, BLANKS_37 "Vlan Inst %d \n", shown(cacheIf->vlanInstance));
        for (CachePort* port = firstOf<CachePort>(&cacheIf->ports); port != nullptr;
             port = nextOf(port))
            DUMP_PRINT(sink, BLANKS_41 "Port %d:%d \n", shown(port->portKey >> 16),
                       shown(port->portKey & 0xFFFF));
    }
    return 0;
}

char* hmc_ntoa(uint32_t address) noexcept {
    uint8_t bytes[sizeof address];
    std::memcpy(bytes, &address, sizeof bytes);
    const uint32_t slot = nextText % kTexts;
    nextText = slot + 1;
    char* end = texts[slot];
    for (const uint8_t byte : bytes) {
        end = appendNumber(end, byte);
        *end++ = '.';
    }
    end[-1] = 0;
    return texts[slot];
}
}
