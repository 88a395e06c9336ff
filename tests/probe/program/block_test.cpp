// The control block: made and read by different processes, of which either may die at any moment.
#include "probe/control/own_block.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <thread>

#include "probe/control/blocks.h"
#include "probe/control/process.h"
#include "tests/probe/program/scratch.h"

namespace pcsim::probe {
namespace {

void sleepMs(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

class BlockTest : public ScratchTest {
protected:
    // A process that runs 'body' and is killed at the end of the case.
    pid_t start(const std::function<void()>& body) {
        const pid_t child = fork();
        if (child == 0) {
            body();
            _exit(0);
        }
        children_.push_back(child);
        return child;
    }
    ~BlockTest() override {
        for (const pid_t child : children_) end(child);
    }
    static void end(pid_t child) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    // A HAL: a process with a block that makes a call every millisecond and answers with what it
    // was asked, in capitals.
    pid_t startHal(const std::string& name, bool calls = true, uint32_t flight = 0) {
        const pid_t child = start([&] {
            OwnBlock block(name, flight);
            while (true) {
                sleepMs(1);
                if (calls && *block.flag() != 0) block.serve(inCapitals);
            }
        });
        while (access(at(name + ".probe").c_str(), F_OK) != 0) sleepMs(1);
        return child;
    }
    static Answer inCapitals(const std::string& request) {
        if (request == "bad") throw std::runtime_error("there is no command bad");
        std::string text = request;
        for (char& c : text) c = static_cast<char>(toupper(c));
        return {false, text};
    }
    static Mailbox& mailboxOf(OwnBlock& block) { return block.header().mailbox; }
    static Site site(const char* name) {
        return {name,
                operationNamed("platformSystemInit")->function,
                Side::kPlatform,
                "HalSystemOps",
                "systemInit",
                0,
                nullptr,
                nullptr};
    }

private:
    std::vector<pid_t> children_;
};

TEST_F(BlockTest, SaysWhoseItIs) {
    OwnBlock own("sw1", 5);
    const BlockCopy copy = blockOf(folder, "sw1");
    EXPECT_EQ(own.path(), copy.path());
    EXPECT_EQ("sw1", copy.name());
    EXPECT_EQ(getpid(), copy.header().pid);
    EXPECT_EQ(5u, copy.header().flightSize);
    EXPECT_TRUE(copy.runs());
    EXPECT_EQ(std::filesystem::read_symlink("/proc/self/exe").string(), copy.program());
    EXPECT_EQ("", copy.library());
    own.foundLibrary("/lib/libpcsimulation.so.0");
    EXPECT_EQ("/lib/libpcsimulation.so.0", BlockCopy(own.path()).library());
    struct stat status;
    ASSERT_EQ(0, stat(own.path().c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 07777);
    EXPECT_EQ("sw1", blockOf(folder, std::to_string(getpid())).name());
}

TEST_F(BlockTest, WithoutANameIsCalledByProgramAndProcess) {
    OwnBlock own("", 0);
    EXPECT_EQ("probe_program_tests-" + std::to_string(getpid()), BlockCopy(own.path()).name());
}

TEST_F(BlockTest, CountsAreReadWhileTheProcessRunsAndAfterItsDeath) {
    const pid_t hal = start([&] {
        OwnBlock own("sw1", 0);
        SiteRow* const row = own.addSite(site("pcSimFdbAdd"));
        ++row->counts.calls;
        own.addSite(site("another"));
        pause();
    });
    while (access(at("sw1.probe").c_str(), F_OK) != 0 || blockOf(folder, "sw1").siteCount() < 2)
        sleepMs(1);
    for (const bool runs : {true, false}) {
        const BlockCopy copy = blockOf(folder, "sw1");
        EXPECT_EQ(runs, copy.runs());
        ASSERT_EQ(2u, copy.siteCount());
        EXPECT_STREQ("pcSimFdbAdd", copy.sites()[0].name);
        EXPECT_STREQ("HalSystemOps", copy.sites()[0].table);
        EXPECT_STREQ("systemInit", copy.sites()[0].word);
        EXPECT_EQ(operationNamed("platformSystemInit")->function->name, copy.sites()[0].function);
        EXPECT_EQ(1u, copy.sites()[0].counts.calls);
        EXPECT_STREQ("another", copy.sites()[1].name);
        end(hal);
    }
}

TEST_F(BlockTest, SitesBeyondTheLastRowAreCountedAsLeftOut) {
    OwnBlock own("sw1", 0);
    for (uint32_t i = 0; i < kMostSites; ++i) ASSERT_NE(nullptr, own.addSite(site("x")));
    EXPECT_EQ(nullptr, own.addSite(site("x")));
    EXPECT_EQ(kMostSites, BlockCopy(own.path()).siteCount());
    EXPECT_EQ(1u, own.header().sitesLeftOut);
}

TEST_F(BlockTest, NameOfARunningProcessIsTaken) {
    startHal("sw1");
    EXPECT_EQ("a process that runs is called 'sw1' already; choose another --name",
              problemOf([] { OwnBlock own("sw1", 0); }));
    EXPECT_EQ("HELLO", ask(blockOf(folder, "sw1"), "hello", 5000).text);
}

TEST_F(BlockTest, NameOfADeadProcessIsFree) {
    end(startHal("sw1", true, 3));
    OwnBlock own("sw1", 0);
    EXPECT_EQ(getpid(), blockOf(folder, "sw1").header().pid);
}

// A process id is used again, sooner or later.
TEST_F(BlockTest, AnotherProcessWithTheIdIsNotTaken) {
    OwnBlock own("sw1", 0);
    ++own.header().start;
    EXPECT_FALSE(blockOf(folder, "sw1").runs());
    EXPECT_EQ("'sw1' (process " + std::to_string(getpid()) + ") has ended",
              problemOf([&] { ask(blockOf(folder, "sw1"), "hello", 5000); }));
}

TEST_F(BlockTest, StartsRemoveWhatTheDeadHaveLeft) {
    end(startHal("plain"));
    end(startHal("flight", true, 10));
    startHal("running");
    OwnBlock own("mine", 0);
    std::string names;
    for (const BlockCopy& block : blocksIn(folder)) names += block.name() + " ";
    EXPECT_EQ("flight mine running ", names);
}

TEST_F(BlockTest, SixteenFlightsOfTheDeadStay) {
    for (uint64_t i = 1; i <= 18; ++i) {
        OwnBlock own("f" + std::to_string(i), 1);
        own.header().pid = 0x7fffffff;
        own.header().startedAt = i;
    }
    removeStaleBlocks(folder);
    EXPECT_EQ(16u, blocksIn(folder).size());
    EXPECT_NE("", problemOf([&] { blockOf(folder, "f2"); }));
    EXPECT_EQ("f3", blockOf(folder, "f3").name());
}

TEST_F(BlockTest, UnknownNamesSayWhichThereAre) {
    EXPECT_EQ(
        "there is no probed process 'sw1'; there is none; 'pcsim-probe -- PROGRAM' starts one",
        problemOf([&] { blockOf(folder, "sw1"); }));
    OwnBlock a("a", 0), b("b", 0);
    EXPECT_EQ("there is no probed process 'sw1'; there is a, b",
              problemOf([&] { blockOf(folder, "sw1"); }));
    EXPECT_EQ("there is no probed process '../a'; there is a, b",
              problemOf([&] { blockOf(folder, "../a"); }));
}

TEST_F(BlockTest, FilesThatAreNoBlocksAreSaidToBe) {
    const std::string path = at("sw1.probe");
    const auto problem = [&] { return problemOf([&] { BlockCopy copy(path); }); };
    EXPECT_EQ(path + " can't be read: No such file or directory", problem());
    write(path, "");
    EXPECT_EQ(path + " is no control block", problem());
    write(path, std::string(5000, 'x'));
    EXPECT_EQ(path + " is no control block", problem());
    EXPECT_EQ(0u, blocksIn(folder).size());
    std::filesystem::remove(path);

    OwnBlock own("sw1", 4);
    const std::string whole = read(path);
    const size_t lengths[] = {sizeof(BlockHeader) - 8, sizeof(BlockHeader), whole.size() - 8};
    for (const size_t length : lengths) {
        write(path, whole.substr(0, length));
        EXPECT_EQ("the control block " + path + " is cut short", problem());
    }
    const auto changed = [&](size_t offset) {
        std::string bytes = whole;
        ++bytes[offset];
        write(path, bytes);
        return problem();
    };
    const std::string another = "the control block " + path +
                                " is of another version of the probe; use that one's pcsim-probe";
    EXPECT_EQ(another, changed(offsetof(BlockHeader, version)));
    EXPECT_EQ(another, changed(offsetof(BlockHeader, headerSize)));
    EXPECT_EQ(another, changed(offsetof(BlockHeader, siteSize)));
    EXPECT_EQ(another, changed(offsetof(BlockHeader, entrySize)));
    EXPECT_EQ("the control block " + path + " is cut short",
              changed(offsetof(BlockHeader, flightSize)));
    EXPECT_EQ(path + " is no control block", changed(offsetof(BlockHeader, magic)));
    write(path, whole);
    EXPECT_EQ("", problem());
}

TEST_F(BlockTest, RequestsAreAnsweredInTheirTurn) {
    startHal("sw1");
    const BlockCopy block = blockOf(folder, "sw1");
    EXPECT_EQ("ONE", ask(block, "one", 5000).text);
    const Answer bad = ask(block, "bad", 5000);
    EXPECT_TRUE(bad.failed);
    EXPECT_EQ("there is no command bad", bad.text);
    EXPECT_EQ("", ask(block, "", 5000).text);
    EXPECT_EQ("the command is too long",
              problemOf([&] { ask(block, std::string(sizeof(Mailbox::request) + 1, 'x'), 5000); }));
    const std::string longest(sizeof(Mailbox::request), 'x');
    EXPECT_EQ(std::string(longest.size(), 'X'), ask(block, longest, 5000).text);
}

TEST_F(BlockTest, SeveralClientsEachGetTheirAnswer) {
    startHal("sw1");
    std::vector<pid_t> clients;
    for (int i = 0; i < 4; ++i)
        clients.push_back(start([&] {
            for (int n = 0; n < 20; ++n) {
                const std::string word = std::to_string(getpid()) + "." + std::to_string(n);
                if (ask(blockOf(folder, "sw1"), word + "x", 20000).text != word + "X") _exit(1);
            }
        }));
    for (const pid_t client : clients) {
        int status = -1;
        waitpid(client, &status, 0);
        EXPECT_EQ(0, status);
    }
}

TEST_F(BlockTest, ProcessWithoutCallsIsSaidToMakeNone) {
    const pid_t hal = startHal("sw1", false);
    EXPECT_EQ("'sw1' (process " + std::to_string(hal) +
                  ") makes no call across the boundary: it answers with its next one (waited 30 "
                  "ms; --wait SECONDS waits longer)",
              problemOf([&] { ask(blockOf(folder, "sw1"), "hello", 30); }));
    // What was asked is taken back: nobody is there any more who would hear the answer.
    const BlockCopy after = blockOf(folder, "sw1");
    EXPECT_EQ(0u, after.header().mailbox.flag);
    EXPECT_EQ(0, after.header().mailbox.client);
}

TEST_F(BlockTest, ProcessThatDiesWhileItIsAskedIsSaidTo) {
    const pid_t hal = startHal("sw1", false);
    std::thread killer([&] {
        sleepMs(50);
        end(hal);
    });
    EXPECT_EQ("'sw1' (process " + std::to_string(hal) + ") has ended",
              problemOf([&] { ask(blockOf(folder, "sw1"), "hello", 20000); }));
    killer.join();
}

// A client that dies at any point of its asking leaves the box to the next.
TEST_F(BlockTest, BoxOfADeadClientIsTakenOver) {
    OwnBlock own("sw1", 0);
    Mailbox& box = mailboxOf(own);
    const pid_t dead = start([] {});
    waitpid(dead, nullptr, 0);
    const pid_t other = start([] { pause(); });
    const struct {
        int32_t client;
        uint64_t clientStart;
        uint32_t flag;
    } moments[] = {
        {dead, 0, Mailbox::kEmpty},
        {dead, 5, Mailbox::kEmpty},
        {dead, 5, Mailbox::kAsked},
        {other, startOf(other) + 1, Mailbox::kAsked},  // the id is another process's by now
    };
    for (const auto& moment : moments) {
        box.client = moment.client;
        box.clientStart = moment.clientStart;
        box.flag = moment.flag;
        box.asked = 7;
        std::atomic<bool> done = false;
        std::thread hal([&] {
            while (!done) {
                sleepMs(1);
                if (box.client == getpid() && *own.flag() != 0) own.serve(inCapitals);
            }
        });
        EXPECT_EQ("MINE", ask(blockOf(folder, "sw1"), "mine", 5000).text);
        done = true;
        hal.join();
        EXPECT_EQ(8u, box.answered);
    }
    box.client = other;
    box.clientStart = startOf(other);
    EXPECT_NE(std::string::npos,
              problemOf([&] {
                  ask(blockOf(folder, "sw1"), "mine", 20);
              }).find("is being asked by another process, " + std::to_string(other)));
}

TEST_F(BlockTest, OneThreadServesARequest) {
    OwnBlock own("sw1", 0);
    Mailbox& box = mailboxOf(own);
    box.flag = Mailbox::kAsked;
    int served = 0;
    own.serve([&](const std::string&) -> Answer {
        // What another thread does meanwhile.
        own.serve([&](const std::string&) -> Answer { return {false, std::to_string(++served)}; });
        return {false, std::to_string(++served)};
    });
    own.serve([&](const std::string&) -> Answer { return {false, std::to_string(++served)}; });
    EXPECT_EQ(1, served);
}

TEST_F(BlockTest, ChildIsCountedWithItsParentAndServesNothing) {
    OwnBlock own("sw1", 0);
    SiteRow* const row = own.addSite(site("pcSimFdbAdd"));
    mailboxOf(own).flag = Mailbox::kAsked;
    const pid_t child = start([&] {
        ++row->counts.calls;
        own.serve([](const std::string&) -> Answer { return {false, "mine"}; });
        own.end();
        if (own.ours()) _exit(1);
    });
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    EXPECT_EQ(1u, row->counts.calls);
    EXPECT_EQ(Mailbox::kAsked, mailboxOf(own).flag);
    EXPECT_EQ(0u, own.header().ended);
    own.end();
    EXPECT_EQ(1u, BlockCopy(own.path()).header().ended);
}

TEST_F(BlockTest, AnswersThatDoNotFitAreCutAndSayIt) {
    OwnBlock own("sw1", 0);
    Mailbox& box = mailboxOf(own);
    box.flag = Mailbox::kAsked;
    own.serve([](const std::string&) -> Answer {
        return {false, std::string(sizeof box.answer + 1, 'x')};
    });
    EXPECT_EQ(sizeof box.answer, box.answerSize);
    const std::string text(box.answer, box.answerSize);
    EXPECT_TRUE(text.ends_with("x\n(the answer is longer than fits here)\n"));
}

TEST_F(BlockTest, EndOfTheProcessIsNoted) {
    end(startHal("sw1", true, 1));
    noteEnd(at("sw1.probe"), 11);
    EXPECT_EQ(1u, blockOf(folder, "sw1").header().waited);
    EXPECT_EQ(11, blockOf(folder, "sw1").header().waitStatus);
}

TEST_F(BlockTest, FoldersOfOthersAreRefused) {
    const std::string open = at("open");
    setenv("PCSIM_RUN_DIR", open.c_str(), 1);
    EXPECT_EQ("", problemOf([] { OwnBlock own("sw1", 0); }));  // it is made
    struct stat status;
    ASSERT_EQ(0, stat(open.c_str(), &status));
    EXPECT_EQ(0700u, status.st_mode & 07777);
    chmod(open.c_str(), 0770);
    EXPECT_EQ("others may write into the folder " + open +
                  "; 'chmod 700' it, or name another in PCSIM_RUN_DIR",
              problemOf([] { OwnBlock own("sw1", 0); }));
    chmod(open.c_str(), 0700);
    const std::string link = at("link");
    ASSERT_EQ(0, symlink(open.c_str(), link.c_str()));
    setenv("PCSIM_RUN_DIR", link.c_str(), 1);
    EXPECT_EQ(link + " is no folder; PCSIM_RUN_DIR names another",
              problemOf([] { OwnBlock own("sw1", 0); }));
    setenv("PCSIM_RUN_DIR", at("no/such").c_str(), 1);
    EXPECT_EQ("the folder " + at("no/such") +
                  " can't be made: No such file or directory; PCSIM_RUN_DIR names another",
              problemOf([] { OwnBlock own("sw1", 0); }));
}

TEST_F(BlockTest, FolderIsOfTheSessionOrTheUser) {
    setenv("PCSIM_RUN_DIR", "", 1);
    setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
    EXPECT_EQ(at("pcsim/sw1.probe"), OwnBlock("sw1", 0).path());
    unsetenv("XDG_RUNTIME_DIR");
    setenv("TMPDIR", folder.c_str(), 1);
    EXPECT_EQ(at("pcsim-" + std::to_string(getuid()) + "/sw1.probe"), OwnBlock("sw1", 0).path());
}

TEST_F(BlockTest, LinesOfProcessesAreReadWhateverTheProgramsName) {
    std::string rest = " S";
    for (int field = 4; field < 22; ++field) rest += " " + std::to_string(field);
    EXPECT_EQ(12345u, startIn("77 (pcsim)" + rest + " 12345 99 1"));
    EXPECT_EQ(12345u, startIn("77 (a) S 1 2) x)" + rest + " 12345 99 1"));
    EXPECT_EQ(0u, startIn("77 (pcsim)" + rest));
    EXPECT_EQ(0u, startIn(""));
    rest[1] = 'Z';
    EXPECT_EQ(0u, startIn("77 (pcsim)" + rest + " 12345 99 1"));
    EXPECT_NE(0u, startOf(getpid()));
    EXPECT_EQ(0u, startOf(0x7fffffff));
}

}  // namespace
}  // namespace pcsim::probe
