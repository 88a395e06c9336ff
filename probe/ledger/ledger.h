// Ledger: the blocks that the library has from the C library and has not given back, one by one,
// with their sizes and the operation in which they came.
//
// Blocks that pass to the HAL with a call are the library's no more, those that pass to the library
// with one are its own from then on. What was allocated before start() isn't known: start with the
// first call, in a plan.
#ifndef PCSIM_PROBE_LEDGER_LEDGER_H
#define PCSIM_PROBE_LEDGER_LEDGER_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include "probe/boundary/call.h"

namespace pcsim::probe {

// Blocks of the same size that have come in the same operation.
struct BlockRow {
    std::string operation;  // the outermost one of the platform's; "" outside of all
    uint32_t bytes;         // of one of them
    uint64_t blocks;
};

struct LedgerSums {
    uint64_t blocks = 0;  // that the library has now
    uint64_t bytes = 0;
    uint64_t mostBlocks = 0;  // that it ever had
    uint64_t mostBytes = 0;
    uint64_t allocated = 0;    // blocks, since the start
    uint64_t freed = 0;        // by the library
    uint64_t handedOut = 0;    // passed to the HAL
    uint64_t takenOver = 0;    // passed to the library
    uint64_t refused = 0;      // allocations that were answered null
    uint64_t freedOthers = 0;  // by the library, although nobody has seen them come
};

class Ledger : public Observer {
public:
    Ledger();

    // Begins with nothing.
    void start();
    void stop();
    bool on() const { return on_; }

    LedgerSums sums() const;
    // The smallest first, those of one size by operation.
    std::vector<BlockRow> rows() const;

    // The sites that are wanted are others now.
    std::function<void()> onChange;

    bool wants(const Site& site) const override;
    void before(Call& call) override;
    void after(Call& call) override;

    // Keeps calls of other threads waiting while the process forks.
    void hold() { mutex_.lock(); }
    void release() { mutex_.unlock(); }

private:
    struct Block {
        uint32_t bytes;
        const Site* operation;
    };

    void add(Word address, uint32_t bytes, uint32_t thread);
    bool drop(Word address);
    void takeOver(const Call& call);
    const Site* operationOf(uint32_t thread) const;

    const Function* const malloc_;
    const Function* const calloc_;
    const Function* const free_;
    // Where a record has a block that passes to the library.
    std::vector<std::pair<const Record*, uint32_t>> taken_;

    std::atomic<bool> on_ = false;
    mutable std::mutex mutex_;
    std::unordered_map<Word, Block> blocks_;
    // The operation that each thread is in, by its number less one.
    std::vector<const Site*> operations_;
    LedgerSums sums_;
};

}  // namespace pcsim::probe

#endif
