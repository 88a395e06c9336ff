// pcsim-probe export: a recording as a program.
#include "console/error.h"
#include "probe/tools/exporter.h"
#include "probe/tools/tool.h"
#include "probe/tools/tools.h"

namespace pcsim::probe {
namespace {

constexpr Option kOptions[] = {
    kHelpOption,
    {.name = "c", .letter = 'c', .help = "As a host in C"},
    {.name = "output",
     .letter = 'o',
     .value = "FILE",
     .help = "Where to write it; else to standard output",
     .need = "a file",
     .takes = Takes::Name},
};

constexpr Program kProgram{
    .name = "pcsim-probe export",
    .about = "pcsim-probe export: writes a recording as a host that makes the same calls.",
    .usage = "FILE --c [-o FILE.c]",
    .onWord = nullptr,
    .options = kOptions,
};

}  // namespace

int exportCommand(const Words& words) {
    const GivenOptions given = readTool(kProgram, words, 1, "a recording");
    if (given.has("help")) return 0;
    if (!given.has("c")) throw OptionProblem("expected --c: there is no other language yet");
    const std::string& path = given.command.front();
    const Loaded loaded = loadSaying(path);
    const std::string name = path.substr(path.rfind('/') + 1);
    writeText(given.text("output"), Exporter(loaded.recording).text(name));
    return loaded.whole ? 0 : 1;
}

}  // namespace pcsim::probe
