// Reading and generating route tables.
#include "bench/routes/prefixes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <set>

namespace pcsim::bench {

namespace {

struct LengthCount {
    uint8_t length;
    uint32_t count;
};

// clang-format off
const LengthCount kIPv4Lengths[] = {
    {8, 16}, {9, 13}, {10, 38}, {11, 103}, {12, 299}, {13, 581}, {14, 1203}, {15, 2100},
    {16, 13490}, {17, 8235}, {18, 13798}, {19, 24870}, {20, 42611}, {21, 50750}, {22, 108623},
    {23, 96510}, {24, 537698}, {25, 20}, {26, 3}, {27, 11}, {28, 18}, {29, 17}, {30, 3}, {31, 3},
    {32, 886}};
const LengthCount kIPv6Lengths[] = {
    {16, 1}, {19, 1}, {20, 16}, {21, 3}, {22, 7}, {23, 8}, {24, 30}, {25, 8}, {26, 15}, {27, 20},
    {28, 193}, {29, 4371}, {30, 650}, {31, 284}, {32, 22548}, {33, 2926}, {34, 2603}, {35, 1043},
    {36, 5996}, {37, 880}, {38, 1617}, {39, 1377}, {40, 13418}, {41, 903}, {42, 2301}, {43, 1001},
    {44, 14365}, {45, 1553}, {46, 3039}, {47, 3153}, {48, 75488}, {49, 11}, {50, 3}, {52, 1},
    {55, 1}, {56, 24}, {58, 20}, {60, 2}, {64, 184}, {112, 2}, {122, 1}, {124, 4}, {125, 9},
    {126, 19}, {127, 42}, {128, 6}};
// clang-format on

bool before(const Prefix& a, const Prefix& b) {
    const int order = std::memcmp(&a.address, &b.address, sizeof a.address);
    return order != 0 ? order < 0 : a.length < b.length;
}

void clearHostBits(Prefix& prefix) {
    for (unsigned bit = prefix.length; bit < 128; ++bit)
        prefix.address.bytes[bit / 8] &= static_cast<uint8_t>(~(0x80 >> bit % 8));
}

// Global addresses alone: 1.0.0.0 to 223.255.255.255, and 2000::/3.
HalIpAddress randomAddress(int family, std::mt19937& random) {
    HalIpAddress address{};
    for (uint32_t& word : address.words) word = static_cast<uint32_t>(random());
    if (family == AF_INET) {
        address.bytes[0] = static_cast<uint8_t>(1 + random() % 223);
        address.words[1] = address.words[2] = address.words[3] = 0;
    } else {
        address.bytes[0] = static_cast<uint8_t>(0x20 | (address.bytes[0] & 0x1F));
    }
    return address;
}

bool parse(char* line, int family, Prefix& prefix) {
    char* const slash = std::strchr(line, '/');
    if (slash == nullptr) return false;
    *slash = '\0';
    prefix = {};
    prefix.length = static_cast<uint8_t>(std::strtoul(slash + 1, nullptr, 10));
    return inet_pton(family, line, &prefix.address) == 1;
}

}  // namespace

PrefixTable readPrefixes(const std::string& path, int family) {
    PrefixTable table{{}, std::filesystem::path(path).filename()};
    const bool packed = path.ends_with(".xz");
    FILE* const file = packed ? popen(("xz -dc '" + path + "' 2>/dev/null").c_str(), "r")
                              : std::fopen(path.c_str(), "r");
    if (file == nullptr) return table;
    char line[256];
    Prefix prefix;
    while (std::fgets(line, sizeof line, file) != nullptr)
        if (line[0] != '#' && parse(line, family, prefix)) table.prefixes.push_back(prefix);
    packed ? pclose(file) : std::fclose(file);
    return table;
}

PrefixTable generatePrefixes(int family) {
    std::mt19937 random(20240310);
    std::set<Prefix, bool (*)(const Prefix&, const Prefix&)> made(before);
    const auto make = [&](const LengthCount& row) {
        const size_t wanted = made.size() + row.count;
        while (made.size() < wanted) {
            Prefix prefix{randomAddress(family, random), row.length};
            clearHostBits(prefix);
            made.insert(prefix);
        }
    };
    if (family == AF_INET)
        std::for_each(std::begin(kIPv4Lengths), std::end(kIPv4Lengths), make);
    else
        std::for_each(std::begin(kIPv6Lengths), std::end(kIPv6Lengths), make);
    return {{made.begin(), made.end()}, "generated, with the Internet's prefix lengths"};
}

}  // namespace pcsim::bench
