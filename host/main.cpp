// pcsim: the reference host. Loads the platform, boots it and opens the door that was asked for.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "console/json_sink.h"
#include "console/present.h"
#include "console/prompt.h"
#include "console/session.h"
#include "console/text.h"
#include "host/options.h"
#include "host/verbs/host_verbs.h"
#include "lab/lab.h"
#include "lab/options.h"

namespace {

using namespace pcsim;
using namespace pcsim::host;

// A command, or a script instead of one.
struct Step {
    std::string command;
    std::unique_ptr<Script> script;
};

int complain(const std::string& what, int status) {
    const std::string line = wrappedFor(STDERR_FILENO, "pcsim: " + printable(what));
    std::fprintf(stderr, "%s\n", line.c_str());
    return status;
}

int print(const std::string& text) {
    if (std::fputs(text.c_str(), stdout) == EOF || std::fflush(stdout) != 0)
        return complain(OutputError(errno).what(), 1);
    return 0;
}

// The library beside this program, as in a build directory, or in the library folder of the tree
// that both are installed in, or what the dynamic linker finds. A run path would not do: the linker
// ignores it when the program has file capabilities, and when dlopen is called by way of another
// library, as under sanitizers.
std::string defaultLibrary() {
    const std::string name = "libpcsimulation.so.0";
    char program[4096];
    const ssize_t size = readlink("/proc/self/exe", program, sizeof program);
    if (size <= 0) return name;
    std::string folder(program, static_cast<size_t>(size));
    folder.erase(folder.rfind('/') + 1);
    for (const char* place : {"", PCSIM_LIBRARIES "/"}) {
        const std::string path = folder + place + name;
        if (access(path.c_str(), R_OK) == 0) return path;
    }
    return name;
}

Options optionsOf(const CommandLine& line) {
    Options options;
    options.library = line.library.empty() ? defaultLibrary() : line.library;
    options.chassis = line.chassis;
    options.remoteIo = line.remoteIo;
    options.labPorts = line.labPorts;
    options.maxVr = line.maxVr;
    return options;
}

// Scripts are opened before anything is booted: a name that is wrong is told at once.
std::vector<Step> openSteps(const CommandLine& line) {
    std::vector<Step> steps;
    for (const auto& [isScript, text] : line.steps) {
        if (!isScript)
            steps.push_back({text, nullptr});
        else if (text == "-")
            steps.push_back({"", std::make_unique<Script>()});
        else
            steps.push_back({"", std::make_unique<Script>(text)});
    }
    return steps;
}

// The sink that the command line asks for; 'text' is it unless it wants JSON.
struct Sinks {
    Output output;
    TextSink text{output};
    std::unique_ptr<JsonSink> json;

    Sinks(const Surroundings& surroundings, CommandLine::Json form) : output(surroundings) {
        if (form == CommandLine::Json::kNone) return;
        const bool lines = form == CommandLine::Json::kLines;
        json = std::make_unique<JsonSink>(output,
                                          lines ? JsonSink::Form::kLines : JsonSink::Form::kArray);
    }
    Sink& chosen() { return json != nullptr ? static_cast<Sink&>(*json) : text; }
};

void runSteps(Session& session, const std::vector<Step>& steps, TextSink& text) {
    for (const Step& step : steps) {
        if (step.script != nullptr) {
            session.runScript(*step.script);
        } else {
            text.separate();
            session.run(step.command);
        }
        if (session.ended()) return;
    }
}

void runDoors(const CommandLine& line, const std::vector<Step>& steps, Machine& machine,
              Console& console, Sinks& sinks) {
    Session::Look look;
    look.echo = line.echo;
    look.liveEvents = !line.hasCommands() && line.json == CommandLine::Json::kNone && !line.quiet;
    Session session(console, sinks.chosen(), look);
    if (!line.plan.empty()) {
        Verbs verbs;
        addProbeVerbs(verbs, probePartsOf(machine));
        probe::runPlan(verbs, line.plan, session.later());
    }
    machine.boot();
    if (!steps.empty()) {
        runSteps(session, steps, sinks.text);
    } else if (isatty(STDIN_FILENO) != 0 && line.json == CommandLine::Json::kNone) {
        SessionDoor door(session);
        Prompt(console.surroundings, sinks.output, sinks.text, door).run();
    } else {
        Script input;
        session.runScript(input);
    }
    sinks.output.check();
}

void runMachine(const CommandLine& line) {
    const std::vector<Step> steps = openSteps(line);
    if (line.labPorts != 0) {
        if (const auto problem = pcsim::lab::enterNamespace()) fail("{}", *problem);
    }
    Machine machine(optionsOf(line));
    Context& context = machine.context;
    if (line.stopped) context.scheduler.stopAtZero();
    Console console(context.loop, context.events);
    addHostVerbs(console, machine);
    Sinks sinks(context.loop, line.json);
    // The machine goes on calling while it shuts down, when the sessions are gone.
    struct Quiet {
        Platform& platform;
        ~Quiet() { platform.trace.stop(); }
    } const quiet{context.platform};
    try {
        runDoors(line, steps, machine, console, sinks);
    } catch (CommandError& error) {
        if (!error.told) sinks.chosen().problem({error.code, error.what(), "", 0});
        throw;
    }
}

int run(int argc, char** argv) {
    // A descriptor that is opened later must not be taken for standard input.
    if (fcntl(STDIN_FILENO, F_GETFD) < 0) open("/dev/null", O_RDONLY);
    const CommandLine line = readCommandLine(argc, argv);
    if (line.help) return print(commandLineHelp());
    if (line.version) return print(PCSIM_VERSION "\n");
    runMachine(line);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const pcsim::OptionProblem& problem) {
        return complain(problem.what(), pcsim::kBadOptions);
    } catch (const OutputError& error) {
        return error.readerGone() ? 1 : complain(error.what(), 1);
    } catch (const std::exception& error) {
        return complain(error.what(), 1);
    }
}
