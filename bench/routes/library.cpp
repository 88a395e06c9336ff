// The library as a contender.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "bench/routes/contenders.h"
#include "pcsim/family.h"
#include "platform/card/pcSimCardDB.h"
#include "platform/l3/pcSimIPv4Fib.h"
#include "platform/l3/pcSimIPv6Fib.h"

namespace pcsim::bench {

namespace {

// The operations of the card family, as a HAL holds them.
const HalFamilyOps& operations() {
    static const HalFamilyOps table = [] {
        HalFamilyOps filled{};
        pcSimFamilyDBSetup(0, &filled);
        return filled;
    }();
    return table;
}

struct Request4 {
    Request4(const Prefix& prefix, uint32_t gateway, int32_t slots)
        : vrId(0),
          address(prefix.address.words[0]),
          mask(maskOf(prefix)),
          count(slots),
          slot{0, gateway4(gateway), vlanOf(gateway), 0} {}
    operator const pcSimIPv4FibReq*() const {
        return reinterpret_cast<const pcSimIPv4FibReq*>(this);
    }
    uint32_t vrId, address, mask;
    int32_t count;
    pcSimIPv4FibSlot slot;
};

struct Request6 {
    Request6(const Prefix& prefix, uint32_t gateway, uint8_t slots)
        : vrId(0),
          address(prefix.address),
          length(prefix.length),
          count(slots),
          reserved{},
          slot{gateway6(gateway), vlanOf(gateway), {}} {}
    operator const pcSimIPv6FibReq*() const {
        return reinterpret_cast<const pcSimIPv6FibReq*>(this);
    }
    uint32_t vrId;
    HalIpAddress address;
    uint8_t length, count, reserved[2];
    pcSimIPv6FibSlot slot;
};

__attribute__((format(printf, 2, 3))) int formatAndDiscard(uint32_t, const char* format, ...) {
    char line[256];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    discarded += static_cast<uint8_t>(line[0]);
    return length;
}

const pcSimDumpSink kDiscard{0, discard};
const pcSimDumpSink kFormatAndDiscard{0, formatAndDiscard};

size_t countNodes(HalTreeRoot& root) {
    size_t count = 0;
    for (HalTreeNode* node = p2BtreeFirst(&root); node != nullptr; node = p2BtreeNext(node))
        ++count;
    return count;
}

}  // namespace

int discard(uint32_t, const char*, ...) {
    ++discarded;
    return 0;
}

bool LibraryIPv4::add(const Prefix& prefix, uint32_t gateway) {
    return operations().ipv4FibAddEntry(Request4(prefix, gateway, 1)) == 0;
}
bool LibraryIPv4::find(const Prefix& prefix) {
    return pcSimIPv4FibFind(0, prefix.address.words[0], maskOf(prefix)) != nullptr;
}
bool LibraryIPv4::replace(const Prefix& prefix, uint32_t gateway) {
    return operations().ipv4FibReplaceEntry(Request4(prefix, gateway, 1)) == 0;
}
void LibraryIPv4::flush(uint32_t gateway) {
    Request4 filter({}, 0, 0);
    filter.address = gateway4(gateway);
    filter.mask = 0xFFFFFFFF;
    filter.slot.vlan = 0;
    operations().ipv4FibFlush(filter);
}
void LibraryIPv4::flushAll() {
    Request4 filter({}, 0, 0);
    filter.slot.vlan = 0;
    operations().ipv4FibFlush(filter);
}
bool LibraryIPv4::remove(const Prefix& prefix) {
    return operations().ipv4FibDeleteEntry(Request4(prefix, 0, 0)) == 0;
}
void LibraryIPv4::dump() {
    operations().ipv4FibDump(&kDiscard);
}
void LibraryIPv4::dumpFormatted() {
    operations().ipv4FibDump(&kFormatAndDiscard);
}
size_t LibraryIPv4::size() {
    return countNodes(gIPv4FibTable);
}

bool LibraryIPv6::add(const Prefix& prefix, uint32_t gateway) {
    return operations().ipv6FibAddEntry(Request6(prefix, gateway, 1)) == 0;
}
bool LibraryIPv6::find(const Prefix& prefix) {
    const uint32_t* words = prefix.address.words;
    return pcSimIPv6FibFind(0, words[0], words[1], words[2], words[3], prefix.length) != nullptr;
}
bool LibraryIPv6::replace(const Prefix& prefix, uint32_t gateway) {
    return operations().ipv6FibReplaceEntry(Request6(prefix, gateway, 1)) == 0;
}
void LibraryIPv6::flush(uint32_t gateway) {
    Request6 filter({}, 0, 0);
    filter.address = gateway6(gateway);
    filter.length = 128;
    filter.slot.vlan = 0;
    operations().ipv6FibFlush(filter);
}
bool LibraryIPv6::remove(const Prefix& prefix) {
    return operations().ipv6FibDeleteEntry(Request6(prefix, 0, 0)) == 0;
}
void LibraryIPv6::dump() {
    operations().ipv6FibDump(&kDiscard);
}
size_t LibraryIPv6::size() {
    return countNodes(gIPv6FibTable);
}

}  // namespace pcsim::bench
