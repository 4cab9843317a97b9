#pragma once

#include <optional>
#include <string>

#include "platform/text/Error.h"

namespace qvx {

/// Packs `source`, a folder with everything in it or a single file, into a zip archive at `destination`; the
/// source's last path component is the archive's top entry. Works on all cores; the bytes do not depend on
/// their number.
///
/// Absent when the archive is complete and has its name; otherwise the error, whose text begins with the path
/// that it is about, and what was at `destination` before is still there. Growth of a file after it was
/// opened is left out; a file that ends early is an error.
[[nodiscard]] std::optional<platform::Error> makeArchive(const std::string& source,
                                                         const std::string& destination);

} // namespace qvx
