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

void store(std::span<const uint8_t> input, bool isFinal, std::vector<uint8_t>& output) {
    output.clear();
    while (!input.empty()) {
        const size_t length = std::min(input.size(), kStoredMost);
        const auto low = static_cast<uint8_t>(length), high = static_cast<uint8_t>(length >> 8);
        const bool isLast = isFinal && length == input.size();
        output.insert(output.end(), {static_cast<uint8_t>(isLast), low, high, static_cast<uint8_t>(~low),
                                     static_cast<uint8_t>(~high)});
        output.insert(output.end(), input.begin(), input.begin() + static_cast<ptrdiff_t>(length));
        input = input.subspan(length);
    }
}

/// Makes a whole stream one that can be continued: not final, and ending on a byte.
bool openEnd(std::vector<uint8_t>& stream) {
    const std::optional<FinalBlock> last = findFinalBlock(stream);
    if (!last || (last->endBit + 7) / 8 != stream.size())
        return false;
    stream[last->headerBit / 8] &= static_cast<uint8_t>(~(1u << last->headerBit % 8));
    if (last->endBit % 8 == 0)
        return true;
    // An empty stored block aligns: three header bits, zeros up to a byte, a length of 0 and its complement.
    if (last->endBit % 8 > 5)
        stream.push_back(0);
    stream.insert(stream.end(), {0x00, 0x00, 0xff, 0xff});
    return true;
}

} // namespace

void BlockCompressor::Free::operator()(libdeflate_compressor* compressor) const {
    libdeflate_free_compressor(compressor);
}

std::unique_ptr<BlockCompressor> BlockCompressor::create() {
    libdeflate_compressor* compressor = libdeflate_alloc_compressor(kLevel);
    return std::unique_ptr<BlockCompressor>(compressor ? new BlockCompressor(compressor) : nullptr);
}

bool BlockCompressor::compress(std::span<const uint8_t> input, BlockPlace place,
                               std::vector<uint8_t>& output) {
    const size_t reserve = place == BlockPlace::Inner ? kJoinMost : 0;
    output.reserve(storedSize(input.size()) + kJoinMost); // or appending would double it
    output.resize(input.size());
    const size_t size = input.size() <= reserve
                            ? 0
                            : libdeflate_deflate_compress(compressor_.get(), input.data(), input.size(),
                                                          output.data(), input.size() - reserve);
    output.resize(size);
    if (size > 0 && (place != BlockPlace::Inner || openEnd(output)))
        return true;
    if (place == BlockPlace::Only) {
        output.assign(input.begin(), input.end());
        return false;
    }
    store(input, place == BlockPlace::Last, output);
    return true;
}

uint64_t largestDeflatedSize(uint64_t size) {
    return size / kBlockSize * storedSize(kBlockSize) + storedSize(size % kBlockSize);
}

} // namespace qvx
