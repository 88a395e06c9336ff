// PHYs of several processes on the cables of a wire file, on real interfaces: the lab's.
#include <gtest/gtest.h>
#include <linux/mii.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "mii/wire.h"
#include "tests/lab/laboratory.h"

namespace {

using pcsim::mii::kNoPartner;

// Runs the foreign program, a process of its own, with the emulation preloaded and 'place' in its
// environment; returns what it prints.
std::string phy(const std::string& place, const std::string& arguments) {
    const std::string command = "ASAN_OPTIONS=verify_asan_link_order=0 PCSIM_WIRE='" + place +
                                "' LD_PRELOAD=" MII_LIBRARY " " PHY_PROGRAM " " + arguments;
    FILE* const pipe = popen(command.c_str(), "r");
    char text[256] = "";
    std::string output;
    while (fgets(text, sizeof(text), pipe) != nullptr) output += text;
    pclose(pipe);
    return output;
}

// A file as a lab writes it: sw1 has eth1 and eth2, sw2 has eth1 (which the test calls eth3 in the
// one namespace that it has); sw1's eth1 leads there.
class WireTest : public pcsim::test::LabTest {
protected:
    void SetUp() override {
        LabTest::SetUp();
        write(bytes(3));
    }
    void TearDown() override { unlink(path_.c_str()); }

    static void put(std::string& to, std::initializer_list<uint32_t> words) {
        for (const uint32_t word : words) {
            to.append(reinterpret_cast<const char*>(&word), sizeof word);
        }
    }

    std::string bytes(uint32_t count) const {
        std::string file = "pcsim wire 1";
        file.resize(16);
        put(file, {count, 0, 0, 0});
        const char* const names[] = {"eth1", "eth2", "eth3"};
        const uint32_t partners[] = {2, kNoPartner, 0};
        for (int i = 0; i < 3; ++i) {
            std::string name = names[i];
            name.resize(16);
            file += name;
            put(file, {0, partners[i], 0x01e0, 0});
        }
        return file;
    }

    void write(const std::string& content) const {
        std::ofstream(path_, std::ios::binary) << content;
    }

    // Word 0 (PHY), 1 (partner) or 2 (carried) of an end.
    uint32_t word(int end, int number) const {
        std::ifstream file(path_, std::ios::binary);
        file.seekg(32 + 32 * end + 16 + 4 * number);
        uint32_t value = 0;
        file.read(reinterpret_cast<char*>(&value), sizeof value);
        return value;
    }

