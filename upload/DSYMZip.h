#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace qvx {

/// The program that makes zips: the system's, else the one in the tool's own bundle folder; absent when
/// neither exists.
std::optional<std::string> archiverPath();

/// Packs the folder at `source` into the zip `destination`, whose top entry is the folder itself; false, with
/// nothing left at `destination`, when that fails. What the archiver says on its standard error is logged
/// when it fails, in debug mode always.
[[nodiscard]] bool makeZip(std::string_view archiver, std::string_view source, std::string_view destination);

} // namespace qvx
