// What a record is expected to hold, byte by byte: a test writes the fields that are to be written
// and everything else has to keep the filler that the record was given.
#ifndef PCSIM_TESTS_SUPPORT_IMAGE_H
#define PCSIM_TESTS_SUPPORT_IMAGE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace pcsim::test {

constexpr uint8_t kFiller = 0xA5;

class Image {
public:
    explicit Image(size_t size, uint8_t filler = kFiller) : bytes_(size, filler) {}

    Image& u8(size_t offset, uint32_t value) { return little(offset, value, 1); }
    Image& u16(size_t offset, uint32_t value) { return little(offset, value, 2); }
    Image& u32(size_t offset, uint32_t value) { return little(offset, value, 4); }
    Image& pointer(size_t offset, const void* value) { return raw(offset, &value, sizeof value); }
    // The text and its NUL.
    Image& text(size_t offset, const std::string& value) {
        return raw(offset, value.c_str(), value.size() + 1);
    }
    // The text and zeros up to 'length'.
    Image& padded(size_t offset, const std::string& value, size_t length) {
        zero(offset, length);
        return raw(offset, value.data(), value.size());
    }
    Image& zero(size_t offset, size_t length) {
        return raw(offset, std::string(length, '\0').data(), length);
    }
    Image& raw(size_t offset, const void* data, size_t length) {
        if (offset + length > bytes_.size())
            ADD_FAILURE() << "the image ends before " << offset;
        else
            std::memcpy(bytes_.data() + offset, data, length);
        return *this;
    }

    size_t size() const { return bytes_.size(); }
    const std::vector<uint8_t>& bytes() const { return bytes_; }

private:
    Image& little(size_t offset, uint32_t value, size_t width) {
        uint8_t data[4];
        for (size_t i = 0; i < 4; ++i) data[i] = static_cast<uint8_t>(value >> (8 * i));
        return raw(offset, data, width);
    }

    std::vector<uint8_t> bytes_;
};

// A record full of filler with room around it that has to stay untouched.
template <typename Record>
class Filled {
public:
    Filled() : block_(kMargin + sizeof(Record) + kMargin, kFiller) {}
    Record* get() { return reinterpret_cast<Record*>(block_.data() + kMargin); }
    Record* operator->() { return get(); }

    // The record equals the image, and nothing around it has been written.
    testing::AssertionResult is(const Image& expected) const {
        std::vector<uint8_t> whole(block_.size(), kFiller);
        std::memcpy(whole.data() + kMargin, expected.bytes().data(), expected.size());
        for (size_t i = 0; i < whole.size(); ++i)
            if (block_[i] != whole[i])
                return testing::AssertionFailure()
                       << "byte " << static_cast<long>(i) - static_cast<long>(kMargin) << " is "
                       << +block_[i] << ", expected " << +whole[i];
        return testing::AssertionSuccess();
    }

private:
    static constexpr size_t kMargin = 64;
    std::vector<uint8_t> block_;
};

// The bytes at 'data' equal the image.
inline testing::AssertionResult bytesAre(const void* data, const Image& expected) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < expected.size(); ++i)
        if (bytes[i] != expected.bytes()[i])
            return testing::AssertionFailure()
                   << "byte " << i << " is " << +bytes[i] << ", expected " << +expected.bytes()[i];
    return testing::AssertionSuccess();
}

}  // namespace pcsim::test

#endif
