#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qvx::platform {

/// Whether `text` is UTF-8 throughout (no NUL is asked about: one is an ordinary character).
[[nodiscard]] bool isUTF8(std::string_view text);

/// `text` when it is UTF-8, else absent.
[[nodiscard]] std::optional<std::string> stringWithUTF8String(std::string_view text);

/// `text` with every byte that is not part of a UTF-8 character replaced by U+FFFD.
[[nodiscard]] std::string validUTF8(std::string_view text);

/// Whether every byte is below 128.
[[nodiscard]] bool isASCII(std::string_view text);

/// `text` without the blanks, tabs and line ends at its two ends.
[[nodiscard]] std::string_view trimmed(std::string_view text);

/// UTF-16 code units as UTF-8; a surrogate without its other half becomes U+FFFD.
[[nodiscard]] std::string stringWithUTF16(std::u16string_view units);

/// Lower case of UTF-8 text, character by character (Unicode's simple mapping, without a locale). Bytes that
/// are not UTF-8 stay as they are.
[[nodiscard]] std::string lowercaseString(std::string_view text);

/// The text with ASCII letters in lower case and all other bytes as they are: for what the standards of the
/// network and the desktop write in ASCII (header names, hosts, schemes).
[[nodiscard]] std::string lowercaseASCII(std::string_view text);

/// Equality without regard to the case of ASCII letters.
[[nodiscard]] bool equalsIgnoringCase(std::string_view left, std::string_view right);

/// Length of UTF-8 text in UTF-16 code units.
[[nodiscard]] size_t lengthInUTF16(std::string_view text);

/// Two lower-case hexadecimal digits for each byte, the high half first.
[[nodiscard]] std::string hexadecimalString(std::span<const uint8_t> bytes);

/// True for optional blanks, an optional sign and zeros, then Y, y, T, t or a digit from 1 to 9.
[[nodiscard]] bool boolValue(std::string_view text);

/// The leading integer: optional blanks, a sign, digits; saturates at 32 bits; 0 when there is none.
[[nodiscard]] int32_t integerValue(std::string_view text);

/// The pieces between the separators, in order; a text without one is a single piece.
[[nodiscard]] std::vector<std::string> componentsSeparatedBy(std::string_view text, char separator);

/// `path` joined with `component` by exactly one slash; the result has no trailing slash.
[[nodiscard]] std::string stringByAppendingPathComponent(std::string_view path, std::string_view component);

/// What stands behind the last full stop of the last path component; empty when there is none or the
/// component begins with its only one.
[[nodiscard]] std::string_view pathExtension(std::string_view path);

} // namespace qvx::platform
