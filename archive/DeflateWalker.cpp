#include "archive/DeflateWalker.h"

#include "archive/BitReader.h"
#include "archive/HuffmanCode.h"
#include "archive/SkipTable.h"

#include <algorithm>
#include <array>

namespace qvx {
namespace {

using Kind = Symbol::Kind;

constexpr size_t kDistanceCodes = 32;

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

/// Where a walk through one stream is: among the symbols of a block, or done.
class Walk {
public:
    explicit Walk(std::span<const uint8_t> stream) : reader_(stream) { beginBlock(); }

    [[nodiscard]] bool isDone() const { return isDone_; }
    [[nodiscard]] const std::optional<FinalBlock>& result() const { return result_; }

    /// Ends the block if its end was met, else gets past one symbol.
    void step() {
        if (!step_.isEnd()) {
            reader_.refill();
            const Symbol symbol = (step_.isDistanceNext() ? distances_ : literals_).first(reader_.peek());
            reader_.skip(symbol.codeBits + unsigned{symbol.extraBits});
            if (symbol.kind == Kind::Unassigned || reader_.overrun())
                return finish(std::nullopt);
            if (symbol.kind != Kind::End) {
                step_ = SkipTable::Step(symbol.kind == Kind::Match);
                return;
            }
        }
        endBlock();
    }

    /// The part of a walk that is in a hurry: what a loop holds in registers.
    class Dash {
    public:
        explicit Dash(Walk& walk)
            : walk_(walk), table_(walk.table_), reader_(walk.reader_), step_(walk.step_) {}
        ~Dash() {
            walk_.reader_ = reader_;
            walk_.step_ = step_;
        }
        Dash(const Dash&) = delete;
        Dash& operator=(const Dash&) = delete;

        [[nodiscard]] bool hasWord() const { return reader_.hasWord(); }
        void refill() { reader_.refillWord(); }
        void advance() {
            step_ = table_.next(reader_.peek(), step_);
            reader_.skip(step_.skip());
        }
        [[nodiscard]] bool stops() const { return step_.stops(); }

    private:
        Walk& walk_;
        const SkipTable& table_;
        BitReader reader_;
        SkipTable::Step step_;
    };

private:
    void beginBlock() {
        for (;;) {
            reader_.refill();
            headerBit_ = reader_.position();
            isFinal_ = reader_.take(1) != 0;
            const unsigned type = reader_.take(2);
            if (type == 1 || type == 2) {
                if (!(type == 1 ? takeFixedCodes() : readCodes()))
                    return finish(std::nullopt);
                table_.fill(literals_, distances_);
                step_ = SkipTable::Step();
                return;
            }
            if (type == 3 || !skipStored())
                return finish(std::nullopt);
            if (isFinal_)
                return finish(FinalBlock{headerBit_, reader_.position()});
        }
    }

    void endBlock() {
        if (reader_.overrun())
            finish(std::nullopt);
        else if (isFinal_)
            finish(FinalBlock{headerBit_, reader_.position()});
        else
            beginBlock();
    }

    void finish(std::optional<FinalBlock> result) {
        isDone_ = true;
        result_ = result;
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
        std::array<uint8_t, HuffmanCode::kMostSymbols> lengths;
        for (size_t i = 0; i < lengths.size(); ++i)
            lengths[i] = i < 144 ? 8 : i < 256 ? 9 : i < 280 ? 7 : 8;
        std::array<uint8_t, kDistanceCodes> distances;
        distances.fill(5);
        return takeCodes(lengths, distances);
    }

    bool takeCodes(std::span<const uint8_t> literals, std::span<const uint8_t> distances) {
        return literals_.assign(literals, literalOrLength) && distances_.assign(distances, distance);
    }

    bool readCodes() {
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
        std::array<uint8_t, HuffmanCode::kMostSymbols + kDistanceCodes> lengths{};
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
    SkipTable::Step step_;
    size_t headerBit_ = 0; // of the current block
    bool isFinal_ = false; // the current block
    bool isDone_ = false;
    std::optional<FinalBlock> result_;
    HuffmanCode literals_;
    HuffmanCode distances_;
    SkipTable table_;
};

/// Gets past symbols until one of the walks needs a step of its own.
template <class... Dashes>
void advance(Dashes&&... dashes) {
    static_assert(2 * SkipTable::kMostSkip <= 56, "one refill lasts for two looks");
    while ((dashes.hasWord() && ...)) {
        (dashes.refill(), ...);
        (dashes.advance(), ...);
        if ((dashes.stops() || ...))
            return;
        (dashes.advance(), ...);
        if ((dashes.stops() || ...))
            return;
    }
}

} // namespace

std::array<std::optional<FinalBlock>, 2> findFinalBlocks(std::span<const uint8_t> first,
                                                         std::span<const uint8_t> second) {
    Walk a(first), b(second);
    // Each look of a walk waits for the one before it, but not for one of the other walk.
    while (!a.isDone() && !b.isDone()) {
        advance(Walk::Dash(a), Walk::Dash(b));
        a.step();
        b.step();
    }
    for (Walk* walk : {&a, &b}) {
        while (!walk->isDone()) {
            advance(Walk::Dash(*walk));
            walk->step();
        }
    }
    return {a.result(), b.result()};
}

} // namespace qvx
