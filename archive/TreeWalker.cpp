#include "archive/TreeWalker.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "archive/ArchiveError.h"

namespace qvx {

using platform::Error;
using platform::FileDescriptor;
using platform::posixError;
using platform::Result;

namespace {

constexpr size_t longestName = 0xffff;
// Not blocking: what was a file when it was listed may be a FIFO when it is opened.
constexpr int openFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

struct Free {
    void operator()(char* text) const { std::free(text); }
};

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

std::string lastComponent(std::string_view path) {
    return std::string(path.substr(path.rfind('/') + 1));
}

/// The name that the archive's top entry gets; empty when there is none, as for "/".
std::string topName(const std::string& source) {
    const std::string name = lastComponent(source);
    if (!name.empty() && name != "." && name != "..")
        return name;
    const std::unique_ptr<char, Free> resolved(::realpath(source.c_str(), nullptr));
    return resolved ? lastComponent(resolved.get()) : std::string();
}

bool isFolder(int folder, const dirent& child) {
    if (child.d_type != DT_UNKNOWN)
        return child.d_type == DT_DIR;
    struct stat status;
    return ::fstatat(folder, child.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

/// Names in the folder, last first; a folder's has a slash, which is what sorts whole paths. errno on
/// failure.
bool listFolder(int folder, std::vector<std::string>& children) {
    FileDescriptor copy(::fcntl(folder, F_DUPFD_CLOEXEC, 0));
    const std::unique_ptr<DIR, CloseFolder> listing(copy ? ::fdopendir(copy.get()) : nullptr);
    if (!listing)
        return false;
    (void)copy.release();
    while (errno = 0, true) {
        const dirent* child = ::readdir(listing.get());
        if (!child)
            break;
        const std::string_view name = child->d_name;
        if (name != "." && name != "..")
            children.emplace_back(name).append(isFolder(folder, *child) ? "/" : "");
    }
    const int number = errno;
    std::sort(children.begin(), children.end(), std::greater<>());
    errno = number;
    return number == 0;
}

} // namespace

Result<std::unique_ptr<TreeWalker>> TreeWalker::open(const std::string& source) {
    std::string path = source;
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    struct stat status;
    // With its slashes: "file/" is an error as it is everywhere.
    if (::stat(source.c_str(), &status) != 0)
        return posixError(errno, source);
    if (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode))
        return archiveError(source, "Not a folder or file");
    std::unique_ptr<TreeWalker> walker(new TreeWalker(path, topName(path)));
    if (walker->name_.empty())
        return archiveError(source, "Has no name of its own");
    walker->root_ = FileDescriptor(::open(source.c_str(), openFlags));
    if (!walker->root_)
        return posixError(errno, source);
    return walker;
}

std::optional<Result<Entry>> TreeWalker::next() {
    if (root_)
        return visitRoot();
    while (!levels_.empty()) {
        Level& level = levels_.back();
        name_.resize(level.nameLength);
        if (level.children.empty()) {
            if (std::optional<Error> error = leaveFolder())
                return Result<Entry>(*error);
            continue;
        }
        const std::string child = std::move(level.children.back());
        level.children.pop_back();
        name_ += child;
        return visitChild(child);
    }
    return std::nullopt;
}

std::string TreeWalker::pathOf(std::string_view entryName) const {
    return source_ + std::string(entryName.substr(rootNameLength_));
}

Result<Entry> TreeWalker::visitRoot() {
    struct stat status;
    if (::fstat(root_.get(), &status) != 0 || !S_ISDIR(status.st_mode))
        return visitFile(std::move(root_));
    name_ += '/';
    return enterFolder(std::move(root_));
}

Result<Entry> TreeWalker::visitChild(const std::string& child) {
    if (name_.size() > longestName)
        return failure(ENAMETOOLONG);
    if (child.back() == '/')
        return enterFolder(
            FileDescriptor(::openat(folder_.get(), child.c_str(), openFlags | O_DIRECTORY | O_NOFOLLOW)));
    struct stat status;
    if (::fstatat(folder_.get(), child.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return failure(errno);
    if (S_ISLNK(status.st_mode))
        return visitLink(child.c_str(), status);
    if (!S_ISREG(status.st_mode))
        return archiveError(pathOf(name_), "Not a folder, file or symbolic link");
    return visitFile(FileDescriptor(::openat(folder_.get(), child.c_str(), openFlags | O_NOFOLLOW)));
}

Result<Entry> TreeWalker::enterFolder(FileDescriptor folder) {
    struct stat status;
    Level level;
    if (!folder || ::fstat(folder.get(), &status) != 0 || !listFolder(folder.get(), level.children))
        return failure(errno);
    level.device = status.st_dev;
    level.inode = status.st_ino;
    level.nameLength = name_.size();
    levels_.push_back(std::move(level));
    folder_ = std::move(folder);
    return Entry{name_, status.st_mode, status.st_mtime, 0, {}, {}};
}

std::optional<Error> TreeWalker::leaveFolder() {
    levels_.pop_back();
    if (levels_.empty())
        return std::nullopt;
    FileDescriptor parent(::openat(folder_.get(), "..", openFlags | O_DIRECTORY));
    struct stat status;
    if (!parent || ::fstat(parent.get(), &status) != 0)
        return failure(errno);
    // ".." of a folder that was moved leads elsewhere, and what lies there is not to be packed.
    if (status.st_dev != levels_.back().device || status.st_ino != levels_.back().inode)
        return archiveError(pathOf(name_), "Was moved while it was read");
    folder_ = std::move(parent);
    return std::nullopt;
}

Result<Entry> TreeWalker::visitFile(FileDescriptor file) {
    struct stat status;
    if (!file || ::fstat(file.get(), &status) != 0)
        return failure(errno);
    if (!S_ISREG(status.st_mode))
        return archiveError(pathOf(name_), "Was replaced while it was read");
    const auto size = static_cast<uint64_t>(status.st_size);
    return Entry{name_, status.st_mode, status.st_mtime, size, std::move(file), {}};
}

Result<Entry> TreeWalker::visitLink(const char* child, const struct stat& status) {
    char text[PATH_MAX];
    const ssize_t length = ::readlinkat(folder_.get(), child, text, sizeof text);
    if (length < 0)
        return failure(errno);
    const auto size = static_cast<uint64_t>(length);
    return Entry{name_, status.st_mode, status.st_mtime, size, {}, std::string(text, size)};
}

Error TreeWalker::failure(int number) const {
    return posixError(number, pathOf(name_));
}

} // namespace qvx
