#include "archive/deflate/DeflateWalker.h"

#include <algorithm>
#include <array>

#include "archive/deflate/BitReader.h"
#include "archive/deflate/HuffmanCode.h"
#include "archive/deflate/SkipTable.h"

namespace qvx {
namespace {

using Kind = Symbol::Kind;

constexpr size_t distanceCodes = 32;

Symbol literalOrLength(size_t number) {
    if (number < 256)
        return {Kind::Literal};
    if (number == 256)
        return {Kind::End};
    if (number > 285)
        return {};
    const bool hasExtra = number >= 265 && number != 285;
    return {.kind = Kind::Match, .extraBits = static_cast<uint8_t>(hasExtra ? (number - 261) / 4 : 0)};
}

Symbol distance(size_t number) {
    if (number > 29)
        return {};
    return {.kind = Kind::Distance, .extraBits = static_cast<uint8_t>(number < 4 ? 0 : (number - 2) / 2)};
}

Symbol codeLength(size_t number) {
    return {.kind = Kind::Literal, .value = static_cast<uint8_t>(number)};
}

class Walk {
public:
    explicit Walk(std::span<const uint8_t> stream) : reader_(stream) {}

    std::optional<FinalBlock> findFinalBlock() {
        for (;;) {
            reader_.refill();
            const size_t headerBit = reader_.position();
            const bool isFinal = reader_.take(1) != 0;
            if (!skipContent(reader_.take(2)) || reader_.overrun())
                return std::nullopt;
            if (isFinal)
                return FinalBlock{headerBit, reader_.position()};
        }
    }

private:
    bool skipContent(unsigned blockType) {
        switch (blockType) {
        case 0:
            return skipStored();
        case 1:
            return takeFixedCodes() && skipSymbols();
        case 2:
            return readCodes() && skipSymbols();
        default:
            return false;
        }
    }

    bool skipSymbols() {
        table_.fill(literals_, distances_);
        SkipTable::Step step;
        for (;;) {
            step = skipWhatTheTableKnows(step);
            if (step.isEnd())
                return true;
            reader_.refill();
            const Symbol symbol = (step.isDistanceNext() ? distances_ : literals_).first(reader_.peek());
            reader_.skip(symbol.codeBits + unsigned{symbol.extraBits});
            if (symbol.kind == Kind::Unassigned || reader_.overrun())
                return false;
            if (symbol.kind == Kind::End)
                return true;
            step = SkipTable::Step(symbol.kind == Kind::Match);
        }
    }

    /// Goes on from `step` until the table stops or the stream has no whole word left; returns the last step.
    SkipTable::Step skipWhatTheTableKnows(SkipTable::Step step) {
        static_assert(2 * SkipTable::mostSkip <= 56, "one refill lasts for two looks");
        BitReader reader = reader_; // a copy that the compiler keeps in registers
        while (!step.stops() && reader.hasWord()) {
            reader.refillWord();
            step = table_.next(reader.peek(), step);
            reader.skip(step.skip());
            if (step.stops())
                break;
            step = table_.next(reader.peek(), step);
            reader.skip(step.skip());
        }
        reader_ = reader;
        return step;
    }

    bool skipStored() {
        reader_.skip(static_cast<unsigned>(-reader_.position() & 7));
        reader_.refill();
        const unsigned length = reader_.take(16);
        if (length != (reader_.take(16) ^ 0xffff))
            return false;
        return reader_.seek(reader_.position() + size_t{length} * 8);
    }

    bool takeFixedCodes() {
        std::array<uint8_t, HuffmanCode::mostSymbols> lengths;
        for (size_t i = 0; i < lengths.size(); ++i)
            lengths[i] = i < 144 ? 8 : i < 256 ? 9 : i < 280 ? 7 : 8;
        std::array<uint8_t, distanceCodes> distances;
        distances.fill(5);
        return takeCodes(lengths, distances);
    }

    bool takeCodes(std::span<const uint8_t> literals, std::span<const uint8_t> distances) {
        return literals_.assign(literals, literalOrLength) && distances_.assign(distances, distance);
    }

    bool readCodes() {
        // The order in which the format stores them, so that lengths which are seldom used can be left out.
        static constexpr std::array<uint8_t, 19> order = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                          11, 4,  12, 3, 13, 2, 14, 1, 15};
        const size_t literals = reader_.take(5) + 257;
        const size_t distances = reader_.take(5) + 1;
        const size_t codes = reader_.take(4) + 4;
        std::array<uint8_t, order.size()> codeLengths{};
        for (size_t i = 0; i < codes; ++i) {
            reader_.refill();
            codeLengths[order[i]] = static_cast<uint8_t>(reader_.take(3));
        }
        std::array<uint8_t, HuffmanCode::mostSymbols + distanceCodes> lengths{};
        const std::span all = std::span(lengths).first(literals + distances);
        HuffmanCode code;
        return code.assign(codeLengths, codeLength) && readLengths(code, all) &&
               takeCodes(all.first(literals), all.subspan(literals));
    }

    bool readLengths(const HuffmanCode& code, std::span<uint8_t> lengths) {
        std::array<Symbol, 128> table; // no codeword is longer than 7 bits
        code.expand(std::span<Symbol>(table), Symbol{}, [](Symbol symbol) { return symbol; });
        for (size_t i = 0; i < lengths.size();) {
            reader_.refill();
            const Symbol symbol = table[reader_.peek() % table.size()];
            if (symbol.kind == Kind::Unassigned || reader_.overrun())
                return false;
            reader_.skip(symbol.codeBits);
            size_t repeat = 1;
            uint8_t value = symbol.value;
            if (symbol.value == 16 && i == 0)
                return false;
            if (symbol.value >= 16) {
                value = symbol.value == 16 ? lengths[i - 1] : uint8_t{0};
                repeat = symbol.value == 16   ? 3 + reader_.take(2)
                         : symbol.value == 17 ? 3 + reader_.take(3)
                                              : 11 + reader_.take(7);
            }
            if (repeat > lengths.size() - i)
                return false;
            std::fill_n(lengths.begin() + static_cast<ptrdiff_t>(i), repeat, value);
            i += repeat;
        }
        return true;
    }

    BitReader reader_;
    HuffmanCode literals_; // with lengths and the block's end
    HuffmanCode distances_;
    SkipTable table_;
};

} // namespace

std::optional<FinalBlock> findFinalBlock(std::span<const uint8_t> stream) {
    return Walk(stream).findFinalBlock();
}

} // namespace qvx
