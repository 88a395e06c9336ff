// The flight recorder: what is kept of calls, how much, and what is found of it afterwards.
#include "probe/control/flight.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <memory>

#include "probe/control/own_block.h"
#include "tests/probe/program/scratch.h"

namespace pcsim::probe {
namespace {

class FlightTest : public ScratchTest {
protected:
    // A recorder for 'size' calls, and sites to call.
    void begin(uint32_t size) {
        block = std::make_unique<OwnBlock>("sw1", size);
        recorder = std::make_unique<FlightRecorder>(block->header(), false);
    }
    Site& site(const char* name) {
        const Operation* const operation = operationNamed(name);
        const auto* const function =
            operation != nullptr ? operation->function : functionNamed(name);
        auto made = std::make_unique<Site>();
        *made = {name, function, Side::kPlatform, "", "", 0, nullptr, nullptr};
        made->counts = &block->addSite(*made)->counts;
        return *sites.emplace_back(std::move(made));
    }
    Call enter(Site& called, std::vector<uint32_t> words, uint32_t depth = 0, uint32_t thread = 1) {
        const auto& kept =
            arguments.emplace_back(std::make_unique<std::vector<uint32_t>>(std::move(words)));
        Call call{called, kept->data(), static_cast<uint32_t>(kept->size())};
        call.number = ++number;
        call.depth = depth;
        call.thread = thread;
        recorder->before(call);
        return call;
    }
    void leave(Call& call, uint64_t result = 0) {
        call.result = result;
        recorder->after(call);
    }
    // "number(word)" of each kept call, "..." behind it when it hasn't returned.
    std::string callsAs() const {
        const BlockCopy copy(block->path());
        std::string text;
        for (const FlightEntry* entry : flightIn(copy).calls)
            text += std::to_string(entry->number) + "(" + std::to_string(entry->word[0]) + ")" +
                    (entry->state == FlightEntry::kReturned ? " " : "... ");
        return text;
    }
    std::string openAs() const {
        const BlockCopy copy(block->path());
        std::string text;
        for (const auto& thread : flightIn(copy).open) {
            for (const OpenCall* open : thread) text += std::to_string(open->number) + " ";
            text += "; ";
        }
        return text;
    }

