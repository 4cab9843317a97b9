#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/files/DirectoryListing_posix.h"
#include "platform/files/FileManager.h"

namespace qvx::platform::FileManager {

bool fileExistsAtPath(std::string_view path) {
    return ::access(std::string(path).c_str(), F_OK) == 0;
}

bool isDirectoryAtPath(std::string_view path) {
    struct stat status {};
    return ::stat(std::string(path).c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

Result<std::vector<std::string>> namesInDirectory(FileDescriptor descriptor, std::string_view path) {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::fdopendir(descriptor.get()), &::closedir);
    if (!directory)
        return posixError(errno, path);
    descriptor.release();
    std::vector<std::string> names;
    while (true) {
        errno = 0;
        const dirent* entry = ::readdir(directory.get());
        if (!entry)
            break;
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    }
    if (errno != 0)
        return posixError(errno, path);
    std::sort(names.begin(), names.end());
    return names;
}

Result<std::vector<std::string>> contentsOfDirectoryAtPath(std::string_view path) {
    FileDescriptor descriptor(::open(std::string(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor)
        return posixError(errno, path);
    return namesInDirectory(std::move(descriptor), path);
}

std::optional<std::string> firstEntryBelowDirectory(std::string_view path) {
    // A folder comes before what it holds, so the first entry is always one of the top level.
    const Result<std::vector<std::string>> names = contentsOfDirectoryAtPath(path);
    if (!names || names->empty())
        return std::nullopt;
    return names->front();
}

std::optional<Error> createDirectoryWithIntermediates(std::string_view path) {
    const std::string whole(path);
    if (::mkdir(whole.c_str(), 0755) == 0 || (errno == EEXIST && isDirectoryAtPath(whole)))
        return std::nullopt;
    // From the top, for the one call above fails in the usual first run only.
    for (size_t end = 0; end != std::string_view::npos;) {
        end = path.find('/', end + 1);
        const std::string part(path.substr(0, end));
        if (::mkdir(part.c_str(), 0755) == 0)
            continue;
        const int reason = errno;
        if (!isDirectoryAtPath(part))
            return posixError(reason, part);
    }
    return std::nullopt;
}

std::optional<Error> removeFileAtPath(std::string_view path) {
    if (::unlink(std::string(path).c_str()) != 0)
        return posixError(errno, path);
    return std::nullopt;
}

std::string currentDirectoryPath() {
    const std::unique_ptr<char, decltype(&std::free)> path(::getcwd(nullptr, 0), &std::free);
    return path ? std::string(path.get()) : std::string();
}

std::string stringByResolvingSymlinksInPath(std::string_view path) {
    if (!path.starts_with('/'))
        return std::string(path);
    const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(std::string(path).c_str(), nullptr),
                                                               &std::free);
    return resolved ? std::string(resolved.get()) : std::string(path);
}

} // namespace qvx::platform::FileManager
