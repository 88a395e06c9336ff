// pcsim-probe NAME COMMAND...: what a probed process is asked by others. Its counts are read from
// its control block without it; everything else it answers itself.
#include <cstdio>

#include "console/error.h"
#include "console/run_folder.h"
#include "console/text.h"
#include "probe/commands.h"
#include "probe/control/blocks.h"
#include "probe/control/options.h"
#include "probe/coverage_report.h"

namespace pcsim::probe {

namespace {

constexpr unsigned kWaitSeconds = 5;

const Option kControlOptions[] = {
    {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End},
    {.name = "wait",
     .value = "SECONDS",
     .help = "How long to wait for the process's next call; 5 without it",
     .need = "a number of seconds from 1 to 3600",
     .takes = Takes::Number,
     .low = 1,
     .high = 3600},
};

const Program kControlProgram{
    .name = "pcsim-probe NAME",
    .about = "pcsim-probe NAME: asks the probed process of that name or id.",
    .usage = "[--wait SECONDS] COMMAND [word...]",
    .onWord = nullptr,
    .options = kControlOptions,
};

// The words as the process takes them apart.
std::string requestOf(const Words& words) {
    std::string request;
    for (const std::string& word : words) {
        if (word.find('"') != word.npos) fail("a command can't have quotes in it: {}", shown(word));
        const bool plain = !word.empty() && word.find_first_of(" \t\r\n#") == word.npos;
        request += request.empty() ? "" : " ";
        request += plain ? word : "\"" + word + "\"";
    }
    return request;
}

// Files that the process is to write are of the folder of whoever asks for them.
Words withFiles(Words words) {
    const bool isRecord = words[0] == "record" && words.size() == 2 && words[1] != "stop";
    if (isRecord) words[1] = absoluteFile(words[1]);
    for (size_t i = 1; i + 1 < words.size(); ++i)
        if ((words[0] == "trace" || words[0] == "calls") && words[i] == "to")
            words[i + 1] = absoluteFile(words[i + 1]);
    return words;
}

// Whether the words ask for the counts, which need nobody's help.
bool asksForCoverage(const Words& words, bool& json) {
    json = words.size() == 2 && words[1] == "--json";
    return words[0] == "coverage" && (words.size() == 1 || json);
}

}  // namespace

int controlCommand(const std::string& nameOrPid, const Words& words) {
    const GivenOptions given = readCommand(kControlProgram, words);
    if (given.has("help")) return 0;
    const BlockCopy block = blockOf(runFolder(), nameOrPid);
    if (given.command.empty())
        throw OptionProblem("expected a command behind '" + nameOrPid +
                            "', for example: pcsim-probe " + nameOrPid + " coverage");
    bool json = false;
    if (asksForCoverage(given.command, json)) {
        print(coverageReport(coverageOf(block.sites(), block.siteCount())), json);
        return 0;
    }
    const Answer answer =
        ask(block, requestOf(withFiles(given.command)), given.number("wait", kWaitSeconds) * 1000);
    if (answer.failed) throw CommandError(answer.text);
    print(answer.text);
    return 0;
}

}  // namespace pcsim::probe
