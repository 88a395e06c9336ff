// Streams of events: numbered without gaps, and honest about what was lost.
#include "console/server/event_feed.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace pcsim {
namespace {

class EventFeedTest : public testing::Test {
protected:
    void add(const char* source, int count = 1) {
        for (int n = 0; n < count; ++n) log.add(source, "event " + std::to_string(made++));
    }
    EventStream& stream(EventStream::Wish wish) {
        streams.push_back(std::make_unique<EventStream>(feed, streams.size() + 1, std::move(wish),
                                                        [this] { ++calls; }));
        return *streams.back();
    }
    static std::string eventLine(int id, int sequence, int number, const char* source) {
        const std::string n = std::to_string(number);
        return R"({"jsonrpc":"2.0","method":"event","params":{"stream":)" + std::to_string(id) +
               R"(,"sequence":)" + std::to_string(sequence) + R"(,"number":)" + n +
               R"(,"timeMs":7,"source":")" + source + R"(","text":"event )" + n + "\"}}\n";
    }
    static std::string lostLine(int id, int sequence, int count) {
        return R"({"jsonrpc":"2.0","method":"lost","params":{"stream":)" + std::to_string(id) +
               R"(,"sequence":)" + std::to_string(sequence) + R"(,"count":)" +
               std::to_string(count) + "}}\n";
    }

    EventLog log{[] { return uint64_t{7}; }};
    EventFeed feed{log};
    std::vector<std::unique_ptr<EventStream>> streams;
    int made = 0, calls = 0;
};

constexpr size_t kAll = 1 << 30;

TEST_F(EventFeedTest, TellsWhatComesFromThenOn) {
    add("port", 2);
    EventStream& one = stream({{}, "", 2});
    EXPECT_EQ(one.next(kAll), "");
    add("port");
    add("card");
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(one.next(kAll), eventLine(1, 0, 2, "port") + eventLine(1, 1, 3, "card"));
    EXPECT_EQ(one.next(kAll), "");
}

TEST_F(EventFeedTest, TellsOfThePastWhenAsked) {
    add("port", 3);
    EXPECT_EQ(stream({{}, "", 1}).next(kAll),
              eventLine(1, 0, 1, "port") + eventLine(1, 1, 2, "port"));
}

TEST_F(EventFeedTest, SourcesAndTextsAreChosen) {
    EventStream& port = stream({{"port", "trace"}, "", 0});
    EventStream& two = stream({{}, "event 2", 0});
    add("port");
    add("ports");
    add("trace Port");
    EXPECT_EQ(port.next(kAll), eventLine(1, 0, 0, "port") + eventLine(1, 1, 2, "trace Port"));
    EXPECT_EQ(two.next(kAll), eventLine(2, 0, 2, "trace Port"));
    EXPECT_EQ(calls, 3);
}

TEST_F(EventFeedTest, ComesInPieces) {
    EventStream& one = stream({{}, "", 0});
    add("port", 3);
    EXPECT_EQ(one.next(1), eventLine(1, 0, 0, "port"));
    EXPECT_EQ(one.next(1), eventLine(1, 1, 1, "port"));
    EXPECT_EQ(one.next(kAll), eventLine(1, 2, 2, "port"));
}

TEST_F(EventFeedTest, ASlowOneIsToldWhatItLostAndGoesOn) {
    constexpr int kKept = static_cast<int>(EventLog::kCapacity);
    EventStream& all = stream({{}, "", 0});
    EventStream& cards = stream({{"card"}, "", 0});
    add("port");
    EXPECT_EQ(all.next(kAll), eventLine(1, 0, 0, "port"));
    add("card", 5);
    add("port", kKept - 2);
    // Of the 5 cards' the log has dropped the first 3.
    EXPECT_EQ(cards.next(kAll),
              lostLine(2, 0, 3) + eventLine(2, 1, 4, "card") + eventLine(2, 2, 5, "card"));
    EXPECT_EQ(cards.next(kAll), "");
    EXPECT_EQ(all.next(150), lostLine(1, 1, 3) + eventLine(1, 2, 4, "card"));
    add("card");
    EXPECT_EQ(cards.next(kAll), eventLine(2, 3, made - 1, "card"));
}

TEST_F(EventFeedTest, WhatWasDroppedBeforeIsLost) {
    add("port", static_cast<int>(EventLog::kCapacity) + 10);
    EventStream& one = stream({{"card"}, "", 3});
    EXPECT_EQ(one.next(kAll), lostLine(1, 0, 7));
}

TEST_F(EventFeedTest, FarBehindIsToldTheSame) {
    EventStream& slow = stream({{}, "", 0});
    EventStream& fast = stream({{}, "", 0});
    for (int n = 0; n < 5000; ++n) {
        add("port");
        ASSERT_EQ(fast.next(kAll), eventLine(2, n, n, "port"));
    }
    std::string expected;
    for (int n = 0; n < 5000; ++n) expected += eventLine(1, n, n, "port");
    EXPECT_EQ(slow.next(kAll), expected);
}

}  // namespace
}  // namespace pcsim
