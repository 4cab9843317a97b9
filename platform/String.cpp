#include "platform/String.h"

#include <glib.h>

#include <algorithm>
#include <limits>

namespace qvx::platform {

namespace {

std::string takeString(char* text) {
    const std::unique_ptr<char, decltype(&g_free)> owner(text, &g_free);
    return std::string(owner.get());
}

/// GLib takes a NUL for the end of its text, so longer text goes through it piece by piece.
template <class Visit>
void forEachPieceBetweenNULs(std::string_view text, const Visit& visit) {
    while (true) {
        const size_t end = text.find('\0');
        visit(text.substr(0, end));
        if (end == std::string_view::npos)
            return;
        text.remove_prefix(end + 1);
    }
}

template <class Convert>
std::string convertPieces(std::string_view text, const Convert& convert) {
    std::string result;
    bool first = true;
    forEachPieceBetweenNULs(text, [&](std::string_view piece) {
        if (!first)
            result += '\0';
        first = false;
        result += takeString(convert(piece.data(), static_cast<gssize>(piece.size())));
    });
    return result;
}

std::string_view skipBlanks(std::string_view text) {
    const size_t start = text.find_first_not_of(" \t\n\v\f\r");
    return start == std::string_view::npos ? std::string_view() : text.substr(start);
}

} // namespace

bool isUTF8(std::string_view text) {
    bool valid = true;
    forEachPieceBetweenNULs(text, [&](std::string_view piece) {
        valid = valid && g_utf8_validate(piece.data(), static_cast<gssize>(piece.size()), nullptr) != 0;
    });
    return valid;
}

std::optional<std::string> stringWithUTF8String(std::string_view text) {
    return isUTF8(text) ? std::optional<std::string>(text) : std::nullopt;
}

std::string validUTF8(std::string_view text) {
    return convertPieces(text, &g_utf8_make_valid);
}

std::string lowercaseString(std::string_view text) {
    return convertPieces(text, &g_utf8_strdown);
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

bool equalsIgnoringCase(std::string_view left, std::string_view right) {
    return lowercaseString(left) == lowercaseString(right);
}

bool boolValue(std::string_view text) {
    text = skipBlanks(text);
    if (text.starts_with('+') || text.starts_with('-'))
        text.remove_prefix(1);
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
        magnitude = std::min(limit, magnitude * 10 + (character - '0'));
    }
    const int64_t value = negative ? -magnitude : magnitude;
    return static_cast<int32_t>(std::min<int64_t>(value, std::numeric_limits<int32_t>::max()));
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

std::string formatWithArguments(std::string_view format, std::span<const FormatArgument> arguments) {
    std::string result;
    size_t next = 0;
    for (size_t index = 0; index < format.size(); ++index) {
        if (format[index] != '%') {
            result += format[index];
            continue;
        }
        switch (format[++index]) {
        case '%':
            result += '%';
            break;
        case '@':
        case 's':
            result += arguments[next++].text();
            break;
        case 'i':
        case 'd':
            result += std::to_string(static_cast<int32_t>(arguments[next++].number()));
            break;
        default: // %lu, %tu
            ++index;
            result += std::to_string(arguments[next++].number());
            break;
        }
    }
    return result;
}

} // namespace qvx::platform
