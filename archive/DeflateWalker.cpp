#include "archive/DeflateWalker.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace qvx {
namespace {

static_assert(std::endian::native == std::endian::little, "BitReader loads words as they lie in memory");

constexpr unsigned kMaxCodeLength = 15;
constexpr size_t kLiteralCodes = 288;
constexpr size_t kDistanceCodes = 32;

/// The stream as a 64-bit window of its next bits. Past the end it reads zeros, and overrun() tells.
class BitReader {
public:
    explicit BitReader(std::span<const uint8_t> stream) : stream_(stream) {}

    /// Makes at least 56 bits available.
    void refill() {
        if (next_ + sizeof(uint64_t) <= stream_.size()) {
            uint64_t word;
            std::memcpy(&word, stream_.data() + next_, sizeof word);
            bits_ |= word << count_;
            next_ += (63 - count_) >> 3;
            count_ |= 56;
            return;
        }
        for (; count_ <= 56; count_ += 8, ++next_)
            bits_ |= static_cast<uint64_t>(next_ < stream_.size() ? stream_[next_] : 0) << count_;
    }
    [[nodiscard]] uint64_t peek() const { return bits_; }
    void skip(unsigned count) {
        bits_ >>= count;
        count_ -= count;
    }
    unsigned take(unsigned count) {
        const auto value = static_cast<unsigned>(bits_ & ((uint64_t{1} << count) - 1));
        skip(count);
        return value;
    }
    [[nodiscard]] size_t position() const { return next_ * 8 - count_; }
    /// False when `bit` lies after the end.
    [[nodiscard]] bool seek(size_t bit) {
        if (bit > stream_.size() * 8)
            return false;
        next_ = bit / 8;
        bits_ = 0;
        count_ = 0;
        refill();
        skip(bit % 8);
        return true;
    }
    [[nodiscard]] bool overrun() const { return position() > stream_.size() * 8; }

private:
    std::span<const uint8_t> stream_;
    size_t next_ = 0;
    uint64_t bits_ = 0;
    unsigned count_ = 0;
};

enum class Kind : uint8_t { Unassigned, Literal, Match, End };

/// What a table knows of the next bits: how many to skip, extra bits included, and what they were.
struct Step {
    uint8_t skip = 0;
    uint8_t codeBits = 0;
    Kind kind = Kind::Unassigned;
    uint8_t symbol = 0;

    /// All ones when a distance follows, else 0.
    [[nodiscard]] unsigned distanceMask() const { return kind == Kind::Match ? ~0u : 0u; }
};

struct Meaning {
    Kind kind;
    unsigned extraBits;
};

Meaning literalMeaning(size_t symbol) {
    if (symbol < 256)
        return {Kind::Literal, 0};
    if (symbol == 256)
        return {Kind::End, 0};
    if (symbol > 285)
        return {Kind::Unassigned, 0};
    return {Kind::Match, symbol < 265 || symbol == 285 ? 0 : static_cast<unsigned>(symbol - 261) / 4};
}

Meaning distanceMeaning(size_t symbol) {
    if (symbol > 29)
        return {Kind::Unassigned, 0};
    return {Kind::Match, symbol < 4 ? 0 : static_cast<unsigned>(symbol - 2) / 2};
}

Meaning lengthCodeMeaning(size_t) {
    return {Kind::Literal, 0};
}

/// A canonical Huffman code: a table for its short codewords, and a walk bit by bit for the rest, which are
/// rare by the nature of such codes.
template <unsigned TableBits>
class HuffmanTable {
public:
    /// False when the lengths are over-subscribed.
    [[nodiscard]] bool build(std::span<const uint8_t> lengths, Meaning (*meaning)(size_t)) {
        counts_.fill(0);
        for (uint8_t length : lengths)
            ++counts_[length];
        counts_[0] = 0;
        std::array<unsigned, kMaxCodeLength + 2> offsets{};
        std::array<unsigned, kMaxCodeLength + 2> codes{};
        for (unsigned length = 1; length <= kMaxCodeLength; ++length) {
            offsets[length + 1] = offsets[length] + counts_[length];
            codes[length + 1] = (codes[length] + counts_[length]) << 1;
            if (codes[length] + counts_[length] > 1u << length)
                return false;
        }
        table_.fill({});
        for (size_t symbol = 0; symbol < lengths.size(); ++symbol) {
            const unsigned length = lengths[symbol];
            if (length == 0)
                continue;
            const Meaning what = meaning(symbol);
            const Step step{static_cast<uint8_t>(length + what.extraBits), static_cast<uint8_t>(length),
                            what.kind, static_cast<uint8_t>(symbol)};
            sorted_[offsets[length]++] = step;
            const unsigned code = codes[length]++;
            if (length <= TableBits)
                for (unsigned i = reversed(code, length); i < table_.size(); i += 1u << length)
                    table_[i] = step;
        }
        return true;
    }

