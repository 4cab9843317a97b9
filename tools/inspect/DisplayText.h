#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Text from elsewhere, such as a file's name, in the columns of a terminal.
namespace qvx::inspector {

/// The text with U+FFFD for whatever could do more to a line than stand in it: bytes that are not UTF-8,
/// control characters, line separators, and what is invisible or turns the direction of writing.
[[nodiscard]] std::string displayed(std::string_view text);

/// How many columns a terminal gives to text that `displayed` returned.
[[nodiscard]] size_t columns(std::string_view text);

} // namespace qvx::inspector
