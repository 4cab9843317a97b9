#include "upload/Progress.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <system_error>

#include "platform/text/String.h"

namespace qvx {

namespace {

std::string megabytes(double bytes) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f", bytes / 1e6);
    return text.data();
}

std::string duration(double seconds) {
    const auto whole = static_cast<uint64_t>(std::min(seconds + 0.5, 1e6));
    return whole < 120 ? std::to_string(whole) + " s" : std::to_string(whole / 60) + " min";
}

/// Columns that the text takes at most: letters beyond ASCII may take two.
size_t width(std::string_view text) {
    size_t columns = 0;
    for (const char byte : text)
        columns += (byte & 0x80) == 0 ? 1 : (byte & 0xC0) == 0xC0 ? 2 : 0;
    return columns;
}

/// The name in at most `columns` columns, the middle left out when it is longer: what tells names apart
/// stands at both ends.
std::string shortened(const std::string& name, size_t columns) {
    std::string text = platform::validUTF8(name);
    for (char& byte : text)
        byte = static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F ? '?' : byte;
    for (size_t place = text.find('\xC2'); place != std::string::npos; place = text.find('\xC2', place + 1)) {
        if (static_cast<unsigned char>(text[place + 1]) < 0xA0) // U+0080 to U+009F, controls as well
            text.replace(place, 2, "?");
    }
    if (width(text) <= columns)
        return text;
    size_t head = text.size() / 2, tail = head;
    const auto isInCharacter = [&](size_t place) {
        return place < text.size() && (text[place] & 0xC0) == 0x80;
    };
    const auto cut = [&] { return text.substr(0, head) + "..." + text.substr(tail); };
    while ((head > 0 || tail < text.size()) &&
           (width(cut()) > columns || isInCharacter(head) || isInCharacter(tail))) {
        head -= head > 0 ? 1 : 0;
        tail += tail < text.size() ? 1 : 0;
    }
    return cut();
}

/// As many of the parts, from the first on, as fit.
std::string fitting(std::initializer_list<std::string> parts, size_t columns) {
    std::string line;
    for (const std::string& part : parts) {
        const std::string longer = line.empty() ? part : line + "  " + part;
        if (width(longer) > columns)
            break;
        line = longer;
    }
    return line;
}

} // namespace

platform::ProgressLine archivingProgress(std::string name, std::string zipPath) {
    return platform::ProgressLine(
        [name = std::move(name), zipPath = std::move(zipPath)](size_t columns, double) {
            std::error_code isNotThereYet;
            const uintmax_t size = std::filesystem::file_size(zipPath, isNotThereYet);
            const std::string grown = megabytes(isNotThereYet ? 0 : static_cast<double>(size)) + " MB";
            const std::string verb = "Archiving";
            constexpr size_t leastName = 8; // of less nobody would know it
            const size_t taken = verb.size() + 1 + 2 + grown.size();
            if (columns < taken + leastName)
                return fitting({verb, grown}, columns);
            return verb + " " + shortened(name, columns - taken) + "  " + grown;
        });
}

platform::ProgressLine uploadingProgress(std::shared_ptr<const std::atomic<uint64_t>> sent, uint64_t size) {
    return platform::ProgressLine([sent = std::move(sent), size](size_t columns, double seconds) {
        const auto total = static_cast<double>(size);
        const double done = std::min(static_cast<double>(*sent), total);
        const std::string amount = "Uploading " + megabytes(done) + " of " + megabytes(total) + " MB";
        const double rate = done / seconds;
        if (rate < 1)
            return fitting({amount}, columns);
        return fitting({amount, megabytes(rate) + " MB/s", duration((total - done) / rate) + " left"},
                       columns);
    });
}

} // namespace qvx
