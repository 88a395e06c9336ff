// The forwarding database against a map of what each entry holds.
//
// Addresses come from few buckets, so that these fill and overflow. After each operation all
// entries of those buckets are compared, at the end all that has been touched.
#include <map>
#include <string>
#include <vector>

#include "platform/l2/fdbScan.h"
#include "tests/fuzz/fdb_addresses.h"
#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/fdb_block.h"
#include "tests/fuzz/support/handles.h"
#include "tests/fuzz/support/host.h"
#include "tests/fuzz/support/input.h"
#include "tests/fuzz/support/library.h"

namespace {

using namespace pcsim::fuzz;
using namespace pcsim::test;

constexpr int kMaxOperations = 96;
constexpr uint32_t kUntouched = 0xDEAD;

uint32_t completions;
int32_t firstCompletion(uint32_t argument1, uint32_t argument2, uint32_t zero1, uint32_t zero2) {
    FUZZ_SAME(zero1 | zero2, 0u);
    completions += argument1 + argument2;
    return 5;
}
int32_t otherCompletion(uint32_t, uint32_t, uint32_t, uint32_t) {
    wrong(__FILE__, __LINE__, "the first callback stays registered");
}

class Fdb {
public:
    explicit Fdb(Input& input) : input_(input) {
        for (HalVlanIf& vlanIf : vlanIfs) host().vlanIfs.push_back(&vlanIf);
        const uint8_t how = input_.byte();
        if ((how & 3) != 0) traceUpTo(how & 7, how);
        host().formatted = (how & 8) != 0;
        if ((how & 0x10) != 0) return;  // nothing is initialised
        if ((how & 0x20) != 0)          // a table of the host's, and the scan for any processor
            pcSimFdbTable = static_cast<HalFdbEntry*>(takeFdbBlock(kTableSize));
        else
            initialise();
        hosts_ = (how & 0x20) != 0;
        up_ = true;
    }

    void run() {
        for (int i = 0; i < kMaxOperations && !input_.ended(); ++i) {
            step();
            checkBuckets();
            FUZZ_SAME(liveBlocks(), handles_.live() + (up_ && !hosts_ ? 1 : 0));
        }
        checkTouched();
    }

    // Too long for every input: the whole table is walked.
    void compareDump();
    void end() {
        handles_.end();
        if (up_ && !hosts_) FUZZ_SAME(pcSimPCFamFdbCleanup(), 0);
        if (hosts_) releaseFdbBlock(pcSimFdbTable);
        FUZZ_SAME(liveBlocks(), 0u);
    }

private:
    static constexpr size_t kTableSize = HAL_FDB_ENTRIES * sizeof(HalFdbEntry);

    struct Address {
        uint32_t vlan;
        Mac mac;
    };

    Address address() {
        const uint32_t vlan = input_.below(kVlans);
        const uint8_t mac = input_.byte();
        Address result{vlan, macs()[mac % kMacs]};
        if (mac >= kMacs * 8) result.mac[0] ^= input_.byte();  // of another bucket
        return result;
    }
    uint32_t anyIndex() { return input_.oneOfRange(buckets()) + input_.below(8); }
    uint32_t instanceOf(const Address& address) const { return vlanIfs[address.vlan].instance; }

    // The entry that a search finds: the first in use with both.
    uint32_t holding(const Address& address) const {
        const uint32_t first = firstOf(address.mac, vlanIfs[address.vlan]);
        for (uint32_t i = first; i < first + 8; ++i) {
            const auto held = held_.find(i);
            if (held != held_.end() && held->second.vlanInstance == instanceOf(address) &&
                std::memcmp(held->second.mac, address.mac.data(), 6) == 0)
                return i;
        }
        return HAL_FDB_ENTRIES;
    }

    void initialise() {
        HalFdbEntry* table = nullptr;
        FUZZ_SAME(pcSimPCFamFdbInit(&table), 0);
        FUZZ_CHECK(table != nullptr && table == pcSimFdbTable && isLive(table));
    }

