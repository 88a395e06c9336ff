// pcsimctl: asks instances of pcsim that run, by their names.
//
//   pcsimctl                        which there are
//   pcsimctl NAME show ports        one line
//   pcsimctl NAME                   a prompt, or the lines of standard input
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "console/ctl/commands.h"
#include "console/ctl/instances.h"
#include "console/output.h"
#include "console/present.h"
#include "console/text.h"
#include "lab/options.h"
#include "lab/version.h"

namespace {

using namespace pcsim;

const Option kOptions[] = {
    {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End},
    {.name = "version", .help = "Print the version and exit", .takes = Takes::End},
    {.name = "json", .help = "Answer in JSON: the list, and an object for each line"},
    {.name = "names", .help = "Print the names of the instances, one a line"},
};

const Program kProgram{
    .name = "pcsimctl",
    .about = "pcsimctl: lists the instances of pcsim that run, and runs lines in them.",
    .usage = "[options] [NAME [LINE... | events [--follow] [--json] [about TEXT] | watch MS LINE]]",
    .onWord = nullptr,
    .options = kOptions,
};

int complain(const std::string& what, int status) {
    const std::string line = wrappedFor(STDERR_FILENO, "error: " + printable(what));
    std::fprintf(stderr, "%s\n", line.c_str());
    return status;
}

int print(const std::string& text) {
    if (std::fputs(text.c_str(), stdout) == EOF || std::fflush(stdout) != 0)
        throw OutputError(errno);
    return 0;
}

int list(const GivenOptions& given, Signals& signals) {
    const auto instances = runningInstances(signals);
    if (given.has("names")) {
        std::string names;
        for (const auto& instance : instances) names += instance->name() + "\n";
        return print(names);
    }
    const Report report = listOf(instances);
    return print(given.has("json") ? report.json() : report.text());
}

int command(Link& link, Words words, bool json, Signals& signals) {
    if (words.empty()) {
        if (isatty(STDIN_FILENO) != 0 && !json) return runPrompt(link, signals);
        return runScript(link, signals, json);
    }
    const std::string first = words[0];
    const Words rest(words.begin() + 1, words.end());
    if (first == "--complete") return completeWords(link, rest);
    const bool isVerb = !rest.empty() && (rest[0] == "on" || rest[0] == "off");
    if (first == "events" && !isVerb) return showEvents(link, rest, json);
    if (first == "watch") return watchLine(link, signals, rest);
    return runLine(link, words, json);
}

int run(int argc, char** argv) {
    const GivenOptions given = readOptions(kProgram, argc, argv);
    if (given.has("help")) return print(helpText(kProgram));
    if (given.has("version")) return print(versionText(kProgram.name));
    Signals signals;
    if (given.command.empty()) return list(given, signals);
    const auto link = instanceNamed(given.command[0], signals);
    return command(*link, {given.command.begin() + 1, given.command.end()}, given.has("json"),
                   signals);
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
