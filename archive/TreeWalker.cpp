#include "archive/TreeWalker.h"

#include <dirent.h>
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

namespace qvx {
namespace {

constexpr size_t kLongestName = 0xffff;
// Not blocking: what was a file when it was listed may be a FIFO when it is opened.
constexpr int kOpenFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

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
    const std::unique_ptr<DIR, CloseFolder> listing(copy.isOpen() ? ::fdopendir(copy.get()) : nullptr);
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

std::unique_ptr<TreeWalker> TreeWalker::open(const std::string& source, std::string& error) {
    std::string path = source;
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    struct stat status;
    // With its slashes: "file/" is an error as it is everywhere.
    if (::stat(source.c_str(), &status) != 0) {
        error = source + ": " + std::strerror(errno);
        return nullptr;
    }
    if (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode)) {
        error = source + ": Not a folder or file";
        return nullptr;
    }
    std::unique_ptr<TreeWalker> walker(new TreeWalker(path, topName(path)));
    if (walker->name_.empty()) {
        error = source + ": Has no name of its own";
        return nullptr;
    }
    walker->root_ = FileDescriptor(::open(source.c_str(), kOpenFlags));
    if (!walker->root_.isOpen()) {
        error = source + ": " + std::strerror(errno);
        return nullptr;
    }
    return walker;
}

std::optional<Entry> TreeWalker::next(std::string& error) {
    Entry entry;
    if (root_.isOpen()) {
        struct stat status;
        if (::fstat(root_.get(), &status) == 0 && S_ISDIR(status.st_mode)) {
            name_ += '/';
            return enterFolder(std::move(root_), entry, error) ? std::optional(std::move(entry))
                                                               : std::nullopt;
        }
        return visitFile(std::move(root_), entry, error) ? std::optional(std::move(entry)) : std::nullopt;
    }
    while (!levels_.empty()) {
        Level& level = levels_.back();
        name_.resize(level.nameLength);
        if (level.children.empty()) {
            if (!leaveFolder(error))
                return std::nullopt;
            continue;
        }
        const std::string child = std::move(level.children.back());
        level.children.pop_back();
        name_ += child;
        return visitChild(child, entry, error) ? std::optional(std::move(entry)) : std::nullopt;
    }
    return std::nullopt;
}

std::string TreeWalker::pathOf(std::string_view entryName) const {
    return source_ + std::string(entryName.substr(rootNameLength_));
}

bool TreeWalker::visitChild(const std::string& child, Entry& entry, std::string& error) {
    if (name_.size() > kLongestName)
        return fail(ENAMETOOLONG, error);
    if (child.back() == '/') {
        const int fd = ::openat(folder_.get(), child.c_str(), kOpenFlags | O_DIRECTORY | O_NOFOLLOW);
        return enterFolder(FileDescriptor(fd), entry, error);
    }
    struct stat status;
    if (::fstatat(folder_.get(), child.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return fail(errno, error);
    if (S_ISLNK(status.st_mode))
        return visitLink(child.c_str(), status, entry, error);
    if (!S_ISREG(status.st_mode)) {
        error = pathOf(name_) + ": Not a folder, file or symbolic link";
        return false;
    }
    return visitFile(FileDescriptor(::openat(folder_.get(), child.c_str(), kOpenFlags | O_NOFOLLOW)), entry,
                     error);
}

bool TreeWalker::enterFolder(FileDescriptor folder, Entry& entry, std::string& error) {
    struct stat status;
    Level level;
    if (!folder.isOpen() || ::fstat(folder.get(), &status) != 0 || !listFolder(folder.get(), level.children))
        return fail(errno, error);
    level.device = status.st_dev;
    level.inode = status.st_ino;
    level.nameLength = name_.size();
    levels_.push_back(std::move(level));
    folder_ = std::move(folder);
    entry = {name_, status.st_mode, status.st_mtime, 0, {}, {}};
    return true;
}

bool TreeWalker::leaveFolder(std::string& error) {
    levels_.pop_back();
    if (levels_.empty())
        return true;
    FileDescriptor parent(::openat(folder_.get(), "..", kOpenFlags | O_DIRECTORY));
    struct stat status;
    if (!parent.isOpen() || ::fstat(parent.get(), &status) != 0)
        return fail(errno, error);
    if (status.st_dev != levels_.back().device || status.st_ino != levels_.back().inode) {
        error = pathOf(name_) + ": Was moved while it was read";
        return false;
    }
    folder_ = std::move(parent);
    return true;
}

bool TreeWalker::visitFile(FileDescriptor file, Entry& entry, std::string& error) {
    struct stat status;
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0)
        return fail(errno, error);
    if (!S_ISREG(status.st_mode)) {
        error = pathOf(name_) + ": Was replaced while it was read";
        return false;
    }
    const auto size = static_cast<uint64_t>(status.st_size);
    entry = {name_, status.st_mode, status.st_mtime, size, std::move(file), {}};
    return true;
}

bool TreeWalker::visitLink(const char* child, const struct stat& status, Entry& entry, std::string& error) {
    char text[PATH_MAX];
    const ssize_t length = ::readlinkat(folder_.get(), child, text, sizeof text);
    if (length < 0)
        return fail(errno, error);
    const auto size = static_cast<uint64_t>(length);
    entry = {name_, status.st_mode, status.st_mtime, size, {}, std::string(text, size)};
    return true;
}

bool TreeWalker::fail(int number, std::string& error) const {
    error = pathOf(name_) + ": " + std::strerror(number);
    return false;
}

} // namespace qvx
