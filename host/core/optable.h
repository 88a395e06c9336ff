// The operation tables that the library fills, and what is remembered of each of their words.
#ifndef PCSIM_HOST_CORE_OPTABLE_H
#define PCSIM_HOST_CORE_OPTABLE_H

#include <cstdint>
#include <optional>
#include <vector>

namespace pcsim::host {

// What a script told a word to answer instead of the platform: calls 1 to 'after' go through, the
// next 'count' answer 'returns' without reaching the library.
struct FaultRule {
    uint64_t after = 0;
    uint64_t count = 1;
    int64_t returns = -1;
    uint64_t seen = 0;
};

struct WordStats {
    uint64_t calls = 0;
    uint64_t failures = 0;  // negative results
    std::optional<FaultRule> fault;
};

// One kind of table. Tables that exist once per slot share the statistics of their kind.
struct TableInfo {
    const char* name;
    const char* record;    // that the operations are, or are a part of
    size_t firstWord = 0;  // number of the first operation in it
    std::vector<WordStats> words;
};

// A table of 'Ops', a record of the interface. 'valid' once the library has filled it.
template <typename Ops>
struct OpTable {
    explicit OpTable(TableInfo& kind) : info(&kind) {
        if (info->words.empty()) info->words.resize(sizeof(Ops) / sizeof(void*));
    }

    TableInfo* info;
    Ops ops{};
    bool valid = false;

    const void* const* words() const { return reinterpret_cast<const void* const*>(&ops); }
    static constexpr size_t wordCount() { return sizeof(Ops) / sizeof(void*); }
};

}  // namespace pcsim::host

#endif
