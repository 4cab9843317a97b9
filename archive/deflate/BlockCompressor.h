#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "archive/deflate/ByteBuffer.h"

struct libdeflate_compressor;

namespace qvx {

/// Bytes of a file that are one thread's work. A block knows nothing of the one before it, so that small ones
/// compress less well; large ones leave little to do in parallel and take memory.
constexpr size_t blockSize = size_t{1} << 20;
/// The same near the end of a file, so that the threads end together.
constexpr size_t lateBlockSize = blockSize / 2;

/// Where a block stands in its file.
enum class BlockPlace {
    Inner, ///< more blocks follow
    Last,  ///< the last of several
    Only,  ///< the whole file
};

/// Turns blocks of a file into pieces of raw deflate streams (RFC 1951).
class BlockCompressor {
public:
    /// Null when there is not enough memory.
    [[nodiscard]] static std::unique_ptr<BlockCompressor> create();

    /// Compresses at most blockSize bytes into `output`, replacing what it holds. The pieces of one file,
    /// joined in order, are one deflate stream: every inner piece ends on a byte and is not final, the last
    /// one is final. A block that does not shrink is carried in stored deflate blocks; an Only block that
    /// does not shrink is not wrapped at all: `output` is then the input, and the result is false.
    [[nodiscard]] bool compress(std::span<const uint8_t> input, BlockPlace place, ByteBuffer& output);

private:
    struct Free {
        void operator()(libdeflate_compressor* compressor) const;
    };

    explicit BlockCompressor(libdeflate_compressor* compressor) : compressor_(compressor) {}

    std::unique_ptr<libdeflate_compressor, Free> compressor_;
};

/// The most that the joined pieces of a file of `size` bytes can take.
[[nodiscard]] uint64_t largestDeflatedSize(uint64_t size);

} // namespace qvx
