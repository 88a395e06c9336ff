// The kernel's own IPv4 table, in a network namespace of its own, through netlink messages sent in
// batches.
#ifndef PCSIM_BENCH_ROUTES_KERNEL_H
#define PCSIM_BENCH_ROUTES_KERNEL_H

#include "bench/routes/prefixes.h"

namespace pcsim::bench {

class KernelTable {
public:
    // Enters a new network namespace; ok() says whether that was allowed.
    KernelTable();
    bool ok() const { return socket_ >= 0; }

    // Sends the routes of 'prefixes' in 'order' as new (or to be deleted), and waits for the kernel
    // to have taken them all. The number that it refused.
    size_t send(const std::vector<Prefix>& prefixes, const std::vector<uint32_t>& order,
                bool remove);

private:
    int socket_ = -1;
};

}  // namespace pcsim::bench

#endif
