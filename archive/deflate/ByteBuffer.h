#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace qvx {

/// Bytes in memory that is used again and never cleared, so that room which is not written to takes none.
class ByteBuffer {
public:
    /// Makes room for at least `size` bytes, of any content. What was there is lost.
    void reserve(size_t size) {
        if (size > room_) {
            bytes_ = std::make_unique_for_overwrite<uint8_t[]>(size);
            room_ = size;
        }
    }
    /// How much of the room counts.
    void setSize(size_t size) { size_ = size; }

    /// The room.
    [[nodiscard]] uint8_t* data() { return bytes_.get(); }
    /// The bytes that count.
    [[nodiscard]] std::span<const uint8_t> bytes() const { return {bytes_.get(), size_}; }

private:
    std::unique_ptr<uint8_t[]> bytes_;
    size_t room_ = 0;
    size_t size_ = 0;
};

} // namespace qvx
