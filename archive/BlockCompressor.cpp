#include "archive/BlockCompressor.h"

#include "archive/DeflateWalker.h"

#include <libdeflate.h>

#include <algorithm>
#include <cstring>

namespace qvx {
namespace {

// The bench holds its results against those of the usual programs.
constexpr int kLevel = 5;
constexpr size_t kStoredMost = 0xffff;
constexpr size_t kStoredHeader = 5;
constexpr size_t kJoinMost = 5;
/// A length of 0 and its complement.
constexpr uint8_t kEmptyStored[] = {0x00, 0x00, 0xff, 0xff};

size_t storedSize(size_t size) {
    return size + (size + kStoredMost - 1) / kStoredMost * kStoredHeader;
}

size_t copy(std::span<const uint8_t> bytes, uint8_t* output) {
    if (!bytes.empty())
        std::memmove(output, bytes.data(), bytes.size());
    return bytes.size();
}

/// Each of these functions writes to `output` and gives the number of bytes.
size_t store(std::span<const uint8_t> input, bool isFinal, uint8_t* output) {
    uint8_t* next = output;
    while (!input.empty()) {
        const size_t length = std::min(input.size(), kStoredMost);
        const auto low = static_cast<uint8_t>(length), high = static_cast<uint8_t>(length >> 8);
        const bool isLast = isFinal && length == input.size();
        for (const uint8_t byte : {static_cast<uint8_t>(isLast), low, high, static_cast<uint8_t>(~low),
                                   static_cast<uint8_t>(~high)})
            *next++ = byte;
        next += copy(input.first(length), next);
        input = input.subspan(length);
    }
    return static_cast<size_t>(next - output);
}

bool endsWith(std::span<const uint8_t> stream, const std::optional<FinalBlock>& last) {
    return last && (last->endBit + 7) / 8 == stream.size();
}

/// Makes a whole stream one that can be continued: not final, and ending on a byte.
size_t copyOpen(std::span<const uint8_t> stream, const FinalBlock& last, uint8_t* output) {
    uint8_t* next = output + copy(stream, output);
    output[last.headerBit / 8] &= static_cast<uint8_t>(~(1u << last.headerBit % 8));
    if (last.endBit % 8 == 0)
        return stream.size();
    // An empty stored block aligns: three header bits, zeros up to a byte, then the rest.
    if (last.endBit % 8 > 5)
        *next++ = 0;
    next += copy(kEmptyStored, next);
    return static_cast<size_t>(next - output);
}

} // namespace

void BlockCompressor::Free::operator()(libdeflate_compressor* compressor) const {
    libdeflate_free_compressor(compressor);
}

std::unique_ptr<BlockCompressor> BlockCompressor::create() {
    libdeflate_compressor* compressor = libdeflate_alloc_compressor(kLevel);
    return std::unique_ptr<BlockCompressor>(compressor ? new BlockCompressor(compressor) : nullptr);
}

bool BlockCompressor::compress(std::span<const uint8_t> input, BlockPlace place, ByteBuffer& output) {
    struct Part {
        std::span<const uint8_t> input;
        bool isOpen;                     // more follows
        std::span<const uint8_t> stream; // empty unless it is smaller than the input, with room to open it
    };
    const size_t first = std::min(input.size(), kPartSize);
    Part parts[] = {{input.first(first), place == BlockPlace::Inner || first < input.size(), {}},
                    {input.subspan(first), place == BlockPlace::Inner, {}}};
    output.reserve(storedSize(kPartSize) * 2);
    // The second part comes behind all that the first one can become, and is moved down when that is known.
    uint8_t* room = output.data();
    for (Part& part : parts) {
        const size_t most = part.input.size() - std::min(part.input.size(), part.isOpen ? kJoinMost : 0);
        if (most > 0)
            part.stream = {room, libdeflate_deflate_compress(compressor_.get(), part.input.data(),
                                                             part.input.size(), room, most)};
        room += storedSize(part.input.size());
    }
    const auto toWalk = [](const Part& part) {
        return part.isOpen ? part.stream : std::span<const uint8_t>();
    };
    const auto ends = findFinalBlocks(toWalk(parts[0]), toWalk(parts[1]));

    uint8_t* next = output.data();
    for (size_t i = 0; i < 2; ++i) {
        const Part& part = parts[i];
        if (part.stream.empty() || (part.isOpen && !endsWith(part.stream, ends[i])))
            next += store(part.input, !part.isOpen, next);
        else if (part.isOpen)
            next += copyOpen(part.stream, *ends[i], next);
        else
            next += copy(part.stream, next);
    }
    const auto size = static_cast<size_t>(next - output.data());
    if (place != BlockPlace::Only || size < input.size()) {
        output.setSize(size);
        return true;
    }
    output.setSize(copy(input, output.data()));
    return false;
}

uint64_t largestDeflatedSize(uint64_t size) {
    return size / kLateBlockSize * storedSize(kLateBlockSize) + storedSize(size % kLateBlockSize);
}

} // namespace qvx
