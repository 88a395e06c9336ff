// pcsim: the reference host. Loads the platform, boots it and opens the door that was asked for.
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "console/session.h"
#include "console/text.h"
#include "host/verbs/host_verbs.h"
#include "lab/lab.h"
#include "lab/options.h"

namespace {

using namespace pcsim;
using namespace pcsim::host;

// What -x and -f ask for, in their order.
struct Step {
    std::string command;
    std::unique_ptr<Script> script;  // instead of a command
};

struct CommandLine {
    Options options;
    std::string shape = "stack";
    std::vector<std::string> commands;
    std::vector<std::string> scripts;
    std::vector<Step> steps;
    bool json = false;
    bool quiet = false;
    bool echo = false;
    bool stopped = false;
};

const pcsim::OptionNeeds kNeeds{
    {"--lab", "a number of ports from 1 to 100"},
    {"--shape", "'stack' or 'chassis'"},
    {"--library", "the name of a platform library"},
    {"--virtual-routers", "a number from 1 to 4096"},
    {"--execute", "a command, for example -x 'show ports'"},
    {"--file", "the name of a script, or - for standard input"},
};

int complain(const std::string& what, int status) {
    std::fprintf(stderr, "pcsim: %s\n", printable(what).c_str());
    return status;
}

// The library beside this program, or where the linker finds it.
std::string defaultLibrary() {
    char path[4096];
    const ssize_t size = readlink("/proc/self/exe", path, sizeof path - 1);
    if (size > 0) {
        std::string beside(path, static_cast<size_t>(size));
        beside.erase(beside.rfind('/') + 1);
        beside += "libpcsimulation.so.0";
        if (access(beside.c_str(), R_OK) == 0) return beside;
    }
    return "libpcsimulation.so.0";
}

void describe(CLI::App& app, CommandLine& line) {
    app.add_option("--shape", line.shape, "Shape of the switch")
        ->check(CLI::IsMember({"stack", "chassis"}))
        ->capture_default_str();
    app.add_option("--lab", line.options.labPorts,
                   "Run in a private network with this many cabled front-panel ports")
        ->check(CLI::Range(1, 100));
    app.add_option("--library", line.options.library, "Platform library to load");
    app.add_flag("--remote-io", line.options.remoteIo,
                 "Simulate remote I/O: cards report their steps after a delay");
    app.add_option("--virtual-routers", line.options.maxVr, "Number of virtual routers")
        ->check(CLI::Range(1, 4096))
        ->capture_default_str();
    app.add_option("-x,--execute", line.commands,
                   "Run this command and end. -x and -f may be repeated and run in their order")
        ->allow_extra_args(false);
    app.add_option("-f,--file", line.scripts,
                   "Run the commands of this file and end; - is standard input")
        ->allow_extra_args(false);
    app.add_flag("--json", line.json, "Answer every show in JSON");
    app.add_flag("--quiet", line.quiet, "Don't print events as they happen");
    app.add_flag("--echo", line.echo, "Print a script's commands before they run");
    app.add_flag("--stopped", line.stopped, "Boot with the clock stopped");
    for (CLI::Option* option : app.get_options())
        if (option->get_expected_max() == 0) option->disable_flag_override();
    app.set_version_flag("--version", PCSIM_VERSION);
}

// Scripts are opened before anything is booted: a name that is wrong is told at once.
void collectSteps(const CLI::App& app, CommandLine& line) {
    size_t commands = 0, scripts = 0;
    for (const CLI::Option* option : app.parse_order()) {
        if (option->get_name() == "--execute") {
            line.steps.push_back({line.commands[commands++], nullptr});
        } else if (option->get_name() == "--file") {
            const std::string& name = line.scripts[scripts++];
            line.steps.push_back(
                {"", name == "-" ? std::make_unique<Script>() : std::make_unique<Script>(name)});
        }
    }
}

void runSteps(Session& session, const CommandLine& line) {
    for (const Step& step : line.steps) {
        if (step.script != nullptr) {
            session.runScript(*step.script);
        } else {
            if (!line.json) session.separate();
            session.run(step.command);
        }
        if (session.ended()) return;
    }
}

void runDoors(const CommandLine& line) {
    if (line.options.labPorts != 0) {
        if (const auto problem = pcsim::lab::enterNamespace()) fail("{}", *problem);
    }
    Machine machine(line.options);
    if (line.stopped) machine.context.scheduler.stopAtZero();
    Session::Look look;
    look.json = line.json;
    look.echo = line.echo;
    look.liveEvents = line.commands.empty() && !line.json && !line.quiet;
    Session session(machine.context.loop, machine.context.events, look);
    addHostVerbs(session, machine);
    // The machine goes on calling while it shuts down, when the session is gone.
    struct Quiet {
        Platform& platform;
        ~Quiet() { platform.onCall = nullptr; }
    } const quiet{machine.context.platform};
    machine.boot();
    if (!line.steps.empty()) {
        runSteps(session, line);
    } else if (isatty(STDIN_FILENO) != 0) {
        session.prompt();
    } else {
        Script input;
        session.runScript(input);
    }
    session.checkOutput();
}

int run(int argc, char** argv) {
    // A descriptor that is opened later must not be taken for standard input.
    if (fcntl(STDIN_FILENO, F_GETFD) < 0) open("/dev/null", O_RDONLY);
    CommandLine line;
    CLI::App app{"pcsim: a simulated switch, and the reference host of its platform library.",
                 "pcsim"};
    describe(app, line);
    try {
        app.parse(argc, argv);
        for (const std::string& name : line.scripts)
            if (name.empty()) throw CLI::ValidationError("--file", "empty");
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            app.exit(error);  // help, or the version
            std::cout.flush();
            return std::cout ? 0 : complain(OutputError(errno).what(), 1);
        }
        return complain(pcsim::optionProblem(app, error, kNeeds,
                                             "commands go behind -x, for example: pcsim --lab 4 "
                                             "-x 'show ports'"),
                        pcsim::kBadOptions);
    }
    line.options.chassis = line.shape == "chassis";
    if (line.options.library.empty()) line.options.library = defaultLibrary();
    collectSteps(app, line);
    runDoors(line);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const OutputError& error) {
        return error.readerGone() ? 1 : complain(error.what(), 1);
    } catch (const std::exception& error) {
        return complain(error.what(), 1);
    }
}
