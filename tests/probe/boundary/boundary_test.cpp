// Calls across the boundary: what they do, what is counted, what observers see and change.
#include "probe/boundary/boundary.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <set>
#include <thread>

#include "pcsim/card.h"
#include "pcsim/device.h"
#include "pcsim/family.h"
#include "pcsim/l3.h"
#include "probe/boundary/crossing.h"
#include "tests/probe/boundary/attached.h"
#include "tests/support/host.h"

namespace pcsim::probe {
namespace {

using Lines = std::vector<std::string>;

TEST(Boundary, AttachesToAPlatformLibraryAlone) {
    Boundary& boundary = Boundary::instance();
    EXPECT_FALSE(boundary.attach(dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD)));
    EXPECT_EQ(boundary.libraryPath(), "");
    EXPECT_TRUE(boundary.sites().empty());
    EXPECT_TRUE(boundary.attach(libraryHandle()));
    EXPECT_TRUE(boundary.attach(libraryHandle()));
    EXPECT_NE(boundary.libraryPath().find("libpcsimulation.so"), std::string::npos);
}

TEST_F(Attached, LooksUpStubsOfOperationsAlone) {
    void* const found = dlsym(libraryHandle(), "pcSimGetMySlotNum");
    void* const stub = boundary.looksUp("pcSimGetMySlotNum", found);
    EXPECT_NE(stub, found);
    EXPECT_EQ(boundary.looksUp("pcSimGetMySlotNum", found), stub);
    EXPECT_EQ(Boundary::behind(stub), found);
    EXPECT_EQ(Boundary::behind(found), found);
    ASSERT_NE(boundary.siteOf(stub), nullptr);
    EXPECT_EQ(boundary.siteOf(stub)->name, "pcSimGetMySlotNum");
    EXPECT_EQ(boundary.siteOf(found), nullptr);
    void* const variable = dlsym(libraryHandle(), "pcSimSystemNumPorts");
    EXPECT_EQ(boundary.looksUp("pcSimSystemNumPorts", variable), variable);
    int local = 0;
    EXPECT_EQ(Boundary::behind(&local), &local);
    EXPECT_EQ(Boundary::behind(nullptr), nullptr);
}

TEST_F(Attached, CountsCallsOfWordsAndOfTheHost) {
    const HalSystemOps table = system();
    EXPECT_EQ(counts("platformSystemInit").calls, 1u);
    EXPECT_EQ(counts("dmGetPlatformType").calls, 1u);
    EXPECT_EQ(counts("halStartTimer").calls, 2u);
    HalChassisInfo info{};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(table.chassisGetInfo(&info), 0);
    EXPECT_STREQ(info.modelName, "VORN-VM");
    EXPECT_EQ(counts("pcSimStackChassisGetInfo").calls, 3u);
    EXPECT_EQ(counts("getSystemMac").calls, 3u);
    EXPECT_EQ(counts("pcSimStackChassisGetInfo").failures, 0u);
}

TEST_F(Attached, NamesTheWordThatWasHandedOut) {
    const HalSystemOps table = system();
    const Site* const site = boundary.siteOf(reinterpret_cast<void*>(table.chassisGetInfo));
    ASSERT_NE(site, nullptr);
    EXPECT_EQ(site->name, "pcSimStackChassisGetInfo");
    EXPECT_EQ(site->table, "HalSystemOps");
    EXPECT_EQ(site->word, "chassisGetInfo");
    EXPECT_EQ(site->side, Side::kPlatform);
    EXPECT_EQ(boundary.siteNamed("pcSimChassisChassisGetInfo")->table, "");
}

TEST_F(Attached, CountsFailuresAndNullsOnTheShortWay) {
    const HalSystemOps table = system();
    EXPECT_EQ(table.moduleIoctl(0, 77, nullptr), -2);
    EXPECT_EQ(counts("pcSimModuleIoctl").failures, 1u);
    EXPECT_EQ(lookUp<HalIPv4FibFindFn>("pcSimIPv4FibFind")(0, 1, 2), nullptr);
    EXPECT_EQ(counts("pcSimIPv4FibFind").nulls, 1u);
    EXPECT_EQ(counts("pcSimIPv4FibFind").failures, 0u);
}

TEST_F(Attached, KeepsNullWordsNull) {
    const HalSystemOps table = system();
    HalCardDb cards{};
    table.cardDBSetup(&cards);
    HalFamilyOps stubs{}, plain{};
    cards.ops.familyDBSetup(0, &stubs);
    pcSimFamilyDBSetup(0, &plain);
    const auto* const stub = reinterpret_cast<void* const*>(&stubs);
    const auto* const word = reinterpret_cast<void* const*>(&plain);
    size_t functions = 0;
    for (size_t i = 0; i < sizeof plain / sizeof *word; ++i) {
        EXPECT_EQ(Boundary::behind(stub[i]), word[i]) << i;
        if (word[i] == nullptr) continue;
        EXPECT_NE(stub[i], word[i]) << i;
        ++functions;
    }
    EXPECT_GT(functions, 80u);
}

TEST_F(Attached, HandsOutTheSameStubsEachTime) {
    const HalSystemOps table = system();
    HalSystemOps again{};
    lookUp<HalSystemDBSetupFn>("pcSimStackSystemDBSetup")(&again);
    EXPECT_EQ(memcmp(&table, &again, sizeof table), 0);
    lookUp<HalSystemDBSetupFn>("pcSimStackSystemDBSetup")(&again);
    EXPECT_EQ(memcmp(&table, &again, sizeof table), 0);
    EXPECT_EQ(reinterpret_cast<void*>(table.moduleIoctl),
              reinterpret_cast<void*>(lookUp<HalModuleIoctlFn>("pcSimModuleIoctl")));
}

TEST_F(Attached, MakesTheSameSitesInTheSameOrder) {
    const std::vector<Site*>& sites = boundary.sites();
    ASSERT_GT(sites.size(), 200u);
    for (size_t i = 0; i < sites.size(); ++i) EXPECT_EQ(sites[i]->index, i);
    EXPECT_EQ(sites[0]->name, "_pcSimIpAdjFree");
    const Site* const host = boundary.siteNamed("halScheduleTask");
    ASSERT_NE(host, nullptr);
    EXPECT_EQ(host->side, Side::kHost);
}

TEST_F(Attached, LetsObserversSeeTheCallAndItsResult) {
    const HalSystemOps table = system();
    Notes notes(named("pcSimModuleIoctl"));
    std::vector<uint32_t> seen;
    int64_t result = 0;
    notes.onBefore = [&](Call& call) {
        seen.assign(call.arguments, call.arguments + call.argumentWords);
    };
    notes.onAfter = [&](Call& call) { result = static_cast<int32_t>(call.result); };
    ASSERT_TRUE(boundary.add(notes));
    EXPECT_EQ(table.moduleIoctl(5, 77, nullptr), -2);
    EXPECT_EQ(seen, (std::vector<uint32_t>{5, 77, 0}));
    EXPECT_EQ(result, -2);
    EXPECT_EQ(counts("pcSimModuleIoctl").calls, 1u);
    EXPECT_EQ(counts("pcSimModuleIoctl").failures, 1u);
    boundary.remove(notes);
    EXPECT_EQ(table.moduleIoctl(5, 77, nullptr), -2);
    EXPECT_EQ(notes.lines, (Lines{"pcSimModuleIoctl/0", "/pcSimModuleIoctl"}));
    EXPECT_EQ(counts("pcSimModuleIoctl").calls, 2u);
}

TEST_F(Attached, NestsCallsOfBothDirections) {
    const HalSystemOps table = system();
    Notes notes([](const Site& site) {
        return site.name == "pcSimStackChassisGetInfo" || site.side == Side::kHost;
    });
    ASSERT_TRUE(boundary.add(notes));
    HalChassisInfo info{};
    table.chassisGetInfo(&info);
    EXPECT_EQ(notes.lines, (Lines{"pcSimStackChassisGetInfo/0", "getSystemMac/1", "/getSystemMac",
                                  "/pcSimStackChassisGetInfo"}));
}

TEST_F(Attached, LetsAnObserverAnswerChangeArgumentsAndResults) {
    const HalSystemOps table = system();
    Notes outer(named("pcSimModuleIoctl")), inner(named("pcSimModuleIoctl"));
    Lines order;
    outer.onBefore = [&](Call&) { order.push_back("outer"); };
    inner.onBefore = [&](Call&) { order.push_back("inner"); };
    outer.onAfter = [&](Call&) { order.push_back("/outer"); };
    inner.onAfter = [&](Call& call) {
        order.push_back("/inner " + std::to_string(static_cast<int32_t>(call.result)));
        call.result = 7;
    };
    ASSERT_TRUE(boundary.add(outer));
    ASSERT_TRUE(boundary.add(inner));
    EXPECT_EQ(table.moduleIoctl(0, 77, nullptr), 7);
    EXPECT_EQ(order, (Lines{"outer", "inner", "/inner -2", "/outer"}));
    inner.onAfter = nullptr;
    outer.onBefore = [](Call& call) { call.arguments[1] = HAL_MODULE_SET_FANS; };
    uint32_t mask = 3;
    EXPECT_EQ(table.moduleIoctl(0, 77, &mask), 0);
    outer.onBefore = [](Call& call) {
        call.answered = true;
        call.result = static_cast<uint32_t>(-5);
    };
    EXPECT_EQ(table.moduleIoctl(0, 77, nullptr), -5);
    EXPECT_EQ(counts("pcSimModuleIoctl").failures, 1u);
}

// How far the stack is from the next multiple of 16, and the words that have arrived.
uint32_t arrived[8];
__attribute__((noinline)) int32_t arrive(uint32_t a, uint32_t b, uint32_t c, uint32_t d, uint32_t e,
                                         uint32_t f, uint32_t g, uint32_t h) {
    const uint32_t words[] = {a, b, c, d, e, f, g, h};
    std::copy(std::begin(words), std::end(words), arrived);
    return static_cast<int32_t>(reinterpret_cast<uintptr_t>(__builtin_frame_address(0)) & 15);
}

TEST_F(Attached, PassesEachNumberOfWordsOnAStackAsTheCallerHasIt) {
    const int32_t expected = arrive(0, 0, 0, 0, 0, 0, 0, 0);
    std::set<size_t> seen;
    for (const Function& function : functions()) {
        const size_t words = function.parameters.size();
        if (function.variadic || function.stub || handsOver(function)) continue;
        if (!answersCodes(function, Side::kPlatform) || !seen.insert(words).second) continue;
        const Crossing* const crossing =
            newCrossing("arrive" + std::to_string(words), function, Side::kPlatform,
                        reinterpret_cast<void*>(&arrive));
        ASSERT_NE(crossing, nullptr);
        EXPECT_EQ(reinterpret_cast<decltype(&arrive)>(crossing->stub)(1, 2, 3, 4, 5, 6, 7, 8),
                  expected)
            << words;
        for (uint32_t i = 0; i < words; ++i) EXPECT_EQ(arrived[i], i + 1) << words;
    }
    EXPECT_GE(seen.size(), 6u);
}

TEST_F(Attached, ShowsObserversNothingOfTheirOwnCalls) {
    const HalSystemOps table = system();
    Notes notes(everything());
    HalChassisInfo info{};
    notes.onBefore = [&](Call&) { table.chassisGetInfo(&info); };
    ASSERT_TRUE(boundary.add(notes));
    EXPECT_EQ(table.moduleIoctl(0, 77, nullptr), -2);
    EXPECT_EQ(notes.lines, (Lines{"pcSimModuleIoctl/0", "/pcSimModuleIoctl"}));
    EXPECT_STREQ(info.modelName, "VORN-VM");
}

TEST_F(Attached, KeepsErrnoAsTheTargetLeavesIt) {
    const HalSystemOps table = system();
    Notes notes(everything());
    notes.onBefore = [](Call&) { errno = 1; };
    notes.onAfter = [](Call&) { errno = 2; };
    ASSERT_TRUE(boundary.add(notes));
    errno = 77;
    table.moduleIoctl(0, 77, nullptr);
    EXPECT_EQ(errno, 77);
    notes.onAfter = [](Call& call) { call.error = 33; };
    table.moduleIoctl(0, 77, nullptr);
    EXPECT_EQ(errno, 33);
}

TEST_F(Attached, TakesTimesWhenAsked) {
    const HalSystemOps table = system();
    Counts& taken = counts("pcSimModuleIoctl");
    table.moduleIoctl(0, 77, nullptr);
    EXPECT_EQ(taken.totalNs, 0u);
    boundary.takeTimes(true);
    table.moduleIoctl(0, 77, nullptr);
    const uint64_t total = taken.totalNs;
    EXPECT_GT(total, 0u);
    EXPECT_EQ(taken.longestNs, total);
    boundary.takeTimes(false);
    table.moduleIoctl(0, 77, nullptr);
    EXPECT_EQ(taken.totalNs, total);
    EXPECT_EQ(taken.calls, 3u);
}

TEST_F(Attached, ServesThePollOnceBeforeTheNextCall) {
    const HalSystemOps table = system();
    static uint32_t flag;
    int served = 0;
    boundary.poll(&flag, [&] {
        flag = 0;
        ++served;
        EXPECT_EQ(counts("pcSimModuleIoctl").calls, 2u);
    });
    table.moduleIoctl(0, 77, nullptr);
    EXPECT_EQ(served, 0);
    flag = 1;
    table.moduleIoctl(0, 77, nullptr);
    EXPECT_EQ(served, 1);
    flag = 1;
    boundary.poll(nullptr, nullptr);
    table.moduleIoctl(0, 77, nullptr);
    EXPECT_EQ(served, 1);
}

TEST_F(Attached, CountsWhereItIsTold) {
    const HalSystemOps table = system();
    static Counts elsewhere[1024];
    boundary.placeCounts([](const Site& site) { return &elsewhere[site.index]; });
    table.moduleIoctl(0, 77, nullptr);
    Notes notes(everything());
    ASSERT_TRUE(boundary.add(notes));
    table.moduleIoctl(0, 77, nullptr);
    const Site& site = *boundary.siteNamed("pcSimModuleIoctl");
    EXPECT_EQ(site.counts, &elsewhere[site.index]);
    EXPECT_EQ(elsewhere[site.index].calls, 2u);
    EXPECT_EQ(elsewhere[site.index].failures, 2u);
}

TEST_F(Attached, CountsCallsOfAllThreads) {
    const HalSystemOps table = system();
    Notes notes(named("getSystemMac"));
    std::atomic<uint32_t> most = 0;
    notes.onBefore = [&](Call& call) {
        uint32_t seen = most;
        while (call.thread > seen && !most.compare_exchange_weak(seen, call.thread)) {
        }
    };
    notes.lines.reserve(1);
    constexpr uint32_t kCalls = 20000;
    const auto run = [&] {
        for (uint32_t i = 0; i < kCalls; ++i) table.moduleIoctl(0, 77, nullptr);
    };
    std::thread first(run), second(run);
    run();
    first.join();
    second.join();
    EXPECT_EQ(counts("pcSimModuleIoctl").calls, 3 * kCalls);
    EXPECT_EQ(counts("pcSimModuleIoctl").failures, 3 * kCalls);
}

}  // namespace
}  // namespace pcsim::probe
