// pcsim: the reference host. Loads the platform, boots it and opens the door that was asked for.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "host/console/session.h"
#include "host/core/machine.h"
#include "lab/lab.h"

namespace {

using namespace pcsim::host;

struct CommandLine {
    Options options;
    std::string shape = "stack";
    std::vector<std::string> commands;
    std::string script;
    bool json = false;
    bool quiet = false;
    bool echo = false;
    bool stopped = false;
};

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
    app.add_option("-x,--execute", line.commands, "Run this command and end (may be repeated)")
        ->allow_extra_args(false);
    app.add_option("-f,--file", line.script, "Run the commands of this file and end");
    app.add_flag("--json", line.json, "Answer every show in JSON");
    app.add_flag("--quiet", line.quiet, "Don't print events as they happen");
    app.add_flag("--echo", line.echo, "Print a script's commands before they run");
    app.add_flag("--stopped", line.stopped, "Boot with the clock stopped");
    app.set_version_flag("--version", PCSIM_VERSION);
}

void runDoors(const CommandLine& line) {
    if (line.options.labPorts != 0) {
        if (const auto problem = pcsim::lab::enterNamespace()) fail("{}", *problem);
    }
    Machine machine(line.options);
    if (line.stopped) machine.scheduler.stopAtZero();
    Session::Look look;
    look.json = line.json;
    look.echo = line.echo;
    look.liveEvents = line.commands.empty() && !line.json && !line.quiet;
    Session session(machine, look);
    machine.boot();
    for (size_t i = 0; i < line.commands.size(); ++i) {
        if (i != 0 && !line.json) session.print("\n");
        session.run(line.commands[i]);
        if (session.ended()) return;
    }
    if (!line.script.empty()) session.runScript(line.script);
    if (line.commands.empty() && line.script.empty()) session.prompt();
}

}  // namespace

int main(int argc, char** argv) {
    CommandLine line;
    CLI::App app{"pcsim: a simulated switch, and the reference host of its platform library."};
    describe(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    line.options.chassis = line.shape == "chassis";
    if (line.options.library.empty()) line.options.library = defaultLibrary();
    try {
        runDoors(line);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "pcsim: %s\n", error.what());
        return 1;
    }
    return 0;
}
