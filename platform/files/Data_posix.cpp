#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "platform/files/Data.h"
#include "platform/files/FileDescriptor.h"

namespace qvx::platform {

namespace {

/// Owns a read-only mapping of a whole file.
class Mapping {
public:
    Mapping(void* start, size_t size) : start_(start), size_(size) {}
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    ~Mapping() { ::munmap(start_, size_); }

private:
    void* start_;
    size_t size_;
};

struct OpenFile {
    FileDescriptor descriptor;
    size_t size = 0;
};

Result<OpenFile> openRegularFile(std::string_view path) {
    const std::string name(path);
    // Opening a FIFO or some devices would otherwise wait for the other side.
    FileDescriptor descriptor(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!descriptor)
        return posixError(errno, path);
    struct stat status {};
    if (::fstat(descriptor.get(), &status) != 0)
        return posixError(errno, path);
    if (!S_ISREG(status.st_mode))
        return posixError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, path);
    return OpenFile{std::move(descriptor), static_cast<size_t>(status.st_size)};
}

} // namespace

Data Data::withBytes(std::string_view text) {
    return withString(std::string(text));
}

Data Data::withString(std::string&& text) {
    Data data;
    if (text.empty())
        return data;
    const auto owner = std::make_shared<const std::string>(std::move(text));
    data.segments_.push_back({owner, std::as_bytes(std::span(*owner)), false});
    data.size_ = owner->size();
    return data;
}

Result<Data> Data::withContentsOfFile(std::string_view path) {
    // Mapped: an archive may be larger than the memory that a build server leaves. What happens when it
    // shrinks is settled by Termination.
    const Result<OpenFile> file = openRegularFile(path);
    if (!file)
        return file.error();
    Data data;
    if (file->size == 0)
        return data;
    void* start = ::mmap(nullptr, file->size, PROT_READ, MAP_SHARED, file->descriptor.get(), 0);
    if (start == MAP_FAILED)
        return posixError(errno, path);
    data.segments_.push_back({std::make_shared<const Mapping>(start, file->size),
                              {static_cast<const std::byte*>(start), file->size},
                              true});
    data.size_ = file->size;
    return data;
}

Result<Data> Data::readFile(std::string_view path, size_t limit) {
    const Result<OpenFile> file = openRegularFile(path);
    if (!file)
        return file.error();
    // Read and not mapped: property lists are small, and other programs may write them meanwhile.
    if (file->size > limit)
        return posixError(EFBIG, path);
    // One byte more than the size, so that the end of file is seen without a second buffer.
    const size_t room = file->size + 1;
    const std::shared_ptr<std::byte[]> bytes(new std::byte[room]);
    size_t used = 0;
    while (used < room) {
        const ssize_t count = ::read(file->descriptor.get(), bytes.get() + used, room - used);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return posixError(errno, path);
        if (count == 0)
            break;
        used += static_cast<size_t>(count);
    }
    Data data;
    if (used > 0)
        data.segments_.push_back({bytes, {bytes.get(), used}, false});
    data.size_ = used;
    return data;
}

void Data::append(const Data& other) {
    segments_.insert(segments_.end(), other.segments_.begin(), other.segments_.end());
    size_ += other.size_;
}

std::string Data::string() const {
    std::string text;
    text.reserve(size_);
    for (const Segment& segment : segments_)
        text.append(reinterpret_cast<const char*>(segment.bytes.data()), segment.bytes.size());
    return text;
}

void Data::releasePages(const Segment& segment, size_t count) {
    static const auto pageSize = static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    const size_t whole = std::min(count, segment.bytes.size()) / pageSize * pageSize;
    if (segment.mapped && whole > 0)
        ::madvise(const_cast<std::byte*>(segment.bytes.data()), whole, MADV_DONTNEED);
}

} // namespace qvx::platform
