// The socket of an instance: one owner of a name at a time, however the last one ended.
#include "console/server/instance_socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>

#include "console/error.h"

namespace pcsim {
namespace {

class InstanceSocketTest : public testing::Test {
protected:
    InstanceSocketTest() { EXPECT_NE(mkdtemp(folder.data()), nullptr); }
    ~InstanceSocketTest() override { EXPECT_EQ(rmdir(folder.c_str()), 0) << "not all is removed"; }

    bool answers(const std::string& path) const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        const int client = socket(AF_UNIX, SOCK_STREAM, 0);
        const bool connected =
            connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        close(client);
        return connected;
    }
    // What another process makes of it, which then dies without a word.
    int elsewhere(const std::function<int()>& run) const {
        const pid_t child = fork();
        if (child == 0) _exit(run());
        int status = 0;
        waitpid(child, &status, 0);
        return WEXITSTATUS(status);
    }
    static bool exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }
    static bool made(const std::string& path) {
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0600);
        close(file);
        return file >= 0;
    }
    std::string problem(const std::string& name) const {
        try {
            const InstanceSocket socket(folder, name);
        } catch (const CommandError& error) {
            return error.what();
        }
        return "";
    }

    std::string folder = "/tmp/pcsim-test-XXXXXX";
};

TEST_F(InstanceSocketTest, ListensForItsUserAloneAndLeavesNothing) {
    const InstanceSocket socket(folder, "one");
    EXPECT_EQ(socket.name(), "one");
    EXPECT_EQ(socket.path(), folder + "/one.sock");
    EXPECT_TRUE(answers(socket.path()));
    struct stat status;
    ASSERT_EQ(stat(socket.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(InstanceSocketTest, ANameIsOnes) {
    const InstanceSocket socket(folder, "one");
    EXPECT_EQ(problem("one"), "an instance named 'one' runs already; expected another --name");
    EXPECT_TRUE(answers(socket.path()));
    EXPECT_EQ(problem("two"), "");
}

TEST_F(InstanceSocketTest, WhatADeadOneLeftIsTakenOver) {
    EXPECT_EQ(elsewhere([this] {
                  new InstanceSocket(folder, "one");
                  return answers(folder + "/one.sock") ? 0 : 1;
              }),
              0);
    EXPECT_EQ(access((folder + "/one.sock").c_str(), F_OK), 0);
    EXPECT_FALSE(answers(folder + "/one.sock"));
    const InstanceSocket socket(folder, "one");
    EXPECT_TRUE(answers(socket.path()));
}

TEST_F(InstanceSocketTest, OfManyThatStartAtOnceOneGetsTheName) {
    constexpr int kStarters = 20, kRounds = 10;
    for (int round = 0; round < kRounds; ++round) {
        int begin[2], hold[2];
        ASSERT_EQ(pipe(begin), 0);
        ASSERT_EQ(pipe(hold), 0);
        pid_t children[kStarters];
        for (pid_t& child : children) {
            child = fork();
            if (child != 0) continue;
            close(begin[1]);
            close(hold[1]);
            char byte;
            [[maybe_unused]] ssize_t size = read(begin[0], &byte, 1);  // until all are there
            try {
                const InstanceSocket socket(folder, "one");
                size = read(hold[0], &byte, 1);  // holds it until all have tried
                _exit(answers(socket.path()) ? 0 : 2);
            } catch (const CommandError&) {
                _exit(1);
            }
        }
        close(begin[0]);
        close(hold[0]);
        close(begin[1]);
        int owners = 0, refused = 0;
        for (int n = 0; n < kStarters; ++n) {
            if (n == kStarters - 1) close(hold[1]);
            int status = 0;
            ASSERT_GT(wait(&status), 0);
            owners += WEXITSTATUS(status) == 0 ? 1 : 0;
            refused += WEXITSTATUS(status) == 1 ? 1 : 0;
        }
        EXPECT_EQ(owners, 1);
        EXPECT_EQ(refused, kStarters - 1);
        // _exit() has left the files.
        const InstanceSocket after(folder, "one");
    }
}

TEST_F(InstanceSocketTest, WithoutANameItIsTheProcess) {
    const std::string name = "pcsim-" + std::to_string(getpid());
    const InstanceSocket first(folder);
    EXPECT_EQ(first.name(), name);
    const InstanceSocket second(folder);
    EXPECT_EQ(second.name(), name + "-2");
}

TEST_F(InstanceSocketTest, NamesAreLettersDigitsAndThreeMore) {
    for (const char* const good : {"a", "A-1_b.c", "7", "pcsim-1"})
        EXPECT_EQ(nameProblem(good), "");
    EXPECT_EQ(nameProblem(std::string(64, 'a')), "");
    for (const std::string bad : {"", "-a", ".a", "a/b", "a b", "ä", "../x"})
        EXPECT_EQ(problem(bad),
                  "'" + (bad == "ä" ? std::string("ä") : bad) +
                      "' is no name of an instance; expected up to 64 letters, digits, '.', '_' "
                      "and '-', the first a letter or digit");
    EXPECT_NE(nameProblem(std::string(65, 'a')), "");
}

TEST_F(InstanceSocketTest, FoldersThatCantBe) {
    const std::string none = folder + "/none";
    try {
        const InstanceSocket socket(none, "one");
        ADD_FAILURE();
    } catch (const CommandError& error) {
        EXPECT_EQ(error.what(), none + "/one.lock can't be made: No such file or directory");
    }
}

// Nobody may come again under the name of one that was killed, such as pcsim-PID.
TEST_F(InstanceSocketTest, WhoeverStartsRemovesWhatKilledOnesHaveLeft) {
    const InstanceSocket living(folder, "living");
    std::string dead;
    for (const bool named : {true, false}) {
        const pid_t child = fork();
        if (child == 0) {
            const auto socket = named ? std::make_unique<InstanceSocket>(folder, "dead")
                                      : std::make_unique<InstanceSocket>(folder);
            kill(getpid(), SIGKILL);
        }
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
        dead = folder + "/pcsim-" + std::to_string(child);
        // The second has removed what the first had left.
        EXPECT_EQ(exists(folder + "/dead.sock"), named);
        EXPECT_EQ(exists(folder + "/dead.lock"), named);
    }
    EXPECT_TRUE(exists(dead + ".sock") && exists(dead + ".lock"));
    const std::string early = folder + "/pcsim-1.lock", foreign = folder + "/foreign.lock";
    for (const std::string& file : {early, foreign}) ASSERT_TRUE(made(file));
    const InstanceSocket next(folder, "next");
    EXPECT_FALSE(exists(dead + ".sock") || exists(dead + ".lock") || exists(early));
    EXPECT_TRUE(answers(living.path()) && answers(next.path()));
    EXPECT_TRUE(exists(foreign));
    unlink(foreign.c_str());
}

}  // namespace
}  // namespace pcsim
