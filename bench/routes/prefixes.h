// The route tables that are loaded: those of the Internet from a file, or generated ones with as
// many prefixes of each length.
#ifndef PCSIM_BENCH_ROUTES_PREFIXES_H
#define PCSIM_BENCH_ROUTES_PREFIXES_H

#include <arpa/inet.h>

#include <cstdint>
#include <string>
#include <vector>

#include "pcsim/l3.h"

namespace pcsim::bench {

// One prefix; 'length' counts bits, the address is in network byte order.
struct Prefix {
    HalIpAddress address;
    uint8_t length;
};

struct PrefixTable {
    std::vector<Prefix> prefixes;  // in file order
    std::string origin;
};

// The mask of an IPv4 prefix, in network byte order.
inline uint32_t maskOf(const Prefix& prefix) {
    return prefix.length == 0 ? 0 : htonl(~uint32_t{0} << (32 - prefix.length));
}

// Reads 'path', one prefix per line (packed by xz when it ends in ".xz"; lines that start with '#'
// are skipped). Empty when it can't be read.
PrefixTable readPrefixes(const std::string& path, int family);

// A table in address order with the histogram of prefix lengths of the Internet's of March 2024.
PrefixTable generatePrefixes(int family);

}  // namespace pcsim::bench

#endif
