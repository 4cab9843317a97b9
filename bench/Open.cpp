// Opens a Mach-O file and lists its UUIDs again and again: open FILE RUNS
// Prints the median's nanoseconds, then the numbers of the file's pages that the first time touched.

#include "macho/QVXMachOBinary.h"
#include "platform/files/FileDescriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

using qvx::QVXMachOBinary;
using qvx::platform::URL;

extern "C" {

void* __real_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset);
void* __wrap_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset);

// Without read-ahead exactly the pages that are touched come into memory.
void* __wrap_mmap(void* address, size_t length, int protection, int flags, int fd, off_t offset) {
    void* start = __real_mmap(address, length, protection, flags, fd, offset);
    if (start != MAP_FAILED)
        madvise(start, length, MADV_RANDOM);
    return start;
}
}

namespace {

constexpr size_t kPageSize = 4096;

/// Whether both slices gave a UUID.
bool openAndList(const URL& url) {
    const auto binary = QVXMachOBinary::initWithURL(url);
    size_t found = 0;
    if (binary)
        binary->enumerateUUIDs([&](const auto& uuid, const std::string&) { found += uuid.has_value(); });
    return found == 2;
}

std::vector<size_t> residentPages(int fd, size_t size) {
    void* start = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
    if (start == MAP_FAILED)
        std::exit(1);
    std::vector<unsigned char> flags((size + kPageSize - 1) / kPageSize);
    if (mincore(start, size, flags.data()) != 0)
        std::exit(1);
    munmap(start, size);
    std::vector<size_t> pages;
    for (size_t page = 0; page < flags.size(); ++page)
        if (flags[page] & 1)
            pages.push_back(page);
    return pages;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    const URL url = URL::fileURLWithPath(argv[1]);
    const qvx::platform::FileDescriptor file(open(argv[1], O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (fstat(file.get(), &status) != 0)
        return 1;
    const auto size = static_cast<size_t>(status.st_size);
    // Only pages that are on disk can be given up.
    if (fsync(file.get()) != 0 || posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED) != 0 ||
        !residentPages(file.get(), size).empty() || !openAndList(url))
        return 1;
    const std::vector<size_t> touched = residentPages(file.get(), size);

    std::vector<long long> times(std::strtoul(argv[2], nullptr, 10));
    for (long long& time : times) {
        const auto start = std::chrono::steady_clock::now();
        if (!openAndList(url))
            return 1;
        time = std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
    }
    if (times.empty())
        return 2;
    std::nth_element(times.begin(), times.begin() + static_cast<ptrdiff_t>(times.size() / 2), times.end());
    std::printf("%lld", times[times.size() / 2]);
    for (const size_t page : touched)
        std::printf(" %zu", page);
    std::printf("\n");
    return 0;
}
