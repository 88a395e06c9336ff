// Entries of the forwarding database: allocate, add, look up, read, delete, dump.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <climits>
#include <csignal>

#include "tests/platform/l2/fdb_support.h"
#include "tests/support/host.h"
#include "tests/support/libc.h"

namespace {

using namespace pcsim::test;

constexpr uint32_t kVlan = 5;
constexpr uint16_t kVlanId = 50;

struct Allocated {
    int32_t result;
    uint32_t handle;
    uint32_t index;  // of the entry in the table
    bool operator==(const Allocated&) const = default;
};

void PrintTo(const Allocated& allocated, std::ostream* out) {
    *out << "result " << allocated.result << " handle " << allocated.handle << " bucket "
         << allocated.index / 8 << " entry " << allocated.index % 8;
}

class FdbTable : public testing::Test {
protected:
    void SetUp() override {
        vlanIf_ = host().addVlanIf(kVlan, kVlanId);
        ASSERT_EQ(pcSimPCFamFdbInit(&table_), 0);
    }
    void TearDown() override { pcSimPCFamFdbCleanup(); }

    static Allocated allocate(const Mac& mac, uint32_t vlan = kVlan) {
        const HalFdbKey key = keyOf(vlan, mac);
        uint32_t handle = 0xDEAD;
        HalFdbEntry* slot = nullptr;
        const int32_t result = pcSimPCFamFdbAllocEntry(&handle, &slot, &key);
        return {result, handle, indexOf(slot)};
    }

    HalFdbEntry* learn(const Mac& mac, uint32_t handle, uint32_t vlan = kVlan, uint32_t port = 0) {
        HalFdbEntry* slot = &table_[allocate(mac, vlan).index];
        const HalFdbRecord record = recordOf(vlan, mac, port);
        EXPECT_EQ(pcSimPCFamFdbAddEntry(nullptr, handle, slot, &record), 0);
        return slot;
    }

    // The handle of an address; 0 when it is not there.
    uint32_t find(const Mac& mac, const HalVlanIf* vlanIf) {
        uint32_t handle = 0xDEAD;
        const int32_t result = pcSimPCFamFdbMacLookup(&handle, mac.data(), vlanIf);
        if (result == 0) return handle;
        EXPECT_EQ(result, -1);
        EXPECT_EQ(handle, 0xDEADu);
        return 0;
    }
    uint32_t find(const Mac& mac) { return find(mac, vlanIf_); }

