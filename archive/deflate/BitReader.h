#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace qvx {

static_assert(std::endian::native == std::endian::little, "BitReader loads words as they lie in memory");

/// A deflate stream as a 64-bit window of its next bits, the lowest bit first. Past the end it reads zeros,
/// and overrun() tells.
///
///      63        count_ count_-1          0
///     +----------------+-------------------+
///     |  ahead or 0    |  bits to be taken |     next_: the byte whose lowest bit stands at count_
///     +----------------+-------------------+
///
/// What stands ahead of the bits that count is what the next refill puts there anyway, so it can be put there
/// early and again: that is what lets a refill load a whole word without asking how much room there is.
class BitReader {
public:
    /// Borrows `stream`.
    explicit BitReader(std::span<const uint8_t> stream) : stream_(stream) {}

    /// Whether a whole word lies ahead, so that refillWord() may be called.
    [[nodiscard]] bool hasWord() const { return next_ + sizeof(uint64_t) <= stream_.size(); }
    /// Makes at least 56 bits available.
    void refillWord() {
        uint64_t word;
        std::memcpy(&word, stream_.data() + next_, sizeof word);
        bits_ |= word << count_;
        // As many whole bytes count as have room: with 13 bits left, 6 bytes, and 13 | 56 is 13 + 48.
        next_ += (63 - count_) >> 3;
        count_ |= 56;
    }
    /// Makes at least 56 bits available.
    void refill() {
        if (hasWord())
            return refillWord();
        for (; count_ <= 56; count_ += 8, ++next_)
            bits_ |= static_cast<uint64_t>(next_ < stream_.size() ? stream_[next_] : 0) << count_;
    }

    [[nodiscard]] uint64_t peek() const { return bits_; }
    void skip(unsigned count) {
        bits_ >>= count;
        count_ -= count;
    }
    unsigned take(unsigned count) {
        const auto value = static_cast<unsigned>(bits_ & ((uint64_t{1} << count) - 1));
        skip(count);
        return value;
    }

    /// In bits from the start of the stream.
    [[nodiscard]] size_t position() const { return next_ * 8 - count_; }
    /// False when `bit` lies after the end.
    [[nodiscard]] bool seek(size_t bit) {
        if (bit > stream_.size() * 8)
            return false;
        next_ = bit / 8;
        bits_ = 0;
        count_ = 0;
        refill();
        skip(bit % 8);
        return true;
    }
    [[nodiscard]] bool overrun() const { return position() > stream_.size() * 8; }

private:
    std::span<const uint8_t> stream_;
    size_t next_ = 0;
    uint64_t bits_ = 0;
    unsigned count_ = 0;
};

} // namespace qvx
