#include "platform/desktop/KeyFile_linux.h"

#include <algorithm>
#include <cstdlib>

#include "platform/text/String.h"

namespace qvx::platform {

namespace {

// Lists on real systems have some thousand lines; what is larger is no list.
constexpr size_t maximumFileSize = size_t{16} << 20;

std::string_view withoutBlanksInFront(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(" \t"), text.size()));
}

/// Whether what stands behind a key gives it a value that is text.
bool setsValue(std::string_view rest) {
    return withoutBlanksInFront(rest).starts_with('=') && isUTF8(rest) &&
           rest.find('\0') == std::string_view::npos;
}

/// The pieces of a value, its escapes undone, cut at each `separator` that is not escaped, if there is one;
/// absent when the value is none.
std::optional<std::vector<std::string>> piecesOf(std::string_view value, std::optional<char> separator) {
    constexpr std::string_view letters = "sntr\\", meanings = " \n\t\r\\";
    std::vector<std::string> pieces{""};
    for (size_t index = 0; index < value.size(); ++index) {
        if (value[index] == separator) {
            pieces.emplace_back();
        } else if (value[index] != '\\') {
            pieces.back() += value[index];
        } else if (++index < value.size() && value[index] == separator) {
            pieces.back() += value[index];
        } else {
            const size_t place = index < value.size() ? letters.find(value[index]) : std::string_view::npos;
            if (place == std::string_view::npos)
                return std::nullopt;
            pieces.back() += meanings[place];
        }
    }
    return pieces;
}

/// The names that the user's language has in keys, the one that fits best first: of `de_AT.UTF-8@euro` they
/// are `de_AT@euro`, `de_AT`, `de@euro` and `de`.
std::vector<std::string> languages() {
    std::string_view locale;
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (locale.empty() && value)
            locale = value;
    }
    const size_t at = std::min(locale.find('@'), locale.size());
    const std::string modifier(locale.substr(at));
    const std::string country(locale.substr(0, std::min(locale.find('.'), at)));
    const std::string language = country.substr(0, country.find('_'));
    return {country + modifier, country, language + modifier, language};
}

} // namespace

std::optional<KeyFile> KeyFile::load(const std::string& path) {
    const Result<Data> data = Data::readFile(path, maximumFileSize);
    return data ? std::optional(KeyFile(*data)) : std::nullopt;
}

std::optional<std::string_view> KeyFile::value(std::string_view group, std::string_view key) const {
    // Looked up in the bytes each time: a run asks a list for two or three keys, and to take it apart first
    // costs more.
    std::optional<std::string_view> value;
    bool isInGroup = false;
    std::string_view rest;
    if (!bytes_.empty())
        rest = {reinterpret_cast<const char*>(bytes_.segments().front().bytes.data()), bytes_.size()};
    while (!rest.empty()) {
        const size_t end = std::min(rest.find('\n'), rest.size());
        std::string_view line = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        line = withoutBlanksInFront(line.substr(0, line.find_last_not_of('\r') + 1));
        if (line.starts_with('['))
            isInGroup = line.substr(1, line.find(']') - 1) == group;
        else if (isInGroup && line.starts_with(key) && setsValue(line.substr(key.size())))
            // No break: of a key that is there twice the last one counts.
            value = withoutBlanksInFront(line.substr(line.find('=', key.size()) + 1));
    }
    return value;
}

std::optional<std::string> KeyFile::text(std::string_view group, std::string_view key) const {
    const std::optional<std::string_view> found = value(group, key);
    const auto pieces = found ? piecesOf(*found, std::nullopt) : std::nullopt;
    return pieces ? std::optional(pieces->front()) : std::nullopt;
}

std::optional<std::string> KeyFile::localText(std::string_view group, const std::string& key) const {
    for (const std::string& language : languages()) {
        if (std::optional<std::string> found = text(group, key + "[" + language + "]"))
            return found;
    }
    return text(group, key);
}

std::vector<std::string> KeyFile::list(std::string_view group, std::string_view key) const {
    const std::optional<std::string_view> found = value(group, key);
    std::optional<std::vector<std::string>> pieces = found ? piecesOf(*found, ';') : std::nullopt;
    if (!pieces)
        return {};
    if (pieces->back().empty()) // behind the separator that ends a list
        pieces->pop_back();
    return *std::move(pieces);
}

} // namespace qvx::platform
