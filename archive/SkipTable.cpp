#include "archive/SkipTable.h"

#include <span>

namespace qvx {

uint32_t SkipTable::valueFor(Symbol symbol) {
    const auto codeBits = static_cast<uint32_t>(symbol.codeBits);
    const uint32_t value = (codeBits + symbol.extraBits) | codeBits << kKnownShift;
    switch (symbol.kind) {
    case Symbol::Kind::Literal:
    case Symbol::Kind::Distance:
        return value;
    case Symbol::Kind::Match:
        return value | kDistanceNext;
    case Symbol::Kind::End:
        return value | kStops | kEnd;
    default:
        return kStops;
    }
}

void SkipTable::fill(const HuffmanCode& literals, const HuffmanCode& distances) {
    literals.expand(std::span(table_).first(kSize), kStops, valueFor);
    const auto distanceFor = [](Symbol symbol) {
        return symbol.kind == Symbol::Kind::Unassigned ? kStops | kDistanceNext : valueFor(symbol);
    };
    distances.expand(std::span(table_).last(kSize), kStops | kDistanceNext, distanceFor);
    // Upwards: what follows a symbol is looked up by fewer bits, and so is joined already.
    for (uint32_t bits = 1; bits < kSize; ++bits)
        for (const uint32_t half : {0u, kSize})
            table_[half + bits] = joined(table_[half + bits], bits);
}

uint32_t SkipTable::joined(uint32_t one, uint32_t bits) const {
    const uint32_t skip = one & kSkip;
    if ((one & kStops) || skip >= kBits)
        return one;
    const uint32_t next = table_[(bits >> skip) | (one & kDistanceNext)];
    const uint32_t needed = next >> kKnownShift;
    return needed > 0 && needed <= kBits - skip ? next + skip + (skip << kKnownShift) : one;
}

} // namespace qvx
