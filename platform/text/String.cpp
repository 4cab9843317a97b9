#include "platform/text/String.h"

#include <algorithm>
#include <array>
#include <limits>

namespace qvx::platform {

namespace {

struct Character {
    uint32_t codePoint = 0;
    size_t length = 0; ///< in bytes; 0 when the text does not begin with a UTF-8 character
};

/// What `text`, which is not empty, begins with (RFC 3629).
Character firstCharacter(std::string_view text) {
    const auto byteAt = [&](size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
    };
    const uint32_t lead = byteAt(0);
    if (lead < 0x80)
        return {lead, 1};
    const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    uint32_t codePoint = lead & (0x7FU >> length);
    for (size_t index = 1; index < length; ++index) {
        if ((byteAt(index) & 0xC0) != 0x80)
            return {};
        codePoint = codePoint << 6 | (byteAt(index) & 0x3F);
    }
    constexpr std::array<uint32_t, 5> least{0, 0, 0x80, 0x800, 0x10000}; // or fewer bytes would do
    const bool isSurrogate = (codePoint & 0xFFFFF800) == 0xD800;
    if (lead < 0xC0 || lead >= 0xF8 || codePoint < least[length] || codePoint > 0x10FFFF || isSurrogate)
        return {};
    return {codePoint, length};
}

/// \param codePoint no surrogate, and not past the last character
void append(std::string& text, uint32_t codePoint) {
    const auto add = [&](uint32_t byte) { text += static_cast<char>(byte); };
    if (codePoint < 0x80)
        return add(codePoint);
    if (codePoint < 0x800) {
        add(0xC0 | codePoint >> 6);
    } else {
        if (codePoint < 0x10000) {
            add(0xE0 | codePoint >> 12);
        } else {
            add(0xF0 | codePoint >> 18);
            add(0x80 | (codePoint >> 12 & 0x3F));
        }
        add(0x80 | (codePoint >> 6 & 0x3F));
    }
    add(0x80 | (codePoint & 0x3F));
}

std::string_view skipBlanks(std::string_view text) {
    const size_t start = text.find_first_not_of(" \t\n\v\f\r");
    return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

} // namespace

bool isUTF8(std::string_view text) {
    while (!text.empty()) {
        const size_t length = firstCharacter(text).length;
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

std::optional<std::string> stringWithUTF8String(std::string_view text) {
    return isUTF8(text) ? std::optional<std::string>(text) : std::nullopt;
}

std::string validUTF8(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const size_t length = firstCharacter(text).length;
        result += length > 0 ? text.substr(0, length) : "\uFFFD";
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return result;
}

bool isASCII(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char byte) { return (byte & 0x80) == 0; });
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

std::string stringWithUTF16(std::u16string_view units) {
    constexpr uint32_t replacement = 0xFFFD;
    std::string result;
    for (size_t index = 0; index < units.size(); ++index) {
        const uint32_t unit = units[index];
        const uint32_t next = index + 1 < units.size() ? units[index + 1] : 0;
        if ((unit & 0xFC00) == 0xD800 && (next & 0xFC00) == 0xDC00) {
            append(result, 0x10000 + ((unit & 0x3FF) << 10 | (next & 0x3FF)));
            index += 1;
        } else {
            append(result, (unit & 0xF800) == 0xD800 ? replacement : unit);
        }
    }
    return result;
}

std::string lowercaseASCII(std::string_view text) {
    std::string result(text);
    for (char& character : result) {
        if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    }
    return result;
}

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
    // ASCII alone, whatever the language: protocols and desktop names are compared by bytes.
    return lowercaseASCII(left) == lowercaseASCII(right);
}

size_t lengthInUTF16(std::string_view text) {
    size_t length = 0;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if ((byte & 0xC0) == 0x80)
            continue;
        length += byte >= 0xF0 ? 2 : 1;
    }
    return length;
}

std::string hexadecimalString(std::span<const uint8_t> bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

bool boolValue(std::string_view text) {
    text = skipBlanks(text);
    if (text.starts_with('+') || text.starts_with('-'))
        text.remove_prefix(1);
    // Zeros in front are skipped as in a number, so that 01 is true; anything else of what stands behind the
    // first character does not count.
    while (text.starts_with('0'))
        text.remove_prefix(1);
    return !text.empty() && std::string_view("YyTt123456789").find(text[0]) != std::string_view::npos;
}

int32_t integerValue(std::string_view text) {
    text = skipBlanks(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    int64_t magnitude = 0;
    constexpr int64_t limit = int64_t{1} << 31;
    for (const char character : text) {
        if (character < '0' || character > '9')
            break;
        // Stops at what 32 bits hold, as the platform's does, instead of wrapping.
        magnitude = std::min(limit, magnitude * 10 + (character - '0'));
    }
    const int64_t value = negative ? -magnitude : magnitude;
    return static_cast<int32_t>(std::min<int64_t>(value, std::numeric_limits<int32_t>::max()));
}

std::vector<std::string> componentsSeparatedBy(std::string_view text, char separator) {
    std::vector<std::string> components{""};
    for (const char character : text) {
        if (character == separator)
            components.emplace_back();
        else
            components.back() += character;
    }
    return components;
}

std::string stringByAppendingPathComponent(std::string_view path, std::string_view component) {
    std::string result(path);
    while (result.size() > 1 && result.ends_with('/'))
        result.pop_back();
    while (component.starts_with('/'))
        component.remove_prefix(1);
    if (!result.empty() && !result.ends_with('/') && !component.empty())
        result += '/';
    result += component;
    while (result.size() > 1 && result.ends_with('/'))
        result.pop_back();
    return result;
}

std::string_view pathExtension(std::string_view path) {
    while (path.size() > 1 && path.ends_with('/'))
        path.remove_suffix(1);
    const std::string_view name = path.substr(path.rfind('/') + 1);
    const size_t stop = name.rfind('.');
    return stop == std::string_view::npos || stop == 0 ? std::string_view() : name.substr(stop + 1);
}

} // namespace qvx::platform
