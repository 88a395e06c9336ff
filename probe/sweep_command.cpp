// pcsim-probe sweep: the search for calls whose failure a HAL doesn't bear.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>

#include "console/error.h"
#include "probe/commands.h"
#include "probe/program_file.h"
#include "probe/sweep.h"

namespace pcsim::probe {

namespace {

const Option kSweepOptions[] = {
    {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End},
    {.name = "json", .help = "Answer in JSON"},
    {.name = "every",
     .value = "N",
     .help = "Fail each N-th call only",
     .need = "a number from 1 to 1000000",
     .takes = Takes::Number,
     .low = 1,
     .high = 1'000'000},
    {.name = "calls",
     .value = "N",
     .help = "Fail the first N calls of each operation only",
     .need = "a number from 1 to 1000000",
     .takes = Takes::Number,
     .low = 1,
     .high = 1'000'000},
    {.name = "only",
     .value = "PATTERN",
     .help = "Fail calls of these operations only; * and ? are wild cards",
     .need = "the name of an operation, for example --only 'pcSimFdb*'",
     .takes = Takes::Name},
    {.name = "host", .help = "Fail calls into the HAL, too"},
    {.name = "jobs",
     .letter = 'j',
     .value = "N",
     .help = "Runs at a time; 1 without it",
     .need = "a number from 1 to 256",
     .takes = Takes::Number,
     .low = 1,
     .high = 256},
    {.name = "timeout",
     .value = "SECONDS",
     .help = "How long a run may take; ten times the first one's and 5 s more without it",
     .need = "a number of seconds from 1 to 86400",
     .takes = Takes::Number,
     .low = 1,
     .high = 86400},
};

const Program kSweepProgram{
    .name = "pcsim-probe sweep",
    .about = "pcsim-probe sweep: runs a command once for each of its calls, which then fails.",
    .usage = "[options] -- PROGRAM [argument...]",
    .onWord = nullptr,
    .options = kSweepOptions,
};

volatile sig_atomic_t interrupted = 0;

void interrupt(int) {
    interrupted = 1;
}

SweepOptions optionsOf(const GivenOptions& given) {
    SweepOptions options;
    options.only = given.text("only");
    options.every = given.number("every", 1);
    options.calls = given.number("calls", 0);
    options.workers = given.number("jobs", 1);
    options.limitMs = given.number("timeout", 0) * 1000;
    options.host = given.has("host");
    return options;
}

// On a terminal, one line says how far it is.
bool tell(size_t done, size_t all) {
    static size_t told = 0;
    if (isatty(STDERR_FILENO) != 0 && all != 0 && done != told) {
        told = done;
        std::fprintf(stderr, "\r%zu of %zu runs\033[K%s", done, all, done == all ? "\r\033[K" : "");
    }
    return interrupted == 0;
}

Report reportOf(const SweepResult& result) {
    Table table{.key = "found",
                .title = "Calls whose failure isn't borne",
                .columns = {{"rule", "Rule"}, {"ending", "The run"}, {"said", "Its last line"}},
                .rows = {},
                .whenEmpty = "Every run ended in order.",
                .footer = ""};
    for (const Finding& finding : result.found)
        table.rows.push_back(
            {finding.site.rule(), textOf(finding.outcome), finding.outcome.lastLine});
    if (!result.found.empty())
        table.footer = "A rule in FILE repeats its run: pcsim-probe --plan FILE -- PROGRAM...";
    Report report(Fields{"sweep",
                         "Sweep",
                         {{"calls", "Calls counted", result.calls},
                          {"runs", "Runs", result.runs},
                          {"unmoved", "Ended as without a failure", result.unmoved},
                          {"errors", "Ended with an error", result.errors},
                          {"notReached", "Ended without the call", result.notReached},
                          {"found", "Crashed or hung", result.found.size()}}});
    report.add(std::move(table));
    return report;
}

// What could be said of each run is said once.
int refusalStatus(const Words& command) {
    std::string path;
    auto refusal = findProgram(command[0], path);
    if (!refusal) refusal = refusalOf(path);
    if (!refusal) return 0;
    std::fprintf(stderr, "pcsim-probe: %s\n", refusal->why.c_str());
    return refusal->status;
}

}  // namespace

int sweepCommand(const Words& words) {
    const GivenOptions given = readCommand(kSweepProgram, words);
    if (given.has("help")) return 0;
    if (given.command.empty())
        throw OptionProblem(
            "expected a program, for example: pcsim-probe sweep -- pcsim --lab 2 -f script");
    if (const int status = refusalStatus(given.command)) return status;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, interrupt);
    const SweepResult result = sweep(given.command, optionsOf(given), tell);
    print(reportOf(result), given.has("json"));
    if (result.left != 0)
        fail("the search was ended before {} of {} runs", result.left, result.left + result.runs);
    return result.found.empty() ? 0 : 1;
}

}  // namespace pcsim::probe
