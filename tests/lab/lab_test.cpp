// The lab: cables, exact frame counts, silence, and what it says when something is not possible.
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "tests/lab/laboratory.h"

namespace {

using namespace pcsim::lab;
using pcsim::test::LabTest;

struct Counters {
    uint64_t rxBytes, rxPackets, txBytes, txPackets, others;
    bool operator==(const Counters&) const = default;
};

Counters countersOf(const std::string& name) {
    std::ifstream table("/proc/net/dev");
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string first;
        words >> first;
        if (first != name + ":") continue;
        uint64_t column[16] = {};
        for (uint64_t& value : column) words >> value;
        uint64_t others = 0;
        for (const int i : {2, 3, 4, 5, 6, 7, 10, 11, 12, 13, 14, 15}) others += column[i];
        return {column[0], column[1], column[8], column[9], others};
    }
    ADD_FAILURE() << "no line of " << name;
    return {};
}

TEST_F(LabTest, HasOnePairPerPortAndOneForTheManagementPort) {
    EXPECT_EQ(3u, lab_.ports());
    const std::vector<End> ends = lab_.ends();
    ASSERT_EQ(8u, ends.size());
    const char* const names[] = {"eth0", "cable0", "eth1", "cable1",
                                 "eth2", "cable2", "eth3", "cable3"};
    for (size_t i = 0; i < ends.size(); ++i) {
        EXPECT_EQ(names[i], ends[i].name);
        EXPECT_TRUE(ends[i].up);
        EXPECT_TRUE(ends[i].carrier);
    }
}

TEST_F(LabTest, PulledCableTakesTheCarrierOfItsPortAlone) {
    ASSERT_FALSE(lab_.pull(2));
    const std::vector<End> ends = lab_.ends();
    EXPECT_TRUE(ends[4].up);
    EXPECT_FALSE(ends[4].carrier);
    EXPECT_FALSE(ends[5].up);
    EXPECT_FALSE(lab_.partnerHasCarrier(2));
    EXPECT_FALSE(lab_.isPlugged(2));
    EXPECT_TRUE(lab_.isPlugged(1));
    for (const int i : {0, 1, 2, 3, 6, 7}) EXPECT_TRUE(ends[i].carrier) << ends[i].name;
    ASSERT_FALSE(lab_.pull(2)) << "pulling twice is no problem";
    ASSERT_FALSE(lab_.plug(2));
    ASSERT_FALSE(lab_.plug(2));
    EXPECT_TRUE(lab_.ends()[4].carrier);
    EXPECT_TRUE(lab_.partnerHasCarrier(2));
    EXPECT_TRUE(lab_.isPlugged(2));
    EXPECT_FALSE(lab_.isPlugged(4)) << "there are three";
}

class CountTest : public LabTest, public testing::WithParamInterface<uint32_t> {};

TEST_P(CountTest, ExactlySoManyFramesArrive) {
    const uint32_t count = GetParam();
    ASSERT_FALSE(lab_.send(1, count));
    const Counters expected{.rxBytes = uint64_t{60} * count, .rxPackets = count};
    EXPECT_EQ(expected, countersOf("eth1"));
    ASSERT_FALSE(lab_.send(1, count));
    EXPECT_EQ(2 * count, countersOf("eth1").rxPackets);
    for (const char* other : {"eth0", "eth2", "eth3"}) EXPECT_EQ(Counters{}, countersOf(other));
}

TEST_P(CountTest, ExactlySoManyFramesLeave) {
    const uint32_t count = GetParam();
    ASSERT_FALSE(lab_.sendFrom(3, count));
    const Counters expected{.txBytes = uint64_t{60} * count, .txPackets = count};
    EXPECT_EQ(expected, countersOf("eth3"));
    EXPECT_EQ(count, countersOf("cable3").rxPackets);
}

INSTANTIATE_TEST_SUITE_P(Frames, CountTest, testing::Values(0, 1, 199, 200, 201, 1000, 20000));

