// Command lines, files and messages of the tools.
#include "probe/tools/tool.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "console/error.h"
#include "console/output_file.h"
#include "console/text.h"

namespace pcsim::probe {
namespace {

// Up to the first word that is no option, as readOptions takes them.
GivenOptions readSome(const Program& program, const Words& words) {
    Words all = words;
    all.insert(all.begin(), program.name);
    std::vector<char*> arguments;
    for (std::string& word : all) arguments.push_back(word.data());
    return readOptions(program, static_cast<int>(arguments.size()), arguments.data());
}

}  // namespace

GivenOptions readTool(const Program& program, const Words& words, size_t count,
                      std::string_view expected) {
    GivenOptions all;
    for (Words rest = words; !rest.empty();) {
        const GivenOptions some = readSome(program, rest);
        all.inOrder.insert(all.inOrder.end(), some.inOrder.begin(), some.inOrder.end());
        rest = some.command;
        if (rest.empty()) break;
        all.command.push_back(rest.front());
        rest.erase(rest.begin());
    }
    if (all.has("help"))
        printText(helpText(program));
    else if (all.command.size() != count)
        throw OptionProblem("expected " + std::string(expected) + "; '" +
                            std::string(program.name) + " --help' says how");
    return all;
}

bool sayEnding(const Recording& recording, const std::string& path) {
    const FileEnding& ending = recording.ending;
    if (ending.kind == FileEnding::Kind::kClosed) return true;
    std::fprintf(stderr, "pcsim-probe: recording %s is %s\n", printable(path).c_str(),
                 ending.text.c_str());
    return false;
}

Loaded loadSaying(const std::string& path) {
    Loaded loaded{load(path), true};
    loaded.whole = sayEnding(loaded.recording, path);
    return loaded;
}

void printText(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        fail("standard output can't be written: {}", std::strerror(errno));
}

void writeText(const std::string& path, std::string_view text) {
    if (path.empty()) return printText(text);
    if (isReplaceable(path)) {
        OutputFile file(path);
        file.write(text);
        return file.keep();
    }
    std::FILE* const file = std::fopen(path.c_str(), "we");
    if (file == nullptr) fail("{} can't be made: {}", path, std::strerror(errno));
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (std::fclose(file) != 0 || !written) fail("{} can't be written: the disk is full", path);
}

}  // namespace pcsim::probe