    /// Lets one step skip a run of literals and what follows it, as far as the codewords fit the table.
    void joinLiterals() {
        // Downwards: a step's successors lie lower and must still be single.
        for (size_t i = table_.size(); i-- > 0;) {
            Step joined = table_[i];
            while (joined.kind == Kind::Literal) {
                const Step next = table_[i >> joined.codeBits];
                if (next.kind == Kind::Unassigned || joined.codeBits + next.codeBits > TableBits)
                    break;
                joined.skip = static_cast<uint8_t>(joined.codeBits + next.skip);
                joined.codeBits = static_cast<uint8_t>(joined.codeBits + next.codeBits);
                joined.kind = next.kind;
            }
            table_[i] = joined;
        }
    }

    /// Unassigned also when the codeword is longer than the table knows.
    [[nodiscard]] Step nextShort(uint64_t bits) const { return table_[bits & (table_.size() - 1)]; }

    [[nodiscard]] Step next(uint64_t bits) const {
        const Step step = nextShort(bits);
        if (step.kind != Kind::Unassigned) [[likely]]
            return step;
        return walk(bits);
    }

private:
    static unsigned reversed(unsigned code, unsigned length) {
        unsigned result = 0;
        for (; length > 0; --length, code >>= 1)
            result = result << 1 | (code & 1);
        return result;
    }

    [[nodiscard]] Step walk(uint64_t bits) const {
        unsigned code = 0, first = 0, index = 0;
        for (unsigned length = 1; length <= kMaxCodeLength; ++length, bits >>= 1) {
            code |= static_cast<unsigned>(bits & 1);
            if (code < first + counts_[length])
                return sorted_[index + code - first];
            index += counts_[length];
            first = (first + counts_[length]) << 1;
            code <<= 1;
        }
        return {};
    }

    std::array<uint16_t, kMaxCodeLength + 1> counts_;
    std::array<Step, kLiteralCodes> sorted_;
    std::array<Step, size_t{1} << TableBits> table_;
};

class DeflateWalker {
public:
    explicit DeflateWalker(std::span<const uint8_t> stream) : reader_(stream) {}

    std::optional<FinalBlock> findFinalBlock() {
        for (;;) {
            reader_.refill();
            const size_t headerBit = reader_.position();
            const bool isFinal = reader_.take(1) != 0;
            if (!skipBlock(reader_.take(2)) || reader_.overrun())
                return std::nullopt;
            if (isFinal)
                return FinalBlock{headerBit, reader_.position()};
        }
    }

private:
    bool skipBlock(unsigned type) {
        switch (type) {
        case 0:
            return skipStored();
        case 1:
            return buildFixedTables() && skipSymbols();
        case 2:
            return readDynamicTables() && skipSymbols();
        default:
            return false;
        }
    }

    bool skipStored() {
        reader_.skip(static_cast<unsigned>(-reader_.position() & 7));
        reader_.refill();
        const unsigned length = reader_.take(16);
        if (length != (reader_.take(16) ^ 0xffff))
            return false;
        return reader_.seek(reader_.position() + size_t{length} * 8);
    }

