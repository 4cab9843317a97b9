#include <gtest/gtest.h>

#include <bit>
#include <numeric>
#include <random>
#include <string>

#include "archive/deflate/DeflateWalker.h"
#include "tests/archive/Streams.h"

namespace qvx::test {

namespace {

/// Skewed: every byte is half as frequent as the one below it, which makes for the longest codewords.
enum class Texture { Zeros, Text, Noise, Mixed, Skewed };

constexpr Texture textures[] = {Texture::Zeros, Texture::Text, Texture::Noise, Texture::Mixed,
                                Texture::Skewed};

/// The same bytes for the same arguments.
Bytes makeData(Texture texture, size_t size, uint32_t seed = 1) {
    const std::string text = "the quick brown fox jumps over a lazy dog while nobody looks; ";
    std::mt19937 random(seed);
    Bytes data(size);
    for (size_t i = 0; i < size; ++i) {
        const Texture here = texture == Texture::Mixed ? static_cast<Texture>(i / 70'000 % 3) : texture;
        if (here == Texture::Text)
            data[i] = static_cast<uint8_t>(text[(i + (random() % 16 == 0)) % text.size()]);
        else if (here == Texture::Skewed)
            data[i] = static_cast<uint8_t>(std::countr_zero(random()));
        else if (here == Texture::Noise)
            data[i] = static_cast<uint8_t>(random());
    }
    return data;
}

/// What zlib makes of a stream that ends with the last byte; nothing of others.
Bytes whole(const Bytes& stream, size_t size) {
    const auto result = inflated(stream, size);
    return result && result->used == stream.size() ? result->data : Bytes();
}

/// A stream with block types and code lengths that libdeflate does not choose.
Bytes zlibStream(const Bytes& data, int level, int strategy) {
    z_stream z = {};
    EXPECT_EQ(deflateInit2(&z, level, Z_DEFLATED, -15, 9, strategy), Z_OK);
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

} // namespace

TEST(BlockCompressor, PiecesOfAnySizeJoinIntoOneStream) {
    const auto compressor = BlockCompressor::create();
    std::vector<std::vector<size_t>> cuts;
    for (const size_t last : {size_t{1}, blockSize})
        cuts.insert(cuts.end(), std::size(textures), {blockSize, last});
    // Small pieces end at every bit of a byte, and many of them do not shrink.
    std::mt19937 random(5);
    for (int round = 0; round < 300; ++round)
        for (size_t& size : cuts.emplace_back(1 + random() % 12))
            size = 1 + random() % (random() % 4 == 0 ? 90'000 : 300);
    for (uint32_t round = 0; round < cuts.size(); ++round) {
        const size_t total = std::accumulate(cuts[round].begin(), cuts[round].end(), size_t{0});
        const Bytes data = makeData(textures[round % std::size(textures)], total, round);
        const Bytes stream = joined(*compressor, data, cuts[round]);
        EXPECT_EQ(whole(stream, total), data) << "round " << round;
        EXPECT_TRUE(cuts[round][0] != blockSize || stream.size() <= largestDeflatedSize(total));
    }
}

TEST(DeflateWalker, FindsTheBlockThatInflateCallsFinal) {
    const std::pair<int, int> kinds[] = {{0, Z_DEFAULT_STRATEGY}, {1, Z_DEFAULT_STRATEGY},
                                         {9, Z_DEFAULT_STRATEGY}, {6, Z_FIXED},
                                         {6, Z_HUFFMAN_ONLY},     {6, Z_RLE}};
    for (const auto& [level, strategy] : kinds) {
        for (const Texture texture : textures) {
            for (const size_t size : {0u, 1u, 3u, 1000u, 65'535u, 400'000u}) {
                SCOPED_TRACE(testing::Message()
                             << level << '/' << strategy << " texture " << int(texture) << " size " << size);
                const Bytes stream = zlibStream(makeData(texture, size), level, strategy);
                const auto judged = inflated(stream, size);
                const std::optional<FinalBlock> found = findFinalBlock(stream);
                ASSERT_TRUE(judged && found);
                EXPECT_EQ(found->headerBit, judged->finalHeader);
                EXPECT_EQ((found->endBit + 7) / 8, stream.size());
            }
        }
    }
}

TEST(DeflateWalker, RefusesWhatIsNoWholeStream) {
    for (const int level : {0, 6}) {
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

} // namespace qvx::test
