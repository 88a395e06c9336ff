// pcsim: the reference host. Loads the platform, boots it and opens the door that was asked for.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "console/json.h"
#include "console/json_sink.h"
#include "console/present.h"
#include "console/prompt.h"
#include "console/session.h"
#include "console/test_report.h"
#include "console/text.h"
#include "host/await.h"
#include "host/options.h"
#include "host/serve.h"
#include "host/verbs/host_verbs.h"
#include "lab/lab.h"
#include "lab/options.h"
#include "lab/version.h"

namespace {

using namespace pcsim;
using namespace pcsim::host;

// A command, or a script instead of one.
struct Input {
    std::string command;
    std::unique_ptr<Script> script;
};

int complain(const std::string& what, int status) {
    const std::string line = wrappedFor(STDERR_FILENO, "pcsim: " + printable(what));
    std::fprintf(stderr, "%s\n", line.c_str());
    return status;
}

// The same when there is no memory for more than these words.
int complainOfMemory() {
    constexpr std::string_view kLine = "pcsim: out of memory\n";
    static_cast<void>(!::write(STDERR_FILENO, kLine.data(), kLine.size()));
    return 1;
}

std::terminate_handler onTerminate;

// Memory may run out where nothing can be thrown: while the machine is taken down because it had
// run out.
[[noreturn]] void endAtOnce() {
    try {
        if (std::current_exception() != nullptr) throw;
    } catch (const std::bad_alloc&) {
        _exit(complainOfMemory());
    } catch (...) {
    }
    onTerminate();
    std::abort();
}

int print(const std::string& text) {
    if (std::fputs(text.c_str(), stdout) == EOF || std::fflush(stdout) != 0)
        return complain(OutputError(errno).what(), 1);
    return 0;
}

JsonSink::Form jsonFormOf(CommandLine::Json json) {
    return json == CommandLine::Json::kLines ? JsonSink::Form::kLines : JsonSink::Form::kArray;
}

// Prints the text of a run without lines, in JSON as all of the document.
int printAlone(const std::string& text, CommandLine::Json json) {
    if (json == CommandLine::Json::kNone) return print(text);
    return print(JsonSink::document(jsonFormOf(json), R"({"text":)" + jsonString(text) + "}"));
}

// The same for a problem, before there is a sink to tell it.
int complainAlone(const Problem& problem, CommandLine::Json json, int status) {
    if (json != CommandLine::Json::kNone)
        print(JsonSink::document(jsonFormOf(json), R"({"error":)" + jsonOf(problem) + "}"));
    return complain(problem.message, status);
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
std::vector<Input> openInputs(const CommandLine& line) {
    std::vector<Input> inputs;
    for (const auto& [isScript, text] : line.steps) {
        if (!isScript)
            inputs.push_back({text, nullptr});
        else if (text == "-")
            inputs.push_back({"", std::make_unique<Script>()});
        else
            inputs.push_back({"", std::make_unique<Script>(text)});
    }
    return inputs;
}

// The test reports that the command line asks for, opened before anything is booted as well.
struct Reports {
    std::list<TestReport> all;

    explicit Reports(const CommandLine& line) {
        for (const auto& [form, path] : line.reports)
            all.emplace_back(form == "tap" ? TestReport::Form::kTap : TestReport::Form::kJunit,
                             path);
    }
    void add(const Step& step) {
        for (TestReport& report : all) report.add(step);
    }
    void addProblem(const std::string& message) {
        for (TestReport& report : all) report.addProblem(message);
    }
    void finish() {
        while (!all.empty()) {
            TestReport report = std::move(all.front());
            all.pop_front();
            report.finish();
        }
    }
};

// The sink that the command line asks for; 'text' is it unless it wants JSON.
struct Sinks {
    Output output;
    TextSink text{output};
    std::unique_ptr<JsonSink> json;

    Sinks(const Surroundings& surroundings, CommandLine::Json form) : output(surroundings) {
        if (form == CommandLine::Json::kNone) return;
        json = std::make_unique<JsonSink>(output, jsonFormOf(form));
    }
    Sink& chosen() { return json != nullptr ? static_cast<Sink&>(*json) : text; }
};

void runInputs(Session& session, const std::vector<Input>& inputs, TextSink& text) {
    for (const Input& input : inputs) {
        if (input.script != nullptr) {
            session.runScript(*input.script);
        } else {
            text.separate();
            session.runStep(input.command);
        }
        if (session.ended()) return;
    }
    session.finish();
}

// The exit status that the lines want, or what became of them.
int statusOf(const Session& session) {
    return session.exitStatus().value_or(session.passedOver() != 0 ? 1 : 0);
}

int runDoors(const CommandLine& line, const std::vector<Input>& inputs, Machine& machine,
             Console& console, Sinks& sinks, Reports& reports, Server* server) {
    Session::Look look;
    look.echo = line.echo;
    look.keepGoing = line.keepGoing;
    look.liveEvents = !line.hasCommands() && line.json == CommandLine::Json::kNone && !line.quiet;
    Session session(console, sinks.chosen(), look);
    for (const auto& [name, value] : line.variables) session.variables().set(name, value);
    session.onStep = [&](const Step& step) { reports.add(step); };
    session.onPassedOver = [](const CommandError& error) { complain(error.what(), 1); };
    if (!line.plan.empty()) {
        Verbs verbs;
        addProbeVerbs(verbs, probePartsOf(machine));
        probe::runPlan(verbs, line.plan, session.later());
    }
    machine.boot();
    if (server != nullptr) server->begin();
    if (!inputs.empty() || line.serve) {
        runInputs(session, inputs, sinks.text);
        if (line.serve && !session.ended()) serve(console.surroundings);
    } else if (isatty(STDIN_FILENO) != 0 && line.json == CommandLine::Json::kNone) {
        SessionDoor door(session);
        Prompt(console.surroundings, sinks.output, sinks.text, door).run();
    } else {
        Script input;
        session.runScript(input);
    }
    sinks.output.check();
    return statusOf(session);
}

// Whoever has ended the program says how it went.
int endedFromOutside(const Console& console, Reports& reports) {
    reports.finish();
    return *console.endStatus;
}

// What calls are written to may have ended before the run did.
int statusWithCalls(Platform& platform, int status) {
    for (const std::string& problem : {platform.trace.stop(), platform.recorder.problem()})
        if (!problem.empty()) status = complain(problem, status == 0 ? 1 : status);
    return status;
}

int runMachine(const CommandLine& line, Reports& reports) {
    const std::vector<Input> inputs = openInputs(line);
    const SocketDoor door = openSocket(line);
    if (line.labPorts != 0) {
        if (const auto problem = pcsim::lab::enterNamespace()) fail("{}", *problem);
    }
    if (line.awaitedPorts != 0) awaitInterfaces(line.awaitedPorts);
    Machine machine(optionsOf(line));
    Context& context = machine.context;
    if (line.stopped) context.scheduler.stopAtZero();
    Console console(context.loop, context.events);
    if (!line.name.empty()) console.name = line.name;
    addHostVerbs(console, machine);
    std::unique_ptr<Server> server;
    if (door.socket != nullptr)
        server = std::make_unique<Server>(console, *door.socket, serverFactsOf(machine));
    else
        context.events.note("door", "There is no socket: {}", door.problem);
    Sinks sinks(context.loop, line.json);
    // The machine goes on calling while it shuts down, when the sessions are gone.
    struct Quiet {
        Platform& platform;
        ~Quiet() { platform.trace.stop(); }
    } const quiet{context.platform};
    try {
        const int status = runDoors(line, inputs, machine, console, sinks, reports, server.get());
        reports.finish();
        return statusWithCalls(context.platform, console.endStatus.value_or(status));
    } catch (CommandError& error) {
        if (console.endStatus) return endedFromOutside(console, reports);
        if (error.told) throw;
        sinks.chosen().problem({error.code, error.what(), "", 0});
        reports.addProblem(error.what());
        error.told = true;
        throw;
    }
}

// Reports are finished however the machine ends.
int runReported(const CommandLine& line) {
    Reports reports(line);
    const auto finish = [&] {
        try {
            reports.finish();
        } catch (const CommandError& error) {
            complain(error.what(), 1);
        }
    };
    try {
        return runMachine(line, reports);
    } catch (const CommandError& error) {
        if (!error.told) reports.addProblem(error.what());
        finish();
        throw;
    } catch (...) {
        finish();
        throw;
    }
}

int run(int argc, char** argv) {
    // A descriptor that is opened later must not be taken for standard input.
    if (fcntl(STDIN_FILENO, F_GETFD) < 0) open("/dev/null", O_RDONLY);
    CommandLine line;
    try {
        line = readCommandLine(argc, argv);
    } catch (const OptionProblem& problem) {
        return complainAlone({ErrorCode::kUsage, problem.what(), "", 0}, jsonAskedFor(argc, argv),
                             kBadOptions);
    }
    if (line.help) return printAlone(commandLineHelp(), line.json);
    if (line.version) return printAlone(versionText("pcsim"), line.json);
    try {
        return runReported(line);
    } catch (const CommandError& error) {
        if (error.told) return complain(error.what(), 1);
        return complainAlone({error.code, error.what(), "", 0}, line.json, 1);
    }
}

int runComplaining(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const OutputError& error) {
        return error.readerGone() ? 1 : complain(error.what(), 1);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        return complain(error.what(), 1);
    }
}

}  // namespace

int main(int argc, char** argv) {
    onTerminate = std::set_terminate(endAtOnce);
    try {
        return runComplaining(argc, argv);
    } catch (const std::bad_alloc&) {
        return complainOfMemory();
    }
}
