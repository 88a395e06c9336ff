// The bytes that a fuzzer is given, as the numbers that operations are made of. Where they end, the
// rest are zeros.
#ifndef PCSIM_TESTS_FUZZ_SUPPORT_INPUT_H
#define PCSIM_TESTS_FUZZ_SUPPORT_INPUT_H

#include <cstddef>
#include <cstdint>

namespace pcsim::fuzz {

class Input {
public:
    Input(const uint8_t* bytes, size_t size) : at_(bytes), end_(bytes + size) {}

    bool ended() const { return at_ == end_; }
    size_t left() const { return static_cast<size_t>(end_ - at_); }
    const uint8_t* rest() const { return at_; }

    uint8_t byte() { return at_ == end_ ? 0 : *at_++; }
    uint16_t half() { return static_cast<uint16_t>(byte() | byte() << 8); }
    uint32_t word() { return half() | static_cast<uint32_t>(half()) << 16; }
    uint32_t below(uint32_t count) { return byte() % count; }
    bool flag() { return (byte() & 1) != 0; }

    template <typename Value, size_t count>
    Value oneOf(const Value (&values)[count]) {
        return values[below(count)];
    }

    template <typename Range>
    auto oneOfRange(const Range& values) {
        return values[below(static_cast<uint32_t>(values.size()))];
    }

    // Numbers that a check of a range gets wrong, and any other.
    uint32_t hostile() {
        static constexpr uint32_t kEdges[] = {
            0,     1,     2,          3,          4,          8,          9,          10,
            15,    16,    31,         32,         63,         64,         127,        128,
            255,   256,   999,        4095,       4096,       0x7FFF,     0x8000,     0xFFFF,
            65536, 10000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFF00, 0x01010001};
        constexpr uint32_t kCount = sizeof kEdges / sizeof kEdges[0];
        const uint32_t choice = byte();
        return choice < kCount * 6 ? kEdges[choice % kCount] : word();
    }

private:
    const uint8_t* at_;
    const uint8_t* end_;
};

}  // namespace pcsim::fuzz

#endif
