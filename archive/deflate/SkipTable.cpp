#include "archive/deflate/SkipTable.h"

#include <span>

namespace qvx {

uint32_t SkipTable::valueFor(Symbol symbol) {
    const auto codeBits = static_cast<uint32_t>(symbol.codeBits);
    const uint32_t value = (codeBits + symbol.extraBits) | codeBits << knownShift;
    switch (symbol.kind) {
    case Symbol::Kind::Literal:
    case Symbol::Kind::Distance:
        return value;
    case Symbol::Kind::Match:
        return value | distanceNext;
    case Symbol::Kind::End:
        return value | stopsHere | blockEnd;
    default:
        return stopsHere;
    }
}

void SkipTable::fill(const HuffmanCode& literals, const HuffmanCode& distances) {
    literals.expand(std::span(table_).first(looks), stopsHere, valueFor);
    const auto distanceFor = [](Symbol symbol) {
        return symbol.kind == Symbol::Kind::Unassigned ? stopsHere | distanceNext : valueFor(symbol);
    };
    distances.expand(std::span(table_).last(looks), stopsHere | distanceNext, distanceFor);
    // Upwards: what follows a symbol is looked up by fewer bits, and so is joined already.
    for (uint32_t bits = 1; bits < looks; ++bits)
        for (const uint32_t half : {0u, looks})
            table_[half + bits] = joined(table_[half + bits], bits);
}

uint32_t SkipTable::joined(uint32_t one, uint32_t bits) const {
    const uint32_t skip = one & skipMask;
    if ((one & stopsHere) || skip >= lookBits)
        return one;
    const uint32_t next = table_[(bits >> skip) | (one & distanceNext)];
    const uint32_t needed = next >> knownShift;
    return needed > 0 && needed <= lookBits - skip ? next + skip + (skip << knownShift) : one;
}

} // namespace qvx
