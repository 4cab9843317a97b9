#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <type_traits>

namespace qvx::platform {

/// The one way to the bytes of a file that nobody vouches for: every access is checked against the range,
/// without sums that can overflow. Does not own the bytes.
class ByteReader {
public:
    /// \param start first byte of the range, not null
    /// \param size how many bytes may be read from there
    ByteReader(const void* start, uint64_t size)
        : start_(static_cast<const std::byte*>(start)), size_(size) {}

    [[nodiscard]] uint64_t size() const { return size_; }

    [[nodiscard]] bool contains(uint64_t offset, uint64_t count) const {
        return offset <= size_ && count <= size_ - offset;
    }

    /// The first of `count` bytes at `offset`; null when they are not all in the range.
    [[nodiscard]] const std::byte* bytes(uint64_t offset, uint64_t count) const {
        return contains(offset, count) ? start_ + offset : nullptr;
    }

    /// The value at `offset`, which need not be aligned, in host order; absent when it is not wholly in the
    /// range.
    template <class T>
    requires std::is_integral_v<T>
    [[nodiscard]] std::optional<T> read(uint64_t offset) const {
        if (!contains(offset, sizeof(T)))
            return std::nullopt;
        T value;
        std::memcpy(&value, start_ + offset, sizeof value);
        return value;
    }

    /// The unsigned big-endian number of `count` bytes, at most 8, at `offset`; absent when it is not wholly
    /// in the range.
    [[nodiscard]] std::optional<uint64_t> readBigEndian(uint64_t offset, uint64_t count) const {
        if (!contains(offset, count))
            return std::nullopt;
        uint64_t value = 0;
        for (uint64_t index = 0; index < count; ++index)
            value = value << 8 | std::to_integer<uint64_t>(start_[offset + index]);
        return value;
    }

    /// The same range, cut after at most `count` bytes.
    [[nodiscard]] ByteReader first(uint64_t count) const { return {start_, count < size_ ? count : size_}; }

private:
    const std::byte* start_;
    uint64_t size_;
};

} // namespace qvx::platform
