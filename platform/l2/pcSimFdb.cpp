// The operations of the forwarding database.
#include "platform/l2/pcSimFdb.h"

#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/base/dump.h"
#include "platform/base/trace.h"
#include "platform/l2/fdbHash.h"
#include "platform/l2/fdbScan.h"

namespace pcsim {
namespace {

constexpr uint32_t kFlushDelay = 100;

// The block to free. pcSimFdbTable can't tell: it keeps its value over the clean-up, and a second
// clean-up must not free the same block again.
HalFdbEntry* ownedTable;

// The completion callback of flushes: the first one that the HAL has given.
HalCompletionFn* flushCallback;

// Set by the init to the fastest one; a table that a host provides itself needs no init.
FdbScanFn* scanBucket = scanBucketPlain;

// Asks for large pages under the table. Every address is looked for in a page of its own, so with
// small ones the walk to the page costs about as much as the bucket. Only advice: without large
// pages everything works the same.
void adviseLargePages(HalFdbEntry* table) noexcept {
    constexpr uintptr_t kPageSize = 4096;
    const uintptr_t start = (reinterpret_cast<uintptr_t>(table) + kPageSize - 1) & -kPageSize;
    const uintptr_t end = reinterpret_cast<uintptr_t>(table + HAL_FDB_ENTRIES) & -kPageSize;
    madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
}

// The bucket of an address and what a scan of it says.
struct Search {
    HalFdbEntry* bucket;
    FdbScan scan;

    // The entry that holds the address, or null. One in use without a handle can't have come from
    // an add: the HAL would take its handle for "none", so the process stops here.
    HalFdbEntry* holding() const noexcept {
        if (scan.holds()) return bucket + scan.firstHolding();
        if (scan.meetsBroken()) __builtin_trap();
        return nullptr;
    }
};

// Searches the table for an address. The VLAN's record is the host's and as far away as the bucket,
// so it is read before the hash is made.
[[gnu::always_inline]] inline Search search(HalFdbEntry* table, const HalVlanIf* vlanIf,
                                            const uint8_t* mac) noexcept {
    const uint32_t vlanId = vlanIf->vlanId;
    const uint32_t hash = (hashOfAddress(mac) ^ vlanId) & (HAL_FDB_BUCKETS - 1);
    HalFdbEntry* bucket = table + hash * HAL_FDB_BUCKET_ENTRIES;
    return {bucket, FdbScan(scanBucket(bucket, &vlanIf->instance, mac))};
}

// Prints the entries in use and returns their number.
int32_t dumpEntries(const pcSimDumpSink* sink, const HalFdbEntry* table) noexcept {
    int32_t inUseCount = 0;
    for (uint32_t i = 0; i < HAL_FDB_ENTRIES; ++i) {
        const HalFdbEntry& entry = table[i];
        if (entry.inUse == 0) continue;
        const uint8_t* mac = entry.mac;
        DUMP_PRINT(sink, "%04d %04d    %02x:%02x:%02x:%02x:%02x:%02x    %08x     %08x\n",
                   static_cast<int>(i / HAL_FDB_BUCKET_ENTRIES),
                   static_cast<int>(i % HAL_FDB_BUCKET_ENTRIES), mac[0], mac[1], mac[2], mac[3],
                   mac[4], mac[5], entry.vlanInstance, entry.port);
        ++inUseCount;
    }
    return inUseCount;
}

}  // namespace
}  // namespace pcsim

using namespace pcsim;

