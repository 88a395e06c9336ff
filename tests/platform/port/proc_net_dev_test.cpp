// The kernel's counter table as text: splitting lines, finding the one, reading its numbers.
#include "platform/port/procNetDev.h"

#include <cstring>
#include <random>

#include "tests/platform/port/port_fixture.h"

namespace {

using namespace pcsim::test;

// --- Splitting -----------------------------------------------------------------------------------

struct SplitRow {
    const char* line;
    const char* name;
    const char* rest;
};

const SplitRow kSplits[] = {
    {"  eth1: 1 2 3\n", "eth1", " 1 2 3\n"},
    {"eth1:1 2 3\n", "eth1", "1 2 3\n"},
    {"eth1:123456 2 3\n", "eth1", "123456 2 3\n"},
    {" \t\v\f\r\n eth1: 1", "eth1", " 1"},
    // An alias is told from a counter by its second colon.
    {"eth0:1: 5 6\n", "eth0:1", " 5 6\n"},
    {"eth0:12:5 6\n", "eth0:12", "5 6\n"},
    {"eth0:12:", "eth0:12", ""},
    {"eth0:12\n", "eth0", "12\n"},
    {"eth0:12", "eth0", "12"},
    {"eth0:1a: 5", "eth0", "1a: 5"},
    {"eth0: 1: 5", "eth0", " 1: 5"},
    {"eth0:: 5", "eth0", ": 5"},
    {"eth0:1:2: 5", "eth0:1", "2: 5"},
    // A colon at the end has no counters behind it.
    {"eth1:", "eth1", ""},
    {"eth1:\n", "eth1", "\n"},
    // No colon at all: the name ends at white space or with the line.
    {"eth1 5 6\n", "eth1", " 5 6\n"},
    {"eth1\t5", "eth1", "\t5"},
    {"eth1\n", "eth1", "\n"},
    {"eth1", "eth1", ""},
    {"", "", ""},
    {"\n", "", ""},
    {"   ", "", ""},
    {": 5", "", " 5"},
    {":5:6", ":5", "6"},
    {"\xC3\xA9t\xE9:7", "\xC3\xA9t\xE9", "7"},
};

TEST(SplitName, NameAndCountersOfEachKindOfLine) {
    for (const SplitRow& row : kSplits) {
        SCOPED_TRACE(row.line);
        std::string line = row.line;
        std::vector<char> name(line.size() + 1, '?');
        const char* rest = pcSimProcNetDevSplitName(name.data(), line.data());
        EXPECT_STREQ(name.data(), row.name);
        EXPECT_STREQ(rest, row.rest);
        EXPECT_EQ(line, row.line) << "the line is left alone";
    }
}

TEST(SplitName, StaysInsideBothTextsForAnyLine) {
    std::mt19937 random(20240607);
    const std::string alphabet = ":: 01eth\n\t\x80";
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 24, ' ');
        for (char& c : text) c = alphabet[random() % alphabet.size()];
        // Blocks of the exact length, so that the sanitizer sees a byte too many.
        std::vector<char> line(text.c_str(), text.c_str() + text.size() + 1);
        std::vector<char> name(line.size());
        const char* rest = pcSimProcNetDevSplitName(name.data(), line.data());
        ASSERT_GE(rest, line.data());
        ASSERT_LT(rest, line.data() + line.size());
        ASSERT_LE(std::strlen(name.data()) + std::strlen(rest), text.size());
    }
}

// --- Reading -------------------------------------------------------------------------------------

constexpr uint64_t kOld = 0x0101010101010101;

class ProcNetDevTest : public PortTest {
protected:
    ProcNetDevTest() { linkUp("eth5"); }

    // The current reading of port 1:5 by columns, after a table of 'text' has been read.
    std::vector<uint64_t> readColumns(const std::string& text) {
        for (const size_t offset : kOffsets) setCounterAt(currstats[1][5], offset, kOld);
        counterTable(text);
        PortStatsRecord record;
        EXPECT_EQ(pcSimCardPortGetStats(frontPanel(1, 5), &record), 0);
        std::vector<uint64_t> columns;
        for (const size_t offset : kOffsets) columns.push_back(counterAt(currstats[1][5], offset));
        return columns;
    }

    std::vector<uint64_t> readLine(const std::string& line) { return readColumns(kHeader + line); }

