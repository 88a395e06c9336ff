// pcsim-probe show: what is in a recording.
#include "console/error.h"
#include "console/text.h"
#include "probe/tools/selection.h"
#include "probe/tools/teller.h"
#include "probe/tools/tool.h"
#include "probe/tools/tools.h"

namespace pcsim::probe {
namespace {

constexpr Option kOptions[] = {
    kHelpOption,
    {.name = "json", .letter = 'j', .help = "A JSON document for each event, in lines"},
    {.name = "calls",
     .value = "CALLS",
     .help = "Those alone: 100-200,@pcSimIpAdj*",
     .need = "numbers and names of calls, for example 100-200,@pcSimIpAdj*",
     .takes = Takes::Name},
    {.name = "memory", .letter = 'm', .help = "With the bytes behind their pointers"},
    {.name = "facts", .letter = 'f', .help = "With what is known of the run, in front"},
};

constexpr Program kProgram{
    .name = "pcsim-probe show",
    .about = "pcsim-probe show: prints a recording as a trace.",
    .usage = "[options] FILE",
    .onWord = nullptr,
    .options = kOptions,
};

}  // namespace

int showCommand(const Words& words) {
    const GivenOptions given = readTool(kProgram, words, 1, "a recording");
    if (given.has("help")) return 0;
    const Selection selection = given.has("calls") ? Selection(given.text("calls")) : Selection();
    Loaded loaded{load(given.command.front())};
    const Recording& recording = loaded.recording;
    if (given.has("facts"))
        for (const auto& [what, value] : recording.facts)
            printText("# " + what + ": " + printable(value) + "\n");
    std::string text;
    const auto print = [&](const std::string& line) {
        text += line;
        if (text.size() < 65536) return;
        printText(text);
        text.clear();
    };
    const auto told = [&](const Event& call) {
        return recording.sites.empty() ? false : selection.has(recording, call);
    };
    if (given.has("json"))
        tellJson(recording, told, print);
    else
        tellText(recording, told, given.has("memory"), print);
    printText(text);
    return sayEnding(recording, given.command.front()) ? 0 : 1;
}

}  // namespace pcsim::probe