    void setWord(int end, int number, uint32_t value) const {
        std::fstream file(path_, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(32 + 32 * end + 16 + 4 * number);
        file.write(reinterpret_cast<const char*>(&value), sizeof value);
    }

    // Tells a PHY of this process.
    static void set(const char* interface, uint16_t number, uint16_t value) {
        mii_ioctl_data data{.phy_id = 1, .reg_num = number, .val_in = value};
        ifreq request{};
        strcpy(request.ifr_name, interface);
        memcpy(&request.ifr_data, &data, sizeof data);
        const int control = socket(AF_INET, SOCK_DGRAM, 0);
        EXPECT_EQ(0, ioctl(control, SIOCSMIIREG, &request)) << strerror(errno);
        close(control);
    }

    std::string sw1(const std::string& arguments) const { return phy(path_ + ":0:2", arguments); }
    std::string sw2(const std::string& arguments) const { return phy(path_ + ":2:1", arguments); }

    const std::string path_ = testing::TempDir() + "wire." + std::to_string(getpid()) + ":1";
};

TEST_F(WireTest, BothOfferEverythingAtFirst) {
    EXPECT_EQ("eth1: phy 1: 3100 786d 5043 5310 05e1 45e1\n", sw1("eth1"));
    EXPECT_EQ("eth3: phy 1: 3100 786d 5043 5310 05e1 45e1\n", sw2("eth3"));
    EXPECT_EQ(0x310005e1u, word(0, 0));
    EXPECT_EQ(0u, word(1, 0)) << "nobody has asked for it";
    EXPECT_EQ(0x310005e1u, word(2, 0));
}

TEST_F(WireTest, AnOfferArrivesWhenNegotiationStartsAgain) {
    setenv("PCSIM_WIRE", (path_ + ":0:2").c_str(), 1);
    set("eth1", 4, 0x0441);
    EXPECT_EQ("45e1\n", sw2("eth3 get 5"));
    EXPECT_EQ(0x310005e1u, word(0, 0));
    set("eth1", 0, 0x1200);
    EXPECT_EQ(0x10000441u, word(0, 0));
    EXPECT_EQ("4441\n", sw2("eth3 get 5"));
    set("eth1", 0, 0x8000);
    EXPECT_EQ("45e1\n", sw2("eth3 get 5"));
}

TEST_F(WireTest, ToldSpeedIsHeardAtTheFarEnd) {
    sw1("eth1 set 0 0x0100");
    EXPECT_EQ(0x010005e1u, word(0, 0));
    EXPECT_EQ("eth3: phy 1: 3100 786d 5043 5310 05e1 0020\n", sw2("eth3"));
    EXPECT_EQ("0000\n", sw2("eth3 get 6"));
    EXPECT_EQ("eth1: phy 1: 0100 784d 5043 5310 05e1 0000\n", sw1("eth1"))
        << "a PHY keeps what it was told by a process that has ended";
}

TEST_F(WireTest, OtherSpeedsHaveNoLink) {
    sw1("eth1 set 0 0x0100");
    sw2("eth3 set 0 0x2100");
    EXPECT_EQ("7849\n", sw1("eth1 get 1"));
    EXPECT_EQ("7849\n", sw2("eth3 get 1"));
    sw2("eth3 set 0 0x0100");
    EXPECT_EQ("784d\n", sw1("eth1 get 1"));
    EXPECT_EQ("784d\n", sw2("eth3 get 1"));
}

TEST_F(WireTest, CableThatCarriesLessIsSeenAtBothEnds) {
    sw1("eth1");
    sw2("eth3");
    setWord(0, 2, 0x0020);
    EXPECT_EQ("4421\n", sw1("eth1 get 5"));
    EXPECT_EQ("4421\n", sw2("eth3 get 5"));
}

TEST_F(WireTest, FarEndWithoutAPhyOffersEverything) {
    EXPECT_EQ("eth2: phy 1: 3100 786d 5043 5310 05e1 45e1\n", sw1("eth2"));
    sw1("eth2 set 0 0x0100");
    EXPECT_EQ("784d\n", sw1("eth2 get 1"));
}

TEST_F(WireTest, CableIsPluggedElsewhere) {
    sw1("eth2 set 0 0x0000");
    setWord(0, 1, kNoPartner);
    setWord(1, 1, 2);
    setWord(2, 1, 1);
    EXPECT_EQ("0020\n", sw2("eth3 get 5"));
}

TEST_F(WireTest, InterfaceThatTheFileDoesNotNameIsOnItsOwn) {
    sw1("eth1 set 0 0x0100");
    EXPECT_EQ("45e1\n", phy(path_ + ":0:2", "eth3 get 5"));
    EXPECT_EQ(0u, word(2, 0));
}

TEST_F(WireTest, WhateverIsNoWireIsNone) {
    for (const char* const place : {"", ":", ":0:2", "0:2", "/absent:0:2", "/:0:2"}) {
        EXPECT_EQ("45e1\n", phy(place, "eth1 get 5")) << place;
    }
    for (const char* const end :
         {"", ":0", ":0:", ":0:x", ":x:1", ":0:4", ":3:1", ":4294967295:2"}) {
        EXPECT_EQ("45e1\n", phy(path_ + end, "eth1 get 5")) << end;
        EXPECT_EQ(0u, word(0, 0)) << end;
    }
    const std::string whole = bytes(3);
    for (const std::string& content :
         {std::string(), whole.substr(0, 31), whole.substr(0, whole.size() - 1), bytes(4),
          bytes(0xFFFFFFFF), "Pcsim" + whole.substr(5)}) {
        write(content);
        EXPECT_EQ("45e1\n", sw1("eth1 get 5")) << content.size();
    }
}

TEST_F(WireTest, PartnerBeyondTheFileIsNobody) {
    sw2("eth3 set 0 0x0100");
    setWord(0, 1, 3);
    EXPECT_EQ("45e1\n", sw1("eth1 get 5"));
}

}  // namespace
