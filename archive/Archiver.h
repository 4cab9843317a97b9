#pragma once

#include <string>

namespace qvx {

/// Packs `source`, a folder with everything in it or a single file, into a zip archive at `destination`; the
/// source's last path component is the archive's top entry. The bytes do not depend on `threads`, at least 1.
///
/// True when the archive is complete and has its name. Otherwise `error` has the reason as one line, and what
/// was at `destination` before is still there. Growth of a file after it was opened is left out; a file that
/// ends early is an error.
[[nodiscard]] bool makeArchive(const std::string& source, const std::string& destination, unsigned threads,
                               std::string& error);

} // namespace qvx
