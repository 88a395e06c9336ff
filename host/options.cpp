// What the command line of pcsim may say, and how it is read.
#include "host/options.h"

#include <algorithm>

#include "console/server/instance_socket.h"
#include "console/variables.h"
#include "lab/options.h"

namespace pcsim::host {

namespace {

constexpr unsigned kStandardVr = 8;

const Option kOptions[] = {
    {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End},
    {.name = "version", .help = "Print the version and exit", .takes = Takes::End},
    {.name = "shape",
     .value = "SHAPE",
     .help = "Shape of the switch: stack or chassis; stack without it",
     .need = "'stack' or 'chassis'",
     .takes = Takes::Choice,
     .choices = {"stack", "chassis"}},
    {.name = "lab",
     .value = "PORTS",
     .help = "Run in a private network with this many cabled front-panel ports, 1 to 100",
     .need = "a number of ports from 1 to 100",
     .takes = Takes::Number,
     .low = 1,
     .high = 100},
    {.name = "await",
     .value = "PORTS",
     .help = "Wait for this many interfaces, eth1 to ethN, before boot; 1 to 100",
     .need = "a number of ports from 1 to 100",
     .takes = Takes::Number,
     .low = 1,
     .high = 100},
    {.name = "library",
     .value = "FILE",
     .help = "Platform library to load",
     .need = "the name of a platform library",
     .takes = Takes::Text},
    {.name = "remote-io", .help = "Simulate remote I/O: cards report their steps after a delay"},
    {.name = "plan",
     .value = "FILE",
     .help = "Faults and traces from before the first call: lines of these verbs",
     .need = "the name of a plan file",
     .takes = Takes::Name},
    {.name = "virtual-routers",
     .value = "N",
     .help = "Number of virtual routers, 1 to 4096; 8 without it",
     .need = "a number from 1 to 4096",
     .takes = Takes::Number,
     .low = 1,
     .high = 4096},
    {.name = "execute",
     .letter = 'x',
     .value = "COMMAND",
     .help = "Run this command and end. -x and -f may be repeated and run in their order",
     .need = "a command, for example -x 'show ports'",
     .takes = Takes::Text,
     .repeats = true},
    {.name = "file",
     .letter = 'f',
     .value = "SCRIPT",
     .help = "Run the commands of this file and end; - is standard input",
     .need = "the name of a script, or - for standard input",
     .takes = Takes::Name,
     .repeats = true},
    {.name = "json",
     .value = "lines",
     .help = "Make of the run one JSON array, or an object per line",
     .need = "no value, or 'lines'",
     .takes = Takes::Form,
     .choices = {"lines"}},
    {.name = "define",
     .letter = 'D',
     .value = "NAME=VALUE",
     .help = "Set a variable, which lines have as $NAME; may be repeated",
     .need = "NAME=VALUE, for example -D port=1:1",
     .takes = Takes::Text,
     .repeats = true},
    {.name = "keep-going",
     .letter = 'k',
     .help = "Go on after lines that fail, and end with status 1 if one has"},
    {.name = "report",
     .value = "tap|junit FILE",
     .help = "Write a test report: a case for each expect and wait, and each line that fails; may "
             "be repeated",
     .need = "'tap' or 'junit', and the name of a file",
     .takes = Takes::Pair,
     .repeats = true,
     .choices = {"tap", "junit"}},
    {.name = "name",
     .value = "NAME",
     .help = "What other programs find this instance by; pcsim-PID without it",
     .need = "a name of up to 64 letters, digits, '.', '_' and '-'",
     .takes = Takes::Name},
    {.name = "serve",
     .help = "Stay for other programs until SIGTERM or 'shutdown', without a prompt"},
    {.name = "quiet", .help = "Don't print events as they happen"},
    {.name = "echo", .help = "Print a script's commands before they run"},
    {.name = "stopped", .help = "Boot with the clock stopped"},
};

const Program kProgram{
    .name = "pcsim",
    .about = "pcsim: a simulated switch, and the reference host of its platform library.",
    .usage = "[options]",
    .onWord = "commands go behind -x, for example: pcsim --lab 4 -x 'show ports'",
    .options = kOptions,
};

}  // namespace

namespace {

CommandLine::Json jsonForm(const std::string& form) {
    return form == "lines" ? CommandLine::Json::kLines : CommandLine::Json::kArray;
}

std::pair<std::string, std::string> variableOf(const std::string& definition) {
    const size_t equals = definition.find('=');
    std::string name = definition.substr(0, equals);
    if (equals == std::string::npos)
        throw OptionProblem("--define needs NAME=VALUE, for example -D port=1:1");
    if (const auto problem = variableProblem(name)) throw OptionProblem("--define: " + *problem);
    return {std::move(name), definition.substr(equals + 1)};
}

void addReport(CommandLine& line, const GivenOption& option) {
    if (option.second == "-")
        throw OptionProblem("--report needs a file; standard output is the run's own");
    for (const auto& [form, path] : line.reports)
        if (path == option.second)
            throw OptionProblem("--report needs a file of its own for each report; " + path +
                                " is named twice");
    line.reports.emplace_back(option.value, option.second);
}

}  // namespace

bool CommandLine::hasCommands() const {
    for (const Step& step : steps)
        if (!step.isScript) return true;
    return false;
}

CommandLine readCommandLine(int argc, char* const* argv) {
    const GivenOptions given = readOptions(kProgram, argc, argv);
    CommandLine line;
    line.help = given.has("help");
    line.version = given.has("version");
    line.chassis = given.text("shape") == "chassis";
    line.remoteIo = given.has("remote-io");
    if (given.has("json")) line.json = jsonForm(given.text("json"));
    line.quiet = given.has("quiet");
    line.echo = given.has("echo");
    line.stopped = given.has("stopped");
    line.keepGoing = given.has("keep-going");
    line.serve = given.has("serve");
    line.name = given.text("name");
    if (!line.name.empty() && !nameProblem(line.name).empty())
        throw OptionProblem("--name: " + nameProblem(line.name));
    line.labPorts = given.number("lab", 0);
    line.awaitedPorts = given.number("await", 0);
    if (line.labPorts != 0 && line.awaitedPorts != 0)
        throw OptionProblem("--lab brings its own interfaces; expected --lab or --await");
    line.maxVr = given.number("virtual-routers", kStandardVr);
    line.library = given.text("library");
    line.plan = given.text("plan");
    for (const GivenOption& option : given.inOrder) {
        if (option.name == "execute" || option.name == "file")
            line.steps.push_back({option.name == "file", option.value});
        if (option.name == "define") line.variables.push_back(variableOf(option.value));
        if (option.name == "report") addReport(line, option);
    }
    return line;
}

CommandLine::Json jsonAskedFor(int argc, char* const* argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--json" || word.starts_with("--json="))
            return jsonForm(word.substr(std::min<size_t>(word.size(), 7)));
    }
    return CommandLine::Json::kNone;
}

std::string commandLineHelp() {
    return helpText(kProgram);
}

}  // namespace pcsim::host
