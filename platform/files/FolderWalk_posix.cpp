#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include "platform/files/FileDescriptor.h"
#include "platform/files/FolderWalk.h"

namespace qvx::platform {

namespace {

struct Name {
    std::string name;
    unsigned char type; // as readdir tells it
};

// Its errno is 0 when the folder was listed whole.
std::vector<Name> namesIn(DIR* folder) {
    std::vector<Name> names;
    errno = 0;
    while (const dirent* entry = ::readdir(folder)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.push_back({entry->d_name, entry->d_type});
        errno = 0;
    }
    const int number = errno;
    std::ranges::sort(names, {}, &Name::name);
    errno = number;
    return names;
}

// Some file systems do not tell it with the name.
unsigned char typeOf(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return DT_UNKNOWN;
    return static_cast<unsigned char>(IFTODT(status.st_mode));
}

// Absent, with errno set, when it leads to nothing.
std::optional<std::string> resolved(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> text(::realpath(path.c_str(), nullptr), &std::free);
    return text ? std::optional<std::string>(text.get()) : std::nullopt;
}

std::string folderOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, std::max<size_t>(slash, 1));
}

std::string joined(const std::string& folder, const std::string& name) {
    return folder.ends_with('/') ? folder + name : folder + '/' + name;
}

bool holds(const std::string& folder, const std::string& path) {
    return path == folder || path.starts_with(joined(folder, ""));
}

} // namespace

void FolderWalk::enumerate(const std::string& path, const Visitor& visitor) {
    visitor_ = &visitor;
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        (*visitor_)({Kind::unreadable, path, std::strerror(errno)});
    else if (S_ISDIR(status.st_mode))
        enumerateFolder(path);
    else if (S_ISREG(status.st_mode))
        (*visitor_)({Kind::file, path, {}});
    else
        (*visitor_)({Kind::unreadable, path, "no folder and no regular file"});
    // More of them are found on the way.
    for (size_t index = 0; index < links_.size(); ++index)
        followLink(std::string(links_[index]));
    links_.clear();
    followLinksToFiles();
}

void FolderWalk::enumerateFolder(const std::string& path) {
    std::vector<std::string> pending{path};
    while (!pending.empty()) {
        const std::string folder = std::move(pending.back());
        pending.pop_back();
        list(folder, pending);
    }
}

void FolderWalk::list(const std::string& folder, std::vector<std::string>& inner) {
    FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (!descriptor || ::fstat(descriptor.get(), &status) != 0)
        return reportFailure(folder, errno);
    const Identity identity(status.st_dev, status.st_ino);
    if (folders_.contains(identity) || !(*visitor_)({Kind::folder, folder, {}}))
        return;
    folders_.insert(identity);
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::fdopendir(descriptor.get()), &::closedir);
    if (!directory)
        return reportFailure(folder, errno);
    descriptor.release();
    const std::vector<Name> names = namesIn(directory.get());
    if (errno != 0)
        reportFailure(folder, errno);
    const size_t before = inner.size();
    for (const Name& name : names) {
        const std::string path = joined(folder, name.name);
        const unsigned char type = name.type == DT_UNKNOWN ? typeOf(path) : name.type;
        if (type == DT_REG)
            (*visitor_)({Kind::file, path, {}});
        else if (type == DT_DIR)
            inner.push_back(path);
        else if (type == DT_LNK && (*visitor_)({Kind::link, path, {}}))
            links_.push_back(path);
    }
    std::reverse(inner.begin() + static_cast<std::ptrdiff_t>(before), inner.end());
}

void FolderWalk::followLink(const std::string& path) {
    const std::optional<std::string> target = resolved(path);
    struct stat status {};
    if (!target || ::stat(target->c_str(), &status) != 0)
        return reportFailure(path, errno);
    if (S_ISREG(status.st_mode)) {
        linksToFiles_.emplace_back(path, *target);
    } else if (S_ISDIR(status.st_mode)) {
        const std::optional<std::string> place = resolved(folderOf(path));
        if (place && holds(*target, *place))
            (*visitor_)({Kind::deadEnd, path, "leads back to a folder that it is in"});
        else
            enumerateFolder(path);
    }
}

void FolderWalk::followLinksToFiles() {
    for (const auto& [path, target] : linksToFiles_) {
        struct stat status {};
        const bool known = ::stat(folderOf(target).c_str(), &status) == 0 &&
                           folders_.contains({status.st_dev, status.st_ino});
        if (!known && linkedFiles_.insert(target).second)
            (*visitor_)({Kind::file, path, {}});
    }
    linksToFiles_.clear();
}

void FolderWalk::reportFailure(const std::string& path, int number) {
    struct stat status {};
    const bool leadsNowhere = number == ENOENT || number == ELOOP || number == ENOTDIR;
    const bool isLink = ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
    (*visitor_)({leadsNowhere && isLink ? Kind::deadEnd : Kind::unreadable, path, std::strerror(number)});
}

} // namespace qvx::platform
