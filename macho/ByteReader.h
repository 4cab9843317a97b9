#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <type_traits>

namespace qvx::macho {

/// The one way to the bytes of a Mach-O image: every access is checked against the range, without sums that
/// can overflow. Does not own the bytes.
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

    /// The same range, cut after at most `count` bytes.
    [[nodiscard]] ByteReader first(uint64_t count) const { return {start_, count < size_ ? count : size_}; }

private:
    const std::byte* start_;
    uint64_t size_;
};

} // namespace qvx::macho
