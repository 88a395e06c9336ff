// Replays a recording against a library, for tests that make recordings in other processes.
//
// usage: replay_recording FILE LIBRARY [--keep-going]
#include <cstdio>
#include <cstring>

#include "console/error.h"
#include "probe/replay/replay.h"

int main(int count, char** arguments) {
    using namespace pcsim::probe;
    if (count < 3) return 2;
    try {
        const Recording recording = load(arguments[1]);
        if (!recording.ending.text.empty()) std::puts(recording.ending.text.c_str());
        ReplayOptions options;
        options.library = arguments[2];
        options.keepGoing = count > 3 && std::strcmp(arguments[3], "--keep-going") == 0;
        const ChildResult child = replayInChild(recording, options, 100000);
        for (const Difference& each : child.result.differences) std::puts(each.text().c_str());
        if (!child.error.empty()) std::puts(child.error.c_str());
        if (child.signal != 0)
            std::printf("signal %d in call %llu %s\n", child.signal,
                        static_cast<unsigned long long>(child.call), child.operation.c_str());
        std::puts(child.result.text().c_str());
        return child.isClean() ? 0 : 1;
    } catch (const pcsim::CommandError& error) {
        std::puts(error.what());
        return 2;
    }
}
