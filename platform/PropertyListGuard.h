#pragma once

#include <string_view>

namespace qvx::platform {

/// Whether a property list may be given to the library's recursive code: its arrays and dictionaries nest at
/// most 512 deep, and a binary one refers only to itself, in no circle, does not unfold to more than a
/// bounded size and has no key with a NUL. Says nothing about whether it is well formed otherwise.
[[nodiscard]] bool isSafePropertyList(std::string_view bytes);

/// Whether the bytes are a binary property list (the others are XML).
[[nodiscard]] inline bool isBinaryPropertyList(std::string_view bytes) {
    return bytes.starts_with("bplist");
}

} // namespace qvx::platform
