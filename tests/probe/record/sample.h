// A small recording with everything that there is in one: calls inside calls on two threads, memory
// that changes little by little, prints, states, a call that never returned.
#ifndef PCSIM_TESTS_PROBE_RECORD_SAMPLE_H
#define PCSIM_TESTS_PROBE_RECORD_SAMPLE_H

#include <array>
#include <string>
#include <vector>

#include "probe/record/recording.h"

namespace pcsim::probe::test {

inline std::span<const RecordedBlock> blockOf(Recording& recording, uint32_t path, uint32_t address,
                                              const std::vector<uint8_t>& bytes,
                                              bool written = false) {
    const auto kept = recording.space(bytes.size());
    std::copy(bytes.begin(), bytes.end(), kept.begin());
    const RecordedBlock block{address, path, false, written, kept};
    return recording.keep(std::span(&block, 1));
}

inline void addCall(Recording& recording, uint64_t number, uint32_t site, uint32_t thread,
                    uint32_t depth, const std::vector<uint32_t>& arguments,
                    std::span<const RecordedBlock> blocks = {}) {
    Event event{.kind = Event::Kind::kCall, .thread = thread, .depth = depth, .site = site};
    event.call = number;
    event.arguments = recording.keep(std::span<const uint32_t>(arguments));
    event.blocks = blocks;
    recording.events.push_back(event);
}

inline void addReturn(Recording& recording, uint64_t number, uint64_t result,
                      std::span<const RecordedBlock> blocks = {}) {
    Event event{.kind = Event::Kind::kReturn};
    for (const Event& each : recording.events) {
        if (each.kind != Event::Kind::kCall || each.call != number) continue;
        event.thread = each.thread;
        event.depth = each.depth;
        event.site = each.site;
    }
    event.call = number;
    event.result = result;
    event.blocks = blocks;
    recording.events.push_back(event);
}

inline Recording sample() {
    Recording recording;
    recording.facts = {{"library", "libpcsimulation.so.0"}, {"program", "my-hal"}};
    recording.symbols = {{"pcSimFdbTable", 0xF7001000, 4, false},
                         {"pcSimIpAdjAdd", 0xF7000400, 0, true}};
    const auto site = [](Side side, const char* name, const char* type) {
        RecordedSite made{side, 0xF7000400, name, "HalFamilyOps", "ipAdjAdd", type};
        made.function = functionNamed(type);
        return made;
    };
    recording.sites = {site(Side::kPlatform, "pcSimIpAdjAdd", "HalIpAdjAddFn"),
                       site(Side::kHost, "halPortInstName", "halPortInstName")};
    recording.paths.push_back(
        {"HalIpAdjAddFn", "record", "pcSimIpAdjRec", targetOf("HalIpAdjAddFn", "record").type});

    std::vector<uint8_t> record(64, 0);
    record[8] = 10;
    addCall(recording, 1, 0, 1, 0, {0xFFFF0000}, blockOf(recording, 1, 0xFFFF0000, record));
    addCall(recording, 3, 1, 1, 1, {0x00010001});
    Event print{.kind = Event::Kind::kPrint, .thread = 1, .call = 3};
    print.text = recording.keep(std::string_view("a line\nwith a NUL \0 in it", 25));
    recording.events.push_back(print);
    addCall(recording, 4, 0, 2, 0, {0xFFFEFFF0}, blockOf(recording, 1, 0xFFFEFFF0, record));
    addReturn(recording, 3, 0xFFFF1234);
    record[11] = 9;
    record[63] = 0xFF;
    addReturn(recording, 1, 0xFFFFFFFFFFFFFFFF, blockOf(recording, 1, 0xFFFF0000, record, true));
    Event state{.kind = Event::Kind::kState};
    state.text = recording.keep(std::string_view("mcLogMess"));
    state.blocks = blockOf(recording, 0, 0xF7002000, {1, 0, 0, 0});
    recording.events.push_back(state);
    addReturn(recording, 4, 0x1234567800000000);
    addCall(recording, 5, 0, 2, 0, {0}, blockOf(recording, 0, 0, {}));
    return recording;
}

// Everything of a recording that may differ, as text.
std::string told(const Recording& recording);

}  // namespace pcsim::probe::test

#endif