    bool buildFixedTables() {
        std::array<uint8_t, kLiteralCodes> lengths;
        for (size_t i = 0; i < lengths.size(); ++i)
            lengths[i] = i < 144 ? 8 : i < 256 ? 9 : i < 280 ? 7 : 8;
        std::array<uint8_t, kDistanceCodes> distances;
        distances.fill(5);
        return buildTables(lengths, distances);
    }

    bool readDynamicTables() {
        static constexpr std::array<uint8_t, 19> kOrder = {16, 17, 18, 0, 8,  7, 9,  6, 10, 5,
                                                           11, 4,  12, 3, 13, 2, 14, 1, 15};
        const size_t literals = reader_.take(5) + 257;
        const size_t distances = reader_.take(5) + 1;
        const size_t codes = reader_.take(4) + 4;
        std::array<uint8_t, kOrder.size()> codeLengths{};
        for (size_t i = 0; i < codes; ++i) {
            reader_.refill();
            codeLengths[kOrder[i]] = static_cast<uint8_t>(reader_.take(3));
        }
        std::array<uint8_t, kLiteralCodes + kDistanceCodes> lengths{};
        const std::span all = std::span(lengths).first(literals + distances);
        if (!codes_.build(codeLengths, lengthCodeMeaning) || !readLengths(all))
            return false;
        return buildTables(all.first(literals), all.subspan(literals));
    }

    bool readLengths(std::span<uint8_t> lengths) {
        for (size_t i = 0; i < lengths.size();) {
            reader_.refill();
            const Step step = codes_.next(reader_.peek());
            if (step.kind == Kind::Unassigned || reader_.overrun())
                return false;
            reader_.skip(step.skip);
            size_t repeat = 1;
            uint8_t value = step.symbol;
            if (step.symbol == 16 && i == 0)
                return false;
            if (step.symbol >= 16) {
                value = step.symbol == 16 ? lengths[i - 1] : uint8_t{0};
                repeat = step.symbol == 16   ? 3 + reader_.take(2)
                         : step.symbol == 17 ? 3 + reader_.take(3)
                                             : 11 + reader_.take(7);
            }
            if (repeat > lengths.size() - i)
                return false;
            std::fill_n(lengths.begin() + static_cast<ptrdiff_t>(i), repeat, value);
            i += repeat;
        }
        return true;
    }

    bool buildTables(std::span<const uint8_t> literals, std::span<const uint8_t> distances) {
        if (!literals_.build(literals, literalMeaning) || !distances_.build(distances, distanceMeaning))
            return false;
        literals_.joinLiterals();
        return true;
    }

    bool skipSymbols() {
        BitReader reader = reader_; // a local one lives in registers
        for (;;) {
            // One refill covers the longest match: 15 + 5 bits of length and 15 + 13 of distance.
            reader.refill();
            const Step step = literals_.next(reader.peek());
            reader.skip(step.skip);
            if (step.kind == Kind::End || step.kind == Kind::Unassigned || reader.overrun()) [[unlikely]] {
                reader_ = reader;
                return step.kind == Kind::End;
            }
            // Whether a distance follows cannot be predicted: it is looked up always and skipped by a mask.
            Step distance = distances_.nextShort(reader.peek());
            if (distance.kind == Kind::Unassigned && step.kind == Kind::Match) [[unlikely]] {
                distance = distances_.next(reader.peek());
                if (distance.kind == Kind::Unassigned)
                    return false;
            }
            reader.skip(distance.skip & step.distanceMask());
        }
    }

    BitReader reader_;
    HuffmanTable<7> codes_;
    HuffmanTable<11> literals_;
    HuffmanTable<9> distances_;
};

} // namespace

std::optional<FinalBlock> findFinalBlock(std::span<const uint8_t> stream) {
    return DeflateWalker(stream).findFinalBlock();
}

} // namespace qvx
