#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "platform/values/PropertyListFormats.h"

namespace qvx::platform::PropertyListFormats {

namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
// Dates count from the platform's reference, the first instant of 2001, UTC.
constexpr time_t firstSecond = 978307200; // of 2001, counted from 1970
constexpr int lastYear = 2'000'000'000;   // with room in the C library's calendar

} // namespace

std::string base64(std::string_view bytes) {
    std::string text;
    for (size_t start = 0; start < bytes.size(); start += 3) {
        const std::string_view group = bytes.substr(start, 3);
        uint32_t bits = 0;
        for (size_t index = 0; index < 3; ++index)
            bits = bits << 8 | (index < group.size() ? static_cast<unsigned char>(group[index]) : 0U);
        for (size_t index = 0; index < 4; ++index)
            text += index <= group.size() ? alphabet[bits >> (18 - 6 * index) & 63] : '=';
    }
    return text;
}

std::optional<Data> dataOfBase64(std::string_view text) {
    std::string bytes;
    uint32_t bits = 0;
    size_t count = 0, padding = 0;
    for (const char character : text) {
        if (std::string_view(" \t\r\n").find(character) != std::string_view::npos)
            continue;
        const size_t value = character == '=' ? 0 : alphabet.find(character);
        if (character == '=')
            padding += 1;
        else if (value == std::string_view::npos || padding > 0)
            return std::nullopt;
        bits = bits << 6 | static_cast<uint32_t>(value);
        if (++count % 4 == 0) {
            for (size_t index = 0; index + padding < 3; ++index)
                bytes += static_cast<char>(bits >> (16 - 8 * index));
        }
    }
    return count % 4 == 0 && padding <= 2 ? std::optional(Data::withString(std::move(bytes))) : std::nullopt;
}

std::string dateText(Date date) {
    const time_t seconds = static_cast<time_t>(date.seconds) + firstSecond;
    std::tm day{};
    ::gmtime_r(&seconds, &day);
    const int year = day.tm_year + 1900;
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%s%04d-%02d-%02dT%02d:%02d:%02dZ", year < 0 ? "-" : "",
                  std::abs(year), day.tm_mon + 1, day.tm_mday, day.tm_hour, day.tm_min, day.tm_sec);
    return text.data();
}

std::optional<Date> dateOfText(std::string_view text) {
    std::array<int, 6> parts{}; // from the year to the second
    const char* const end = text.data() + text.size();
    const char* next = text.data();
    // By hand and not by strptime, which takes blanks, short fields and the user's language.
    for (int& part : parts) {
        const auto [stop, error] = std::from_chars(next, end, part);
        if (error != std::errc() || stop == end || part < -lastYear || part > lastYear)
            return std::nullopt;
        next = stop + 1;
    }
    std::tm day{};
    day.tm_year = parts[0] - 1900;
    day.tm_mon = parts[1] - 1;
    day.tm_mday = parts[2];
    day.tm_hour = parts[3];
    day.tm_min = parts[4];
    day.tm_sec = parts[5];
    const Date date{static_cast<double>(::timegm(&day) - firstSecond)};
    // A day that is not in the calendar, or another way to write one, comes out differently.
    return dateText(date) == text ? std::optional(date) : std::nullopt;
}

} // namespace qvx::platform::PropertyListFormats
