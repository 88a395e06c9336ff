// The tables under test, all with the same four operations and a way to list them.
//
//   learn(key, handle)   enters an address; the handle of the one that had to go, else 0
//   find(key)            its handle, 0 when it is not there
//   remove(key)          finds and deletes it; whether it was there
//   dump(sink)           lists all entries
//
// The platform's table is driven through the family table; what a HAL keeps beside it is left out,
// as it is for the peers. All hold the same 28 bytes per entry.
#ifndef PCSIM_BENCH_FDB_TABLES_H
#define PCSIM_BENCH_FDB_TABLES_H

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdlib>
#include <cstring>
#include <unordered_map>

#include "bench/fdb/keys.h"
#include "pcsim/family.h"

namespace pcsim::bench {

extern HalFamilyOps family;            // as the platform fills it
extern HalVlanIf vlanIfs[kVlans + 1];  // by instance

// Has the platform fill the family table, and numbers the VLANs.
void setUpHost();

// Set when the HAL's own way from a handle to its slot is to be part of learn and delete.
extern bool byHandle;

// Set when the host provides the table itself, with which the platform runs its plain code.
extern bool plainCode;

inline HalFdbRecord recordOf(const Key& key) {
    HalFdbRecord record;
    record.vlanInstance = key.vlan;
    std::memcpy(record.mac, key.mac(), sizeof record.mac);
    record.valueA = 1;
    record.valueB = 2;
    record.port = 3;
    return record;
}

class PlatformTable {
public:
    static constexpr const char* kName = "platform";
    explicit PlatformTable(size_t count);
    ~PlatformTable();
    PlatformTable(const PlatformTable&) = delete;
    PlatformTable& operator=(const PlatformTable&) = delete;

    uint32_t learn(const Key& key, uint32_t handle) {
        const HalFdbRecord record = recordOf(key);
        uint32_t retired;
        HalFdbEntry* slot;
        family.fdbAllocEntry(&retired, &slot, reinterpret_cast<const HalFdbKey*>(&key));
        family.fdbAddEntry(nullptr, handle, slot, &record);
        if (byHandle) slots_[handle] = slot;
        return retired;
    }
    uint32_t find(const Key& key) const {
        uint32_t handle = 0;
        family.fdbMacLookup(&handle, key.mac(), &vlanIfs[key.vlan]);
        return handle;
    }
    // Allocating a slot for an address that is there finds it. A HAL that knows the slots of its
    // handles may look up instead.
    bool remove(const Key& key) {
        if (byHandle) {
            const uint32_t handle = find(key);
            return handle != 0 && family.fdbDeleteEntry(slots_[handle]) == 0;
        }
        uint32_t handle;
        HalFdbEntry* slot;
        family.fdbAllocEntry(&handle, &slot, reinterpret_cast<const HalFdbKey*>(&key));
        return handle != 0 && family.fdbDeleteEntry(slot) == 0;
    }
    void dump(const pcSimDumpSink& sink) const { family.fdbDump(&sink); }

private:
    std::vector<HalFdbEntry*> slots_;  // by handle
};

struct Value {
    uint32_t handle;
    uint32_t valueA;
    uint32_t valueB;
    uint32_t port;
};

inline void printEntry(const pcSimDumpSink& sink, uint32_t bucket, uint32_t entry,
                       const uint8_t* mac, uint32_t vlan, uint32_t port) {
    sink.print(sink.context, "%04d %04d    %02x:%02x:%02x:%02x:%02x:%02x    %08x     %08x\n",
               static_cast<int>(bucket), static_cast<int>(entry), mac[0], mac[1], mac[2], mac[3],
               mac[4], mac[5], vlan, port);
}

// A map, with all the room it needs made beforehand.
template <typename Map>
class MapTable {
public:
    explicit MapTable(size_t count) { map_.reserve(count); }

