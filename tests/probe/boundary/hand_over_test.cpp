// Functions that cross with calls: timers, tasks, completions, sinks, tables.
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "pcsim/family.h"
#include "tests/probe/boundary/attached.h"
#include "tests/support/host.h"

namespace pcsim::probe {
namespace {

using test::host;
using Lines = std::vector<std::string>;

TEST_F(Attached, GivesTimersTheirStubs) {
    system();
    ASSERT_EQ(host().timers.size(), 2u);
    void* const poll = reinterpret_cast<void*>(host().timers[0].callback);
    ASSERT_NE(boundary.siteOf(poll), nullptr);
    EXPECT_EQ(boundary.siteOf(poll)->name, "pcSimMgmtLinkPoll");
    EXPECT_EQ(poll, reinterpret_cast<void*>(lookUp<HalTimerFn>("pcSimMgmtLinkPoll")));
    host().timers[0].callback(host().timers[0].argument);
    EXPECT_EQ(counts("pcSimMgmtLinkPoll").calls, 1u);
}

int completions;
int32_t complete(uint32_t first, uint32_t second, uint32_t, uint32_t) {
    completions += static_cast<int>(first * 10 + second);
    return -3;
}

TEST_F(Attached, GivesCompletionsTheirStubs) {
    system();
    Notes notes(everything());
    ASSERT_TRUE(boundary.add(notes));
    auto* const flush = lookUp<HalFdbFlushFn>("pcSimPCFamFdbFlush");
    flush(0, 0, &complete, 4, 2);
    ASSERT_EQ(host().tasks.size(), 1u);
    host().tasks[0].function(host().tasks[0].argument1, host().tasks[0].argument2);
    EXPECT_EQ(completions, 42);
    const Site* const site = boundary.siteNamed("HalCompletionFn#1");
    ASSERT_NE(site, nullptr);
    EXPECT_EQ(site->side, Side::kHost);
    EXPECT_EQ(site->counts->calls, 1u);
    EXPECT_EQ(site->counts->failures, 1u);
    EXPECT_EQ(notes.lines[notes.lines.size() - 3], "HalCompletionFn#1/1");
}

std::jmp_buf outside;
int32_t leave(uint32_t, uint32_t, uint32_t, uint32_t) {
    std::longjmp(outside, 1);
}

// Calls in between, deeper than the one that was left.
int32_t deeper(const HalSystemOps& table, int frames) {
    volatile char room[256];
    room[0] = 0;
    return frames > 0 ? deeper(table, frames - 1) + room[0] : table.moduleIoctl(0, 77, nullptr);
}

TEST_F(Attached, IsLeftByALongJump) {
    const HalSystemOps table = system();
    Notes notes(everything());
    lookUp<HalFdbFlushFn>("pcSimPCFamFdbFlush")(0, 0, &leave, 0, 0);
    ASSERT_EQ(host().tasks.size(), 1u);
    ASSERT_TRUE(boundary.add(notes));
    for (int i = 0; i < 200; ++i) {
        if (setjmp(outside) == 0) {
            host().tasks[0].function(0, 0);
            FAIL();
        }
        EXPECT_EQ(deeper(table, i % 7), -2);
    }
    EXPECT_EQ(notes.lines[0], "pcSimFlushCallback/0");
    EXPECT_EQ(notes.lines[1], "HalCompletionFn#1/1");
    notes.lines.clear();
    EXPECT_EQ(table.moduleIoctl(0, 77, nullptr), -2);
    EXPECT_EQ(notes.lines, (Lines{"pcSimModuleIoctl/0", "/pcSimModuleIoctl"}));
}

// --- Sinks ---

std::string sunk;
uint32_t sunkContext;
int sink(uint32_t context, const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    sunk += text;
    sunkContext = context;
    return length;
}
const pcSimDumpSink kSink{42, &sink};

TEST_F(Attached, LeavesSinksAloneUntilSomebodyWantsToSeeThem) {
    HalFamilyOps family{};
    lookUp<HalFamilyDBSetupFn>("pcSimFamilyDBSetup")(0, &family);
    family.ipv4FibDump(&kSink);
    const std::string plain = sunk;
    ASSERT_NE(plain, "");
    const Site* const site = boundary.siteNamed("HalDumpPrintFn#1");
    ASSERT_NE(site, nullptr);
    EXPECT_EQ(site->counts->calls, 0u);
    EXPECT_EQ(kSink.print, &sink);
    Notes notes(everything());
    ASSERT_TRUE(boundary.add(notes));
    sunk.clear();
    family.ipv4FibDump(&kSink);
    EXPECT_EQ(sunk, plain);
    EXPECT_EQ(sunkContext, 42u);
    EXPECT_GT(site->counts->calls, 0u);
    EXPECT_EQ(notes.lines[1], "HalDumpPrintFn#1/1");
    EXPECT_EQ(family.ipv4FibDump(nullptr), 0);
}

// --- Tables ---

TEST_F(Attached, TouchesNoWordThatTheLibraryDidNotFill) {
    HalSystemOps table;
    memset(&table, 0x5A, sizeof table);
    table.checkpointStop = reinterpret_cast<HalStubFn*>(&complete);
    HalSystemOps expected = table;
    Notes notes(named("pcSimStackSystemDBSetup"));
    // Answered in the library's place: nothing is filled.
    notes.onBefore = [](Call& call) { call.answered = true; };
    ASSERT_TRUE(boundary.add(notes));
    EXPECT_EQ(lookUp<HalSystemDBSetupFn>("pcSimStackSystemDBSetup")(&table), 0);
    EXPECT_EQ(memcmp(&table, &expected, sizeof table), 0);
}

// --- The tree ---

TEST_F(Attached, LeavesTheTreeAloneUntilSomebodyWantsToSeeIt) {
    HalFamilyOps family{};
    system();
    lookUp<HalFamilyDBSetupFn>("pcSimFamilyDBSetup")(0, &family);
    const auto add = [&](uint32_t prefix) {
        union {
            pcSimIPv4FibReq request;
            uint8_t bytes[64];
        } route{};
        route.request.prefix = prefix;
        route.request.mask = 0xFFFFFFFF;
        route.request.count = 1;
        route.request.slots[0].gateway = prefix + 1;
        route.request.slots[0].vlan = 5;
        return family.ipv4FibAddEntry(&route.request);
    };
    const Site* const insert = boundary.siteNamed("p2BtreeInsert");
    ASSERT_NE(insert, nullptr);
    EXPECT_EQ(add(10), 0);
    EXPECT_EQ(insert->counts->calls, 0u);
    Notes notes([](const Site& site) {
        return site.name == "p2BtreeInsert" || site.name.ends_with("Cmp");
    });
    ASSERT_TRUE(boundary.add(notes));
    EXPECT_EQ(add(20), 0);
    const uint64_t seen = insert->counts->calls;
    EXPECT_GT(seen, 0u);
    EXPECT_EQ(notes.lines[0], "p2BtreeInsert/0");
    boundary.remove(notes);
    EXPECT_EQ(add(30), 0);
    EXPECT_EQ(insert->counts->calls, seen);
    // Compare functions order nodes: what they answer is no failure.
    for (const Site* site : boundary.sites())
        EXPECT_EQ(site->function->name == "HalTreeCompareFn" ? site->counts->failures.load() : 0,
                  0u);
}

}  // namespace
}  // namespace pcsim::probe
