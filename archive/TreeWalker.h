#pragma once

#include "archive/Entry.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvx {

/// Lists a folder with everything in it, or a single file, as archive entries.
///
/// Names start with the source's own last path component (that of its resolved path when it is "." or the
/// like) and come sorted byte by byte, a folder before what it holds. A link given as the source is followed;
/// links below it are entries of their own. One folder is open at a time, and no path is ever put together,
/// so that the depth of a tree is not limited by descriptors or path lengths.
class TreeWalker {
public:
    /// Null with the reason in `error` when the source is missing, unreadable or neither folder nor file.
    [[nodiscard]] static std::unique_ptr<TreeWalker> open(const std::string& source, std::string& error);

    /// The next entry; nothing after the last one, and nothing with the reason in `error` when something
    /// cannot be read, moved while it was listed, has a name of more than 65,535 bytes or is no folder, file
    /// or symbolic link (it is not opened then).
    [[nodiscard]] std::optional<Entry> next(std::string& error);

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

    bool enterFolder(FileDescriptor folder, Entry& entry, std::string& error);
    bool leaveFolder(std::string& error);
    bool visitFile(FileDescriptor file, Entry& entry, std::string& error);
    bool visitLink(const char* child, const struct stat& status, Entry& entry, std::string& error);
    bool visitChild(const std::string& child, Entry& entry, std::string& error);
    bool fail(int number, std::string& error) const;

    std::string source_;
    std::string name_; // of the entry at hand
    size_t rootNameLength_ = name_.size();
    FileDescriptor root_; // until the first entry
    FileDescriptor folder_;
    std::vector<Level> levels_;
};

} // namespace qvx
