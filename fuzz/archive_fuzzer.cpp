// Cuts any bytes into blocks, compresses and joins them, and lets zlib judge the stream; and walks the bytes
// themselves as a stream, beside zlib again.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "archive/deflate/DeflateWalker.h"
#include "fuzz/require.h"
#include "tests/archive/Streams.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace qvx;
    const std::span input(data, size);
    const std::optional<FinalBlock> found = findFinalBlock(input);
    require(!found || (found->headerBit < found->endBit && found->endBit <= size * 8));
    if (const auto judged = test::inflated(input, size_t{1} << 16))
        require(found && found->headerBit == judged->finalHeader && (found->endBit + 7) / 8 == judged->used);

    // The first bytes say where the rest is cut.
    static const auto compressor = BlockCompressor::create();
    const size_t cuts = std::min<size_t>(size / 4, 8);
    const std::span rest = input.subspan(cuts);
    std::vector<size_t> sizes;
    size_t left = rest.size();
    for (size_t cut = 0; left > 0; left -= sizes.back(), ++cut)
        sizes.push_back(cut < cuts ? std::min(left, 1 + input[cut] * size_t{16}) : left);
    const test::Bytes stream = test::joined(*compressor, rest, sizes);
    const auto judged = test::inflated(stream, rest.size());
    require(rest.empty() || (judged && judged->used == stream.size() &&
                             std::equal(rest.begin(), rest.end(), judged->data.begin(), judged->data.end())));
    return 0;
}
