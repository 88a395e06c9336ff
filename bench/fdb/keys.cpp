// Makes the key sets.
#include "bench/fdb/keys.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <unordered_set>

#include "platform/l2/pcSimFdb.h"

namespace pcsim::bench {
namespace {

constexpr char kPrefixList[] = "../shared/data/oui24.txt.xz";
constexpr size_t kMadeUpPrefixes = 30000;

uint32_t crcOf(uint64_t mac) {
    return pcSimFdbHash(keyOf(0, mac).mac());
}

uint32_t anyVlan(uint32_t vlans, std::mt19937_64& random) {
    return static_cast<uint32_t>(random() % vlans) + 1;
}

// Splits distinct keys into two halves in random order.
KeySet split(std::string name, std::vector<Key> keys, std::mt19937_64& random) {
    std::shuffle(keys.begin(), keys.end(), random);
    const auto half = keys.begin() + static_cast<ptrdiff_t>(keys.size() / 2);
    return {std::move(name), {keys.begin(), half}, {half, keys.end()}};
}

std::vector<uint32_t> readPrefixes(const std::string& path) {
    const bool packed = path.ends_with(".xz");
    const std::string command = "xz -dc -- '" + path + "'";
    FILE* file = packed ? popen(command.c_str(), "r") : fopen(path.c_str(), "r");
    std::vector<uint32_t> prefixes;
    if (file == nullptr) return prefixes;
    char line[200];
    unsigned value = 0;
    while (fgets(line, sizeof line, file) != nullptr)
        if (line[0] != '#' && sscanf(line, "%6x", &value) == 1) prefixes.push_back(value);
    packed ? pclose(file) : fclose(file);
    return prefixes;
}

}  // namespace

Prefixes loadPrefixes(const std::string& path, std::mt19937_64& random) {
    Prefixes prefixes;
    const std::string chosen = path.empty() ? kPrefixList : path;
    if (!path.empty() || std::filesystem::exists(chosen))
        prefixes = {readPrefixes(chosen), std::filesystem::path(chosen).filename()};
    if (!path.empty() && prefixes.values.empty()) {
        fprintf(stderr, "bench_fdb: no vendor prefixes in %s\n", path.c_str());
        exit(1);
    }
    if (prefixes.values.empty()) {
        prefixes.origin = "made up";
        for (size_t i = 0; i < kMadeUpPrefixes; ++i)
            prefixes.values.push_back(static_cast<uint32_t>(random()) & 0xFCFFFF);
    }
    return prefixes;
}

KeySet vendorRuns(size_t count, uint32_t vlans, const Prefixes& prefixes, std::mt19937_64& random) {
    std::unordered_set<Key, KeyHash> seen;
    KeySet set{"runs of consecutive addresses under vendor prefixes", {}, {}};
    // Whole runs are present or absent.
    for (std::vector<Key>* keys : {&set.present, &set.absent}) {
        while (keys->size() < count) {
            const uint64_t prefix = prefixes.values[random() % prefixes.values.size()];
            const uint64_t start = prefix << 24 | (random() & 0xFFFFFF);
            const uint64_t length = 1 + random() % 128;
            const uint32_t vlan = anyVlan(vlans, random);
            for (uint64_t i = 0; i < length && keys->size() < count; ++i)
                if (const Key key = keyOf(vlan, start + i); seen.insert(key).second)
                    keys->push_back(key);
        }
        std::shuffle(keys->begin(), keys->end(), random);
    }
    return set;
}

KeySet uniformRandom(size_t count, uint32_t vlans, std::mt19937_64& random) {
    std::unordered_set<Key, KeyHash> seen;
    while (seen.size() < 2 * count) seen.insert(keyOf(anyVlan(vlans, random), random() >> 16));
    return split("uniform random", {seen.begin(), seen.end()}, random);
}

KeySet everyVlan(std::mt19937_64& random) {
    KeySet set{"hostile: 100 consecutive addresses in 4,094 VLANs", {}, {}};
    constexpr uint64_t kStart = 0x000496123400;
    for (uint32_t vlan = 1; vlan <= kVlans; ++vlan) {
        for (uint64_t i = 0; i < 100; ++i) {
            set.present.push_back(keyOf(vlan, kStart + i));
            set.absent.push_back(keyOf(vlan, kStart + 100 + i));
        }
    }
    std::shuffle(set.present.begin(), set.present.end(), random);
    std::shuffle(set.absent.begin(), set.absent.end(), random);
    return set;
}

KeySet oneBucket(size_t count, std::mt19937_64& random) {
    // The hash is linear: for any first four bytes one pair of last bytes gives the wanted bucket.
    std::vector<uint16_t> pairs(0x10000);
    for (uint32_t pair = 0; pair < pairs.size(); ++pair)
        pairs[crcOf(pair)] = static_cast<uint16_t>(pair);
    std::vector<Key> keys;
    for (uint64_t number = 0x00049600; keys.size() < 2 * count; ++number)
        keys.push_back(keyOf(1, number << 16 | pairs[crcOf(number << 16) ^ 0x1234]));
    return split("hostile: every address in one bucket", std::move(keys), random);
}

}  // namespace pcsim::bench
