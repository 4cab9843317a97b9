#include "archive/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>

namespace qvx {
namespace {

constexpr size_t kBufferSize = size_t{256} << 10;
constexpr size_t kLongestStem = 200; // leaves room for the suffix in a name of 255 bytes
constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// What a signal handler may touch: empty when there is nothing to remove.
char partialPath[PATH_MAX];

void removePartial() {
    if (partialPath[0] != '\0')
        ::unlink(partialPath);
    partialPath[0] = '\0';
}

void endBySignal(int number) {
    removePartial();
    ::raise(number); // reset to its default action by SA_RESETHAND
}

[[noreturn]] void endForMemory() {
    removePartial();
    static constexpr char kText[] = "ditto: Out of memory\n";
    (void)!::write(STDERR_FILENO, kText, sizeof kText - 1);
    ::_exit(1);
}

void installHandlers() {
    struct sigaction action = {};
    action.sa_handler = endBySignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigfillset(&action.sa_mask);
    for (int number : kEndingSignals) {
        struct sigaction old;
        if (::sigaction(number, nullptr, &old) == 0 && old.sa_handler != SIG_IGN)
            ::sigaction(number, &action, nullptr);
    }
    // A file size limit is then an error like a full disk.
    ::signal(SIGXFSZ, SIG_IGN);
    std::set_new_handler(endForMemory);
}

/// Holds signals back, so that the file and partialPath change together. Signals reach this thread only:
/// others run with all of them blocked.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_;
};

std::string partialPathFor(const std::string& destination) {
    const size_t nameStart = destination.rfind('/') + 1;
    const size_t stemEnd = std::min(destination.size(), nameStart + kLongestStem);
    return destination.substr(0, stemEnd) + "." + std::to_string(::getpid()) + ".partial";
}

bool writeAll(int fd, std::span<const uint8_t> bytes, uint64_t offset) {
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        bytes = bytes.subspan(static_cast<size_t>(written));
        offset += static_cast<uint64_t>(written);
    }
    return true;
}

} // namespace

OutputFile::OutputFile(std::string destination, FileDescriptor file)
    : destination_(std::move(destination)), file_(std::move(file)) {
    buffer_.reserve(kBufferSize);
}

std::unique_ptr<OutputFile> OutputFile::create(const std::string& destination, std::string& error) {
    const auto fail = [&](int number) {
        error = destination + ": " + std::strerror(number);
        return nullptr;
    };
    struct stat status;
    const bool replaces = ::lstat(destination.c_str(), &status) == 0;
    if (replaces && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode)) {
        error = destination + ": Is not a regular file";
        return nullptr;
    }
    // A new file needs no other name, and whoever has to end this process knows what to remove.
    const std::string path = replaces ? partialPathFor(destination) : destination;
    if (destination.empty() || path.size() >= sizeof partialPath)
        return fail(destination.empty() ? ENOENT : ENAMETOOLONG);
    installHandlers();
    const SignalsBlocked blocked;
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!file.isOpen())
        return fail(errno);
    std::memcpy(partialPath, path.c_str(), path.size() + 1);
    return std::unique_ptr<OutputFile>(new OutputFile(destination, std::move(file)));
}

OutputFile::~OutputFile() {
    const SignalsBlocked blocked;
    removePartial();
}

bool OutputFile::append(std::span<const uint8_t> bytes) {
    if (buffer_.size() + bytes.size() > kBufferSize && !flush())
        return false;
    if (bytes.size() <= kBufferSize) {
        buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
        return true;
    }
    if (!writeAll(file_.get(), bytes, flushed_))
        return false;
    flushed_ += bytes.size();
    return true;
}

bool OutputFile::patch(uint64_t offset, std::span<const uint8_t> bytes) {
    if (offset < flushed_)
        return writeAll(file_.get(), bytes, offset);
    std::copy(bytes.begin(), bytes.end(), buffer_.begin() + static_cast<ptrdiff_t>(offset - flushed_));
    return true;
}

bool OutputFile::flush() {
    if (!writeAll(file_.get(), buffer_, flushed_))
        return false;
    flushed_ += buffer_.size();
    buffer_.clear();
    return true;
}

bool OutputFile::publish() {
    // Some file systems report a full disk only here.
    if (!flush() || ::close(file_.release()) != 0)
        return false;
    const SignalsBlocked blocked;
    if (::rename(partialPath, destination_.c_str()) != 0)
        return false;
    partialPath[0] = '\0';
    return true;
}

bool OutputFile::isSameFile(int fd) const {
    struct stat own, other;
    return ::fstat(file_.get(), &own) == 0 && ::fstat(fd, &other) == 0 && own.st_dev == other.st_dev &&
           own.st_ino == other.st_ino;
}

} // namespace qvx