TEST_F(LabTest, NothingTravelsUnasked) {
    ASSERT_FALSE(lab_.pull(1));
    ASSERT_FALSE(lab_.plug(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    for (const End& end : lab_.ends()) EXPECT_EQ(Counters{}, countersOf(end.name)) << end.name;
}

TEST_F(LabTest, FramesNeedALink) {
    ASSERT_FALSE(lab_.pull(2));
    EXPECT_EQ("no frame can go from cable2 to eth2: there is no link", lab_.send(2, 5));
    EXPECT_EQ("no frame can go from eth2 to cable2: there is no link", lab_.sendFrom(2, 5));
    EXPECT_EQ(Counters{}, countersOf("eth2"));
}

TEST_F(LabTest, CablesThatDoNotExistAreNamed) {
    const Problem expected = "there is no cable 4; the lab has 0 to 3";
    EXPECT_EQ(expected, lab_.pull(4));
    EXPECT_EQ(expected, lab_.plug(4));
    EXPECT_EQ(expected, lab_.send(4, 1));
    EXPECT_EQ(expected, lab_.sendFrom(4, 1));
    EXPECT_FALSE(lab_.partnerHasCarrier(4));
}

TEST_F(LabTest, SecondLabInANamespaceIsRefused) {
    EXPECT_EQ("this lab exists already", lab_.create(3));
    Lab second;
    const Problem problem = second.create(3);
    ASSERT_TRUE(problem);
    EXPECT_EQ(0u, problem->find("cannot make the lab's interfaces: ")) << *problem;
    EXPECT_EQ(0u, second.ports());
}

TEST_F(LabTest, CardsAreListedByNumberWithTheirState) {
    ASSERT_FALSE(lab_.pull(2));
    const std::vector<Nic> cards = nics();
    ASSERT_EQ(4u, cards.size());
    for (unsigned n = 0; n < 4; ++n) {
        EXPECT_EQ(n, cards[n].number);
        EXPECT_EQ("eth" + std::to_string(n), cards[n].name);
        EXPECT_EQ("02:00:00:00:00:0" + std::to_string(n), cards[n].mac);
        EXPECT_TRUE(cards[n].up);
        EXPECT_EQ(n != 2, cards[n].carrier);
        EXPECT_FALSE(cards[n].realMii);
    }
}

TEST(NoLabTest, TooManyPortsAreRefused) {
    Lab lab;
    EXPECT_EQ("a lab has at most 2816 ports", lab.create(kMostPorts + 1));
}

TEST(NoLabTest, HasNoCables) {
    Lab lab;
    EXPECT_EQ(0u, lab.ports());
    EXPECT_TRUE(lab.ends().empty());
    EXPECT_EQ("there is no lab", lab.pull(0));
    EXPECT_EQ("there is no lab", lab.send(0, 1));
    EXPECT_EQ("a lab has at most 2816 ports", lab.create(2817));
}

TEST(NamespaceTest, IsEnteredBeforeThreadsStart) {
    std::thread second([] { std::this_thread::sleep_for(std::chrono::milliseconds(200)); });
    EXPECT_EQ(
        "cannot make a network namespace: this process has threads already; enter before the "
        "first one starts",
        enterNamespace());
    second.join();
}

TEST(NamespaceTest, HundredPortsAreALab) {
    pcsim::test::enterNamespaceOrSkip();
    Lab lab;
    ASSERT_FALSE(lab.create(100));
    EXPECT_EQ(101u, nics().size());
    EXPECT_FALSE(lab.send(100, 1000));
    EXPECT_EQ(1000u, countersOf("eth100").rxPackets);
    EXPECT_EQ(0u, countersOf("eth10").rxPackets);
}

// The same as a user without any right on this machine's own network.
TEST(NamespaceTest, OrdinaryUserHasALab) {
    if (geteuid() == 0) {
        ASSERT_EQ(0, setgid(65534));
        ASSERT_EQ(0, setuid(65534));
        prctl(PR_SET_DUMPABLE, 1);  // an ordinary process owns its /proc/self, this one doesn't yet
    }
    pcsim::test::enterNamespaceOrSkip();
    Lab lab;
    const Problem problem = lab.create(2);
    ASSERT_FALSE(problem) << *problem;
    ASSERT_FALSE(lab.send(2, 1000));
    EXPECT_EQ(1000u, countersOf("eth2").rxPackets);
    ASSERT_FALSE(lab.pull(2));
    EXPECT_FALSE(lab.ends()[4].carrier);
}

// The program: its exit status is the command's, or says what was wrong.
struct Ran {
    int status;
    std::string output;
};

Ran run(const std::string& arguments) {
    FILE* const pipe = popen((std::string(LAB_PROGRAM) + " " + arguments + " 2>&1").c_str(), "r");
    char text[256] = "";
    std::string output;
    while (fgets(text, sizeof(text), pipe) != nullptr) output += text;
    const int status = pclose(pipe);
    return {WEXITSTATUS(status), output};
}

void skipWithoutLab() {
    const Ran ran = run("-- true");
    if (ran.status != pcsim::test::kSkipped) return;
    printf("skipped: %s", ran.output.c_str());
    fflush(stdout);
    _Exit(pcsim::test::kSkipped);
}

TEST(ProgramTest, RunsACommandInALab) {
    skipWithoutLab();
    const Ran ran = run("--ports 5 -- sh -c 'grep -c eth /proc/net/dev; exit 3'");
    EXPECT_EQ(3, ran.status);
    EXPECT_EQ("6\n", ran.output);
}

TEST(ProgramTest, CommandThatDoesNotExistIsNamed) {
    skipWithoutLab();
    const Ran ran = run("-- ./no-such-command");
    EXPECT_EQ(127, ran.status);
    EXPECT_EQ("pcsim-nics: ./no-such-command: No such file or directory\n", ran.output);
}

TEST(ProgramTest, MissingCommandAndNumbersOutOfRangeAreRefusedInOneLine) {
    const Ran none = run("");
    EXPECT_EQ(2, none.status);
    EXPECT_EQ("pcsim-nics: expected a command, for example: pcsim-nics --ports 4 -- ip link\n",
              none.output);
    for (const char* ports : {"x", "-1", "0", "2817", "''", "4x"}) {
        const Ran ran = run(std::string("--ports ") + ports + " -- true");
        EXPECT_EQ(2, ran.status) << ports;
        EXPECT_EQ("pcsim-nics: --ports needs a number from 1 to 2816\n", ran.output) << ports;
    }
}

}  // namespace
