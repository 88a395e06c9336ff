// pcsim-nics: runs any command in a lab of its own.
//
//   pcsim-nics --ports 4 -- ip -brief link
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "lab/lab.h"
#include "lab/options.h"
#include "lab/version.h"

namespace {

constexpr int kNoLab = 77;  // distinct from what a command returns; "skipped" to a test driver
constexpr char kExample[] = "expected a command, for example: pcsim-nics --ports 4 -- ip link";

const pcsim::Option kOptions[] = {
    {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = pcsim::Takes::End},
    {.name = "version", .help = "Print the version and exit", .takes = pcsim::Takes::End},
    {.name = "ports",
     .letter = 'p',
     .value = "N",
     .help = "Front-panel ports, eth1 to ethN; 4 without it",
     .need = "a number from 1 to 2816",
     .takes = pcsim::Takes::Number,
     .low = 1,
     .high = pcsim::lab::kMostPorts},
};
static_assert(pcsim::lab::kMostPorts == 2816, "the text above says so");

const pcsim::Program kProgram{
    .name = "pcsim-nics",
    .about = "pcsim-nics: runs a command in a private network with the interfaces eth0 to ethN.",
    .usage = "[options] [--] command [argument...]",
    .onWord = nullptr,
    .options = kOptions,
};

int complain(const std::string& what, int status) {
    fprintf(stderr, "pcsim-nics: %s\n", what.c_str());
    return status;
}

int print(const std::string& text) {
    if (fputs(text.c_str(), stdout) == EOF || fflush(stdout) != 0)
        return complain(std::string("standard output can't be written: ") + strerror(errno), 1);
    return 0;
}

int run(int argc, char** argv) {
    pcsim::GivenOptions given = pcsim::readOptions(kProgram, argc, argv);
    if (given.has("help")) return print(helpText(kProgram));
    if (given.has("version")) return print(pcsim::versionText(kProgram.name));
    if (given.command.empty()) throw pcsim::OptionProblem(kExample);

    if (auto problem = pcsim::lab::enterNamespace()) return complain(*problem, kNoLab);
    pcsim::lab::Lab lab;
    if (auto problem = lab.create(given.number("ports", 4))) return complain(*problem, 1);

    std::vector<char*> arguments;
    arguments.reserve(given.command.size() + 1);
    for (std::string& argument : given.command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    return complain(given.command[0] + ": " + strerror(errno), errno == ENOENT ? 127 : 126);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const pcsim::OptionProblem& problem) {
        return complain(problem.what(), pcsim::kBadOptions);
    } catch (const std::exception& problem) {
        return complain(problem.what(), 1);
    }
}
