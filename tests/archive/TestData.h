#pragma once

#include <bit>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace qvx::test {

using Bytes = std::vector<uint8_t>;

/// Skewed: every byte is half as frequent as the one below it, which makes for the longest codewords.
enum class Texture { Zeros, Text, Noise, Mixed, Skewed };

/// The same bytes for the same arguments.
inline Bytes makeData(Texture texture, size_t size, uint32_t seed = 1) {
    static const std::string text = "the quick brown fox jumps over a lazy dog while nobody looks; ";
    std::mt19937 random(seed);
    Bytes data(size);
    for (size_t i = 0; i < size; ++i) {
        const Texture here = texture == Texture::Mixed ? static_cast<Texture>(i / 70'000 % 3) : texture;
        switch (here) {
        case Texture::Zeros:
            break;
        case Texture::Text:
            data[i] = static_cast<uint8_t>(text[(i + (random() % 16 == 0)) % text.size()]);
            break;
        case Texture::Skewed:
            data[i] = static_cast<uint8_t>(std::countr_zero(random()));
            break;
        default:
            data[i] = static_cast<uint8_t>(random());
        }
    }
    return data;
}

} // namespace qvx::test
