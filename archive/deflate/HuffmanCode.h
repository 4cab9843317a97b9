#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

namespace qvx {

/// What a codeword stands for, as far as getting past it goes.
struct Symbol {
    enum class Kind : uint8_t { Unassigned, Literal, Match, Distance, End };

    Kind kind = Kind::Unassigned;
    uint8_t value = 0;     ///< its number, for a code of less than 256 symbols
    uint8_t codeBits = 0;  ///< of the codeword
    uint8_t extraBits = 0; ///< that follow the codeword
};

/// One of the canonical Huffman codes of RFC 1951, section 3.2.2: codewords of one length are consecutive
/// numbers in the order of their symbols, and follow those of the length before, doubled. So the lengths are
/// all there is to know. The symbols A to D with lengths 2, 1, 3, 3 have the codewords 10, 0, 110, 111;
/// counts_ is 0, 1, 1, 2 and sorted_ is B, A, C, D. The code may be incomplete.
class HuffmanCode {
public:
    static constexpr unsigned mostBits = 15;
    static constexpr size_t mostSymbols = 288;

    /// Takes the code over whose symbol n has a codeword of lengths[n] bits, none when that is 0, and is what
    /// `symbolFor(n)` says. False when the lengths are over-subscribed.
    [[nodiscard]] bool assign(std::span<const uint8_t> lengths, Symbol (*symbolFor)(size_t));

    /// The symbol that `bits` start with; Unassigned when there is none. Goes bit by bit: for rare cases.
    [[nodiscard]] Symbol first(uint64_t bits) const;

    /// Fills a table of 2^n entries, for any n up to mostBits, that is looked up by the next n bits: with
    /// `entryFor(symbol)`, and where the codeword is longer than n, or none, `otherwise`.
    template <class Entry, class EntryFor>
    void expand(std::span<Entry> table, Entry otherwise, EntryFor entryFor) const {
        table[0] = otherwise;
        unsigned code = 0;
        const Symbol* symbol = sorted_.data();
        // The table for codewords of up to one length, twice, is the one for the next length but its own.
        for (unsigned length = 1; size_t{1} << length <= table.size(); ++length) {
            const size_t half = size_t{1} << (length - 1);
            std::memcpy(&table[half], table.data(), half * sizeof(Entry));
            code <<= 1;
            for (unsigned i = 0; i < counts_[length]; ++i)
                table[reversed(code++, length)] = entryFor(*symbol++);
        }
    }

private:
    static unsigned reversed(unsigned code, unsigned length) {
        unsigned result = 0;
        for (; length > 0; --length, code >>= 1)
            result = result << 1 | (code & 1);
        return result;
    }

    std::array<uint16_t, mostBits + 1> counts_{}; // of codewords, by length
    std::array<Symbol, mostSymbols> sorted_;      // by codeword, the shorter ones first
};

} // namespace qvx
