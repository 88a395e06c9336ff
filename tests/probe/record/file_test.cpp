// Whole recordings in files: read as written; cut at every byte, damaged in every byte; no room.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <cerrno>
#include <functional>

#include "console/error.h"
#include "probe/record/encoder.h"
#include "tests/probe/record/sample.h"
#include "tests/probe/record/scratch.h"

namespace pcsim::probe::test {
namespace {

std::string toldBlocks(const Event& event) {
    std::string text;
    for (const RecordedBlock& block : event.blocks) {
        text += " [" + std::to_string(block.path) + " " + std::to_string(block.address) +
                (block.platform ? " platform" : "") + (block.written ? " written" : "");
        for (const uint8_t byte : block.bytes) text += " " + std::to_string(byte);
        text += "]";
    }
    return text;
}

std::string toldEvent(const Event& event) {
    std::string text = std::to_string(static_cast<int>(event.kind));
    for (const uint64_t number : {uint64_t{event.thread}, uint64_t{event.depth},
                                  uint64_t{event.site}, event.call, event.result})
        text += " " + std::to_string(number);
    for (const uint32_t argument : event.arguments) text += " (" + std::to_string(argument) + ")";
    return text + toldBlocks(event) + " " + std::string(event.text) + "\n";
}

}  // namespace

std::string told(const Recording& recording) {
    std::string text;
    for (const auto& [what, value] : recording.facts) text += what + "=" + value + "\n";
    for (const RecordedSymbol& symbol : recording.symbols)
        text += symbol.name + " " + std::to_string(symbol.address) + " " +
                std::to_string(symbol.size) + (symbol.function ? " function\n" : "\n");
    for (const RecordedSite& site : recording.sites)
        text += std::to_string(static_cast<int>(site.side)) + " " + std::to_string(site.target) +
                " " + site.name + " " + site.table + " " + site.word + " " + site.functionName +
                (site.function != nullptr ? " known\n" : "\n");
    for (const RecordedPath& path : recording.paths)
        text += path.owner + " " + path.text + " " + path.typeName +
                (path.type != nullptr ? " known\n" : "\n");
    for (const Event& event : recording.events) text += toldEvent(event);
    return text;
}

namespace {

Recording parsed(const std::string& bytes) {
    return parse({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}, "a file");
}

std::string savedSample() {
    const Scratch file;
    save(sample(), file.path());
    return file.contents();
}

TEST(RecordFile, WhatIsReadIsWhatWasWritten) {
    const Recording read = parsed(savedSample());
    EXPECT_EQ(told(read), told(sample()));
    EXPECT_EQ(read.ending.kind, FileEnding::Kind::kClosed);
    EXPECT_EQ(read.ending.text, "");
    EXPECT_EQ(read.calls(), 4u);
}

TEST(RecordFile, ReturnsAreFoundAndCallsWithoutOneAreTold) {
    const Recording read = sample();
    const auto returns = read.returns();
    EXPECT_EQ(returns[0], 5u);
    EXPECT_EQ(returns[1], 4u);
    EXPECT_EQ(returns[3], 7u);
    EXPECT_EQ(returns[8], Recording::kNone);
}

// Of a file that is cut anywhere, what is read is a beginning of the whole, and the cut is told.
TEST(RecordFile, CutAtEveryByteItIsGoodUpToThere) {
    const std::string whole = savedSample();
    const Recording all = parsed(whole);
    size_t events = 0;
    for (size_t size = 1; size < whole.size(); ++size) {
        const Recording read = parsed(whole.substr(0, size));
        ASSERT_EQ(read.ending.kind, FileEnding::Kind::kCutShort) << size;
        ASSERT_NE(read.ending.text, "") << size;
        ASSERT_LE(read.ending.goodBytes, size);
        ASSERT_GE(read.events.size(), events) << size;
        events = read.events.size();
        for (size_t index = 0; index < events; ++index)
            ASSERT_EQ(toldEvent(read.events[index]), toldEvent(all.events[index])) << size;
    }
    EXPECT_EQ(events, all.events.size());
}

// The same of one that is damaged anywhere: no event is read that wasn't written.
TEST(RecordFile, DamagedInEveryByteItIsGoodUpToThere) {
    const std::string whole = savedSample();
    const Recording all = parsed(whole);
    for (size_t place = format::kMagic.size() + 1; place < whole.size(); ++place) {
        for (const int bits : {0x01, 0x80, 0xFF}) {
            std::string damaged = whole;
            damaged[place] = static_cast<char>(damaged[place] ^ bits);
            const Recording read = parsed(damaged);
            // Another kind may be one that is skipped, so what follows of it is not good, or is.
            ASSERT_LE(read.events.size(), all.events.size());
            if (read.ending.kind == FileEnding::Kind::kClosed) continue;
            ASSERT_LE(read.ending.goodBytes, place);
            for (size_t index = 0; index < read.events.size(); ++index)
                ASSERT_EQ(toldEvent(read.events[index]), toldEvent(all.events[index])) << place;
        }
    }
}

TEST(RecordFile, DamageIsToldWithPlaceAndCall) {
    std::string damaged = savedSample();
    damaged[damaged.size() - 1] = static_cast<char>(damaged[damaged.size() - 1] ^ 1);
    const Recording read = parsed(damaged);
    EXPECT_EQ(read.ending.kind, FileEnding::Kind::kDamaged);
    EXPECT_EQ(read.ending.text,
              "damaged at byte " + std::to_string(read.ending.goodBytes) + "; good up to call 5");
}

TEST(RecordFile, OtherFilesAndVersionsAreRefused) {
    EXPECT_THROW(parsed("something else"), CommandError);
    EXPECT_THROW(parsed(""), CommandError);
    std::string later = savedSample();
    later[format::kMagic.size()] = 9;
    try {
        parsed(later);
        ADD_FAILURE() << "version 9 was read";
    } catch (const CommandError& error) {
        EXPECT_NE(std::string(error.what()).find("version 9; expected version 1"),
                  std::string::npos);
    }
    EXPECT_THROW(load("/nonexistent/file"), CommandError);
    EXPECT_THROW(save(sample(), "/nonexistent/file"), CommandError);
}

// Whatever has been appended is there when the process is killed, without a byte that isn't.
TEST(RecordFile, AKilledProcessLeavesWhatItHasWritten) {
    const Scratch file;
    const pid_t child = fork();
    if (child == 0) {
        RecordFile out;
        if (!out.open(file.path())) _exit(1);
        Encoder encoder(out);
        encoder.site(0, {Side::kPlatform, 0, "a", "", "", ""});
        for (uint32_t number = 1; number <= 100000; ++number) {
            encoder.beginCall(0, number, 1, 0, std::vector<uint32_t>{number * 7919});
            const std::vector<uint8_t> memory(64, static_cast<uint8_t>(number));
            encoder.block(0, 0x1000, memory, 0);
            encoder.finish();
        }
        kill(getpid(), SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    const Recording read = load(file.path());
    EXPECT_EQ(read.ending.kind, FileEnding::Kind::kCutShort);
    EXPECT_NE(read.ending.text.find("good up to call 100000"), std::string::npos);
    ASSERT_EQ(read.events.size(), 100000u);
    EXPECT_EQ(read.events.back().arguments[0], 100000u * 7919);
}

TEST(RecordFile, AFullDiskEndsTheRecordingAndIsTold) {
    const Scratch file;
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{6u << 20, 6u << 20};
        setrlimit(RLIMIT_FSIZE, &limit);
        RecordFile out;
        if (!out.open(file.path())) _exit(1);
        Encoder encoder(out);
        encoder.site(0, {Side::kPlatform, 0, "a", "", "", ""});
        std::vector<uint8_t> memory(60000, 0);
        bool good = true;
        uint32_t written = 0;
        for (; written < 1000 && good; ++written) {
            for (uint8_t& byte : memory) byte = static_cast<uint8_t>(byte * 5 + written + 1);
            encoder.beginCall(0, written + 1, 1, 0, {});
            encoder.block(0, 0, memory, 0);
            good = encoder.finish();
        }
        const bool more = encoder.fact("more", "");
        _exit(!good && !more && written > 50 && !out.close() ? 0 : 2);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    const Recording read = load(file.path());
    EXPECT_EQ(read.ending.kind, FileEnding::Kind::kCutShort);
    EXPECT_GT(read.events.size(), 50u);
}

// Runs this where no file can be longer than so many bytes; whether it is true.
bool holdsOnFullDisk(rlim_t bytes, const std::function<bool()>& run) {
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, bytes};
        setrlimit(RLIMIT_FSIZE, &limit);
        _exit(run() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status == 0;
}

TEST(RecordFile, ARecordingWithoutRoomLeavesTheFormerAndSaysWhy) {
    const Scratch file;
    save(sample(), file.path());
    EXPECT_TRUE(holdsOnFullDisk(1u << 20, [&] {
        RecordFile out;
        return !out.open(file.path()) && errno == EFBIG;
    }));
    EXPECT_EQ(load(file.path()).ending.kind, FileEnding::Kind::kClosed);
}

TEST(RecordFile, WhatIsSavedLeavesTheFormerUntilItIsWhole) {
    const Scratch file;
    save(sample(), file.path());
    EXPECT_TRUE(holdsOnFullDisk(6u << 20, [&] {
        RecordFile out;
        if (!out.openAside(file.path())) return false;
        const std::vector<uint8_t> much(1u << 20, 1);
        while (out.append(format::kFact, much)) continue;
        return !out.close();
    }));
    EXPECT_EQ(load(file.path()).ending.kind, FileEnding::Kind::kClosed);
    RecordFile out;
    ASSERT_TRUE(out.openAside(file.path()));
    EXPECT_GT(load(file.path()).events.size(), 0u);
    ASSERT_TRUE(Encoder(out).end(0) && out.close());
    EXPECT_EQ(load(file.path()).events.size(), 0u);
}

TEST(RecordFile, AChildOfTheProcessLeavesTheFileAlone) {
    const Scratch file;
    RecordFile out;
    ASSERT_TRUE(out.open(file.path()));
    Encoder encoder(out);
    ASSERT_TRUE(encoder.fact("one", "1"));
    const pid_t child = fork();
    if (child == 0) {
        out.abandon();
        _exit(out.append(format::kFact, {}) ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    ASSERT_TRUE(encoder.fact("two", "2"));
    ASSERT_TRUE(encoder.end(0));
    ASSERT_TRUE(out.close());
    const Recording read = load(file.path());
    EXPECT_EQ(read.facts.size(), 2u);
    EXPECT_EQ(read.ending.kind, FileEnding::Kind::kClosed);
}

// A part of a recording can be saved and read: it shares the store of the whole.
TEST(RecordFile, APartOfARecordingIsARecording) {
    const Scratch file;
    Recording part;
    {
        const Recording whole = sample();
        part = whole.withoutEvents();
        part.events = {whole.events[0], whole.events[5]};
    }
    save(part, file.path());
    const Recording read = load(file.path());
    EXPECT_EQ(told(read), told(part));
}

TEST(RecordFile, ADirectoryIsToldOf) {
    try {
        load("/");
        FAIL();
    } catch (const CommandError& error) {
        EXPECT_STREQ(error.what(), "recording / can't be read: No such device");
    }
}

}  // namespace
}  // namespace pcsim::probe::test
