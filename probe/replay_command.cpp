// pcsim-probe replay: the HAL's part of a recording, played against a library.
#include <fmt/core.h>

#include <cstdio>
#include <cstring>

#include "console/error.h"
#include "probe/commands.h"
#include "probe/replay/replay.h"

namespace pcsim::probe {

namespace {

const Option kReplayOptions[] = {
    {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End},
    {.name = "library",
     .value = "FILE",
     .help = "The platform library to play against",
     .need = "the name of a platform library",
     .takes = Takes::Name},
    {.name = "keep-going", .help = "Go on behind the call with the first difference"},
    {.name = "time",
     .value = "SECONDS",
     .help = "End the replay after so long, 600 without it",
     .need = "a number of seconds from 1 to 86400",
     .takes = Takes::Number,
     .low = 1,
     .high = 86400},
};

const Program kReplayProgram{
    .name = "pcsim-probe replay",
    .about = "pcsim-probe replay: plays the HAL's part of a recording against a library.",
    .usage = "FILE --library LIBRARY [options]",
    .onWord = nullptr,
    .options = kReplayOptions,
};

// How it went, as lines.
std::string told(const ChildResult& child, uint64_t seconds) {
    std::string text;
    for (const Difference& each : child.result.differences) text += each.text() + "\n";
    if (child.signal != 0)
        text += fmt::format("call {} {}: the library ended in it by signal {} ({})\n", child.call,
                            child.operation, child.signal, strsignal(child.signal));
    if (child.timedOut)
        text += fmt::format("call {} {}: under way when {} seconds were over\n", child.call,
                            child.operation, seconds);
    const bool ended = child.signal != 0 || child.timedOut;
    if (!ended || !child.result.differences.empty()) text += child.result.text() + "\n";
    return text;
}

}  // namespace

int replayCommand(const Words& words) {
    const bool isFirst = !words.empty() && !words[0].starts_with("-");
    const GivenOptions given =
        readCommand(kReplayProgram, isFirst ? Words(words.begin() + 1, words.end()) : words);
    if (given.has("help")) return 0;
    Words files = given.command;
    if (isFirst) files.insert(files.begin(), words[0]);
    if (files.size() != 1) throw OptionProblem("expected one recording: 'replay FILE ...'");
    if (!given.has("library")) throw OptionProblem("expected --library and the library's file");

    const Recording recording = load(files[0]);
    ReplayOptions options;
    options.library = given.text("library");
    options.keepGoing = given.has("keep-going");
    const uint64_t seconds = given.number("time", 600);
    const ChildResult child =
        replayInChild(recording, options, static_cast<uint32_t>(seconds * 1000));
    if (!child.error.empty()) fail("{}", child.error);
    print(told(child, seconds));
    if (recording.ending.kind == FileEnding::Kind::kClosed) return child.isClean() ? 0 : 1;
    fail("{} is {}", files[0], recording.ending.text);
}

}  // namespace pcsim::probe
