// Verbs of the library's memory.
#include "probe/verbs/probe_verbs.h"

namespace pcsim::probe {

namespace {

Fields sumFields(const LedgerSums& sums) {
    return {"memory",
            "Memory of the platform",
            {{"blocks", "Blocks", sums.blocks},
             {"bytes", "Bytes", sums.bytes},
             {"mostBlocks", "Most blocks", sums.mostBlocks},
             {"mostBytes", "Most bytes", sums.mostBytes},
             {"allocated", "Allocated", sums.allocated},
             {"freed", "Freed", sums.freed},
             {"handedOut", "Handed to the host", sums.handedOut},
             {"takenOver", "Taken from the host", sums.takenOver},
             {"refused", "Refused", sums.refused},
             {"freedOthers", "Freed, never seen", sums.freedOthers}}};
}

Table blockTable(const std::vector<BlockRow>& rows) {
    Table table{"blocks",
                "Blocks",
                {{"operation", "Allocated in"},
                 {"size", "Size", Align::kRight},
                 {"blocks", "Blocks", Align::kRight},
                 {"bytes", "Bytes", Align::kRight}},
                {},
                "none",
                ""};
    for (const BlockRow& row : rows)
        table.rows.push_back({row.operation.empty() ? Cell() : Cell(row.operation), row.bytes,
                              row.blocks, row.bytes * row.blocks});
    return table;
}

}  // namespace

void addMemoryVerbs(Verbs& verbs, Ledger& ledger) {
    verbs.action("memory <state:on|off>", "note the blocks that the platform allocates, or not",
                 [&ledger](pcsim::Call& call) {
                     if (call.text("state") == "off")
                         ledger.stop();
                     else if (!ledger.on())
                         ledger.start();
                 });
    verbs.show(
        "show memory", "blocks that the platform has allocated, by operation and size",
        [&ledger](pcsim::Call&) {
            if (!ledger.on())
                fail("no blocks are noted; expected 'memory on' before, in a plan for all of them");
            return Report(sumFields(ledger.sums())).add(blockTable(ledger.rows()));
        });
}

}  // namespace pcsim::probe
