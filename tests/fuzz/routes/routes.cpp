// The route tables of both families and the adjacencies, against naive models of them.
#include <string>

#include "tests/fuzz/routes/ipv4.h"
#include "tests/fuzz/routes/ipv6.h"
#include "tests/fuzz/support/check.h"
#include "tests/fuzz/support/host.h"
#include "tests/fuzz/support/library.h"
#include "tests/support/tree.h"

namespace {

using namespace pcsim::fuzz;

constexpr int kMaxOperations = 64;

void dumpAll() {
    std::string text;
    const pcSimDumpSink sink = sinkTo(text);
    FUZZ_SAME(pcSimPCFamIPv4FibDump(&sink), 0u);
    FUZZ_SAME(pcSimPCFamIPv6FibDump(&sink), 0u);
    FUZZ_SAME(pcSimIpAdjDump(&sink), 0u);
    FUZZ_CHECK(!text.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    freshLibrary();
    Input input(bytes, size);
    const uint8_t how = input.byte();
    if ((how & 1) != 0) traceUpTo(how & 7, how);
    host().formatted = (how & 8) != 0;
    pcsim::test::tree().success = (how & 16) != 0 ? 7 : 0;
    IPv4Routes ipv4(input);
    IPv6Routes ipv6(input);
    for (int i = 0; i < kMaxOperations && !input.ended(); ++i) {
        const bool isIPv6 = input.below(4) == 0;
        isIPv6 ? ipv6.step() : ipv4.step();
        library().failAllocation = 0;
        pcsim::test::tree().refuseInsert = 0;
        isIPv6 ? ipv6.check() : ipv4.check();
        FUZZ_SAME(liveBlocks(), ipv4.blocks() + ipv6.blocks());
    }
    if ((how & 32) != 0) dumpAll();
    ipv4.end();
    ipv6.end();
    FUZZ_SAME(liveBlocks(), 0u);
    return 0;
}
