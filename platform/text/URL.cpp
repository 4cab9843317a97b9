#include "platform/text/URL.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <system_error>

#include "platform/text/String.h"

namespace qvx::platform {

namespace {

constexpr std::string_view unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
constexpr std::string_view reserved = ":/?#[]@!$&'()*+,;=";

bool contains(std::string_view set, char character) {
    return set.find(character) != std::string_view::npos;
}

int hexadecimalValue(char digit) {
    constexpr std::string_view digits = "0123456789ABCDEFabcdef";
    const size_t index = digits.find(digit);
    return index == std::string_view::npos ? -1 : static_cast<int>(index < 16 ? index : index - 6);
}

// Only characters, not structure: that is when the platform makes a URL of a text. What has no host is found
// out when it is loaded.
bool isLegal(std::string_view text) {
    for (size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '%') {
            if (index + 2 >= text.size() || hexadecimalValue(text[index + 1]) < 0 ||
                hexadecimalValue(text[index + 2]) < 0)
                return false;
            index += 2;
        } else if (!contains(unreserved, text[index]) && !contains(reserved, text[index])) {
            return false;
        }
    }
    return true;
}

std::string percentDecoded(std::string_view text) {
    std::string result;
    for (size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '%' && index + 2 < text.size()) {
            result +=
                static_cast<char>(hexadecimalValue(text[index + 1]) * 16 + hexadecimalValue(text[index + 2]));
            index += 2;
        } else {
            result += text[index];
        }
    }
    return result;
}

/// Escapes every byte that `isKept` does not keep.
template <class Keep>
std::string percentEscaped(std::string_view text, const Keep& isKept) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    for (const char character : text) {
        if (isKept(character)) {
            result += character;
            continue;
        }
        const auto byte = static_cast<unsigned char>(character);
        result += '%';
        result += digits[byte >> 4];
        result += digits[byte & 15];
    }
    return result;
}

/// The five parts of RFC 3986, section 3, as views of the text.
struct Parts {
    std::optional<std::string_view> scheme, authority, query, fragment;
    std::string_view path;
};

Parts split(std::string_view text) {
    Parts parts;
    if (const size_t hash = text.find('#'); hash != std::string_view::npos) {
        parts.fragment = text.substr(hash + 1);
        text = text.substr(0, hash);
    }
    if (const size_t mark = text.find('?'); mark != std::string_view::npos) {
        parts.query = text.substr(mark + 1);
        text = text.substr(0, mark);
    }
    const size_t colon = text.find_first_of(":/");
    if (colon != std::string_view::npos && colon > 0 && text[colon] == ':') {
        parts.scheme = text.substr(0, colon);
        text.remove_prefix(colon + 1);
    }
    if (text.starts_with("//")) {
        const size_t end = std::min(text.find('/', 2), text.size());
        parts.authority = text.substr(2, end - 2);
        text.remove_prefix(end);
    }
    parts.path = text;
    return parts;
}

std::string join(const Parts& parts) {
    std::string text;
    if (parts.scheme)
        text += std::string(*parts.scheme) + ":";
    if (parts.authority)
        text += "//" + std::string(*parts.authority);
    text += parts.path;
    if (parts.query)
        text += "?" + std::string(*parts.query);
    if (parts.fragment)
        text += "#" + std::string(*parts.fragment);
    return text;
}

/// RFC 3986, section 5.2.4.
std::string withoutDotSegments(std::string_view path) {
    while (path.starts_with("./") || path.starts_with("../"))
        path.remove_prefix(path.find('/') + 1);
    if (path == "." || path == "..")
        return "";
    std::string result;
    while (!path.empty()) {
        const size_t end = std::min(path.find('/', 1), path.size());
        const std::string_view segment = path.substr(0, end);
        const bool last = end == path.size();
        if (segment == "/..") {
            const size_t parent = result.rfind('/');
            result.resize(parent == std::string::npos ? 0 : parent);
        }
        if (segment != "/." && segment != "/..")
            result += segment;
        else if (last)
            result += '/';
        path.remove_prefix(end);
    }
    return result;
}

/// RFC 3986, section 5.2.2.
std::string resolve(std::string_view text, std::string_view baseText) {
    Parts target = split(text);
    const Parts base = split(baseText);
    std::string path;
    if (target.scheme || target.authority) {
        path = withoutDotSegments(target.path);
    } else if (target.path.empty()) {
        path = base.path;
        if (!target.query)
            target.query = base.query;
    } else if (target.path.starts_with('/')) {
        path = withoutDotSegments(target.path);
    } else {
        std::string merged(base.path.substr(0, base.path.rfind('/') + 1));
        if (merged.empty() && base.authority)
            merged = "/";
        path = withoutDotSegments(merged + std::string(target.path));
    }
    if (!target.scheme) {
        target.scheme = base.scheme;
        if (!target.authority)
            target.authority = base.authority;
    }
    target.path = path;
    return join(target);
}

// Without its closing slash, and none at all with a NUL, where every function of the system would end it.
std::optional<std::string> decodedPath(std::string_view text) {
    std::string path = percentDecoded(split(text).path);
    if (path.find('\0') != std::string::npos)
        return std::nullopt;
    while (path.size() > 1 && path.ends_with('/'))
        path.pop_back();
    return path;
}

} // namespace

std::optional<URL> URL::initWithString(std::string_view text) {
    if (!isLegal(text))
        return std::nullopt;
    return URL(std::string(text), std::string(text));
}

std::optional<URL> URL::initWithString(std::string_view text, const URL& base) {
    if (!isLegal(text))
        return std::nullopt;
    return URL(resolve(text, base.text_), std::string(text));
}

URL URL::fileURLWithPath(std::string_view path) {
    std::string whole(path);
    std::error_code folderIsGone; // then the path cannot be told, and stands for nothing that exists
    if (!whole.starts_with('/'))
        whole = std::filesystem::current_path(folderIsGone).native() + "/" + whole;
    const std::string text =
        "file://" + percentEscaped(whole, [](char character) {
            return contains(unreserved, character) || contains("/!$&'()*+,:=@", character);
        });
    return URL(text, text);
}

std::optional<std::string> URL::scheme() const {
    const Parts parts = split(text_);
    return parts.scheme ? std::optional(lowercaseASCII(*parts.scheme)) : std::nullopt;
}

std::optional<std::string> URL::host() const {
    const Parts parts = split(text_);
    if (!parts.authority)
        return std::nullopt;
    std::string_view host = parts.authority->substr(parts.authority->rfind('@') + 1);
    if (host.starts_with('['))
        host = host.substr(1, host.find(']') - 1);
    else
        host = host.substr(0, host.find(':'));
    return lowercaseASCII(percentDecoded(host));
}

uint16_t URL::port() const {
    const std::string_view authority = split(text_).authority.value_or("");
    const size_t bracket = authority.rfind(']');
    const size_t start = bracket != std::string_view::npos ? bracket : authority.rfind('@') + 1;
    const size_t colon = authority.find(':', start);
    uint16_t port = 0;
    if (colon != std::string_view::npos)
        std::from_chars(authority.data() + colon + 1, authority.data() + authority.size(), port);
    if (port == 0)
        port = scheme() == "https" ? 443 : scheme() == "http" ? 80 : 0;
    return port;
}

std::optional<std::string> URL::path() const {
    return decodedPath(text_);
}

std::optional<std::string> URL::relativePath() const {
    return decodedPath(relativeText_);
}

std::string stringByAddingPercentEscapes(std::string_view text) {
    return percentEscaped(text, [](char character) { return contains(unreserved, character); });
}

} // namespace qvx::platform
