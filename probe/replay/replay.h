// Plays the HAL's part of a recording against a build of the library: makes the calls that the HAL
// made, answers those of the library as the HAL and the C library did, and says where the library
// behaves otherwise than the recorded one.
//
// Calls are made one after the other, on one thread, in the order in which they were entered.
// Compared are results, memory that the platform writes or hands out, functions in tables, texts
// that it prints, and its calls of the HAL, in order and with all that they pass. What may rightly
// differ is not: values that the interface says to vary, and addresses, as long as they lead to
// the same things.
#ifndef PCSIM_PROBE_REPLAY_REPLAY_H
#define PCSIM_PROBE_REPLAY_REPLAY_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "probe/record/recording.h"

namespace pcsim::probe {

struct Difference {
    uint64_t call = 0;      // number of the recorded call
    std::string operation;  // that the HAL called, or the library
    std::string field;      // "result", "record.port", "print", "calls"
    std::string expected;
    std::string seen;

    // "call 12 pcSimIpAdjLookup, result: expected ..., seen ..."
    std::string text() const;
};

struct ReplayOptions {
    std::string library;     // path
    bool keepGoing = false;  // past the call with the first difference
    // Told of each call of the HAL before it is made.
    std::function<void(const Event& call, const RecordedSite& site)> onCall;
};

struct ReplayResult {
    uint64_t calls = 0;  // of the HAL that were made
    std::vector<Difference> differences;

    // "12 calls, no difference", or how many.
    std::string text() const;
};

// Once in a process, which must have no platform library in it. Throws a CommandError when the
// library can't be loaded. The program must export the tree, and what player.cpp defines.
ReplayResult replay(const Recording& recording, const ReplayOptions& options);

// The same in a child process, so as often as one likes, and whatever the library does.
struct ChildResult {
    ReplayResult result;  // as far as it came
    std::string error;    // why it couldn't begin; "" when it could
    int signal = 0;       // that ended the child, else 0
    bool timedOut = false;
    uint64_t call = 0;  // the recorded call that was under way then
    std::string operation;

    bool isClean() const {
        return error.empty() && signal == 0 && !timedOut && result.differences.empty();
    }
};
ChildResult replayInChild(const Recording& recording, const ReplayOptions& options,
                          uint32_t limitMs);

}  // namespace pcsim::probe

#endif
