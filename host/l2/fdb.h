// The MAC table as a HAL keeps it: an entry of its own for every address, known to the platform by
// a handle, beside the place (slot) that the platform's table gave it.
//
// An entry lives from add to delete, ageing, flush, the loss of its port, member or VLAN, or until
// the platform gives its slot to another address: the platform names the handle that was there, and
// the entry is retired. Dynamic entries form a list in the order in which they were last seen, so
// ageing looks only at those that are due, however many there are.
#ifndef PCSIM_HOST_L2_FDB_H
#define PCSIM_HOST_L2_FDB_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "console/mac_address.h"
#include "host/core/context.h"

namespace pcsim::host {

struct MacEntry {
    HalFdbEntry* slot = nullptr;  // in the platform's table; null: the entry is free
    uint32_t vlanInstance = 0;
    uint32_t port = 0;  // port instance
    uint32_t older = 0,
             newer = 0;  // neighbours by age, handles; of a free entry: the next free one
    uint16_t vlanId = 0;
    MacAddress mac{};
    bool isStatic = false;
    uint64_t seenMs = 0;
};

class Fdb {
public:
    static constexpr uint32_t kDefaultAgeS = 300;

    explicit Fdb(Context& context) : context_(context) {}

    void init();
    void shutDown();

    enum class Outcome { kNew, kRefreshed, kMoved, kStaticKept };
    struct Added {
        Outcome outcome = Outcome::kNew;
        uint32_t handle = 0;
        bool evicted = false;
        MacEntry victim;  // when evicted
    };
    // Learns or configures an address. What is learned never overrides a static entry.
    Added add(const MacAddress& mac, const VlanIf& vlan, uint32_t port, bool isStatic);

    // The handle of an address as the platform answers it, or 0.
    uint32_t find(const MacAddress& mac, const VlanIf& vlan);
    const MacEntry& entry(uint32_t handle) const { return entries_[handle - 1]; }
    // The place of an entry in the platform's table.
    size_t slotIndex(const MacEntry& entry) const {
        return static_cast<size_t>(entry.slot - table_);
    }
    void remove(uint32_t handle);

    // Removes the entries that 'goes' is true for.
    using Predicate = std::function<bool(const MacEntry&)>;
    struct Removed {
        size_t count = 0, statics = 0;
    };
    Removed removeIf(const Predicate& goes);
    // "2 MAC addresses gone, 1 of them static".
    static std::string goneText(const Removed& removed);
    // Removes the entries of a port, of a VLAN, or of a port in a VLAN; 0 stands for any.
    Removed removeOf(uint32_t vlanInstance, uint32_t port);

    // Asks the platform for a flush of dynamic entries; they go when it reports the completion.
    void flush(uint16_t vlanId, uint32_t port);
    // What completes flushes. The platform keeps the first callback that it gets and refuses all
    // others, so whoever needs one takes this: completions that nobody waits for are noted.
    static int32_t completed(uint32_t argument1, uint32_t argument2, uint32_t, uint32_t);

    // Somebody else has made the platform's table anew, or freed it (null): what was in it is gone.
    // One that was freed is made again at once, as the table must not be missing in between.
    void tableReplaced(HalFdbEntry* table);

    // Seconds until a dynamic entry goes, 0: never.
    uint32_t ageS() const { return ageS_; }
    void setAge(uint32_t seconds);

    size_t size() const { return used_; }
    void forEach(const std::function<void(uint32_t handle, const MacEntry&)>& visit) const;

    // The platform's own listing, in pieces of whole lines.
    void dump(const std::function<void(const std::string&)>& print);

    struct Counts {
        uint64_t learned = 0, refreshed = 0, moved = 0, evicted = 0, evictedStatic = 0, aged = 0,
                 flushed = 0, removed = 0;
    };
    const Counts& counts() const { return counts_; }

private:
    void flushed(uint16_t vlanId, uint32_t port);

    MacEntry* owner(uint32_t handle);
    MacEntry& at(uint32_t handle) { return entries_[handle - 1]; }
    uint32_t newHandle();
    void release(uint32_t handle);  // the host's entry alone
    void fill(uint32_t handle, const MacAddress& mac, const VlanIf& vlan, uint32_t port,
              bool isStatic);
    void linkNewest(uint32_t handle);
    void unlink(uint32_t handle);
    Added update(uint32_t handle, uint32_t port, bool isStatic);
    void writeSlot(uint32_t handle);
    void armAgeing();
    void ageOut();

    Context& context_;
    HalFdbEntry* table_ = nullptr;
    std::vector<MacEntry> entries_;  // handle n is entry n - 1
    uint32_t freeList_ = 0;          // handles
    uint32_t oldest_ = 0, newest_ = 0;
    size_t used_ = 0;
    uint32_t ageS_ = kDefaultAgeS;
    Scheduler::Id ageing_ = 0;
    Counts counts_;
    std::vector<std::pair<uint32_t, uint32_t>> flushes_;  // asked for: VLAN and port
};

}  // namespace pcsim::host

#endif
