// Lines over a socket, in pieces and too long ones.
#include "console/server/channel.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace pcsim {
namespace {

class ChannelTest : public testing::Test {
protected:
    ChannelTest() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
        channel = std::make_unique<Channel>(ends[0]);
        peer = ends[1];
    }
    ~ChannelTest() override { end(); }

    void end() {
        if (peer >= 0) close(peer);
        peer = -1;
    }

    // What the channel makes of it, as "text", "TOO LONG" or "text..." without an end.
    std::vector<std::string> lines() {
        std::vector<std::string> all;
        while (const auto line = channel->nextLine())
            all.push_back(line->tooLong ? "TOO LONG"
                                        : line->text + (line->incomplete ? "..." : ""));
        return all;
    }
    std::vector<std::string> receive(const std::string& bytes) {
        std::vector<std::string> all;
        for (size_t at = 0; at < bytes.size();) {
            const ssize_t size = send(peer, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
            if (size > 0) at += static_cast<size_t>(size);
            while (channel->receive()) continue;
            for (std::string& line : lines()) all.push_back(std::move(line));
        }
        return all;
    }

    std::unique_ptr<Channel> channel;
    int peer;
};

using Lines = std::vector<std::string>;

TEST_F(ChannelTest, LinesComeInPieces) {
    EXPECT_EQ(receive("on"), Lines{});
    EXPECT_EQ(receive("e\ntwo\n\nth"), (Lines{"one", "two", ""}));
    EXPECT_EQ(receive(std::string("r\0ee\n", 5)), (Lines{std::string("thr\0ee", 6)}));
}

TEST_F(ChannelTest, WhatHasNoEndIsToldOf) {
    EXPECT_EQ(receive("one\ntwo"), Lines{"one"});
    end();
    while (channel->receive()) continue;
    EXPECT_TRUE(channel->atEnd());
    EXPECT_EQ(lines(), Lines{"two..."});
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(ChannelTest, TheLongestRequestFits) {
    const std::string longest(kLongestRequest, 'x');
    const Lines got = receive(longest + "\nnext\n");
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0], longest);
    EXPECT_EQ(got[1], "next");
}

TEST_F(ChannelTest, ALongerOneIsToldOfOnceAndTheNextIsRead) {
    EXPECT_EQ(receive(std::string(kLongestRequest + 1, 'x') + "\nnext\n"),
              (Lines{"TOO LONG", "next"}));
    EXPECT_EQ(receive(std::string(3 * kLongestRequest, 'x') + "\nnext\n"),
              (Lines{"TOO LONG", "next"}));
}

TEST_F(ChannelTest, KeepsWhatThePeerDoesNotTake) {
    const std::string much(1'000'000, 'x');
    channel->send(much);
    EXPECT_TRUE(channel->flush());
    EXPECT_GT(channel->unsent(), 0u);
    size_t got = 0;
    char bytes[65536];
    while (got < much.size()) {
        const ssize_t size = recv(peer, bytes, sizeof bytes, 0);
        if (size > 0)
            got += static_cast<size_t>(size);
        else
            ASSERT_TRUE(channel->flush());
    }
    EXPECT_EQ(channel->unsent(), 0u);
}

TEST_F(ChannelTest, APeerThatHasGoneIsSeen) {
    end();
    channel->send("x");
    EXPECT_FALSE(channel->flush());
}

}  // namespace
}  // namespace pcsim
