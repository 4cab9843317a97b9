#include "tools/inspect/DisplayText.h"

#include <algorithm>
#include <cstdint>
#include <span>

#include "platform/text/String.h"

namespace qvx::inspector {

namespace {

struct Range {
    uint32_t first;
    uint32_t last;
};

constexpr Range harmful[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},      {0x61C, 0x61C},
                             {0x180E, 0x180E}, {0x200B, 0x200F}, {0x2028, 0x202E},  {0x2060, 0x206F},
                             {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xE0000, 0xE0FFF}};

// What stands on the character before: accents as file systems take them apart, parts of Korean syllables.
constexpr Range combining[] = {{0x300, 0x36F},   {0x483, 0x489},   {0x591, 0x5BD},   {0x610, 0x61A},
                               {0x64B, 0x65F},   {0x93C, 0x93C},   {0x94D, 0x94D},   {0xE31, 0xE31},
                               {0xE34, 0xE3A},   {0xE47, 0xE4E},   {0x1160, 0x11FF}, {0x1AB0, 0x1AFF},
                               {0x1DC0, 0x1DFF}, {0x20D0, 0x20FF}, {0x3099, 0x309A}, {0xFE00, 0xFE0F},
                               {0xFE20, 0xFE2F}};

// Of two columns: Unicode's East Asian wide ones, by their blocks.
constexpr Range wide[] = {{0x1100, 0x115F},  {0x2E80, 0x303E},   {0x3041, 0xA4CF},   {0xA960, 0xA97C},
                          {0xAC00, 0xD7A3},  {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},
                          {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF},
                          {0x20000, 0x3FFFD}};

bool isIn(std::span<const Range> ranges, uint32_t codePoint) {
    return std::ranges::any_of(
        ranges, [&](const Range& range) { return codePoint >= range.first && codePoint <= range.last; });
}

// Calls `visitor` with each code point of UTF-8 text and its bytes.
template <class Visitor>
void forEachCharacter(std::string_view text, Visitor visitor) {
    while (!text.empty()) {
        const auto lead = static_cast<unsigned char>(text[0]);
        const size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        uint32_t codePoint = length == 1 ? lead : lead & (0x7FU >> length);
        for (const char byte : text.substr(1, length - 1))
            codePoint = codePoint << 6 | (static_cast<unsigned char>(byte) & 0x3F);
        visitor(codePoint, text.substr(0, length));
        text.remove_prefix(length);
    }
}

} // namespace

std::string displayed(std::string_view text) {
    std::string result;
    forEachCharacter(platform::validUTF8(text), [&](uint32_t codePoint, std::string_view bytes) {
        result += isIn(harmful, codePoint) ? "\uFFFD" : bytes;
    });
    return result;
}

size_t columns(std::string_view text) {
    size_t count = 0;
    forEachCharacter(text, [&](uint32_t codePoint, std::string_view /*bytes*/) {
        if (codePoint < 0x300)
            count += 1;
        else if (!isIn(combining, codePoint))
            count += isIn(wide, codePoint) ? 2 : 1;
    });
    return count;
}

} // namespace qvx::inspector