    HalFdbEntry* table_ = nullptr;
    HalVlanIf* vlanIf_ = nullptr;
};

// --- Allocate -------------------------------------------------------------------------------

TEST_F(FdbTable, BucketIsTheCrcXoredWithTheVlanId) {
    const uint16_t vlanIds[] = {0, 1, 2, 1000, 4094, 4095, 0x8000, 0xFFFF};
    uint32_t instance = 1000;
    for (const uint16_t vlanId : vlanIds) {
        host().addVlanIf(++instance, vlanId);
        for (uint64_t number = 0x0004961234F0; number < 0x000496123510; ++number) {
            const Mac mac = macOf(number);
            EXPECT_EQ(allocate(mac, instance), (Allocated{0, 0, referenceBucket(mac, vlanId) * 8}));
        }
    }
}

TEST_F(FdbTable, AllocateOfAnUnknownVlanComesFirst) {
    const HalFdbKey key = keyOf(6, macOf(1));
    uint32_t handle = 77;
    HalFdbEntry* slot = table_;
    EXPECT_EQ(pcSimPCFamFdbAllocEntry(&handle, &slot, &key), -19);
    EXPECT_EQ(handle, 77u);
    EXPECT_EQ(slot, table_);
}

TEST(FdbTableBeforeInit, UnknownVlanThenNoTable) {
    uint32_t handle = 77;
    HalFdbEntry* slot = nullptr;
    HalFdbKey key = keyOf(6, macOf(1));
    EXPECT_EQ(pcSimPCFamFdbAllocEntry(&handle, &slot, &key), -19);
    host().addVlanIf(6, 60);
    EXPECT_EQ(pcSimPCFamFdbAllocEntry(&handle, &slot, &key), -17);
    EXPECT_EQ(pcSimPCFamFdbMacLookup(&handle, key.mac, host().vlanIfs[6]), -17);
    EXPECT_EQ(handle, 77u);
    EXPECT_EQ(slot, nullptr);
}

TEST(FdbTableBeforeInit, AddReadAndDeleteNeedNoTable) {
    HalFdbEntry entry{};
    HalFdbEntry* slot = &entry;
    const HalFdbRecord record = recordOf(kVlan, macOf(7));
    HalFdbRecord read{};
    EXPECT_EQ(pcSimPCFamFdbAddEntry(nullptr, 1, slot, &record), 0);
    EXPECT_EQ(pcSimPCFamFdbReadEntry(&slot, &read), 0);
    EXPECT_EQ(std::memcmp(&read, &record, sizeof read), 0);
    EXPECT_EQ(pcSimPCFamFdbDeleteEntry(slot), 0);
}

TEST_F(FdbTable, AllocateAsksTheHostOnceAndWritesNothing) {
    host().queries.clear();
    const Allocated allocated = allocate(macOf(1));
    EXPECT_EQ(host().queries, std::vector<std::string>{"getVlanIfByInstance(5)"});
    EXPECT_TRUE(host().calls.empty());
    const HalFdbEntry zero{};
    EXPECT_EQ(std::memcmp(&table_[allocated.index], &zero, sizeof zero), 0);
    EXPECT_EQ(allocate(macOf(1)), allocated);
}

TEST_F(FdbTable, AllocateOfAPresentAddressGivesItsHandleAndSlot) {
    const HalFdbEntry* slot = learn(macOf(1), 41, kVlan, 7);
    const Allocated again = allocate(macOf(1));
    EXPECT_EQ(again, (Allocated{0, 41, indexOf(slot)}));
    EXPECT_EQ(learn(macOf(1), 42, kVlan, 8), slot);
    EXPECT_EQ(slot->port, 8u);
    EXPECT_EQ(find(macOf(1)), 42u);
}

TEST_F(FdbTable, EntriesFillInOrderAndTheFirstHoleIsUsedFirst) {
    const auto macs = macsOfOneBucket(10);
    const uint32_t first = referenceBucket(macs[0], kVlanId) * 8;
    for (uint32_t i = 0; i < 8; ++i) EXPECT_EQ(indexOf(learn(macs[i], 100 + i)), first + i);
    for (const uint32_t hole : {5u, 2u}) pcSimPCFamFdbDeleteEntry(&table_[first + hole]);
    EXPECT_EQ(allocate(macs[8]), (Allocated{0, 0, first + 2}));
    // An address behind the holes is still found.
    EXPECT_EQ(allocate(macs[7]), (Allocated{0, 107, first + 7}));
    EXPECT_EQ(indexOf(learn(macs[8], 200)), first + 2);
    EXPECT_EQ(indexOf(learn(macs[9], 201)), first + 5);
}

TEST_F(FdbTable, HandleIsZeroForAFreeSlotWhateverItHolds) {
    const Allocated allocated = allocate(macOf(1));
    table_[allocated.index].handle = 99;
    EXPECT_EQ(allocate(macOf(1)), (Allocated{0, 0, allocated.index}));
}

TEST_F(FdbTable, NinthAddressOfABucketTakesAnOccupiedSlot) {
    const auto macs = macsOfOneBucket(9);
    const uint32_t first = referenceBucket(macs[0], kVlanId) * 8;
    for (uint32_t i = 0; i < 8; ++i) learn(macs[i], 100 + i);
    const int randoms[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 4095, 65533, INT_MAX, INT_MAX - 3};
    for (const int random : randoms) {
        libc().randoms = {random};
        const auto victim = static_cast<uint32_t>(random % 8);
        EXPECT_EQ(allocate(macs[8]), (Allocated{0, 100 + victim, first + victim}));
        EXPECT_TRUE(libc().randoms.empty());
    }
    EXPECT_EQ(find(macs[8]), 0u);

    libc().randoms = {13};
    learn(macs[8], 500);
    EXPECT_EQ(find(macs[8]), 500u);
    for (uint32_t i = 0; i < 8; ++i) EXPECT_EQ(find(macs[i]), i == 5 ? 0 : 100 + i);
}

TEST_F(FdbTable, ChanceIsNotAskedWhileThereIsAHitOrAFreeEntry) {
    const auto macs = macsOfOneBucket(9);
    libc().randoms = {3};
    for (uint32_t i = 0; i < 8; ++i) learn(macs[i], 100 + i);
    for (uint32_t i = 0; i < 8; ++i) EXPECT_EQ(allocate(macs[i]).handle, 100 + i);
    EXPECT_EQ(libc().randoms.size(), 1u);
}

TEST_F(FdbTable, SameAddressInTwoVlansLandsInTwoBuckets) {
    HalVlanIf* other = host().addVlanIf(6, 51);
    const Mac mac = macOf(0x000496123456);
    const uint32_t first = indexOf(learn(mac, 1));
    const uint32_t second = indexOf(learn(mac, 2, 6));
    EXPECT_EQ(first / 8, referenceBucket(mac, 50));
    EXPECT_EQ(second / 8, referenceBucket(mac, 51));
    EXPECT_EQ(find(mac), 1u);
    EXPECT_EQ(find(mac, other), 2u);
}

TEST_F(FdbTable, VlansOfOneIdAreToldApartByTheirInstance) {
    HalVlanIf* other = host().addVlanIf(6, kVlanId);
    const Mac mac = macOf(0x000496123456);
    const uint32_t first = indexOf(learn(mac, 1));
    EXPECT_EQ(find(mac, other), 0u);
    EXPECT_EQ(indexOf(learn(mac, 2, 6)), first + 1);
    EXPECT_EQ(find(mac), 1u);
    EXPECT_EQ(find(mac, other), 2u);
}

TEST_F(FdbTable, TheInstanceOfTheVlansRecordIsComparedNotTheKeys) {
    HalVlanIf* record = host().addVlanIf(900, kVlanId);
    host().vlanIfs[7] = record;  // asked for 7, the host answers with the record of 900
    const HalFdbEntry* slot = learn(macOf(1), 1, 900);
    EXPECT_EQ(allocate(macOf(1), 7), (Allocated{0, 1, indexOf(slot)}));
}

TEST_F(FdbTable, EveryByteOfTheAddressCounts) {
    // The bucket of an address with one byte changed, filled with the original by hand.
    const Mac mac = macOf(0x0004961234AB);
    for (size_t i = 0; i < mac.size(); ++i) {
        Mac changed = mac;
        changed[i] ^= 0x10;
        HalFdbEntry* slot = &table_[referenceBucket(changed, kVlanId) * 8];
        const HalFdbRecord record = recordOf(kVlan, mac);
        pcSimPCFamFdbAddEntry(nullptr, 1, slot, &record);
        EXPECT_EQ(find(changed), 0u) << "byte " << i;
        pcSimPCFamFdbDeleteEntry(slot);
    }
}

TEST_F(FdbTable, AFreeEntryIsNeverFound) {
    HalFdbEntry* slot = learn(macOf(1), 1);
    slot->inUse = 0;
    EXPECT_EQ(find(macOf(1)), 0u);
    EXPECT_EQ(allocate(macOf(1)), (Allocated{0, 0, indexOf(slot)}));
}

TEST_F(FdbTable, FirstOfTwoEqualEntriesWins) {
    HalFdbEntry* slot = learn(macOf(1), 1);
    slot[3] = *slot;
    slot[3].handle = 2;
    EXPECT_EQ(find(macOf(1)), 1u);
    EXPECT_EQ(allocate(macOf(1)).handle, 1u);
}

TEST_F(FdbTable, FirstAndLastBucketWork) {
    for (const uint32_t wanted : {0u, 0xFFFFu}) {
        const Mac mac = macOf(0x000496000001);
        const auto vlanId = static_cast<uint16_t>(referenceHash(mac.data()) ^ wanted);
        HalVlanIf* vlanIf = host().addVlanIf(100 + wanted, vlanId);
        HalFdbEntry* slot = learn(mac, 9, 100 + wanted);
        EXPECT_EQ(indexOf(slot), wanted * 8);
        EXPECT_EQ(find(mac, vlanIf), 9u);
    }
}

// --- What operations read -------------------------------------------------------------------

// The end of a page that has an unreadable one behind it.
uint8_t* endOfMemory() {
    const auto pageSize = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    auto* pages = static_cast<uint8_t*>(
        mmap(nullptr, 2 * pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    EXPECT_EQ(mprotect(pages + pageSize, pageSize, PROT_NONE), 0);
    return pages + pageSize;
}

TEST_F(FdbTable, NoByteBehindAKeyOrAnAddressIsRead) {
    const Mac mac = macOf(0x0004961234AB);
    learn(mac, 3);
    uint8_t* end = endOfMemory();
    std::memcpy(end - 6, mac.data(), 6);
    uint32_t handle = 0;
    EXPECT_EQ(pcSimPCFamFdbMacLookup(&handle, end - 6, vlanIf_), 0);
    EXPECT_EQ(handle, 3u);
    HalFdbEntry* slot = nullptr;
    const HalFdbKey key = keyOf(kVlan, mac);
    // Two bytes less than the record: nothing follows the address. The sanitizers ask for an
    // alignment that an i386 doesn't need, so with them the record is whole.
#ifdef __SANITIZE_ADDRESS__
    constexpr size_t kKeySize = sizeof key;
#else
    constexpr size_t kKeySize = 10;
#endif
    std::memcpy(end - kKeySize, &key, kKeySize);
    const auto* atEnd = reinterpret_cast<const HalFdbKey*>(end - kKeySize);
    EXPECT_EQ(pcSimPCFamFdbAllocEntry(&handle, &slot, atEnd), 0);
    EXPECT_EQ(handle, 3u);
}

// --- Add ------------------------------------------------------------------------------------

HalFdbRecord sampleRecord() {
    HalFdbRecord record;
    std::memset(&record, 0xAA, sizeof record);
    record.vlanInstance = 0x01020304;
    const Mac mac = {0x11, 0x12, 0x13, 0x14, 0x15, 0x16};
    std::memcpy(record.mac, mac.data(), mac.size());
    record.valueA = 0x21222324;
    record.valueB = 0x31323334;
    record.port = 0x41424344;
    return record;
}

using EntryBytes = std::array<uint8_t, sizeof(HalFdbEntry)>;

EntryBytes bytesOf(const HalFdbEntry& entry) {
    EntryBytes bytes;
    std::memcpy(bytes.data(), &entry, bytes.size());
    return bytes;
}

// clang-format off
const EntryBytes kSampleEntry = {0x54, 0x53, 0x52, 0x51,  // handle
                                 0x04, 0x03, 0x02, 0x01,  // VLAN instance
                                 0x24, 0x23, 0x22, 0x21,  // value A
                                 0x34, 0x33, 0x32, 0x31,  // value B
                                 0x44, 0x43, 0x42, 0x41,  // port
                                 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x01, 0x00};
// clang-format on

TEST(FdbEntry, AddFillsEveryField) {
    HalFdbEntry entry{};
    const HalFdbRecord record = sampleRecord();
    uint32_t ignored = 0;
    EXPECT_EQ(pcSimPCFamFdbAddEntry(&ignored, 0x51525354, &entry, &record), 0);
    EXPECT_EQ(bytesOf(entry), kSampleEntry);
    EXPECT_EQ(ignored, 0u);
}

TEST(FdbEntry, AddOverwritesAnEntryInPlaceButForTheReservedByte) {
    HalFdbEntry entry;
    std::memset(&entry, 0xEE, sizeof entry);
    const HalFdbRecord record = sampleRecord();
    EXPECT_EQ(pcSimPCFamFdbAddEntry(nullptr, 0x51525354, &entry, &record), 0);
    EntryBytes expected = kSampleEntry;
    expected[27] = 0xEE;
    EXPECT_EQ(bytesOf(entry), expected);
}

TEST(FdbEntry, AddRefusesNullPointersAndHandleZero) {
    HalFdbEntry entry{};
    const HalFdbRecord record = sampleRecord();
    EXPECT_EQ(pcSimPCFamFdbAddEntry(nullptr, 0, &entry, &record), -1);
    EXPECT_EQ(pcSimPCFamFdbAddEntry(nullptr, 1, nullptr, &record), -1);
    EXPECT_EQ(pcSimPCFamFdbAddEntry(nullptr, 1, &entry, nullptr), -1);
    EXPECT_EQ(pcSimPCFamFdbAddEntry(nullptr, 0, nullptr, nullptr), -1);
    EXPECT_EQ(bytesOf(entry), EntryBytes{});
}

// --- Read and delete ------------------------------------------------------------------------

TEST(FdbEntry, ReadCopiesAllButThePort) {
    HalFdbEntry entry{};
    HalFdbEntry* slot = &entry;
    const HalFdbRecord record = sampleRecord();
    pcSimPCFamFdbAddEntry(nullptr, 1, slot, &record);
    HalFdbRecord read;
    std::memset(&read, 0xAA, sizeof read);
    EXPECT_EQ(pcSimPCFamFdbReadEntry(&slot, &read), 0);
    HalFdbRecord expected = record;
    expected.port = 0xAAAAAAAA;
    EXPECT_EQ(std::memcmp(&read, &expected, sizeof read), 0);
}

TEST(FdbEntry, ReadRefusesNullPointers) {
    HalFdbEntry entry{};
    HalFdbEntry* slot = &entry;
    HalFdbEntry* nothing = nullptr;
    HalFdbRecord record = sampleRecord();
    EXPECT_EQ(pcSimPCFamFdbReadEntry(nullptr, &record), -1);
    EXPECT_EQ(pcSimPCFamFdbReadEntry(&nothing, &record), -1);
    EXPECT_EQ(pcSimPCFamFdbReadEntry(&slot, nullptr), -1);
    const HalFdbRecord untouched = sampleRecord();
    EXPECT_EQ(std::memcmp(&record, &untouched, sizeof record), 0);
}

TEST(FdbEntry, DeleteZeroesExactlyTheEntry) {
    HalFdbEntry entries[3];
    std::memset(entries, 0xEE, sizeof entries);
    EXPECT_EQ(pcSimPCFamFdbDeleteEntry(&entries[1]), 0);
    EntryBytes filled;
    filled.fill(0xEE);
    EXPECT_EQ(bytesOf(entries[0]), filled);
    EXPECT_EQ(bytesOf(entries[1]), EntryBytes{});
    EXPECT_EQ(bytesOf(entries[2]), filled);
    EXPECT_EQ(pcSimPCFamFdbDeleteEntry(nullptr), -1);
}

// --- Entries in use without a handle --------------------------------------------------------

class FdbTrap : public FdbTable, public testing::WithParamInterface<uint32_t> {
protected:
    // Fills the bucket but for its last entry and makes the entry 'broken' one without a handle.
    void fill(uint32_t broken) {
        macs_ = macsOfOneBucket(9);
        for (uint32_t i = 0; i < 8; ++i) learn(macs_[i], 100 + i);
        first_ = referenceBucket(macs_[0], kVlanId) * 8;
        table_[first_ + broken].handle = 0;
    }
    std::vector<Mac> macs_;
    uint32_t first_ = 0;
};

TEST_P(FdbTrap, StopsTheProcessWhenASearchMeetsOne) {
    const uint32_t broken = GetParam();
    fill(broken);
    for (uint32_t i = 0; i < 8; ++i) {
        SCOPED_TRACE(i);
        if (i >= broken) {
            EXPECT_EXIT(find(macs_[i]), testing::KilledBySignal(SIGILL), "");
            EXPECT_EXIT(allocate(macs_[i]), testing::KilledBySignal(SIGILL), "");
        } else {
            // The search ends before it.
            EXPECT_EQ(find(macs_[i]), 100 + i);
            EXPECT_EQ(allocate(macs_[i]), (Allocated{0, 100 + i, first_ + i}));
        }
    }
    EXPECT_EXIT(find(macs_[8]), testing::KilledBySignal(SIGILL), "");
    EXPECT_EXIT(allocate(macs_[8]), testing::KilledBySignal(SIGILL), "");
}

TEST_P(FdbTrap, AFreeSlotBeforeItDoesNotEndTheSearch) {
    const uint32_t broken = GetParam();
    fill(broken);
    if (broken == 0) return;
    pcSimPCFamFdbDeleteEntry(&table_[first_]);
    EXPECT_EXIT(allocate(macs_[8]), testing::KilledBySignal(SIGILL), "");
}

INSTANTIATE_TEST_SUITE_P(Entry, FdbTrap, testing::Values(0u, 1u, 4u, 7u));

TEST_F(FdbTable, FreeEntriesWithoutAHandleAreFine) {
    const auto macs = macsOfOneBucket(2);
    learn(macs[0], 1);
    EXPECT_EQ(find(macs[1]), 0u);
    EXPECT_EQ(allocate(macs[1]).handle, 0u);
}

// --- Dump -----------------------------------------------------------------------------------

constexpr char kHeader[] =
    "Card Family pcSim SW FDB table:\n"
    "Buc. Ent.    MAC                  VlanInst      Port\n"
    "====================================================\n";

std::string dumped(std::vector<uint32_t>* contexts = nullptr) {
    DumpText dump;
    const pcSimDumpSink sink = dump.sink(0xC0FFEE);
    EXPECT_EQ(pcSimPCFamFdbDump(&sink), 0);
    if (contexts != nullptr) *contexts = dump.contexts;
    return dump.text;
}

std::string dumpedToStandardOutput() {
    return printed([] { EXPECT_EQ(pcSimPCFamFdbDump(nullptr), 0); });
}

TEST(FdbDump, BeforeTheInitSaysSo) {
    const std::string expected = "Card Family pcSim SW FDB table:\nNot initialized yet\n";
    EXPECT_EQ(dumped(), expected);
    EXPECT_EQ(dumpedToStandardOutput(), expected);
}

TEST_F(FdbTable, DumpOfAnEmptyTable) {
    const std::string expected = std::string(kHeader) + "In-use count: 0\n";
    EXPECT_EQ(dumped(), expected);
    EXPECT_EQ(dumpedToStandardOutput(), expected);
}

TEST_F(FdbTable, DumpShowsEntriesInTableOrder) {
    const auto put = [this](uint32_t index, uint64_t mac, uint32_t vlan, uint32_t port) {
        const HalFdbRecord record = recordOf(vlan, macOf(mac), port);
        pcSimPCFamFdbAddEntry(nullptr, 1 + index, &table_[index], &record);
    };
    put(65535 * 8 + 7, 0xFFFEFDFCFBFA, 0xFFFFFFFF, 0xFEDCBA98);
    put(1234 * 8 + 5, 0x000496123456, 0xA, 0x00010002);
    put(0, 0x0a0b0c0d0e0f, 0, 0);
    put(1234 * 8 + 1, 0x000496123457, 0xA, 0x01000003);
    const std::string expected = std::string(kHeader) +
                                 "0000 0000    0a:0b:0c:0d:0e:0f    00000000     00000000\n"
                                 "1234 0001    00:04:96:12:34:57    0000000a     01000003\n"
                                 "1234 0005    00:04:96:12:34:56    0000000a     00010002\n"
                                 "65535 0007    ff:fe:fd:fc:fb:fa    ffffffff     fedcba98\n"
                                 "In-use count: 4\n";
    std::vector<uint32_t> contexts;
    EXPECT_EQ(dumped(&contexts), expected);
    EXPECT_EQ(contexts, std::vector<uint32_t>(8, 0xC0FFEE));
    EXPECT_EQ(dumpedToStandardOutput(), expected);
}

TEST_F(FdbTable, DumpDoesNotMindAnEntryWithoutAHandle) {
    learn(macOf(1), 1)->handle = 0;
    EXPECT_NE(dumped().find("In-use count: 1\n"), std::string::npos);
}

}  // namespace