    // The first 'numbers', then the old reading.
    static std::vector<uint64_t> then(std::vector<uint64_t> numbers) {
        numbers.resize(std::size(kOffsets), kOld);
        return numbers;
    }

    // Offsets of the twelve columns that are kept, in the order of the columns: 1 to 6, 8 to
    // 12, 14.
    static constexpr size_t kOffsets[] = {100, 4, 340, 292, 324, 300, 20, 116, 124, 356, 348, 380};
};

const char* const kNumbers = " 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n";
const std::vector<uint64_t> kRead = {1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 12, 14};

TEST_F(ProcNetDevTest, TheLineIsFoundAmongOthers) {
    const std::string text = std::string(kHeader) + "    lo:" + kNumbers + "  eth50: 50\n" +
                             "eth5:1: 51\n" + " veth5: 52\n" + "  eth: 53\n" +
                             "  eth5:" + kNumbers + "  eth6: 54\n";
    EXPECT_EQ(readColumns(text), kRead);
}

TEST_F(ProcNetDevTest, TheFirstOfTwoLinesCounts) {
    EXPECT_EQ(readLine(std::string("eth5:") + kNumbers + "eth5: 99 99\n"), kRead);
}

TEST_F(ProcNetDevTest, AnAliasIsAnotherInterface) {
    EXPECT_EQ(readLine("  eth5:1: 51 52\n"), then({}));
    EXPECT_EQ(readLine(std::string("  eth5:1: 51 52\n") + "  eth5:" + kNumbers), kRead);
}

TEST_F(ProcNetDevTest, CountersMayFollowTheColonDirectly) {
    EXPECT_EQ(readLine("eth5:12345678901 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16\n")[0],
              12345678901ull);
}

TEST_F(ProcNetDevTest, WithoutTheLineTheOldReadingStays) {
    for (const char* text : {"", "one line\n", "one\ntwo\n", "one\ntwo", "one\ntwo\nlo: 1 2\n"})
        EXPECT_EQ(readColumns(text), then({})) << text;
}

TEST_F(ProcNetDevTest, TheFirstTwoLinesAreNeverTheOne) {
    EXPECT_EQ(readColumns("eth5: 1\neth5: 2\n"), then({}));
    EXPECT_EQ(readColumns("eth5: 1\neth5: 2\neth5: 3\n"), then({3}));
    EXPECT_EQ(readColumns("\n\neth5: 3\n"), then({3}));
}

TEST_F(ProcNetDevTest, AShortLineStoresWhatItHas) {
    std::string line = "eth5:";
    std::vector<uint64_t> numbers;
    EXPECT_EQ(readLine(line + "\n"), then({}));
    for (uint64_t i = 1; i <= 16; ++i) {
        line += " " + std::to_string(i);
        if (i != 7 && i != 13 && i < 15) numbers.push_back(i);
        EXPECT_EQ(readLine(line + "\n"), then(numbers)) << line;
        EXPECT_EQ(readLine(line), then(numbers)) << "without a line end";
    }
}

TEST_F(ProcNetDevTest, ReadingStopsAtWhatIsNoNumber) {
    EXPECT_EQ(readLine("eth5: 1 2 x 4\n"), then({1, 2}));
    EXPECT_EQ(readLine("eth5: 1 2x 4\n"), then({1, 2}));
    EXPECT_EQ(readLine("eth5: x\n"), then({}));
    EXPECT_EQ(readLine("eth5: 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18\n"), kRead);
}

TEST_F(ProcNetDevTest, NumbersAreOf64Bits) {
    const auto columns = readLine(
        "eth5: 18446744073709551615 4294967296 18446744073709551616 9223372036854775808\n");
    EXPECT_EQ(columns, then({~0ull, 1ull << 32, ~0ull, 1ull << 63}));
}

TEST_F(ProcNetDevTest, ALineOf511CharactersIsWhole) {
    // "eth5:" padded so that the line end is the 511th character.
    const std::string end = "1 2";
    std::string line = "eth5:" + std::string(511 - 5 - end.size() - 1, ' ') + end + "\n";
    ASSERT_EQ(line.size(), 511u);
    EXPECT_EQ(readLine(line), then({1, 2}));
}

