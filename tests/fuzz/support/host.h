// The host that fuzzers run the library under: every host function, which answers what the input
// has set. What is noted is what models check; texts are formatted where the input wants it.
#ifndef PCSIM_TESTS_FUZZ_SUPPORT_HOST_H
#define PCSIM_TESTS_FUZZ_SUPPORT_HOST_H

#include <cstdarg>
#include <cstdint>
#include <string>
#include <vector>

#include "pcsim/dump_sink.h"
#include "pcsim/ems.h"
#include "pcsim/host.h"
#include "pcsim/host_records.h"

namespace pcsim::fuzz {

struct Task {
    HalTaskFn* function;
    uint32_t argument1;
    uint32_t argument2;
};

struct Timer {
    HalTimerFn* callback;
    uint32_t argument;
};

struct Host {
    bool formatted = false;  // texts are made, of traces and of what is printed
    std::vector<Task> tasks;
    std::vector<Timer> timers;
    uint32_t incidents = 0;
    uint32_t calls = 0;  // notifications and replies

    // What it answers.
    int32_t platformType = 1;
    uint32_t maxVr = 4;
    int32_t primary = 1;
    int32_t systemMacResult = 0;
    int32_t mgmtPort = 1;
    int32_t cardOperational = 1;
    uint32_t interfaceOffset = 0;  // N of "ethN" is the port's number and this

    std::vector<HalVlanIf*> vlanIfs;
    std::vector<HalPif*> pifs;
};

Host& host();

void freshHost();
// Has the library trace: everything, up to a level, those classes.
void traceUpTo(uint16_t level, uint8_t classes);

// What vprintf() would answer; 0 where no texts are made.
int formatted(const char* format, va_list arguments) __attribute__((format(printf, 1, 0)));

// A sink that adds to a text.
pcSimDumpSink sinkTo(std::string& text);

}  // namespace pcsim::fuzz

#endif
