// Differences: a recording is changed in one place, so that the library behaves otherwise than it
// says, and the replay names the call, the operation and the field.
#include <sys/wait.h>

#include <cstring>
#include <thread>

#include "pcsim/card_slot.h"
#include "pcsim/l2.h"
#include "pcsim/l3.h"
#include "pcsim/misc.h"
#include "pcsim/port.h"
#include "tests/probe/replay/recorded.h"

namespace pcsim::probe::test {
namespace {

#define OPERATION(name) lookUp<__typeof__(name)>(#name)

class Differences : public Recorded {
protected:
    static size_t find(const Recording& recording, Event::Kind kind, const char* name) {
        for (size_t index = 0; index < recording.events.size(); ++index) {
            const Event& event = recording.events[index];
            const bool named = kind == Event::Kind::kPrint || recording.siteOf(event).name == name;
            if (event.kind == kind && named) return index;
        }
        ADD_FAILURE() << "no event of " << name;
        return 0;
    }
    static Event& returnOf(Recording& recording, const char* name) {
        return recording.events[find(recording, Event::Kind::kReturn, name)];
    }
    static Event& callOf(Recording& recording, const char* name) {
        return recording.events[find(recording, Event::Kind::kCall, name)];
    }
    // The bytes of a block, which is the recording's own.
    static uint8_t* bytes(const Event& event, size_t block = 0) {
        return const_cast<uint8_t*>(event.blocks[block].bytes.data());
    }
};

TEST_F(Differences, AResult) {
    OPERATION(pcSimIsPortDisabled)(0x010001);
    Recording recording = recorded();
    returnOf(recording, "pcSimIsPortDisabled").result = 1;
    EXPECT_EQ(replayed(recording),
              "call 1 pcSimIsPortDisabled, result: expected 1, seen 0\n1 call, 1 difference\n");
    EXPECT_EQ(WEXITSTATUS(status_), 1);
}

TEST_F(Differences, AFieldOfARecordThatIsFilled) {
    HalSampleCounters counters{};
    OPERATION(pcSimSFLOWGetCntSampleOnPort)(3, &counters);
    Recording recording = recorded();
    bytes(returnOf(recording, "pcSimSFLOWGetCntSampleOnPort"))[72] = 51;
    EXPECT_EQ(replayed(recording),
              "call 1 pcSimSFLOWGetCntSampleOnPort, record.count72: expected 51, seen 50\n"
              "1 call, 1 difference\n");
}

TEST_F(Differences, AByteThatIsToStayAsItWas) {
    HalSampleCounters counters{};
    OPERATION(pcSimSFLOWGetCntSampleOnPort)(3, &counters);
    PortStatsRecord stats;
    std::memset(&stats, 0x11, sizeof stats);
    OPERATION(pcSimCardPortGetStats)(0x010001, &stats);
    Recording recording = recorded();
    bytes(returnOf(recording, "pcSimCardPortGetStats"))[1195] = 0x12;
    EXPECT_NE(replayed(recording).find("pcSimCardPortGetStats, out.reserved388"),
              std::string::npos);
}

TEST_F(Differences, ATextThatIsPrinted) {
    OPERATION(pcSimAllocSampleBin)();
    Recording recording = recorded();
    Event& print = recording.events[find(recording, Event::Kind::kPrint, "")];
    const std::string text = "Something else\n";
    print.text = recording.keep(std::string_view(text));
    const std::string answer = replayed(recording);
    EXPECT_NE(answer.find("pcSimAllocSampleBin, print: expected \"Something else\", seen \""),
              std::string::npos)
        << answer;
}

TEST_F(Differences, AnArgumentOfACallOfTheHal) {
    OPERATION(pcSimCardPoeGetVersion)(1);
    Recording recording = recorded();
    Event& call = callOf(recording, "replyHandleSend");
    const_cast<uint32_t&>(call.arguments[4]) = 7;
    bytes(call)[44] = 0x7D;
    EXPECT_EQ(replayed(recording, "--keep-going"),
              "call 2 replyHandleSend, flag: expected 7, seen 1\n"
              "call 2 replyHandleSend, message[44]: expected 7d, seen 7c\n"
              "1 call, 2 differences\n");
}

TEST_F(Differences, CallsOfTheHalThatAreMissingOrTooMany) {
    system();
    Recording recording = recorded();
    Recording fewer = recording.withoutEvents();
    const uint64_t left = callOf(recording, "halRegisterDevice").call;
    for (const Event& event : recording.events)
        if (event.call != left) fewer.events.push_back(event);
    const std::string more = replayed(fewer);
    EXPECT_NE(more.find("platformSystemInit, calls: expected dmGetMaxVr, seen "
                        "halRegisterDevice"),
              std::string::npos)
        << more;
    // The other way round: a call that the recorded library made, and this one doesn't.
    Recording other = recording.withoutEvents();
    for (const Event& event : recording.events) {
        other.events.push_back(event);
        if (event.kind != Event::Kind::kReturn || event.call != left) continue;
        for (const Event& again : recording.events) {
            if (again.call != left) continue;
            other.events.push_back(again);
            other.events.back().call = 1000;
        }
    }
    const std::string less = replayed(other);
    EXPECT_NE(less.find("platformSystemInit, calls: expected halRegisterDevice, seen "
                        "dmGetMaxVr"),
              std::string::npos)
        << less;
}

TEST_F(Differences, AnotherFunctionInATable) {
    system();
    Recording recording = recorded();
    Event& event = returnOf(recording, "platformSystemInit");
    uint8_t* const table = bytes(event);
    std::memcpy(table + 4 * 4, table + 5 * 4, 4);  // cardDBSetup, cardSlotDBSetup
    const std::string answer = replayed(recording);
    EXPECT_NE(answer.find("platformSystemInit, table.cardDBSetup: expected "
                          "pcSimStackCardSlotDBSetup, seen pcSimStackCardDBSetup"),
              std::string::npos)
        << answer;
}

TEST_F(Differences, ANullInsteadOfARecord) {
    OPERATION(pcSimIPv4FibFind)(1, 2, 3);
    Recording recording = recorded();
    returnOf(recording, "pcSimIPv4FibFind").result = 0x12345678;
    EXPECT_EQ(replayed(recording),
              "call 1 pcSimIPv4FibFind, result: expected a pointer to what it was, seen null\n"
              "1 call, 1 difference\n");
}

TEST_F(Differences, KeepGoingTellsThemAll) {
    for (uint32_t port = 1; port <= 3; ++port) OPERATION(pcSimIsPortDisabled)(port);
    Recording recording = recorded();
    for (Event& event : recording.events)
        if (event.kind == Event::Kind::kReturn) event.result = 1;
    EXPECT_NE(replayed(recording).find("1 call, 1 difference\n"), std::string::npos);
    EXPECT_NE(replayed(recording, "--keep-going").find("3 calls, 3 differences\n"),
              std::string::npos);
}

TEST_F(Differences, ACrashIsToldWithTheCall) {
    OPERATION(pcSimIsPortDisabled)(1);
    pcSimIpAdjRec record{};
    record.family = HAL_IP_FAMILY_IPV4;
    OPERATION(pcSimIpAdjAdd)(&record);
    Recording recording = recorded();
    Event& call = callOf(recording, "pcSimIpAdjAdd");
    const_cast<uint32_t&>(call.arguments[0]) = 0;
    call.blocks = {};
    const std::string answer = replayed(recording);
    EXPECT_TRUE(answer.starts_with("signal ")) << answer;
    EXPECT_NE(answer.find("pcSimIpAdjAdd\n"), std::string::npos) << answer;
}

// A recording that a crash has cut is played as far as it goes.
TEST_F(Differences, ACutRecordingIsPlayedAsFarAsItIsGood) {
    for (uint32_t port = 1; port <= 20; ++port) OPERATION(pcSimIsPortDisabled)(port);
    recorder_.stop();
    const std::string whole = file_.contents();
    file_.put(whole.substr(0, whole.size() - 40));
    const std::string answer = replayedFile(LIBRARY, "");
    EXPECT_TRUE(answer.starts_with("cut short: ")) << answer;
    EXPECT_NE(answer.find(" calls, no difference\n"), std::string::npos) << answer;
}

TEST_F(Differences, CallsOfTwoThreadsAreReplayedInTheOrderOfTheirBeginning) {
    const HalSystemOps ops = system();
    HalCardSlotDb slot{};
    ops.cardSlotDBSetup(1, &slot);
    const auto work = [&](uint32_t number) {
        for (uint32_t round = 0; round < 200; ++round) {
            uint32_t link = 0, duplex = 0, speed = 0, flow = 0, extra = 0;
            slot.ops.cardPortLinkInfo(number << 16 | 1, &link, &duplex, &speed, &flow, &extra);
            PortStatsRecord stats{};
            slot.ops.cardPortGetStats(number << 16 | 1, &stats);
        }
    };
    std::thread first(work, 1), second(work, 2);
    first.join();
    second.join();
    EXPECT_EQ(replayed(), noDifference(802));
}

TEST_F(Differences, AChildOfTheProcessIsNotRecorded) {
    OPERATION(pcSimIsPortDisabled)(1);
    const pid_t child = fork();
    if (child == 0) {
        OPERATION(pcSimIsPortDisabled)(2);
        _exit(recorder_.isRecording() ? 1 : 0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    OPERATION(pcSimIsPortDisabled)(3);
    EXPECT_EQ(replayed(), noDifference(2));
}

}  // namespace
}  // namespace pcsim::probe::test
