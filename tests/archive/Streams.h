#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "archive/deflate/BlockCompressor.h"

/// Makes raw deflate streams, and judges them by zlib.
namespace qvx::test {

using Bytes = std::vector<uint8_t>;

struct Inflated {
    Bytes data;
    size_t used = 0;        ///< bytes of the stream
    size_t finalHeader = 0; ///< bit at which the final block starts
};

/// Absent unless the bytes begin with a whole stream that unpacks to at most `limit` bytes.
inline std::optional<Inflated> inflated(std::span<const uint8_t> stream, size_t limit) {
    Inflated result{Bytes(limit + 1), 0, 0};
    z_stream z = {};
    if (inflateInit2(&z, -15) != Z_OK)
        return std::nullopt;
    z.next_in = const_cast<uint8_t*>(stream.data());
    z.avail_in = static_cast<uInt>(stream.size());
    z.next_out = result.data.data();
    z.avail_out = static_cast<uInt>(result.data.size());
    int status = Z_OK;
    while (status == Z_OK) {
        status = inflate(&z, Z_BLOCK);
        // At the end of a block that is not the final one.
        if ((z.data_type & 192) == 128)
            result.finalHeader = z.total_in * 8 - static_cast<unsigned>(z.data_type & 7);
    }
    result.data.resize(z.total_out);
    result.used = z.total_in;
    inflateEnd(&z);
    return status == Z_STREAM_END && result.data.size() <= limit ? std::optional(result) : std::nullopt;
}

/// The stream of pieces of these sizes, which add up to the data's.
inline Bytes joined(BlockCompressor& compressor, std::span<const uint8_t> data,
                    const std::vector<size_t>& sizes) {
    Bytes stream;
    ByteBuffer piece;
    for (const size_t size : sizes) {
        const BlockPlace place = size == data.size() ? BlockPlace::Last : BlockPlace::Inner;
        if (!compressor.compress(data.first(size), place, piece))
            return {};
        stream.insert(stream.end(), piece.bytes().begin(), piece.bytes().end());
        data = data.subspan(size);
    }
    return stream;
}

} // namespace qvx::test