    uint32_t learn(const Key& key, uint32_t handle) {
        map_.insert_or_assign(key, Value{handle, 1, 2, 3});
        return 0;
    }
    uint32_t find(const Key& key) const {
        const auto found = map_.find(key);
        return found != map_.end() ? found->second.handle : 0;
    }
    bool remove(const Key& key) { return map_.erase(key) != 0; }
    void dump(const pcSimDumpSink& sink) const {
        for (const auto& [key, value] : map_)
            printEntry(sink, 0, 0, key.mac(), key.vlan, value.port);
    }

private:
    Map map_;
};

struct FlatMapTable : MapTable<boost::unordered_flat_map<Key, Value, KeyHash>> {
    static constexpr const char* kName = "flat_map";
    using MapTable::MapTable;
};

struct StdMapTable : MapTable<std::unordered_map<Key, Value, KeyHash>> {
    static constexpr const char* kName = "std map";
    using MapTable::MapTable;
};

// The platform's table in its plainest form: a CRC byte by byte and a loop over the bucket.
class PlainTable {
public:
    static constexpr const char* kName = "plain loop";
    explicit PlainTable(size_t) {
        table_ = static_cast<HalFdbEntry*>(std::calloc(HAL_FDB_ENTRIES, sizeof(HalFdbEntry)));
        if (table_ == nullptr) std::abort();
    }
    ~PlainTable() { std::free(table_); }
    PlainTable(const PlainTable&) = delete;
    PlainTable& operator=(const PlainTable&) = delete;

    uint32_t learn(const Key& key, uint32_t handle) {
        HalFdbEntry* const bucket = bucketOf(key.mac(), key.vlan);
        HalFdbEntry* slot = nullptr;
        uint32_t retired = 0;
        for (HalFdbEntry* entry = bucket; entry < bucket + HAL_FDB_BUCKET_ENTRIES; ++entry) {
            if (entry->inUse == 0) {
                if (slot == nullptr) slot = entry;
            } else if (holds(*entry, key.mac(), key.vlan)) {
                slot = entry;
                retired = entry->handle;
                break;
            }
        }
        if (slot == nullptr) {
            slot = bucket + std::rand() % HAL_FDB_BUCKET_ENTRIES;
            retired = slot->handle;
        }
        *slot = {handle, key.vlan, 1, 2, 3, {}, 1, 0};
        std::memcpy(slot->mac, key.mac(), sizeof slot->mac);
        return retired;
    }
    uint32_t find(const Key& key) const {
        const HalFdbEntry* entry = entryOf(key);
        return entry != nullptr ? entry->handle : 0;
    }
    bool remove(const Key& key) {
        HalFdbEntry* entry = entryOf(key);
        if (entry != nullptr) *entry = {};
        return entry != nullptr;
    }
    void dump(const pcSimDumpSink& sink) const {
        for (uint32_t i = 0; i < HAL_FDB_ENTRIES; ++i) {
            const HalFdbEntry& entry = table_[i];
            if (entry.inUse == 0) continue;
            printEntry(sink, i / 8, i % 8, entry.mac, entry.vlanInstance, entry.port);
        }
    }

private:
    static bool holds(const HalFdbEntry& entry, const uint8_t* mac, uint32_t vlan) {
        return entry.inUse != 0 && entry.vlanInstance == vlan &&
               std::memcmp(entry.mac, mac, sizeof entry.mac) == 0;
    }
    HalFdbEntry* bucketOf(const uint8_t* mac, uint32_t vlan) const;
    HalFdbEntry* entryOf(const Key& key) const {
        HalFdbEntry* const bucket = bucketOf(key.mac(), key.vlan);
        for (HalFdbEntry* entry = bucket; entry < bucket + HAL_FDB_BUCKET_ENTRIES; ++entry)
            if (holds(*entry, key.mac(), key.vlan)) return entry;
        return nullptr;
    }
    HalFdbEntry* table_;
};

}  // namespace pcsim::bench

#endif
