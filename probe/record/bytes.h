// Numbers and texts on their way into the contents of an entry and out of it.
#ifndef PCSIM_PROBE_RECORD_BYTES_H
#define PCSIM_PROBE_RECORD_BYTES_H

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "probe/record/format.h"

namespace pcsim::probe {

// A buffer that grows and stays: entries are composed in it without an allocation each.
class Bytes {
public:
    Bytes() = default;
    ~Bytes();
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;

    void clear() { size_ = 0; }
    std::span<const uint8_t> all() const { return {data_, size_}; }
    // False once there was no memory: what is composed then is not whole.
    bool whole() const { return whole_; }

    void number(uint64_t value) {
        if (!roomFor(10)) return;
        while (value >= 0x80) {
            data_[size_++] = static_cast<uint8_t>(value | 0x80);
            value >>= 7;
        }
        data_[size_++] = static_cast<uint8_t>(value);
    }
    void signedNumber(int64_t value) {
        number(static_cast<uint64_t>(value) << 1 ^ static_cast<uint64_t>(value >> 63));
    }
    void bytes(const void* data, size_t size) {
        if (!roomFor(size) || size == 0) return;
        std::memcpy(data_ + size_, data, size);
        size_ += size;
    }
    void text(std::string_view text) {
        number(text.size());
        bytes(text.data(), text.size());
    }

private:
    bool roomFor(size_t size) { return size_ + size <= capacity_ || grow(size); }
    bool grow(size_t size);

    uint8_t* data_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;
    bool whole_ = true;
};

// Takes them out again. Beyond the end, and of what can't be, everything is 0 and bad() true.
class ByteReader {
public:
    explicit ByteReader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

    bool bad() const { return bad_; }
    void spoil() { bad_ = true; }
    size_t left() const { return bytes_.size() - position_; }
    size_t position() const { return position_; }

    uint64_t number() {
        uint64_t value = 0;
        for (int shift = 0; shift < 64 && position_ < bytes_.size(); shift += 7) {
            const uint8_t byte = bytes_[position_++];
            value |= static_cast<uint64_t>(byte & 0x7F) << shift;
            if (byte < 0x80) return value;
        }
        bad_ = true;
        return 0;
    }
    // One that is below 'limit'.
    uint32_t below(uint64_t limit) {
        const uint64_t value = number();
        if (value < limit) return static_cast<uint32_t>(value);
        bad_ = true;
        return 0;
    }
    int64_t signedNumber() {
        const uint64_t value = number();
        return static_cast<int64_t>(value >> 1 ^ (0 - (value & 1)));
    }
    std::span<const uint8_t> bytes(size_t size) {
        if (size > left()) {
            bad_ = true;
            return {};
        }
        position_ += size;
        return bytes_.subspan(position_ - size, size);
    }
    std::string_view text() {
        const auto taken = bytes(below(format::kLongest));
        return {reinterpret_cast<const char*>(taken.data()), taken.size()};
    }

private:
    std::span<const uint8_t> bytes_;
    size_t position_ = 0;
    bool bad_ = false;
};

}  // namespace pcsim::probe

#endif