extern "C" {

HalFdbEntry* pcSimFdbTable;

int32_t pcSimPCFamFdbInit(HalFdbEntry** table) noexcept {
    TRACE_FDB("Initialize FDB HAL (SW) for cardFamily pcSim");
    scanBucket = fastestScan();
    ownedTable = static_cast<HalFdbEntry*>(std::calloc(HAL_FDB_ENTRIES, sizeof(HalFdbEntry)));
    pcSimFdbTable = ownedTable;
    if (ownedTable == nullptr) return HAL_FDB_OUT_OF_MEMORY;
    adviseLargePages(ownedTable);
    *table = ownedTable;
    return 0;
}

int32_t pcSimPCFamFdbCleanup() noexcept {
    TRACE_FDB("Clean up FDB HAL for cardFamily pcSim");
    std::free(ownedTable);
    ownedTable = nullptr;
    return 0;
}

int32_t pcSimPCFamFdbMacLookup(uint32_t* handle, const uint8_t* mac,
                               const HalVlanIf* vlanIf) noexcept {
    HalFdbEntry* const table = pcSimFdbTable;
    if (table == nullptr) return HAL_FDB_NOT_INITIALISED;
    const HalFdbEntry* const entry = search(table, vlanIf, mac).holding();
    if (entry == nullptr) return -1;
    *handle = entry->handle;
    return 0;
}

int32_t pcSimPCFamFdbAllocEntry(uint32_t* handle, HalFdbEntry** slot,
                                const HalFdbKey* key) noexcept {
    HalVlanIf* vlanIf = nullptr;
    getVlanIfByInstance(key->vlanInstance, &vlanIf);
    if (vlanIf == nullptr) return HAL_FDB_UNKNOWN_VLAN;
    HalFdbEntry* const table = pcSimFdbTable;
    if (table == nullptr) return HAL_FDB_NOT_INITIALISED;

    const Search found = search(table, vlanIf, key->mac);
    HalFdbEntry* entry = found.holding();
    if (entry != nullptr) {
        *handle = entry->handle;
    } else if (found.scan.hasFree()) {
        entry = found.bucket + found.scan.firstFree();
        *handle = 0;
    } else {
        entry = found.bucket + static_cast<uint32_t>(std::rand()) % HAL_FDB_BUCKET_ENTRIES;
        *handle = entry->handle;
    }
    *slot = entry;
    return 0;
}

int32_t pcSimPCFamFdbDeleteEntry(HalFdbEntry* slot) noexcept {
    if (slot == nullptr) return -1;
    // Field by field: seven stores, where a block fill is a loop or a call.
    slot->handle = 0;
    slot->vlanInstance = 0;
    slot->valueA = 0;
    slot->valueB = 0;
    slot->port = 0;
    std::memset(slot->mac, 0, sizeof slot->mac);
    slot->inUse = 0;
    slot->reserved27 = 0;
    return 0;
}

int32_t pcSimPCFamFdbAddEntry(void*, uint32_t handle, HalFdbEntry* slot,
                              const HalFdbRecord* record) noexcept {
    if (slot == nullptr || record == nullptr || handle == 0) return -1;
    slot->inUse = 1;
    slot->vlanInstance = record->vlanInstance;
    slot->valueA = record->valueA;
    slot->valueB = record->valueB;
    std::memcpy(slot->mac, record->mac, sizeof slot->mac);
    slot->port = record->port;
    slot->handle = handle;
    return 0;
}

int32_t pcSimPCFamFdbReadEntry(HalFdbEntry* const* slot, HalFdbRecord* record) noexcept {
    if (slot == nullptr || *slot == nullptr || record == nullptr) return -1;
    const HalFdbEntry& entry = **slot;
    record->vlanInstance = entry.vlanInstance;
    record->valueA = entry.valueA;
    record->valueB = entry.valueB;
    std::memcpy(record->mac, entry.mac, sizeof record->mac);
    // The port stays as the HAL has it.
    return 0;
}

// Nothing is removed: the HAL deletes the entries that it flushes one by one and only waits for the
// completion.
int32_t pcSimPCFamFdbFlush(uint32_t, uint32_t, HalCompletionFn* callback, uint32_t argument1,
                           uint32_t argument2) noexcept {
    if (callback == nullptr) return 0;
    if (flushCallback == nullptr) flushCallback = callback;
    if (flushCallback != callback)
        std::printf("%s - Not support different callback for fdb flush\n", "pcSimPCFamFdbFlush");
    halScheduleTask(pcSimFlushCallback, argument1, argument2, kFlushDelay, "pcSimFlushCallback");
    return 1;
}

int32_t pcSimFlushCallback(uint32_t argument1, uint32_t argument2) noexcept {
    return flushCallback != nullptr ? flushCallback(argument1, argument2, 0, 0) : 0;
}

int32_t pcSimPCFamFdbDump(const pcSimDumpSink* sink) noexcept {
    DUMP_LINE(sink, "Card Family pcSim SW FDB table:");
    const HalFdbEntry* const table = pcSimFdbTable;
    if (table == nullptr) {
        DUMP_LINE(sink, "Not initialized yet");
        return 0;
    }
    DUMP_LINE(sink, "Buc. Ent.    MAC                  VlanInst      Port");
    DUMP_LINE(sink, "====================================================");
    DUMP_PRINT(sink, "In-use count: %d\n", dumpEntries(sink, table));
    return 0;
}

int32_t pcSimCardFdbInit(int32_t slot) noexcept {
    TRACE_FDB("Init Fdb Hw for %s", getSlotName(slot));
    return 0;
}

int32_t pcSimCardFdbCleanup(int32_t slot) noexcept {
    TRACE_FDB("Cleanup Fdb Hw for %s", getSlotName(slot));
    return 0;
}

int32_t pcSimCardFdbSyncHw(int32_t slot) noexcept {
    TRACE_FDB("Sync Fdb Hw for %s", getSlotName(slot));
    return 0;
}

PCSIM_FDB_STUBS(PCSIM_DEFINE_STUB)
}
