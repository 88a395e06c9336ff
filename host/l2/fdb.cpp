// The MAC table.
#include "host/l2/fdb.h"

#include <algorithm>

#include "console/text.h"
#include "host/core/dump_text.h"

namespace pcsim::host {

namespace {

constexpr uint64_t kSweepMs = 1000;  // ageing looks at most this often

// The host's value A in the platform's entries.
constexpr uint32_t kValueStatic = 1;

// The first argument of the platform's add, which it does not look at.
constexpr void* kIgnored = nullptr;

// The platform completes a flush by a function and two numbers, so the table that asked for one is
// known here. It lives as long as the platform is called.
Fdb* flushing = nullptr;

}  // namespace

void Fdb::init() {
    const int32_t result =
        context_.platform.call(context_.platform.family, &HalFamilyOps::fdbInit, &table_);
    flushing = this;
    if (result != 0) fail("the platform can't make its MAC table: it answered {}", result);
}

void Fdb::shutDown() {
    if (table_ == nullptr) return;
    context_.platform.call(context_.platform.family, &HalFamilyOps::fdbCleanup);
    table_ = nullptr;
}

Fdb::Added Fdb::add(const MacAddress& mac, const VlanIf& vlan, uint32_t port, bool isStatic) {
    HalFdbKey key{vlan.record.instance, {}};
    std::copy(mac.begin(), mac.end(), key.mac);
    uint32_t handle = 0;
    HalFdbEntry* slot = nullptr;
    Platform& platform = context_.platform;
    const int32_t result =
        platform.call(platform.family, &HalFamilyOps::fdbAllocEntry, &handle, &slot, &key);
    if (result != 0 || slot == nullptr)
        fail("the platform has no place for {} in VLAN {}: it answered {}", macText(mac.data()),
             vlan.record.vlanId, result);
    Added added;
    if (MacEntry* known = owner(handle); known != nullptr && known->slot == slot) {
        if (known->vlanInstance == vlan.record.instance && known->mac == mac)
            return update(handle, port, isStatic);
        // The slot was another address's: that one is gone from the platform's table.
        added.evicted = true;
        added.victim = *known;
        ++(known->isStatic ? counts_.evictedStatic : counts_.evicted);
        release(handle);
    }
    added.handle = newHandle();
    at(added.handle).slot = slot;
    fill(added.handle, mac, vlan, port, isStatic);
    try {
        writeSlot(added.handle);
    } catch (const CommandError&) {
        platform.call(platform.family, &HalFamilyOps::fdbDeleteEntry, slot);
        release(added.handle);
        throw;
    }
    ++counts_.learned;
    return added;
}

void Fdb::fill(uint32_t handle, const MacAddress& mac, const VlanIf& vlan, uint32_t port,
               bool isStatic) {
    MacEntry& entry = at(handle);
    entry.vlanInstance = vlan.record.instance;
    entry.vlanId = vlan.record.vlanId;
    entry.mac = mac;
    entry.port = port;
    entry.isStatic = isStatic;
    entry.seenMs = context_.scheduler.nowMs();
    if (!isStatic) linkNewest(handle);
}

Fdb::Added Fdb::update(uint32_t handle, uint32_t port, bool isStatic) {
    MacEntry& entry = at(handle);
    Added result;
    result.handle = handle;
    if (entry.isStatic && !isStatic) {
        result.outcome = Outcome::kStaticKept;
        return result;
    }
    const bool moved = entry.port != port, fixed = entry.isStatic != isStatic;
    result.outcome = moved ? Outcome::kMoved : Outcome::kRefreshed;
    ++(moved ? counts_.moved : counts_.refreshed);
    unlink(handle);
    entry.port = port;
    entry.isStatic = isStatic;
    entry.seenMs = context_.scheduler.nowMs();
    if (!isStatic) linkNewest(handle);
    if (moved || fixed) writeSlot(handle);
    return result;
}

// Writes the host's entry to its slot in the platform's table.
void Fdb::writeSlot(uint32_t handle) {
    const MacEntry& entry = at(handle);
    HalFdbRecord record{};
    record.vlanInstance = entry.vlanInstance;
    std::copy(entry.mac.begin(), entry.mac.end(), record.mac);
    record.valueA = entry.isStatic ? kValueStatic : 0;
    record.port = entry.port;
    Platform& platform = context_.platform;
    const int32_t result = platform.call(platform.family, &HalFamilyOps::fdbAddEntry, kIgnored,
                                         handle, entry.slot, &record);
    if (result != 0)
        fail("the platform refuses {} in VLAN {}: it answered {}", macText(entry.mac.data()),
             entry.vlanId, result);
}

uint32_t Fdb::find(const MacAddress& mac, const VlanIf& vlan) {
    uint32_t handle = 0;
    Platform& platform = context_.platform;
    const int32_t result = platform.call(platform.family, &HalFamilyOps::fdbMacLookup, &handle,
                                         mac.data(), &vlan.record);
    const MacEntry* known = result == 0 ? owner(handle) : nullptr;
    const bool matches =
        known != nullptr && known->mac == mac && known->vlanInstance == vlan.record.instance;
    return matches ? handle : 0;
}

// The entry with a handle that the platform names. A platform that did not delete an entry goes on
// naming the handle, which may be another entry's by now.
MacEntry* Fdb::owner(uint32_t handle) {
    if (handle == 0 || handle > entries_.size() || at(handle).slot == nullptr) return nullptr;
    return &at(handle);
}

void Fdb::remove(uint32_t handle) {
    Platform& platform = context_.platform;
    const MacEntry& entry = at(handle);
    const int32_t result =
        platform.call(platform.family, &HalFamilyOps::fdbDeleteEntry, entry.slot);
    if (result != 0)
        context_.events.note("l2", "The platform did not delete {} in VLAN {}: it answered {}",
                             macText(entry.mac.data()), entry.vlanId, result);
    release(handle);
    ++counts_.removed;
}

Fdb::Removed Fdb::removeIf(const Predicate& goes) {
    Removed removed;
    for (uint32_t handle = 1; handle <= entries_.size(); ++handle) {
        if (at(handle).slot == nullptr || !goes(at(handle))) continue;
        ++removed.count;
        removed.statics += at(handle).isStatic ? 1 : 0;
        remove(handle);
    }
    return removed;
}

std::string Fdb::goneText(const Removed& removed) {
    const std::string text = counted(removed.count, "MAC address", "MAC addresses") + " gone";
    return removed.statics == 0 ? text
                                : fmt::format("{}, {} of them static", text, removed.statics);
}

Fdb::Removed Fdb::removeOf(uint32_t vlanInstance, uint32_t port) {
    return removeIf([=](const MacEntry& entry) {
        return (vlanInstance == 0 || entry.vlanInstance == vlanInstance) &&
               (port == 0 || entry.port == port);
    });
}

void Fdb::flush(uint16_t vlanId, uint32_t port) {
    Platform& platform = context_.platform;
    const int32_t result = platform.call(platform.family, &HalFamilyOps::fdbFlush, 0u, 0u,
                                         &Fdb::completed, uint32_t{vlanId}, port);
    if (result != 1) fail("the platform did not take the flush: it answered {}", result);
    flushes_.emplace_back(vlanId, port);
    context_.events.note("l2", "MAC table flush asked for");
}

int32_t Fdb::completed(uint32_t argument1, uint32_t argument2, uint32_t, uint32_t) {
    auto& flushes = flushing->flushes_;
    const auto asked = std::ranges::find(flushes, std::pair(argument1, argument2));
    if (asked == flushes.end()) {
        flushing->context_.events.note("call", "Callback called with {} and {}", argument1,
                                       argument2);
        return 0;
    }
    flushes.erase(asked);
    flushing->flushed(static_cast<uint16_t>(argument1), argument2);
    return 0;
}

void Fdb::tableReplaced(HalFdbEntry* table) {
    size_t count = 0;
    for (uint32_t handle = 1; handle <= entries_.size(); ++handle) {
        if (at(handle).slot == nullptr) continue;
        release(handle);
        ++count;
    }
    table_ = table;
    if (table == nullptr) init();
    context_.events.note("l2", "MAC table made anew: {} gone",
                         counted(count, "address", "addresses"));
}

// The platform has acknowledged: now the HAL deletes the entries, one by one.
void Fdb::flushed(uint16_t vlanId, uint32_t port) {
    const size_t count = removeIf([=](const MacEntry& entry) {
                             return !entry.isStatic && (vlanId == 0 || entry.vlanId == vlanId) &&
                                    (port == 0 || entry.port == port);
                         }).count;
    counts_.flushed += count;
    context_.events.note("l2", "MAC table flushed: {} removed",
                         counted(count, "address", "addresses"));
}

void Fdb::setAge(uint32_t seconds) {
    ageS_ = seconds;
    context_.scheduler.cancel(ageing_);
    ageing_ = 0;
    armAgeing();
}

// One task for the entry that is due next, at the next whole second so that many go together.
void Fdb::armAgeing() {
    if (ageing_ != 0 || ageS_ == 0 || oldest_ == 0) return;
    const uint64_t now = context_.scheduler.nowMs();
    const uint64_t dueMs = std::max(at(oldest_).seenMs + uint64_t{ageS_} * 1000, now + 1);
    const uint64_t wholeMs = (dueMs + kSweepMs - 1) / kSweepMs * kSweepMs;
    ageing_ = context_.scheduler.after(wholeMs - now, "MAC ageing", [this] { ageOut(); });
}

void Fdb::ageOut() {
    ageing_ = 0;
    const uint64_t now = context_.scheduler.nowMs();
    size_t count = 0;
    while (oldest_ != 0 && at(oldest_).seenMs + uint64_t{ageS_} * 1000 <= now) {
        remove(oldest_);
        ++count;
    }
    counts_.aged += count;
    if (count != 0)
        context_.events.note("l2", "{} aged out", counted(count, "MAC address", "MAC addresses"));
    armAgeing();
}

void Fdb::linkNewest(uint32_t handle) {
    MacEntry& entry = at(handle);
    entry.older = newest_;
    entry.newer = 0;
    if (newest_ != 0)
        at(newest_).newer = handle;
    else
        oldest_ = handle;
    newest_ = handle;
    armAgeing();
}

void Fdb::unlink(uint32_t handle) {
    const MacEntry& entry = at(handle);
    if (entry.isStatic) return;
    (entry.older != 0 ? at(entry.older).newer : oldest_) = entry.newer;
    (entry.newer != 0 ? at(entry.newer).older : newest_) = entry.older;
}

uint32_t Fdb::newHandle() {
    ++used_;
    if (freeList_ == 0) {
        entries_.emplace_back();
        return static_cast<uint32_t>(entries_.size());
    }
    const uint32_t handle = freeList_;
    freeList_ = at(handle).newer;
    return handle;
}

void Fdb::release(uint32_t handle) {
    unlink(handle);
    MacEntry& entry = at(handle);
    entry = {};
    entry.newer = freeList_;
    freeList_ = handle;
    --used_;
}

void Fdb::forEach(const std::function<void(uint32_t, const MacEntry&)>& visit) const {
    for (uint32_t handle = 1; handle <= entries_.size(); ++handle)
        if (entries_[handle - 1].slot != nullptr) visit(handle, entries_[handle - 1]);
}

void Fdb::dump(const std::function<void(const std::string&)>& print) {
    dumpTo(print, [this](const pcSimDumpSink* sink) {
        context_.platform.call(context_.platform.family, &HalFamilyOps::fdbDump, sink);
    });
}

}  // namespace pcsim::host
