#include <gtest/gtest.h>
#include <zlib.h>

#include <numeric>
#include <optional>

#include "archive/deflate/BlockCompressor.h"
#include "archive/deflate/DeflateWalker.h"
#include "tests/archive/TestData.h"

namespace qvx::test {
namespace {

constexpr int rawStream = -15;

/// What zlib makes of a raw stream; `finalHeader` gets the first bit of the final block. Nothing unless the
/// stream is valid and ends with the last byte.
std::optional<Bytes> inflated(const Bytes& stream, size_t expectedSize, size_t* finalHeader = nullptr) {
    z_stream z = {};
    EXPECT_EQ(inflateInit2(&z, rawStream), Z_OK);
    Bytes data(expectedSize + 1);
    z.next_in = const_cast<uint8_t*>(stream.data());
    z.avail_in = static_cast<uInt>(stream.size());
    z.next_out = data.data();
    z.avail_out = static_cast<uInt>(data.size());
    int status = Z_OK;
    while (status == Z_OK) {
        status = inflate(&z, Z_BLOCK);
        // At the end of a block that is not the final one.
        if (finalHeader && (z.data_type & 192) == 128)
            *finalHeader = z.total_in * 8 - static_cast<unsigned>(z.data_type & 7);
    }
    data.resize(z.total_out);
    const bool complete = status == Z_STREAM_END && z.avail_in == 0;
    inflateEnd(&z);
    return complete ? std::optional(data) : std::nullopt;
}

Bytes joined(BlockCompressor& compressor, const Bytes& data, const std::vector<size_t>& sizes) {
    Bytes stream;
    ByteBuffer piece;
    size_t offset = 0;
    for (size_t i = 0; i < sizes.size(); ++i) {
        const BlockPlace place = i + 1 < sizes.size() ? BlockPlace::Inner : BlockPlace::Last;
        EXPECT_TRUE(compressor.compress(std::span(data).subspan(offset, sizes[i]), place, piece));
        stream.insert(stream.end(), piece.bytes().begin(), piece.bytes().end());
        offset += sizes[i];
    }
    EXPECT_EQ(offset, data.size());
    return stream;
}

constexpr Texture textures[] = {Texture::Zeros, Texture::Text, Texture::Noise, Texture::Mixed,
                                Texture::Skewed};

TEST(BlockCompressor, PiecesOfAnySizeJoinIntoOneStream) {
    const auto compressor = BlockCompressor::create();
    std::vector<std::vector<size_t>> cuts;
    for (size_t last : {size_t{1}, blockSize})
        cuts.insert(cuts.end(), std::size(textures), {blockSize, last});
    // Small pieces end at every bit of a byte, and many of them do not shrink.
    std::mt19937 random(5);
    for (int round = 0; round < 300; ++round)
        for (size_t& size : cuts.emplace_back(1 + random() % 12))
            size = 1 + random() % (random() % 4 == 0 ? 90'000 : 300);
    for (uint32_t round = 0; round < cuts.size(); ++round) {
        SCOPED_TRACE(testing::Message() << "round " << round);
        const size_t total = std::accumulate(cuts[round].begin(), cuts[round].end(), size_t{0});
        const Bytes data = makeData(textures[round % std::size(textures)], total, round);
        const Bytes stream = joined(*compressor, data, cuts[round]);
        EXPECT_EQ(inflated(stream, total), data);
        if (cuts[round][0] == blockSize) {
            EXPECT_LE(stream.size(), largestDeflatedSize(total));
        }
    }
}

TEST(BlockCompressor, OnlyBlockIsAWholeStreamOrPlain) {
    const auto compressor = BlockCompressor::create();
    for (Texture texture : textures) {
        for (size_t size : {size_t{0}, size_t{1}, size_t{100}, blockSize - 1, blockSize}) {
            SCOPED_TRACE(testing::Message() << "texture " << int(texture) << " size " << size);
            const Bytes data = makeData(texture, size);
            ByteBuffer buffer;
            const bool deflated = compressor->compress(data, BlockPlace::Only, buffer);
            const Bytes output(buffer.bytes().begin(), buffer.bytes().end());
            EXPECT_EQ(deflated, size >= 100 && texture != Texture::Noise);
            EXPECT_EQ(deflated ? inflated(output, size) : output, data);
            EXPECT_LE(output.size(), size);
        }
    }
}

/// A stream with block types and code lengths that libdeflate does not choose.
Bytes zlibStream(const Bytes& data, int level, int strategy) {
    z_stream z = {};
    EXPECT_EQ(deflateInit2(&z, level, Z_DEFLATED, rawStream, 9, strategy), Z_OK);
    Bytes stream(deflateBound(&z, data.size()) + 64);
    z.next_in = const_cast<uint8_t*>(data.data());
    z.avail_in = static_cast<uInt>(data.size());
    z.next_out = stream.data();
    z.avail_out = static_cast<uInt>(stream.size());
    EXPECT_EQ(deflate(&z, Z_FINISH), Z_STREAM_END);
    stream.resize(z.total_out);
    deflateEnd(&z);
    return stream;
}

TEST(DeflateWalker, FindsTheBlockThatInflateCallsFinal) {
    const std::pair<int, int> kinds[] = {{0, Z_DEFAULT_STRATEGY}, {1, Z_DEFAULT_STRATEGY},
                                         {9, Z_DEFAULT_STRATEGY}, {6, Z_FIXED},
                                         {6, Z_HUFFMAN_ONLY},     {6, Z_RLE}};
    for (const auto& [level, strategy] : kinds) {
        for (Texture texture : textures) {
            for (size_t size : {0u, 1u, 3u, 1000u, 65'535u, 400'000u}) {
                SCOPED_TRACE(testing::Message()
                             << level << '/' << strategy << " texture " << int(texture) << " size " << size);
                const Bytes stream = zlibStream(makeData(texture, size), level, strategy);
                size_t expected = 0;
                ASSERT_TRUE(inflated(stream, size, &expected));
                const std::optional<FinalBlock> found = findFinalBlock(stream);
                ASSERT_TRUE(found);
                EXPECT_EQ(found->headerBit, expected);
                EXPECT_EQ((found->endBit + 7) / 8, stream.size());
            }
        }
    }
}

TEST(DeflateWalker, RefusesWhatIsNoWholeStream) {
    for (int level : {0, 6}) {
        const Bytes stream = zlibStream(makeData(Texture::Mixed, 3000), level, Z_DEFAULT_STRATEGY);
        for (size_t size = 0; size < stream.size(); ++size) {
            // Copied, so that the sanitizer sees a read past the end.
            const Bytes cut(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(size));
            EXPECT_FALSE(findFinalBlock(cut)) << size;
        }
    }
    // A literal, a length and a distance code that stands for nothing, then literals to the end of the block.
    const Bytes unassigned = {0x4b, 0x04, 0xbe, 0xa4, 0xa4, 0xa4, 0xa4, 0xa4, 0xa4, 0xa4, 0xa4, 0xa4,
                              0xa4, 0xa4, 0xa4, 0xa4, 0xa4, 0xa4, 0xa4, 0xa4, 0xa4, 0xa4, 0x24, 0x00};
    EXPECT_FALSE(inflated(unassigned, 1000));
    EXPECT_FALSE(findFinalBlock(unassigned));
}

} // namespace
} // namespace qvx::test
