// pcsim-probe list: the probed processes that run, and those that have left something to read.
#include <sys/wait.h>

#include "console/run_folder.h"
#include "probe/commands.h"
#include "probe/control/blocks.h"

namespace pcsim::probe {

namespace {

const Option kListOptions[] = {
    {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End},
    {.name = "json", .help = "Answer in JSON"},
};

const Program kListProgram{
    .name = "pcsim-probe list",
    .about = "pcsim-probe list: the probed processes that run, and what others have left.",
    .usage = "[options]",
    .onWord = "the command takes no words",
    .options = kListOptions,
};

const char* stateOf(const BlockCopy& block) {
    if (block.runs()) return "runs";
    const BlockHeader& header = block.header();
    if (header.ended != 0) return "ended";
    return header.waited != 0 && WIFSIGNALED(header.waitStatus) ? "killed" : "gone";
}

}  // namespace

int listCommand(const Words& words) {
    const GivenOptions given = readCommand(kListProgram, words);
    if (given.has("help")) return 0;
    Table table{.key = "processes",
                .title = "Probed processes",
                .columns = {{"name", "Name"},
                            {"pid", "Process", Align::kRight},
                            {"state", "State"},
                            {"flight", "Flight", Align::kRight},
                            {"program", "Program"}},
                .rows = {},
                .whenEmpty = "There is none; 'pcsim-probe -- PROGRAM' starts one.",
                .footer = ""};
    const std::string folder = runFolder();
    for (const BlockCopy& block : blocksIn(folder))
        table.rows.push_back({block.name(), block.header().pid, stateOf(block),
                              block.header().flightSize, block.program()});
    print(std::move(table), given.has("json"));
    removeStaleBlocks(folder);
    return 0;
}

}  // namespace pcsim::probe
