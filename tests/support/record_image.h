// A record in memory that was filled with 0xA5 beforehand, and what its bytes are to be.
//
// The expectation starts as the same filling; a test writes into it what the platform is to write.
// Whatever the test does not write must be untouched, up to the end of the buffer behind the
// record.
#ifndef PCSIM_TESTS_SUPPORT_RECORD_IMAGE_H
#define PCSIM_TESTS_SUPPORT_RECORD_IMAGE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace pcsim::test {

class RecordImage {
public:
    explicit RecordImage(size_t size) : bytes_(size, kFilling), expected_(size, kFilling) {}

    template <class Record>
    Record* as() {
        return reinterpret_cast<Record*>(bytes_.data());
    }

    // Sets both what the record holds beforehand and what is expected.
    void holds(size_t offset, uint32_t value, size_t width = 4) {
        put(bytes_, offset, value, width);
        put(expected_, offset, value, width);
    }

    RecordImage& u8(size_t offset, uint32_t value) { return put(expected_, offset, value, 1); }
    RecordImage& u16(size_t offset, uint32_t value) { return put(expected_, offset, value, 2); }
    RecordImage& u32(size_t offset, uint32_t value) { return put(expected_, offset, value, 4); }
    template <class Function>
    RecordImage& operation(size_t offset, Function* function) {
        std::memcpy(expected_.data() + offset, &function, sizeof function);
        return *this;
    }
    // The text and its NUL.
    RecordImage& text(size_t offset, const std::string& value) {
        std::memcpy(expected_.data() + offset, value.c_str(), value.size() + 1);
        return *this;
    }
    RecordImage& zeros(size_t offset, size_t size) {
        std::memset(expected_.data() + offset, 0, size);
        return *this;
    }

    // Nothing stands from 'first' to before 'last': where words are wide, the next one may start
    // behind a gap, of which nobody says what it holds.
    RecordImage& between(size_t first, size_t last) {
        for (size_t i = first; i < last; ++i) gaps_.insert(i);
        return *this;
    }

    // Every byte that differs, by offset.
    void check() const { compare(bytes_.data(), expected_); }
    // The same for a record that lies elsewhere.
    void checkAgainst(const void* record) const {
        compare(static_cast<const uint8_t*>(record), expected_);
    }

private:
    static constexpr uint8_t kFilling = 0xA5;

    RecordImage& put(std::vector<uint8_t>& bytes, size_t offset, uint32_t value, size_t width) {
        for (size_t i = 0; i < width; ++i)
            bytes.at(offset + i) = static_cast<uint8_t>(value >> (8 * i));
        return *this;
    }

    void compare(const uint8_t* actual, const std::vector<uint8_t>& expected) const {
        for (size_t i = 0; i < expected.size(); ++i) {
            if (gaps_.contains(i)) continue;
            EXPECT_EQ(unsigned{actual[i]}, unsigned{expected[i]}) << "at offset " << i;
        }
    }

    std::vector<uint8_t> bytes_;
    std::vector<uint8_t> expected_;
    std::set<size_t> gaps_;
};

}  // namespace pcsim::test

#endif
