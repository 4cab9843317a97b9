#include "archive/BlockCompressor.h"

#include "archive/DeflateWalker.h"

#include <libdeflate.h>

#include <algorithm>

namespace qvx {
namespace {

// The fastest level whose result is near that of the default level of zlib.
constexpr int kLevel = 5;
constexpr size_t kStoredMost = 0xffff;
constexpr size_t kStoredHeader = 5;
constexpr size_t kJoinMost = 5;

size_t storedSize(size_t size) {
    return size + (size + kStoredMost - 1) / kStoredMost * kStoredHeader;
}

void append(std::span<const uint8_t> bytes, std::vector<uint8_t>& output) {
    output.insert(output.end(), bytes.begin(), bytes.end());
}

void appendStored(std::span<const uint8_t> input, bool isFinal, std::vector<uint8_t>& output) {
    while (!input.empty()) {
        const size_t length = std::min(input.size(), kStoredMost);
        const auto low = static_cast<uint8_t>(length), high = static_cast<uint8_t>(length >> 8);
        const bool isLast = isFinal && length == input.size();
        output.insert(output.end(), {static_cast<uint8_t>(isLast), low, high, static_cast<uint8_t>(~low),
                                     static_cast<uint8_t>(~high)});
        append(input.first(length), output);
        input = input.subspan(length);
    }
}

bool endsWith(std::span<const uint8_t> stream, const std::optional<FinalBlock>& last) {
    return last && (last->endBit + 7) / 8 == stream.size();
}

/// Makes a whole stream one that can be continued: not final, and ending on a byte.
void appendOpen(std::span<const uint8_t> stream, const FinalBlock& last, std::vector<uint8_t>& output) {
    const size_t start = output.size();
    append(stream, output);
    output[start + last.headerBit / 8] &= static_cast<uint8_t>(~(1u << last.headerBit % 8));
    if (last.endBit % 8 == 0)
        return;
    // An empty stored block aligns: three header bits, zeros up to a byte, a length of 0 and its complement.
    if (last.endBit % 8 > 5)
        output.push_back(0);
    output.insert(output.end(), {0x00, 0x00, 0xff, 0xff});
}

} // namespace

void BlockCompressor::Free::operator()(libdeflate_compressor* compressor) const {
    libdeflate_free_compressor(compressor);
}

std::unique_ptr<BlockCompressor> BlockCompressor::create() {
    std::unique_ptr<BlockCompressor> made(new BlockCompressor(libdeflate_alloc_compressor(kLevel)));
    return made->compressor_ ? std::move(made) : nullptr;
}

std::span<const uint8_t> BlockCompressor::deflate(std::span<const uint8_t> input, size_t reserve,
                                                  uint8_t* scratch) {
    if (input.size() <= reserve)
        return {};
    return {scratch, libdeflate_deflate_compress(compressor_.get(), input.data(), input.size(), scratch,
                                                 input.size() - reserve)};
}

bool BlockCompressor::compress(std::span<const uint8_t> input, BlockPlace place,
                               std::vector<uint8_t>& output) {
    struct Part {
        std::span<const uint8_t> input;
        bool isOpen; // more follows
        std::span<const uint8_t> stream;
    };
    const size_t first = std::min(input.size(), kPartSize);
    Part parts[] = {{input.first(first), place == BlockPlace::Inner || first < input.size(), {}},
                    {input.subspan(first), place == BlockPlace::Inner, {}}};
    uint8_t* scratch = scratch_.get();
    for (Part& part : parts) {
        part.stream = deflate(part.input, part.isOpen ? kJoinMost : 0, scratch);
        scratch += kPartSize;
    }
    const auto toWalk = [](const Part& part) {
        return part.isOpen ? part.stream : std::span<const uint8_t>();
    };
    const auto ends = findFinalBlocks(toWalk(parts[0]), toWalk(parts[1]));

    output.clear();
    for (size_t i = 0; i < 2; ++i) {
        const Part& part = parts[i];
        if (part.stream.empty() || (part.isOpen && !endsWith(part.stream, ends[i])))
            appendStored(part.input, !part.isOpen, output);
        else if (part.isOpen)
            appendOpen(part.stream, *ends[i], output);
        else
            append(part.stream, output);
    }
    if (place != BlockPlace::Only || output.size() < input.size())
        return true;
    output.assign(input.begin(), input.end());
    return false;
}

uint64_t largestDeflatedSize(uint64_t size) {
    return size / kLateBlockSize * storedSize(kLateBlockSize) + storedSize(size % kLateBlockSize);
}

} // namespace qvx
