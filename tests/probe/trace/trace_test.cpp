// The lines of a trace: their form, their order, and which calls have one.
#include "probe/trace/trace.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>

#include "console/error.h"
#include "pcsim/l3.h"
#include "tests/probe/calls.h"

namespace pcsim::probe {
namespace {

class TraceTest : public testing::Test {
protected:
    void start(TraceFilter filter = {}) {
        trace.start(std::move(filter), [this](const std::string& line) { lines += line; });
    }

    std::string lines;
    Trace trace;
    FakeBoundary boundary{trace};
    FakeSite create{"pcSimVrCreate"}, remove{"pcSimVrDelete"}, notify{"dmGetMaxVr"};
};

TEST_F(TraceTest, ACallIsALine) {
    start();
    boundary.call(notify, {}, 8);
    EXPECT_EQ(lines, "< dmGetMaxVr -> 8\n");
}

TEST_F(TraceTest, CallsInsideStandBetweenTheTwoLinesOfTheirCall) {
    start();
    boundary.call(notify, {}, 8, [this] {
        boundary.call(notify, {}, 7);
        boundary.call(notify, {}, 6, [this] { boundary.call(notify, {}, 5); });
    });
    EXPECT_EQ(lines,
              "< dmGetMaxVr ...\n"
              "    < dmGetMaxVr -> 7\n"
              "    < dmGetMaxVr ...\n"
              "        < dmGetMaxVr -> 5\n"
              "    < dmGetMaxVr -> 6\n"
              "< dmGetMaxVr -> 8\n");
}

TEST_F(TraceTest, TimeStandsInFront) {
    uint64_t now = 1234;
    trace.nowMs = [&] { return now; };
    start();
    boundary.call(notify, {}, 8, [&] {
        now = 12345678;
        boundary.call(notify, {}, 7);
    });
    EXPECT_EQ(lines,
              "[    1.234] < dmGetMaxVr ...\n"
              "[12345.678]     < dmGetMaxVr -> 7\n"
              "[12345.678] < dmGetMaxVr -> 8\n");
}

TEST_F(TraceTest, OtherThreadsAreTold) {
    start();
    boundary.call(notify, {}, 8, [this] { boundary.call(notify, {}, 7, {}, 2); });
    EXPECT_EQ(lines, "(2) < dmGetMaxVr -> 7\n< dmGetMaxVr -> 8\n");
}

TEST_F(TraceTest, ACallThatWasLeftEndsWithoutALine) {
    start();
    boundary.leave(notify, {});
    boundary.call(notify, {}, 3);
    EXPECT_EQ(lines, "< dmGetMaxVr -> 3\n");
}

TEST_F(TraceTest, AFaultIsTold) {
    start();
    class Answering : public Observer {
    public:
        explicit Answering(Trace& inner) : trace_(inner) {}
        bool wants(const Site&) const override { return true; }
        void before(Call& call) override {
            trace_.before(call);
            call.answered = true;
            call.result = ~uint64_t{0};
        }
        void after(Call& call) override { trace_.after(call); }

    private:
        Trace& trace_;
    } answering(trace);
    FakeBoundary(answering).call(notify, {});
    EXPECT_EQ(lines, "< dmGetMaxVr -> -1 [fault]\n");
}

TEST_F(TraceTest, OperationsAreChosenByName) {
    start({.operations = {"pcSimVr?reate", "dm*"}});
    EXPECT_TRUE(trace.wants(create.site));
    EXPECT_TRUE(trace.wants(notify.site));
    EXPECT_FALSE(trace.wants(remove.site));
    EXPECT_THROW(start({.operations = {"pcSimNothing"}}), CommandError);
    EXPECT_THROW(start({.ports = {"1-3"}}), CommandError);
}

TEST_F(TraceTest, TheTreeAndTheCLibraryAreForThoseWhoAskForThem) {
    FakeSite insert{"p2BtreeInsert"}, first{"p2BtreeFirst"}, compare{"pcSimIpAdjComp"},
        ioctl{"ioctl"};
    start();
    for (const FakeSite* site : {&insert, &first, &compare, &ioctl})
        EXPECT_FALSE(trace.wants(site->site)) << site->site.name;
    start({.operations = {"p2*", "ioctl"}});
    EXPECT_TRUE(trace.wants(insert.site));
    EXPECT_TRUE(trace.wants(ioctl.site));
    EXPECT_FALSE(trace.wants(compare.site));
    start({.all = true});
    for (const FakeSite* site : {&insert, &first, &compare, &ioctl})
        EXPECT_TRUE(trace.wants(site->site)) << site->site.name;
}

TEST_F(TraceTest, ValuesAreToldAndChosenByPortAndSlot) {
    FakeSite link{"pcSimCardPortLinkChange"}, mapping{"halGetHwPortMapping"}, speed{"dmGetMaxVr"};
    const auto calls = [&] {
        lines.clear();
        boundary.call(link, {0x00010003, 1}, 0);
        boundary.call(link, {0x00020003, 1}, 0);
        boundary.call(mapping, {1, 3}, 3);
        boundary.call(mapping, {3, 1}, 3);
        boundary.call(speed, {}, 8);
    };
    start({.ports = {"1:3"}});
    calls();
    EXPECT_EQ(lines,
              "> pcSimCardPortLinkChange portInstance 1:3 state 1 -> 0\n"
              "< halGetHwPortMapping slot 1 port 3 -> 3\n");
    start({.slots = {2}});
    calls();
    EXPECT_EQ(lines, "> pcSimCardPortLinkChange portInstance 2:3 state 1 -> 0\n");
    start({.ports = {"2:3"}, .slots = {3}});
    calls();
    EXPECT_EQ(lines,
              "> pcSimCardPortLinkChange portInstance 2:3 state 1 -> 0\n"
              "< halGetHwPortMapping slot 3 port 1 -> 3\n");
}

TEST_F(TraceTest, PortsInRecordsCountToo) {
    FakeSite adjacency{"pcSimIpAdjAdd"};
    pcSimIpAdjRec request{};
    request.port = 0x00010003;
    start({.ports = {"1:3"}});
    boundary.call(adjacency, {word(&request)}, 0);
    EXPECT_NE(lines.find("port 1:3"), std::string::npos) << lines;
    lines.clear();
    request.port = 0x00010004;
    boundary.call(adjacency, {word(&request)}, 0);
    EXPECT_EQ(lines, "");
}

TEST_F(TraceTest, NothingIsWantedBeforeItStartsAndAfterItStops) {
    int changes = 0;
    trace.onChange = [&] { ++changes; };
    EXPECT_FALSE(trace.wants(notify.site));
    start();
    EXPECT_TRUE(trace.on());
    boundary.call(notify, {}, 1, [this] { trace.stop(); });
    EXPECT_FALSE(trace.wants(notify.site));
    EXPECT_EQ(lines, "");
    EXPECT_EQ(changes, 2);
}

TEST_F(TraceTest, AFileHasItsLinesAtOnce) {
    std::string path = testing::TempDir() + "trace_testXXXXXX";
    const int descriptor = mkstemp(path.data());
    ASSERT_EQ(write(descriptor, "former\n", 7), 7);
    close(descriptor);
    const auto firstLine = [&] {
        char text[64] = {};
        FILE* const file = fopen(path.c_str(), "re");
        const bool read = file != nullptr && fgets(text, sizeof text, file) != nullptr;
        if (file != nullptr) fclose(file);
        return std::string(read ? text : "");
    };
    trace.startFile({}, path);
    EXPECT_EQ(firstLine(), "former\n");
    boundary.call(notify, {}, 8);
    EXPECT_EQ(firstLine(), "< dmGetMaxVr -> 8\n");
    std::remove(path.c_str());
    EXPECT_THROW(trace.startFile({.operations = {"pcSimNothing"}}, path), CommandError);
    EXPECT_THROW(trace.startFile({.ports = {"1-3"}}, path), CommandError);
    EXPECT_EQ(std::fopen(path.c_str(), "re"), nullptr) << "made for a trace that never began";
    EXPECT_THROW(trace.startFile({}, "/nowhere/at/all"), CommandError);
    EXPECT_TRUE(trace.on()) << "the trace that was there goes on";
}

}  // namespace
}  // namespace pcsim::probe