    std::unique_ptr<OwnBlock> block;
    std::unique_ptr<FlightRecorder> recorder;
    std::vector<std::unique_ptr<Site>> sites;
    std::vector<std::unique_ptr<std::vector<uint32_t>>> arguments;
    uint64_t number = 0;
};

TEST_F(FlightTest, KeepsTheLastCalls) {
    begin(3);
    Site& called = site("pcSimFanReadTemp");
    EXPECT_EQ("", callsAs());
    for (uint32_t i = 1; i <= 7; ++i) {
        Call call = enter(called, {i * 10});
        leave(call, i);
    }
    EXPECT_EQ("5(50) 6(60) 7(70) ", callsAs());
    EXPECT_EQ("", openAs());
    const BlockCopy copy(block->path());
    const FlightEntry& last = *flightIn(copy).calls.back();
    EXPECT_EQ(7u, last.result);
    EXPECT_EQ(1u, last.thread);
    EXPECT_STREQ("pcSimFanReadTemp", copy.sites()[last.site].name);
}

TEST_F(FlightTest, KnowsWhatIsUnderWay) {
    begin(2);
    Site& called = site("pcSimFanReadTemp");
    Call outer = enter(called, {1}), inner = enter(called, {2}, 1);
    Call other = enter(called, {3}, 0, 2);
    EXPECT_EQ("1 2 ; 3 ; ", openAs());
    EXPECT_EQ("2(2)... 3(3)... ", callsAs());
    leave(inner);
    EXPECT_EQ("1 ; 3 ; ", openAs());
    leave(outer);  // whose entry is another call's by now
    EXPECT_EQ("2(2) 3(3)... ", callsAs());
    leave(other);
    EXPECT_EQ("", openAs());
}

// A HAL may leave its callback, and the platform below it, by a jump: no end is seen.
TEST_F(FlightTest, CallsLeftByAJumpAreNotUnderWay) {
    begin(8);
    Site& called = site("pcSimFanReadTemp");
    enter(called, {1});
    enter(called, {2}, 1);
    enter(called, {3}, 2);
    Call next = enter(called, {4});
    EXPECT_EQ("4 ; ", openAs());
    leave(next);
    EXPECT_EQ("", openAs());
}

TEST_F(FlightTest, WhatLiesBehindPointersIsKeptFromBothSides) {
    begin(2);
    Site& called = site("pcSimFanReadTemp");
    uint32_t temperature = 11;
    // The parameter that is a pointer gets the address, the others a number.
    std::vector<uint32_t> words;
    for (const Parameter& parameter : called.function->parameters)
        words.push_back(
            parameter.type->kind == Kind::kPointer ? reinterpret_cast<uint32_t>(&temperature) : 1);
    Call call = enter(called, words);
    temperature = 42;
    leave(call);
    temperature = 0;
    const BlockCopy copy(block->path());
    const FlightEntry& entry = *flightIn(copy).calls.front();
    const uint32_t address = reinterpret_cast<uint32_t>(&temperature);
    const auto* const after =
        static_cast<const uint32_t*>(KeptMemory(entry, true).at(address, 4, true));
    ASSERT_NE(nullptr, after);
    EXPECT_EQ(42u, *after);
    EXPECT_EQ(nullptr, KeptMemory(entry, true).at(address, 5, true));
    EXPECT_EQ(nullptr, KeptMemory(entry, true).at(address - 1, 4, true));
    EXPECT_EQ(nullptr, KeptMemory(entry, true).at(address + 4, 1, true));
}

TEST_F(FlightTest, TextsAreKnownUpToTheirEnd) {
    FlightEntry entry{};
    const uint32_t piece[] = {0x1000, 8};
    memcpy(entry.memory[0], piece, 8);
    memcpy(entry.memory[0] + 8, "abc\0defg", 8);
    entry.memorySize[0] = 16;
    const KeptMemory memory(entry, false);
    EXPECT_EQ(4u, memory.textBytes(0x1000, 100, true));
    EXPECT_EQ(3u, memory.textBytes(0x1001, 100, true));
    EXPECT_EQ(2u, memory.textBytes(0x1000, 2, true));
    EXPECT_EQ(0u, memory.textBytes(0x1004, 100, true));  // its end isn't known
    EXPECT_EQ(4u, memory.textBytes(0x1004, 4, true));
    EXPECT_EQ(0u, memory.textBytes(0x2000, 4, true));
    EXPECT_EQ(0u, memory.textBytes(0xfff, 4, true));
    // Nonsense in a damaged entry is no reason to read beyond it.
    const uint32_t longer[] = {0x1000, 0xffffffff};
    memcpy(entry.memory[0], longer, 8);
    EXPECT_NE(nullptr, KeptMemory(entry, false).at(0x1000, 8, true));
    EXPECT_EQ(nullptr, KeptMemory(entry, false).at(0x1000, 9, true));
    entry.memorySize[0] = 0xffffffff;
    EXPECT_EQ(nullptr, KeptMemory(entry, false).at(0x1000, FlightEntry::kMemory, true));
}

// The first operation that fills a record which no entry has room for.
struct Filler {
    const Operation* operation = nullptr;
    size_t parameter = 0;
};
Filler largeFiller() {
    for (const Operation& operation : operations())
        for (const Parameter& parameter : operation.function->parameters)
            if (parameter.semantics.out && parameter.type->target->kind == Kind::kRecord &&
                parameter.type->target->size > FlightEntry::kMemory)
                return {&operation,
                        static_cast<size_t>(&parameter - &operation.function->parameters[0])};
    return {};
}

TEST_F(FlightTest, MoreMemoryThanThereIsRoomForIsCut) {
    begin(1);
    const Filler filler = largeFiller();
    ASSERT_NE(nullptr, filler.operation);
    std::vector<uint32_t> record(4096, 0x11111111);
    const auto address = reinterpret_cast<uint32_t>(record.data());
    std::vector<uint32_t> words(filler.operation->function->parameters.size(), 0);
    words[filler.parameter] = address;
    Call call = enter(site(std::string(filler.operation->name).c_str()), words);
    leave(call);
    const BlockCopy copy(block->path());
    const FlightEntry& entry = *flightIn(copy).calls.front();
    EXPECT_EQ(FlightEntry::kMemory, entry.memorySize[1]);
    EXPECT_EQ(FlightEntry::kReturned, entry.state);
    const KeptMemory memory(entry, true);
    EXPECT_NE(nullptr, memory.at(address, 600, true));
    EXPECT_EQ(nullptr, memory.at(address, FlightEntry::kMemory, true));
}

TEST_F(FlightTest, SurvivesTheProcess) {
    const pid_t child = fork();
    if (child == 0) {
        begin(4);
        enter(site("pcSimFanReadTemp"), {77});
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    const BlockCopy copy = blockOf(folder, "sw1");
    const Flight flight = flightIn(copy);
    ASSERT_EQ(1u, flight.calls.size());
    EXPECT_EQ(77u, flight.calls[0]->word[0]);
    ASSERT_EQ(1u, flight.open.size());
    EXPECT_EQ(1u, flight.open[0][0]->number);
}

TEST_F(FlightTest, ChildKeepsNothing) {
    begin(4);
    Site& called = site("pcSimFanReadTemp");
    const pid_t child = fork();
    if (child == 0) {
        Call call = enter(called, {1});
        leave(call);
        _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ("", callsAs());
    EXPECT_EQ("", openAs());
    enter(called, {2});
    EXPECT_EQ("1(2)... ", callsAs());
}

TEST_F(FlightTest, TreeAndCLibraryAreLeftOut) {
    begin(4);
    EXPECT_TRUE(recorder->wants(site("pcSimFanReadTemp")));
    EXPECT_TRUE(recorder->wants(site("halStartTimer")));
    EXPECT_FALSE(recorder->wants(site("p2BtreeInsert")));
    EXPECT_TRUE(FlightRecorder(block->header(), true).wants(site("p2BtreeInsert")));
    EXPECT_TRUE(recorder->wants(site("HalTimerFn")));
}

}  // namespace
}  // namespace pcsim::probe
