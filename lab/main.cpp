// pcsim-lab: runs any command in a lab of its own.
//
//   pcsim-lab --ports 4 -- ip -brief link
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "lab/lab.h"
#include "lab/options.h"

namespace {

constexpr int kNoLab = 77;  // distinct from what a command returns; "skipped" to a test driver

int complain(const std::string& what, int status) {
    fprintf(stderr, "pcsim-lab: %s\n", what.c_str());
    return status;
}

int run(int argc, char** argv) {
    CLI::App options("Runs a command in a private network with the interfaces eth0 to ethN.",
                     "pcsim-lab");
    unsigned ports = 4;
    std::vector<std::string> command;
    options.add_option("--ports,-p", ports, "Front-panel ports: N")
        ->check(CLI::Range(1U, pcsim::lab::kMostPorts))
        ->capture_default_str();
    options.add_option("command", command, "The command and its arguments, after --")->required();
    options.positionals_at_end();
    try {
        options.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return options.exit(error);
        const std::string range = "a number from 1 to " + std::to_string(pcsim::lab::kMostPorts);
        const std::string example = "a command, for example: pcsim-lab --ports 4 -- ip link";
        if (options.remaining().empty() &&
            dynamic_cast<const CLI::RequiredError*>(&error) != nullptr)
            return complain("expected " + example, pcsim::kBadOptions);
        return complain(
            pcsim::optionProblem(options, error, {{"--ports", range}}, "expected " + example),
            pcsim::kBadOptions);
    }

    if (auto problem = pcsim::lab::enterNamespace()) return complain(*problem, kNoLab);
    pcsim::lab::Lab lab;
    if (auto problem = lab.create(ports)) return complain(*problem, 1);

    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    return complain(command[0] + ": " + strerror(errno), errno == ENOENT ? 127 : 126);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& problem) {
        fprintf(stderr, "pcsim-lab: %s\n", problem.what());
        return 1;
    }
}
