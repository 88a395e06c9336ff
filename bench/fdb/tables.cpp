// The host around the platform's table, and what is not worth inlining of the others.
#include "bench/fdb/tables.h"

#include <array>
#include <cstdio>

#include "platform/card/pcSimCardDB.h"
#include "platform/l2/pcSimFdb.h"

namespace pcsim::bench {

HalFamilyOps family;
HalVlanIf vlanIfs[kVlans + 1];
bool byHandle = false;
bool plainCode = false;

void setUpHost() {
    pcSimFamilyDBSetup(0, &family);
    for (uint32_t vlan = 0; vlan <= kVlans; ++vlan) {
        vlanIfs[vlan].instance = vlan;
        vlanIfs[vlan].vlanId = static_cast<uint16_t>(vlan);
    }
}

PlatformTable::PlatformTable(size_t count) : slots_(byHandle ? count + 1 : 0) {
    if (plainCode) {
        pcSimFdbTable =
            static_cast<HalFdbEntry*>(std::calloc(HAL_FDB_ENTRIES, sizeof(HalFdbEntry)));
        if (pcSimFdbTable == nullptr) std::abort();
        return;
    }
    HalFdbEntry* table = nullptr;
    if (family.fdbInit(&table) != 0) {
        std::fprintf(stderr, "bench_fdb: no memory for the table\n");
        std::exit(1);
    }
}

PlatformTable::~PlatformTable() {
    plainCode ? std::free(pcSimFdbTable) : static_cast<void>(family.fdbCleanup());
}

namespace {

constexpr std::array<uint16_t, 256> kCrcOfByte = [] {
    std::array<uint16_t, 256> table{};
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xA001 : 0);
        table[byte] = static_cast<uint16_t>(crc);
    }
    return table;
}();

}  // namespace

HalFdbEntry* PlainTable::bucketOf(const uint8_t* mac, uint32_t vlan) const {
    uint32_t crc = 0;
    for (int i = 0; i < 6; ++i) crc = (crc >> 8) ^ kCrcOfByte[(crc ^ mac[i]) & 0xFF];
    return table_ + (crc ^ vlanIfs[vlan].vlanId) * HAL_FDB_BUCKET_ENTRIES;
}

}  // namespace pcsim::bench

using namespace pcsim::bench;

extern "C" {

void getVlanIfByInstance(uint32_t instance, HalVlanIf** record) {
    *record = instance <= kVlans ? &vlanIfs[instance] : nullptr;
}
}
