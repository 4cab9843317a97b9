#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "platform/files/FileDescriptor.h"

namespace qvx {

/// One thing that goes into the archive: a folder, a file or a symbolic link.
struct Entry {
    /// Name in the archive, raw bytes as on disk: "Top/inner/file"; a folder's ends in a slash.
    std::string name;
    /// File kind and permission bits, as in st_mode.
    mode_t mode = 0;
    /// Seconds since 1970 UTC.
    int64_t modified = 0;
    /// Bytes of content: a file's size when it was opened, the length of a link's text, 0 for a folder.
    uint64_t size = 0;
    /// Open for reading when the entry is a file, else owns nothing.
    platform::FileDescriptor file;
    /// The text of a symbolic link, else empty.
    std::string linkText;
};

} // namespace qvx