TEST_F(ProcNetDevTest, PiecesOfALongLineAreLinesOfTheirOwn) {
    // The number that straddles the 511th character is cut there.
    std::string line = "eth5:" + std::string(511 - 5 - 3, ' ') + "123" + "456 7\n";
    EXPECT_EQ(readLine(line), then({123}));
    // What follows the 511th character is looked at as a line.
    line = std::string(511, 'x') + "eth5: 8 9\n";
    EXPECT_EQ(readLine(line), then({8, 9}));
    line = std::string(510, 'x') + "eth5: 8 9\n";
    EXPECT_EQ(readLine(line), then({}));
    // Pieces of the header count as well.
    EXPECT_EQ(readColumns(std::string(511, 'x') + "rest\neth5: 8 9\n"), then({8, 9}));
    EXPECT_EQ(readColumns(std::string(511, 'x') + "\neth5: 8 9\n"), then({8, 9}));
    EXPECT_EQ(readColumns(std::string(600, 'x') + "\nsecond\neth5: 8 9\n"), then({8, 9}));
    EXPECT_EQ(readColumns("first\n" + std::string(600, 'x') + "\neth5: 8 9\n"), then({8, 9}));
}

TEST_F(ProcNetDevTest, LinesAreFoundAtEveryDistanceFromTheStart) {
    // Whatever is read at a time, a line may straddle the end of it.
    for (size_t before = 0; before<9000; before += before % 4096> 3900 || before < 600 ? 1 : 97) {
        std::string filler;
        while (filler.size() + 101 < before) filler += std::string(100, 'y') + "\n";
        filler += std::string(before - filler.size(), 'z') + "\n";
        ASSERT_EQ(readLine(filler + "eth5:" + kNumbers + "eth5: 99\n"), kRead) << before;
    }
}

TEST_F(ProcNetDevTest, ATableThatCannotBeReadHoldsNoLine) {
    counterTable("");
    libc().redirectTo = "/proc/self";  // opens, but reading a directory fails
    PortStatsRecord record;
    EXPECT_EQ(pcSimCardPortGetStats(frontPanel(1, 5), &record), 0);
    EXPECT_EQ(counterAt(record, 4), 0u);
}

TEST_F(ProcNetDevTest, ANulEndsALine) {
    EXPECT_EQ(readLine(std::string("eth5: 1 2\0 3 4\n", 15)), then({1, 2}));
    EXPECT_EQ(readLine(std::string("\0eth5: 1\neth5: 2\n", 17)), then({2}));
}

TEST_F(ProcNetDevTest, RandomTablesAgreeWithAReadingLineByLine) {
    std::mt19937 random(77);
    const std::string alphabet = "eth5::: 0123456789\n\n";
    for (int round = 0; round < 300; ++round) {
        std::string text(random() % 3000, ' ');
        for (char& c : text) {
            c = alphabet[random() % alphabet.size()];
            if (random() % 40 == 0) c = 'e';
        }
        const size_t at = text.empty() ? 0 : random() % text.size();
        text.insert(at, "\neth5: 7 8 ");

        // Model: lines of at most 511 characters, the name up to white space or colon.
        std::vector<uint64_t> expected = then({});
        int lines = 0;
        for (size_t begin = 0; begin < text.size();) {
            size_t length = std::min<size_t>(text.find('\n', begin), text.size() - 1) + 1 - begin;
            length = std::min<size_t>(length, 511);
            std::string line = text.substr(begin, length);
            begin += length;
            if (++lines <= 2) continue;
            std::vector<char> name(line.size() + 1);
            const char* rest = pcSimProcNetDevSplitName(name.data(), line.data());
            if (std::string(name.data()) != "eth5") continue;
            unsigned long long n[16];
            const int count = std::sscanf(
                rest,
                "%llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu",
                n, n + 1, n + 2, n + 3, n + 4, n + 5, n + 6, n + 7, n + 8, n + 9, n + 10, n + 11,
                n + 12, n + 13, n + 14, n + 15);
            const int kept[] = {0, 1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 13};
            for (size_t i = 0; i < std::size(kept); ++i)
                if (kept[i] < count) expected[i] = n[kept[i]];
            break;
        }
        ASSERT_EQ(readColumns(text), expected) << "round " << round << "\n" << text;
    }
}

}  // namespace
