#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace qvx {

/// Where a raw deflate stream's final block starts and ends, in bits from the start of the stream; bit 0 is
/// the lowest bit of the first byte.
struct FinalBlock {
    /// The first bit of the block's header, which is its final-block bit.
    size_t headerBit;
    /// One past the last bit of the block.
    size_t endBit;
};

/// Walks a raw deflate stream (RFC 1951) to its final block. Only code lengths are decoded: nothing is
/// inflated, and distances are not checked against a window, so this tells nothing about the data's validity.
/// Nothing for a stream that ends early, such as an empty one, or has a block that cannot be decoded. Never
/// reads outside of the stream.
[[nodiscard]] std::optional<FinalBlock> findFinalBlock(std::span<const uint8_t> stream);

} // namespace qvx
