#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "archive/deflate/HuffmanCode.h"

namespace qvx {

/// Gets past the symbols of a deflate block as many at a time as a look at its next few bits can tell.
class SkipTable {
public:
    /// What a look told, and what is to come.
    class Step {
    public:
        /// At the start of a block, or between its symbols: whether a distance comes next.
        explicit Step(bool isDistanceNext = false) : value_(isDistanceNext ? distanceNext : 0) {}

        /// Bits to skip, at most mostSkip.
        [[nodiscard]] unsigned skip() const { return value_ & skipMask; }
        [[nodiscard]] bool isDistanceNext() const { return (value_ & distanceNext) != 0; }
        /// Whether the table knows no further, or the block ends.
        [[nodiscard]] bool stops() const { return (value_ & stopsHere) != 0; }
        /// Whether the block's end is among what is skipped.
        [[nodiscard]] bool isEnd() const { return (value_ & blockEnd) != 0; }

    private:
        friend class SkipTable;

        uint32_t value_;
    };

    /// Bits of each look. Every further one doubles what is filled for a block.
    static constexpr unsigned lookBits = 10;
    /// A distance has up to 13 bits behind its codeword.
    static constexpr unsigned mostSkip = lookBits + 13;

    /// Fills the table for a block's codes.
    void fill(const HuffmanCode& literals, const HuffmanCode& distances);

    /// What comes after `previous` when `bits` come next, of which at least lookBits must be there.
    [[nodiscard]] Step next(uint64_t bits, Step previous) const {
        Step step;
        step.value_ = table_[(bits & (looks - 1)) | (previous.value_ & distanceNext)];
        return step;
    }

private:
    static constexpr uint32_t looks = 1u << lookBits;

    // A step's value:
    //
    //      31       16  15     14    13 11     10      9  6   5    0
    //     +-----------+-----+-------+------+----------+------+------+
    //     |   known   | end | stops |  0   | distance |  0   | skip |
    //     +-----------+-----+-------+------+----------+------+------+
    //
    // `skip` counts the bits to get past; `known` those of them that the look had to see, which leaves out
    // extra bits at its end. `distance` is set when a distance comes next, and is at once the offset of the
    // table's second half.
    //
    // Say that a literal is 0, the length 3 is 10, the end of the block is 11 and the only distance is 0,
    // each with its first bit first, and none has extra bits. A look then sees 0 10 0 0 11 and three more
    // bits: literal, length, distance, literal, end. All seven bits are skipped and had to be known, and the
    // block ends: 7 << 16 | 1 << 15 | 1 << 14 | 7, which is 0x7c007.
    static constexpr uint32_t skipMask = 0x3f;
    static constexpr uint32_t distanceNext = looks;
    static constexpr uint32_t stopsHere = 1u << 14;
    static constexpr uint32_t blockEnd = 1u << 15;
    static constexpr unsigned knownShift = 16; // bits that had to be known, 0 where nothing is skipped

    [[nodiscard]] static uint32_t valueFor(Symbol symbol);
    /// The value for `bits`, which begin with the symbol `one`, and what the table knows to follow it.
    [[nodiscard]] uint32_t joined(uint32_t one, uint32_t bits) const;

    std::array<uint32_t, 2 * size_t{looks}> table_; // for literals and lengths, then for distances
};

} // namespace qvx
