// The options of a probe: table, reading, and the text that carries them into a program.
#include "probe/control/options.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <vector>

#include "console/error.h"
#include "console/words.h"
#include "probe/control/blocks.h"

namespace pcsim::probe {

namespace {

const Option kOptions[] = {
    {.name = "name",
     .value = "NAME",
     .help = "Call the process this; by program and process id without it",
     .need = "a name, for example --name sw1",
     .takes = Takes::Name},
    {.name = "plan",
     .value = "FILE",
     .help = "Arm the fault rules of this file before the first call",
     .need = "the name of a file with fault rules",
     .takes = Takes::Name},
    {.name = "trace",
     .value = "FILE",
     .help = "Write a line of each call into this file",
     .need = "the name of a file",
     .takes = Takes::Name},
    {.name = "record",
     .value = "FILE",
     .help = "Record every call into this file",
     .need = "the name of a file",
     .takes = Takes::Name},
    {.name = "coverage",
     .value = "FILE",
     .help = "At the end, write what was called into this file",
     .need = "the name of a file",
     .takes = Takes::Name},
    {.name = "flight",
     .value = "N",
     .help = "Keep the last N calls for 'pcsim-probe post-mortem'",
     .need = "a number of calls from 1 to 1000000",
     .takes = Takes::Number,
     .low = 1,
     .high = kMostFlight},
    {.name = "times", .help = "Take the time of every call"},
    {.name = "tree", .help = "Look at calls of the ordered tree, too"},
};

const Program kProgram{
    .name = "pcsim-probe",
    .about = "",
    .usage = "",
    .onWord = "PCSIM_PROBE holds options alone",
    .options = kOptions,
};

// The options with a file behind them.
using FileOption = std::pair<const char*, std::string ProbeOptions::*>;
constexpr FileOption kFiles[] = {
    {"plan", &ProbeOptions::plan},
    {"trace", &ProbeOptions::trace},
    {"record", &ProbeOptions::record},
    {"coverage", &ProbeOptions::coverage},
};

}  // namespace

std::string absoluteFile(const std::string& file) {
    if (file.empty() || file[0] == '/') return file;
    char folder[PATH_MAX];
    if (getcwd(folder, sizeof folder) == nullptr) return file;
    return std::string(folder) + "/" + file;
}

std::span<const Option> probeOptions() {
    return kOptions;
}

ProbeOptions probeOptionsOf(const GivenOptions& given) {
    ProbeOptions options;
    options.name = given.text("name");
    if (!options.name.empty()) checkBlockName(options.name);
    for (const auto& [name, file] : kFiles) {
        options.*file = absoluteFile(given.text(name));
        if ((options.*file).find('"') != std::string::npos)
            fail("--{} needs the name of a file without quotes in it or in its folder's", name);
    }
    options.tree = given.has("tree");
    options.times = given.has("times");
    options.flight = given.number("flight", 0);
    return options;
}

ProbeOptions readProbeOptions(const std::string& text) {
    Words words = splitWords(text);
    words.insert(words.begin(), kProgram.name);
    std::vector<char*> arguments;
    arguments.reserve(words.size());
    for (std::string& word : words) arguments.push_back(word.data());
    return probeOptionsOf(
        readOptions(kProgram, static_cast<int>(arguments.size()), arguments.data()));
}

std::string textOf(const ProbeOptions& options) {
    std::string text;
    const auto add = [&](const std::string& name, const std::string& value) {
        if (!value.empty()) text += "--" + name + "=\"" + value + "\" ";
    };
    add("name", options.name);
    for (const auto& [name, file] : kFiles) add(name, options.*file);
    if (options.flight != 0) add("flight", std::to_string(options.flight));
    if (options.tree) text += "--tree ";
    if (options.times) text += "--times ";
    if (!text.empty()) text.pop_back();
    return text;
}

}  // namespace pcsim::probe
