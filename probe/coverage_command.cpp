// pcsim-probe coverage: one file shown, or several added up.
#include <cstdio>

#include "console/error.h"
#include "probe/commands.h"
#include "probe/coverage_reader.h"
#include "probe/coverage_report.h"

namespace pcsim::probe {

namespace {

const Option kCoverageOptions[] = {
    {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End},
    {.name = "json", .help = "Answer in JSON"},
    {.name = "output",
     .letter = 'o',
     .value = "FILE",
     .help = "Write the sum into a coverage file instead of showing it",
     .need = "the name of a file",
     .takes = Takes::Name},
    {.name = "fail-under",
     .value = "PERCENT",
     .help = "End with 1 when fewer of a hundred offered operations were called",
     .need = "a percentage from 0 to 100",
     .takes = Takes::Number,
     .low = 0,
     .high = 100},
};

const Program kCoverageProgram{
    .name = "pcsim-probe coverage",
    .about = "pcsim-probe coverage: what was called in one run, or in several.",
    .usage = "show FILE | merge FILE... [options]",
    .onWord = nullptr,
    .options = kCoverageOptions,
};

void checkUse(const Words& words) {
    if (words.empty() || (words[0] != "show" && words[0] != "merge"))
        throw OptionProblem("expected 'coverage show FILE' or 'coverage merge FILE...'");
    if (words.size() < 2) throw OptionProblem("expected a coverage file behind '" + words[0] + "'");
    if (words[0] == "show" && words.size() > 2)
        throw OptionProblem("'coverage show' takes one file; 'coverage merge' adds up several");
}

}  // namespace

int coverageCommand(const Words& words) {
    const GivenOptions given = readAnywhere(kCoverageProgram, words);
    if (given.has("help")) return 0;
    checkUse(given.command);
    CoverageData sum = readCoverage(given.command[1]);
    for (size_t i = 2; i < given.command.size(); ++i) sum.add(readCoverage(given.command[i]));
    if (given.has("output"))
        writeCoverage(given.text("output"), sum);
    else
        print(coverageReport(sum), given.has("json"));
    const uint32_t percent = percentCalled(sum), least = given.number("fail-under", 0);
    if (percent < least)
        fail("{} % of {} operations were called; expected at least {} %", percent,
             sum.platform.size(), least);
    return 0;
}

}  // namespace pcsim::probe