    void step();
    void learn();
    void lookUp();
    void removeSlot();
    void read();
    void addAnywhere();
    void refused();
    void flush();
    void restart();
    void checkScans(const Address& address) const;
    void checkBuckets() const;
    void checkTouched() const;
    HalFdbEntry expected(uint32_t index) const;
    uint32_t allocate(const Address& address, uint32_t* handle);
    void add(uint32_t index, const Address& address);

    Input& input_;
    Handles handles_{input_};
    std::map<uint32_t, HalFdbEntry> held_;  // by index
    bool up_ = false;
    bool hosts_ = false;
    bool flushed_ = false;
};

// What the table answers for an address that the HAL wants to store.
uint32_t Fdb::allocate(const Address& address, uint32_t* handle) {
    const HalFdbKey key = keyOf(instanceOf(address), address.mac);
    HalFdbEntry* slot = nullptr;
    const uint8_t chance = input_.byte();
    library().randoms = {chance};
    *handle = kUntouched;
    const uint32_t first = firstOf(address.mac, vlanIfs[address.vlan]);
    const uint32_t known = holding(address);
    FUZZ_SAME(pcSimPCFamFdbAllocEntry(handle, &slot, &key), 0);
    const uint32_t index = indexOf(slot);
    uint32_t free = first;
    while (free < first + 8 && held_.contains(free)) ++free;
    if (known != HAL_FDB_ENTRIES) {
        FUZZ_SAME(index, known);
    } else if (free < first + 8) {
        FUZZ_SAME(index, free);
    } else {
        FUZZ_SAME(index, first + chance % 8);
    }
    const auto held = held_.find(index);
    FUZZ_SAME(*handle, held != held_.end() ? held->second.handle : 0);
    return index;
}

void Fdb::add(uint32_t index, const Address& address) {
    HalFdbRecord record = recordOf(instanceOf(address), address.mac, input_.byte());
    record.valueA = input_.byte() << 24 | 1;
    record.valueB = input_.byte();
    const uint32_t handle = input_.byte() | 0x100;
    FUZZ_SAME(pcSimPCFamFdbAddEntry(nullptr, handle, &pcSimFdbTable[index], &record), 0);
    HalFdbEntry& entry = held_[index] = HalFdbEntry{.handle = handle,
                                                    .vlanInstance = record.vlanInstance,
                                                    .valueA = record.valueA,
                                                    .valueB = record.valueB,
                                                    .port = record.port};
    std::memcpy(entry.mac, record.mac, sizeof entry.mac);
    entry.inUse = 1;
}

void Fdb::learn() {
    const Address wanted = address();
    uint32_t handle = 0;
    const uint32_t index = allocate(wanted, &handle);
    add(index, wanted);
}

// All scans give the same answer.
void Fdb::checkScans(const Address& address) const {
    const HalVlanIf& vlanIf = vlanIfs[address.vlan];
    const HalFdbEntry* const bucket = pcSimFdbTable + firstOf(address.mac, vlanIf);
    const auto* const mac = address.mac.data();
    const uint32_t plain = pcsim::scanBucketPlain(bucket, &vlanIf.instance, mac);
    const auto answered = [](uint32_t bits) {
        const pcsim::FdbScan scan(bits);
        if (scan.holds()) return scan.firstHolding();
        return scan.hasFree() && !scan.meetsBroken() ? 8 + scan.firstFree() : 16;
    };
    if (__builtin_cpu_supports("sse2"))
        FUZZ_SAME(answered(plain), answered(pcsim::scanBucketSse2(bucket, &vlanIf.instance, mac)));
    if (__builtin_cpu_supports("avx2"))
        FUZZ_SAME(answered(plain), answered(pcsim::scanBucketAvx2(bucket, &vlanIf.instance, mac)));
}

void Fdb::lookUp() {
    const Address wanted = address();
    uint32_t handle = kUntouched;
    const int32_t result =
        pcSimPCFamFdbMacLookup(&handle, wanted.mac.data(), &vlanIfs[wanted.vlan]);
    const uint32_t index = holding(wanted);
    FUZZ_SAME(result, index != HAL_FDB_ENTRIES ? 0 : -1);
    FUZZ_SAME(handle, index != HAL_FDB_ENTRIES ? held_.at(index).handle : kUntouched);
    checkScans(wanted);
}

void Fdb::removeSlot() {
    const uint32_t index = anyIndex();
    FUZZ_SAME(pcSimPCFamFdbDeleteEntry(&pcSimFdbTable[index]), 0);
    held_.erase(index);
}

void Fdb::read() {
    const uint32_t index = anyIndex();
    HalFdbEntry* const slot = &pcSimFdbTable[index];
    HalFdbRecord record;
    std::memset(&record, 0x5A, sizeof record);
    HalFdbRecord wanted = record;
    FUZZ_SAME(pcSimPCFamFdbReadEntry(&slot, &record), 0);
    const HalFdbEntry entry = expected(index);
    wanted.vlanInstance = entry.vlanInstance;
    wanted.valueA = entry.valueA;
    wanted.valueB = entry.valueB;
    std::memcpy(wanted.mac, entry.mac, sizeof wanted.mac);
    FUZZ_SAME(std::memcmp(&record, &wanted, sizeof record), 0);
}

// The HAL may use any slot for any address: two entries can hold the same.
void Fdb::addAnywhere() {
    const Address any = address();
    add(anyIndex(), any);
}

void Fdb::refused() {
    HalFdbRecord record = recordOf(1, macs()[0]);
    HalFdbEntry* nowhere = nullptr;
    HalFdbEntry* slot = &pcSimFdbTable[anyIndex()];
    FUZZ_SAME(pcSimPCFamFdbAddEntry(nullptr, 0, slot, &record), -1);
    FUZZ_SAME(pcSimPCFamFdbAddEntry(nullptr, 1, nullptr, &record), -1);
    FUZZ_SAME(pcSimPCFamFdbAddEntry(nullptr, 1, slot, nullptr), -1);
    FUZZ_SAME(pcSimPCFamFdbReadEntry(nullptr, &record), -1);
    FUZZ_SAME(pcSimPCFamFdbReadEntry(&nowhere, &record), -1);
    FUZZ_SAME(pcSimPCFamFdbReadEntry(&slot, nullptr), -1);
    FUZZ_SAME(pcSimPCFamFdbDeleteEntry(nullptr), -1);
    const HalFdbKey key = keyOf(0x1234, macs()[0]);
    uint32_t handle = kUntouched;
    nowhere = slot;
    FUZZ_SAME(pcSimPCFamFdbAllocEntry(&handle, &nowhere, &key), HAL_FDB_UNKNOWN_VLAN);
    FUZZ_CHECK(handle == kUntouched && nowhere == slot);
}

void Fdb::flush() {
    const uint32_t argument1 = input_.byte();
    const uint32_t argument2 = input_.byte();
    HalCompletionFn* const callback = flushed_ && input_.flag() ? otherCompletion : firstCompletion;
    host().tasks.clear();
    const size_t printed = library().printed;
    FUZZ_SAME(pcSimPCFamFdbFlush(0, 0, nullptr, argument1, argument2), 0);
    FUZZ_CHECK(host().tasks.empty());
    if (!flushed_) FUZZ_SAME(pcSimFlushCallback(argument1, argument2), 0);
    FUZZ_SAME(pcSimPCFamFdbFlush(1, 2, callback, argument1, argument2), 1);
    flushed_ = true;
    FUZZ_SAME(library().printed - printed, callback == otherCompletion ? 1u : 0u);
    FUZZ_SAME(host().tasks.size(), 1u);
    const Task task = host().tasks.front();
    completions = 0;
    FUZZ_SAME(task.function(task.argument1, task.argument2), 5);
    FUZZ_SAME(completions, argument1 + argument2);
}

void Fdb::restart() {
    if (hosts_) return;
    if (up_) FUZZ_SAME(pcSimPCFamFdbCleanup(), 0);
    FUZZ_SAME(pcSimPCFamFdbCleanup(), 0);
    held_.clear();
    up_ = false;
    if (input_.flag()) {
        HalFdbEntry* table = nullptr;
        library().failAllocation = 1;
        FUZZ_SAME(pcSimPCFamFdbInit(&table), HAL_FDB_OUT_OF_MEMORY);
        FUZZ_CHECK(table == nullptr && pcSimFdbTable == nullptr);
        std::string text;
        const pcSimDumpSink sink = sinkTo(text);
        FUZZ_SAME(pcSimPCFamFdbDump(&sink), 0);
        FUZZ_CHECK(text.ends_with("Not initialized yet\n"));
    }
    initialise();
    up_ = true;
}

void Fdb::step() {
    const uint32_t operation = input_.below(16);
    if (operation == 14) return handles_.step();
    if (operation == 15) return restart();
    if (!up_) {
        const HalFdbKey key = keyOf(vlanIfs[0].instance, macs()[0]);
        uint32_t handle = kUntouched;
        HalFdbEntry* slot = nullptr;
        FUZZ_SAME(pcSimPCFamFdbAllocEntry(&handle, &slot, &key), HAL_FDB_NOT_INITIALISED);
        FUZZ_SAME(pcSimPCFamFdbMacLookup(&handle, key.mac, vlanIfs), HAL_FDB_NOT_INITIALISED);
        FUZZ_CHECK(handle == kUntouched && slot == nullptr);
        return;
    }
    uint32_t handle = 0;
    if (operation < 6) return learn();
    if (operation < 8) return lookUp();
    if (operation == 8) return removeSlot();
    if (operation == 9) return read();
    if (operation == 10) return addAnywhere();
    if (operation == 11) return refused();
    if (operation == 12) return flush();
    allocate(address(), &handle);
}

HalFdbEntry Fdb::expected(uint32_t index) const {
    const auto held = held_.find(index);
    return held != held_.end() ? held->second : HalFdbEntry{};
}

void Fdb::checkBuckets() const {
    if (!up_) return;
    for (const uint32_t first : buckets()) {
        for (uint32_t i = first; i < first + 8; ++i) {
            const HalFdbEntry entry = expected(i);
            FUZZ_SAME(std::memcmp(&pcSimFdbTable[i], &entry, sizeof entry), 0);
        }
    }
}

// Nothing has been written but what the model holds.
void Fdb::checkTouched() const {
    if (!up_) return;
    const auto* const table = reinterpret_cast<const uint8_t*>(pcSimFdbTable);
    forTouchedFdbPages([&](const uint8_t* page, size_t length) {
        const size_t first = static_cast<size_t>(page - table) / sizeof(HalFdbEntry);
        const size_t last = (static_cast<size_t>(page - table) + length - 1) / sizeof(HalFdbEntry);
        for (size_t i = first; i <= last; ++i) {
            static const HalFdbEntry zero{};
            if (std::memcmp(&pcSimFdbTable[i], &zero, sizeof zero) == 0) continue;
            const HalFdbEntry entry = expected(static_cast<uint32_t>(i));
            FUZZ_SAME(std::memcmp(&pcSimFdbTable[i], &entry, sizeof entry), 0);
        }
    });
}

void Fdb::compareDump() {
    if (!up_) return;
    std::string text;
    const pcSimDumpSink sink = sinkTo(text);
    FUZZ_SAME(pcSimPCFamFdbDump(&sink), 0);
    std::string wanted =
        "Card Family pcSim SW FDB table:\n"
        "Buc. Ent.    MAC                  VlanInst      Port\n"
        "====================================================\n";
    for (const auto& [index, entry] : held_) {
        const uint8_t* const mac = entry.mac;
        char line[100];
        std::snprintf(line, sizeof line,
                      "%04u %04u    %02x:%02x:%02x:%02x:%02x:%02x    %08x     %08x\n", index / 8,
                      index % 8, mac[0], mac[1], mac[2], mac[3], mac[4], mac[5], entry.vlanInstance,
                      entry.port);
        wanted += line;
    }
    FUZZ_CHECK(text == wanted + "In-use count: " + std::to_string(held_.size()) + "\n");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    prepareVlans();
    freshLibrary();
    Input input(bytes, size);
    Fdb fdb(input);
    fdb.run();
    if (seldom(bytes, size)) fdb.compareDump();
    fdb.end();
    return 0;
}
