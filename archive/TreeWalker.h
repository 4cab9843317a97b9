#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/Entry.h"
#include "platform/text/Error.h"

namespace qvx {

/// Lists a folder with everything in it, or a single file, as archive entries.
///
/// Names start with the source's own last path component (that of its resolved path when it is "." or the
/// like) and come sorted byte by byte, a folder before what it holds. A link given as the source is followed;
/// links below it are entries of their own. One folder is open at a time, and no path is ever put together,
/// so that the depth of a tree is not limited by descriptors or path lengths.
class TreeWalker {
public:
    /// The error when the source is missing, unreadable or neither folder nor file.
    static platform::Result<std::unique_ptr<TreeWalker>> open(const std::string& source);

    /// The next entry, nothing after the last one; the error when something cannot be read, moved while it
    /// was listed, has a name of more than 65,535 bytes or is no folder, file or symbolic link (it is not
    /// opened then).
    [[nodiscard]] std::optional<platform::Result<Entry>> next();

    /// An entry's name as the path it has below the source, for messages.
    [[nodiscard]] std::string pathOf(std::string_view entryName) const;

private:
    struct Level {
        std::vector<std::string> children; // sorted backwards; a folder's name ends in a slash
        dev_t device;
        ino_t inode;
        size_t nameLength; // of the entry name up to and including this folder
    };

    TreeWalker(std::string source, std::string name) : source_(std::move(source)), name_(std::move(name)) {}

    platform::Result<Entry> visitRoot();
    platform::Result<Entry> visitChild(const std::string& child);
    platform::Result<Entry> enterFolder(platform::FileDescriptor folder);
    [[nodiscard]] std::optional<platform::Error> leaveFolder();
    platform::Result<Entry> visitFile(platform::FileDescriptor file);
    platform::Result<Entry> visitLink(const char* child, const struct stat& status);
    [[nodiscard]] platform::Error failure(int number) const;

    std::string source_;
    std::string name_; // of the entry at hand
    size_t rootNameLength_ = name_.size();
    platform::FileDescriptor root_; // until the first entry
    platform::FileDescriptor folder_;
    std::vector<Level> levels_;
};

} // namespace qvx
