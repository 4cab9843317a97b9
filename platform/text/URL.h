#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qvx::platform {

/// A URL, absolute or relative, as RFC 3986 cuts it into parts. Only text whose every character may stand in
/// a URL makes one.
class URL {
public:
    /// The URL of `text`; absent when a character is neither unreserved, reserved nor a percent sign with two
    /// hexadecimal digits. No character is escaped or normalised.
    static std::optional<URL> initWithString(std::string_view text);

    /// As above, resolved against `base` (RFC 3986, section 5.2).
    static std::optional<URL> initWithString(std::string_view text, const URL& base);

    /// The file URL of a path, whatever its bytes; a relative path is taken from the current directory. A
    /// path that ends in a slash keeps it.
    static URL fileURLWithPath(std::string_view path);

    /// The whole URL, resolved.
    [[nodiscard]] const std::string& absoluteString() const { return text_; }

    /// Scheme in lower case; absent in a relative URL.
    [[nodiscard]] std::optional<std::string> scheme() const;

    /// Host with its escapes decoded, whatever bytes that gives, and ASCII letters in lower case, without
    /// brackets; absent when the URL has no authority.
    [[nodiscard]] std::optional<std::string> host() const;

    /// The port that is written out, else the one of https (443) or http (80), else 0.
    [[nodiscard]] uint16_t port() const;

    /// The path with percent escapes decoded and without a trailing slash ("/" stays "/"). May hold any byte;
    /// absent when it would hold a NUL.
    [[nodiscard]] std::optional<std::string> path() const;

    /// The path of the text that the URL was made from, before resolution, decoded like `path`.
    [[nodiscard]] std::optional<std::string> relativePath() const;

    [[nodiscard]] std::string description() const { return text_; }

    friend bool operator==(const URL&, const URL&) = default;

private:
    URL(std::string text, std::string relativeText)
        : text_(std::move(text)), relativeText_(std::move(relativeText)) {}

    std::string text_;
    std::string relativeText_;
};

/// `text` with every byte but the unreserved characters (RFC 3986: letters, digits, "-", ".", "_" and "~") as
/// a percent sign and two upper-case hexadecimal digits: fit to be a key or value of a query.
[[nodiscard]] std::string stringByAddingPercentEscapes(std::string_view text);

} // namespace qvx::platform
