#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/text/Error.h"

/// Questions and changes of the file system. Paths are the system's bytes, normally UTF-8; errors are POSIX
/// errors that name the path.
namespace qvx::platform::FileManager {

/// Whether a file, directory or other entry exists at `path`; a symbolic link is followed.
[[nodiscard]] bool fileExistsAtPath(std::string_view path);

/// Whether `path`, symbolic links followed, is a directory.
[[nodiscard]] bool isDirectoryAtPath(std::string_view path);

/// The names in the directory, sorted byte by byte, without "." and "..".
Result<std::vector<std::string>> contentsOfDirectoryAtPath(std::string_view path);

/// The first entry below the directory, as a path relative to it, in the order of a recursive listing that
/// is sorted byte by byte with a folder before what it holds; absent when it is empty or cannot be listed.
std::optional<std::string> firstEntryBelowDirectory(std::string_view path);

/// Makes the directory and the missing ones above it, for the user alone to write to; an existing directory
/// is no error.
[[nodiscard]] std::optional<Error> createDirectoryWithIntermediates(std::string_view path);

/// Copies a file or a whole directory, with permission bits, modification times, symbolic links (as links)
/// and empty folders; shares the blocks with the source where the file system can. Where `source` itself is a
/// link, what it stands for is copied. An existing destination is an error; after any error what was copied
/// so far stays.
[[nodiscard]] std::optional<Error> copyItemAtPath(std::string_view source, std::string_view destination);

/// The path of the regular file that a new one for `path` has to take the place of: what a link stands for,
/// which stays a link; `path` itself when nothing is there. An error when that is no regular file: as root a
/// rename would take the place of a device.
Result<std::string> fileToReplaceAtPath(std::string_view path);

/// Writes `bytes` to a temporary file beside `path` that only its owner can read (mode 0600) and renames it
/// to `path`. A link to a regular file stays, and that file is replaced; anything else that exists and is no
/// regular file is an error. On failure the temporary file is removed and what was at `path` stays.
[[nodiscard]] std::optional<Error> writeFileAtomically(std::string_view bytes, std::string_view path);

/// Removes the file at `path`.
[[nodiscard]] std::optional<Error> removeFileAtPath(std::string_view path);

/// The current directory, as the kernel names it.
[[nodiscard]] std::string currentDirectoryPath();

/// `path` with every symbolic link in it resolved; `path` itself when that fails or it is not absolute.
[[nodiscard]] std::string stringByResolvingSymlinksInPath(std::string_view path);

} // namespace qvx::platform::FileManager
