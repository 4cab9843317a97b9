#include "archive/deflate/HuffmanCode.h"

namespace qvx {

bool HuffmanCode::assign(std::span<const uint8_t> lengths, Symbol (*symbolFor)(size_t)) {
    counts_.fill(0);
    for (uint8_t length : lengths)
        ++counts_[length];
    counts_[0] = 0;
    std::array<size_t, mostBits + 2> place{}; // in sorted_, of the next symbol of each length
    unsigned code = 0;                        // the first of each length
    for (unsigned length = 1; length <= mostBits; ++length) {
        place[length + 1] = place[length] + counts_[length];
        code += counts_[length];
        if (code > 1u << length)
            return false;
        code <<= 1;
    }
    for (size_t number = 0; number < lengths.size(); ++number) {
        if (lengths[number] == 0)
            continue;
        Symbol& symbol = sorted_[place[lengths[number]]++];
        symbol = symbolFor(number);
        symbol.codeBits = lengths[number];
    }
    return true;
}

Symbol HuffmanCode::first(uint64_t bits) const {
    unsigned code = 0, firstCode = 0, place = 0;
    for (unsigned length = 1; length <= mostBits; ++length, bits >>= 1) {
        code |= static_cast<unsigned>(bits & 1);
        if (code < firstCode + counts_[length])
            return sorted_[place + code - firstCode];
        place += counts_[length];
        firstCode = (firstCode + counts_[length]) << 1;
        code <<= 1;
    }
    return {};
}

} // namespace qvx
