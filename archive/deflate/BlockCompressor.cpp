#include "archive/deflate/BlockCompressor.h"

#include <libdeflate.h>

#include <algorithm>
#include <array>

#include "archive/deflate/DeflateWalker.h"

namespace qvx {
namespace {

// The bench holds its results against those of the usual programs.
constexpr int level = 5;
constexpr size_t longestStored = 0xffff;
constexpr size_t storedHeaderSize = 5;
/// What opening a stream adds at most.
constexpr size_t longestJoin = 5;

size_t storedSize(size_t size) {
    return size + (size + longestStored - 1) / longestStored * storedHeaderSize;
}

/// Writes the input as stored deflate blocks to `output` and returns their size.
size_t store(std::span<const uint8_t> input, bool isFinal, uint8_t* output) {
    uint8_t* next = output;
    while (!input.empty()) {
        const size_t length = std::min(input.size(), longestStored);
        const auto low = static_cast<uint8_t>(length), high = static_cast<uint8_t>(length >> 8);
        const bool isLast = isFinal && length == input.size();
        for (const uint8_t byte : {static_cast<uint8_t>(isLast), low, high, static_cast<uint8_t>(~low),
                                   static_cast<uint8_t>(~high)})
            *next++ = byte;
        next = std::copy_n(input.begin(), length, next);
        input = input.subspan(length);
    }
    return static_cast<size_t>(next - output);
}

/// Makes a whole stream of `size` bytes one that can be continued, not final and ending on a byte, and
/// returns its size. The library has no way to end a stream like this, so its final-block bit is taken back,
/// and an empty stored block, which the format aligns to a byte, fills up the last one:
///
///     ... last bits | 0 00 | zeros to the byte's end | 00 00 | ff ff
///                     |  stored block                  length  its complement
///                     not final
size_t open(uint8_t* stream, size_t size, const FinalBlock& last) {
    constexpr std::array<uint8_t, 4> emptyLength{0x00, 0x00, 0xff, 0xff};
    stream[last.headerBit / 8] &= static_cast<uint8_t>(~(1u << last.headerBit % 8));
    if (last.endBit % 8 == 0)
        return size;
    uint8_t* next = stream + size;
    if (last.endBit % 8 > 5) // no room for the three bits of the header
        *next++ = 0;
    next = std::copy(emptyLength.begin(), emptyLength.end(), next);
    return static_cast<size_t>(next - stream);
}

} // namespace

void BlockCompressor::Free::operator()(libdeflate_compressor* compressor) const {
    libdeflate_free_compressor(compressor);
}

std::unique_ptr<BlockCompressor> BlockCompressor::create() {
    libdeflate_compressor* compressor = libdeflate_alloc_compressor(level);
    return std::unique_ptr<BlockCompressor>(compressor ? new BlockCompressor(compressor) : nullptr);
}

bool BlockCompressor::compress(std::span<const uint8_t> input, BlockPlace place, ByteBuffer& output) {
    const bool isOpen = place == BlockPlace::Inner;
    output.reserve(storedSize(blockSize));
    uint8_t* stream = output.data();
    // 0 when it does not fit, that is, unless it is smaller than the input with what opening adds.
    const size_t most = input.size() - std::min(input.size(), isOpen ? longestJoin : 1);
    const size_t size =
        most > 0 ? libdeflate_deflate_compress(compressor_.get(), input.data(), input.size(), stream, most)
                 : 0;
    const std::optional<FinalBlock> last =
        isOpen ? findFinalBlock({stream, size}) : std::optional<FinalBlock>();
    if (place == BlockPlace::Only && size == 0) {
        std::copy(input.begin(), input.end(), stream);
        output.setSize(input.size());
        return false;
    }
    // A stream of another make than expected is not trusted, but replaced by one that is sure.
    if (size == 0 || (isOpen && !(last && (last->endBit + 7) / 8 == size)))
        output.setSize(store(input, !isOpen, stream));
    else
        output.setSize(isOpen ? open(stream, size, *last) : size);
    return true;
}

uint64_t largestDeflatedSize(uint64_t size) {
    return size / lateBlockSize * storedSize(lateBlockSize) + storedSize(size % lateBlockSize);
}

} // namespace qvx
