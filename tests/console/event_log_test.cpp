// The order of events, and the times that they are stamped with.
#include "console/event_log.h"

#include <gtest/gtest.h>

namespace pcsim {
namespace {

TEST(EventLogTest, TimeNeverGoesBack) {
    uint64_t now = 1649;
    EventLog log([&] { return now; });
    log.note("a", "late {}", 1);
    now = 1007;  // a timer that was due before, and ran after
    log.note("b", "its own time");
    now = 2000;
    log.add("c", "goes on");
    ASSERT_EQ(log.events().size(), 3u);
    EXPECT_EQ(log.events()[0].timeMs, 1649u);
    EXPECT_EQ(log.events()[1].timeMs, 1649u);
    EXPECT_EQ(log.events()[2].timeMs, 2000u);
    EXPECT_EQ(formatEvent(log.events()[1]), "[    1.649] b         its own time");
}

TEST(EventLogTest, FindsFromAPositionOn) {
    EventLog log([] { return uint64_t{0}; });
    log.add("port", "1:1 up");
    log.add("port", "1:1 down");
    EXPECT_EQ(log.find("port 1:1", 0)->position, 0u);
    EXPECT_EQ(log.find("port 1:1", 1)->position, 1u);
    EXPECT_EQ(log.find("port 1:1", 2), nullptr);
}

}  // namespace

TEST(EventLogTest, ListenersMayLeaveWhileTheyListen) {
    EventLog log([] { return uint64_t{0}; });
    std::string heard;
    EventLog::ListenerId first = 0, second = 0;
    first = log.listen([&](const Event& event) {
        heard += "1" + event.text;
        log.remove(first);
        log.remove(second);
    });
    second = log.listen([&](const Event&) { heard += "2"; });
    log.listen([&](const Event&) { heard += "3"; });
    log.add("s", "a");
    log.add("s", "b");
    EXPECT_EQ(heard, "1a33");
    EXPECT_EQ(log.nextPosition(), 2u);
}

}  // namespace pcsim
