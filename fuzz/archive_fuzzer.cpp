// Cuts any bytes into blocks, compresses and joins them, and lets zlib judge the stream; and walks the bytes
// themselves as a stream, beside zlib again.

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "archive/deflate/BlockCompressor.h"
#include "archive/deflate/DeflateWalker.h"
#include "fuzz/require.h"

namespace {

using namespace qvx;
using Bytes = std::vector<uint8_t>;

struct Inflated {
    Bytes data;
    size_t used = 0;        ///< bytes of the stream
    size_t finalHeader = 0; ///< bit at which the final block starts
};

/// Absent unless the bytes begin with a whole stream that unpacks to at most `limit` bytes.
std::optional<Inflated> inflated(std::span<const uint8_t> stream, size_t limit) {
    Inflated result{Bytes(limit + 1), 0, 0};
    z_stream z = {};
    require(inflateInit2(&z, -15) == Z_OK);
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
    if (status != Z_STREAM_END || result.data.size() > limit)
        return std::nullopt;
    return result;
}

void walk(std::span<const uint8_t> stream) {
    const std::optional<FinalBlock> found = findFinalBlock(stream);
    require(!found || (found->headerBit < found->endBit && found->endBit <= stream.size() * 8));
    if (const std::optional<Inflated> judged = inflated(stream, size_t{1} << 16))
        require(found && found->headerBit == judged->finalHeader && (found->endBit + 7) / 8 == judged->used);
}

void join(BlockCompressor& compressor, std::span<const uint8_t> cuts, std::span<const uint8_t> input) {
    Bytes stream;
    ByteBuffer piece;
    for (std::span<const uint8_t> rest = input; !rest.empty();) {
        const size_t wanted = cuts.empty() ? rest.size() : 1 + cuts.front() * size_t{16};
        const size_t length = std::min(wanted, rest.size());
        const BlockPlace place = length == rest.size() ? BlockPlace::Last : BlockPlace::Inner;
        require(compressor.compress(rest.first(length), place, piece));
        stream.insert(stream.end(), piece.bytes().begin(), piece.bytes().end());
        rest = rest.subspan(length);
        cuts = cuts.subspan(std::min<size_t>(cuts.size(), 1));
    }
    const std::optional<Inflated> judged = inflated(stream, input.size());
    require(input.empty() ||
            (judged && judged->used == stream.size() &&
             std::equal(judged->data.begin(), judged->data.end(), input.begin(), input.end())));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const auto compressor = BlockCompressor::create();
    require(compressor != nullptr);
    const std::span input(data, size);
    walk(input);
    // The first bytes say where the rest is cut.
    const size_t cuts = std::min<size_t>(size / 4, 8);
    join(*compressor, input.first(cuts), input.subspan(cuts));
    return 0;
}
