#include "archive/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "archive/ArchiveError.h"
#include "platform/files/FileManager.h"

namespace qvx {

using platform::Error;
using platform::FileDescriptor;
using platform::posixError;
using platform::Termination::Deferral;

namespace {

constexpr size_t bufferSize = size_t{256} << 10;
constexpr size_t longestStem = 200; // leaves room for the suffix in a name of 255 bytes

std::string partialPath(const std::string& destination) {
    const size_t nameStart = destination.rfind('/') + 1;
    const size_t stemEnd = std::min(destination.size(), nameStart + longestStem);
    return destination.substr(0, stemEnd) + "." + std::to_string(::getpid()) + ".partial";
}

} // namespace

OutputFile::OutputFile(std::string destination, std::string target, std::string path, FileDescriptor file)
    : destination_(std::move(destination)), target_(std::move(target)), path_(std::move(path)),
      file_(std::move(file)), guard_(path_) {
    buffer_.reserve(bufferSize);
}

platform::Result<std::unique_ptr<OutputFile>> OutputFile::create(const std::string& destination) {
    const platform::Result<std::string> target = platform::FileManager::fileToReplaceAtPath(destination);
    if (!target && (target.error().code == EISDIR || target.error().code == EINVAL))
        return archiveError(destination, "Is not a regular file");
    if (!target)
        return target.error();
    // A new file needs no other name, and whoever has to end this process knows what to remove.
    const std::string path =
        platform::FileManager::fileExistsAtPath(*target) ? partialPath(*target) : *target;
    const Deferral deferral; // the file and what a signal removes change together
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!file)
        return posixError(errno, destination);
    return std::unique_ptr<OutputFile>(new OutputFile(destination, *target, path, std::move(file)));
}

OutputFile::~OutputFile() {
    const Deferral deferral;
    if (guard_)
        ::unlink(path_.c_str());
    guard_.reset();
}

std::optional<Error> OutputFile::append(std::span<const uint8_t> bytes) {
    if (buffer_.size() + bytes.size() > bufferSize) {
        if (std::optional<Error> error = flush())
            return error;
    }
    if (bytes.size() <= bufferSize) {
        buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
        return std::nullopt;
    }
    if (std::optional<Error> error = writeAll(bytes, flushed_))
        return error;
    flushed_ += bytes.size();
    return std::nullopt;
}

std::optional<Error> OutputFile::patch(uint64_t offset, std::span<const uint8_t> bytes) {
    if (offset < flushed_)
        return writeAll(bytes, offset);
    std::copy(bytes.begin(), bytes.end(), buffer_.begin() + static_cast<ptrdiff_t>(offset - flushed_));
    return std::nullopt;
}

std::optional<Error> OutputFile::flush() {
    if (std::optional<Error> error = writeAll(buffer_, flushed_))
        return error;
    flushed_ += buffer_.size();
    buffer_.clear();
    return std::nullopt;
}

std::optional<Error> OutputFile::writeAll(std::span<const uint8_t> bytes, uint64_t offset) {
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(file_.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return posixError(errno, destination_);
        bytes = bytes.subspan(static_cast<size_t>(written));
        offset += static_cast<uint64_t>(written);
    }
    return std::nullopt;
}

std::optional<Error> OutputFile::publish() {
    if (std::optional<Error> error = flush())
        return error;
    const Deferral deferral;
    // Some file systems report a full disk only when the file is closed.
    if (!file_.close() || ::rename(path_.c_str(), target_.c_str()) != 0)
        return posixError(errno, destination_);
    guard_.reset();
    return std::nullopt;
}

bool OutputFile::isSameFile(int descriptor) const {
    struct stat own, other;
    return ::fstat(file_.get(), &own) == 0 && ::fstat(descriptor, &other) == 0 &&
           own.st_dev == other.st_dev && own.st_ino == other.st_ino;
}

} // namespace qvx
