// What the commands of pcsim-probe share: reading their words, and answering.
#include "probe/commands.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "console/error.h"

namespace pcsim::probe {

GivenOptions readCommand(const Program& program, const Words& words) {
    Words all = words;
    all.insert(all.begin(), program.name);
    std::vector<char*> arguments;
    arguments.reserve(all.size());
    for (std::string& word : all) arguments.push_back(word.data());
    GivenOptions given = readOptions(program, static_cast<int>(all.size()), arguments.data());
    if (given.has("help")) print(helpText(program));
    return given;
}

GivenOptions readAnywhere(const Program& program, const Words& words) {
    GivenOptions all;
    Words rest = words;
    while (!rest.empty()) {
        GivenOptions some = readCommand(program, rest);
        for (GivenOption& option : some.inOrder) {
            // Those without a value may be repeated, as anywhere.
            if (all.has(option.name) && !option.value.empty())
                throw OptionProblem("--" + option.name + " may be given once");
            all.inOrder.push_back(std::move(option));
        }
        rest = some.command;
        if (rest.empty() || all.has("help")) break;
        all.command.push_back(rest.front());
        rest.erase(rest.begin());
    }
    return all;
}

void print(const std::string& text) {
    if (std::fputs(text.c_str(), stdout) == EOF || std::fflush(stdout) != 0)
        fail("standard output can't be written: {}", strerror(errno));
}

void print(const Report& report, bool json) {
    print(json ? report.json() : report.text());
}

}  // namespace pcsim::probe
