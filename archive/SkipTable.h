#pragma once

#include "archive/HuffmanCode.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace qvx {

/// Gets past the symbols of a deflate block as many at a time as a look at its next few bits can tell.
class SkipTable {
public:
    /// What a look told, and what is to come.
    class Step {
    public:
        /// At the start of a block, or between its symbols: whether a distance comes next.
        explicit Step(bool isDistanceNext = false) : value_(isDistanceNext ? kDistanceNext : 0) {}

        /// Bits to skip, at most kMostSkip.
        [[nodiscard]] unsigned skip() const { return value_ & kSkip; }
        [[nodiscard]] bool isDistanceNext() const { return (value_ & kDistanceNext) != 0; }
        /// Whether the table knows no further, or the block ends.
        [[nodiscard]] bool stops() const { return (value_ & kStops) != 0; }
        /// Whether the block's end is among what is skipped.
        [[nodiscard]] bool isEnd() const { return (value_ & kEnd) != 0; }

    private:
        friend class SkipTable;

        uint32_t value_;
    };

    /// Bits of each look. Every further one doubles what is filled for a block.
    static constexpr unsigned kBits = 10;
    /// A distance has up to 13 bits behind its codeword.
    static constexpr unsigned kMostSkip = kBits + 13;

    /// Fills the table for a block's codes.
    void fill(const HuffmanCode& literals, const HuffmanCode& distances);

    /// What comes after `previous` when `bits` come next, of which at least kBits must be there.
    [[nodiscard]] Step next(uint64_t bits, Step previous) const {
        Step step;
        step.value_ = table_[(bits & (kSize - 1)) | (previous.value_ & kDistanceNext)];
        return step;
    }

private:
    static constexpr uint32_t kSize = 1u << kBits;

    // The parts of a step's value. The state selects the half of the table.
    static constexpr uint32_t kSkip = 0x3f;
    static constexpr uint32_t kDistanceNext = kSize;
    static constexpr uint32_t kStops = 1u << 14;
    static constexpr uint32_t kEnd = 1u << 15;
    static constexpr unsigned kKnownShift = 16; // bits that had to be known, 0 where nothing is skipped

    [[nodiscard]] static uint32_t valueFor(Symbol symbol);
    /// The value for `bits`, which begin with the symbol `one`, and what the table knows to follow it.
    [[nodiscard]] uint32_t joined(uint32_t one, uint32_t bits) const;

    std::array<uint32_t, 2 * size_t{kSize}> table_; // for literals and lengths, then for distances
};

} // namespace qvx
