// Comparing what happened in two runs: values by what they mean, addresses by what they stand for.
//
// Two runs place everything elsewhere. A handle of the library's is the same in both when it came
// from the same call: each pair that was handed out is bound, and later uses are held against that.
// Of other pointers only whether they are null is compared; what lies behind them is, as memory.
#ifndef PCSIM_PROBE_TOOLS_COMPARE_H
#define PCSIM_PROBE_TOOLS_COMPARE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "probe/record/recording.h"
#include "probe/tools/data.h"

namespace pcsim::probe {

struct RunDifference {
    uint64_t call = 0;   // number in the first recording
    uint64_t other = 0;  // in the second one
    std::string operation;
    std::string field;  // "result", "print", "record.port"
    std::string first;
    std::string second;
};

class RunComparison {
public:
    RunComparison(const Recording& first, const Recording& second,
                  std::vector<RunDifference>& found)
        : a_(first), b_(second), found_(found) {}

    // Two events of the same kind and site.
    void compare(const Event& a, const Event& b);
    void note(const Event& a, const Event& b, std::string field, std::string first,
              std::string second);

private:
    struct Place {
        const Event& a;
        const Event& b;
        bool given;  // handed out by the library
    };
    struct Value {
        const Type* type;
        const Semantics* semantics;
        std::string_view name;  // the last one of its path
        uint32_t a;
        uint32_t b;
    };

    void arguments(const Place& place);
    void blocks(const Place& place);
    void block(const Place& place, const RecordedBlock& a, const RecordedBlock& b);
    void leaf(const Place& place, const std::string& path, const Datum& leaf,
              std::span<const uint8_t> a, std::span<const uint8_t> b);
    bool samePointer(const Place& place, const Value& value);
    bool sameHandle(const Place& place, uint32_t a, uint32_t b);
    std::string_view symbolAt(const Recording& recording, uint32_t address) const;

    const Recording& a_;
    const Recording& b_;
    std::vector<RunDifference>& found_;
    std::unordered_map<uint32_t, uint32_t> toB_;
    std::unordered_map<uint32_t, uint32_t> toA_;
};

// In quotes, up to a NUL, with line ends as \\n.
std::string quotedText(std::string_view text);
// A leaf's value as text.
std::string valueText(const Datum& leaf, std::span<const uint8_t> bytes);

}  // namespace pcsim::probe

#endif
