#include <algorithm>
#include <bit>
#include <cmath>

#include "platform/text/ByteReader.h"
#include "platform/text/String.h"
#include "platform/values/PropertyListFormats.h"
#include "platform/values/ValueBuilder.h"

namespace qvx::platform::PropertyListFormats {

namespace {

/// What a list may come to: every reference to an object makes a copy of it, so that a few hundred bytes can
/// stand for any number of objects. Each counts with its own size besides.
constexpr uint64_t maximumUnfoldedSize = uint64_t{16} << 20;
constexpr uint64_t objectSize = 64;

/// "bplist00", the objects, a table of their offsets, and a trailer of 32 bytes, all numbers big-endian. An
/// object begins with its kind in the upper half of a byte and a size in the lower one: 53 61 62 63 is the
/// text "abc", A2 01 02 the array of the objects 1 and 2. A size of 15 says that the size follows as an
/// integer object: 5F 10 20 begins a text of 32 bytes.
class Reader {
public:
    explicit Reader(std::string_view bytes) : bytes_(bytes.data(), bytes.size()) {}

    std::optional<Value> read() {
        const uint64_t trailer = std::max<uint64_t>(bytes_.size(), 32) - 32;
        offsetSize_ = number(trailer + 6, 1);
        referenceSize_ = number(trailer + 7, 1);
        objectCount_ = number(trailer + 8, 8);
        offsetTable_ = number(trailer + 24, 8);
        if (offsetSize_ == 0 || offsetSize_ > 8 || referenceSize_ == 0 || referenceSize_ > 8 ||
            offsetTable_ > trailer || objectCount_ > (trailer - offsetTable_) / offsetSize_)
            return std::nullopt;
        // Trust ends here: every offset below is checked when it is followed, and circles end at the depth.
        Value root = object(number(trailer + 16, 8), 0);
        return failed_ ? std::nullopt : std::optional(std::move(root));
    }

private:
    /// What is read after a failure means nothing any more.
    Value fail() {
        failed_ = true;
        return {};
    }

    uint64_t number(uint64_t offset, uint64_t size) {
        const std::optional<uint64_t> value = bytes_.readBigEndian(offset, size);
        failed_ = failed_ || !value;
        return value.value_or(0);
    }

    Value object(uint64_t index, size_t depth) {
        spent_ += objectSize;
        if (index >= objectCount_ || spent_ > maximumUnfoldedSize)
            return fail();
        const uint64_t offset = number(offsetTable_ + index * offsetSize_, offsetSize_);
        const uint64_t marker = number(offset, 1);
        const uint64_t kind = marker >> 4, low = marker & 15;
        if (marker == 0x08 || marker == 0x09)
            return marker == 0x09;
        if (kind == 8 && low < 8) { // a reference within a keyed archive, for which there is no value
            number(offset + 1, low + 1);
            return {};
        }
        return kind < 4 ? scalar(kind, low, offset + 1) : counted(kind, low, offset + 1, depth);
    }

    /// Integers, reals and dates of 2^`exponent` bytes.
    Value scalar(uint64_t kind, uint64_t exponent, uint64_t offset) {
        constexpr double lastDate = 6e16; // about two billion years
        // An integer of 16 bytes is how those are written that are unsigned and beyond the signed ones.
        const uint64_t high = exponent == 4 ? number(offset, 8) : 0;
        const uint64_t bits = exponent == 4  ? number(offset + 8, 8)
                              : exponent < 4 ? number(offset, uint64_t{1} << exponent)
                                             : 0;
        if (kind == 1 && high == 0 && exponent != 3 && exponent <= 4)
            return bits;
        if (kind == 1 && (exponent == 3 || (exponent == 4 && high == UINT64_MAX && bits >> 63 == 1)))
            return static_cast<int64_t>(bits);
        if (kind == 2 && exponent == 2)
            return double{std::bit_cast<float>(static_cast<uint32_t>(bits))};
        const auto real = std::bit_cast<double>(bits);
        if (kind == 2 && exponent == 3)
            return real;
        return kind == 3 && exponent == 3 && std::abs(real) <= lastDate ? Date{real} : fail();
    }

    Value counted(uint64_t kind, uint64_t count, uint64_t offset, size_t depth) {
        if (count == 15) {
            const uint64_t marker = number(offset, 1), size = uint64_t{1} << (marker & 3);
            if (marker < 0x10 || marker > 0x13)
                return fail();
            count = number(offset + 1, size);
            offset += 1 + size;
        }
        const uint64_t width = kind == 6    ? 2
                               : kind == 10 ? referenceSize_
                               : kind == 13 ? 2 * referenceSize_
                                            : 1;
        // The count first, since its product with the width may wrap.
        if (failed_ || count > bytes_.size() || !bytes_.contains(offset, count * width))
            return fail();
        spent_ += count * width;
        const std::string_view text(reinterpret_cast<const char*>(bytes_.bytes(offset, count)), count);
        switch (kind) {
        case 4:
            return Data::withBytes(text);
        case 5:
            // Other readers take Latin-1 here or drop the text; a writer puts such texts down in UTF-16.
            return isASCII(text) ? Value(text) : fail();
        case 6:
            return utf16(offset, count);
        case 10:
            return referred(offset, count, depth);
        case 13:
            return dictionary(referred(offset, count * 2, depth));
        default:
            return fail();
        }
    }

    Value utf16(uint64_t offset, uint64_t count) {
        std::u16string units;
        for (uint64_t index = 0; index < count; ++index)
            units += static_cast<char16_t>(number(offset + index * 2, 2));
        return stringWithUTF16(units);
    }

    /// The objects that the references are for.
    Value::Array referred(uint64_t offset, uint64_t count, size_t depth) {
        Value::Array values;
        failed_ = failed_ || depth == ValueBuilder::maximumDepth;
        for (uint64_t index = 0; index < count && !failed_; ++index)
            values.push_back(object(number(offset + index * referenceSize_, referenceSize_), depth + 1));
        return values;
    }

    /// \param values the keys, then as many values
    Value dictionary(Value::Array values) {
        std::vector<Dictionary::Item> items;
        for (size_t index = 0, count = values.size() / 2; index < count && !failed_; ++index) {
            const auto* key = values[index].get<std::string>();
            if (!key)
                return fail();
            items.emplace_back(*key, std::move(values[count + index]));
        }
        return Dictionary::withItems(std::move(items));
    }

    ByteReader bytes_;
    uint64_t offsetSize_ = 0, referenceSize_ = 0, objectCount_ = 0, offsetTable_ = 0, spent_ = 0;
    bool failed_ = false;
};

} // namespace

std::optional<Value> readBinary(std::string_view bytes) {
    return Reader(bytes).read();
}

} // namespace qvx::platform::PropertyListFormats
