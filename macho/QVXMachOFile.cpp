#include "macho/QVXMachOFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "macho/FatHeader.h"
#include "macho/MachOFormat.h"

namespace qvx::macho {

namespace {

bool isThinMagic(uint32_t magic) {
    return magic == MH_MAGIC || magic == MH_MAGIC_64 || magic == MH_CIGAM || magic == MH_CIGAM_64;
}

int openForReading(const char* path) {
    for (;;) {
        // Without O_NONBLOCK opening a FIFO waits for a writer.
        const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        if (descriptor >= 0 || errno != EINTR)
            return descriptor;
    }
}

bool mapDescriptor(QVXMachOFile& file) {
    struct stat status {};
    if (::fstat(file.fd, &status) != 0)
        return false;
    file.mappedSize = static_cast<uint64_t>(status.st_size);
    // One bit of the file type, not the whole field.
    constexpr mode_t regularBit = 0x8000;
    if (status.st_size < 16 || (status.st_mode & regularBit) == 0)
        return false;
    file.mappedFile = ::mmap(nullptr, file.mappedSize, PROT_READ, MAP_SHARED, file.fd, 0);
    // Shared, so that the pages are the cache's own; nothing here writes.
    return file.mappedFile != nullptr && file.mappedFile != MAP_FAILED;
}

void enumerateSlicesOfFatImage(const void* image, uint64_t readableSize,
                               const QVXMachOSliceVisitor& visitor) {
    const ByteReader reader(image, readableSize != 0 ? readableSize : UINT64_MAX);
    enumerateFatEntries(reader, fatEntrySize, maximumFatEntries, [&](const FatEntry& entry) {
        const std::byte* start = reader.bytes(entry.offset, entry.size);
        if (start == nullptr || entry.size == 0)
            return;
        const QVXMachOSlice slice{
            .startAddress = start,
            .cputype = entry.cputype,
            .cpusubtype = entry.cpusubtype,
            // 0 means that nobody knows: an image in memory is read as far as it says itself.
            .readableSize = readableSize != 0 ? entry.size : 0,
        };
        visitor(&slice);
    });
}

} // namespace

bool QVXMachOFileInitWithPath(QVXMachOFile* file, const char* path) {
    if (file == nullptr || path == nullptr)
        return false;
    // An Init that fails leaves a record that is nobody's to destroy: Destroy would close a descriptor that
    // others may have by then.
    *file = {.fd = 0, .mappedSize = 0, .mappedFile = nullptr};
    file->fd = openForReading(path);
    if (file->fd < 0)
        return false;
    if (mapDescriptor(*file))
        return true;
    ::close(file->fd);
    return false;
}

bool QVXMachOFileInitWithCurrent(QVXMachOFile* file) {
    const QVXMachOSlice current = QVXMachOSliceGetCurrent();
    return QVXMachOFileInitWithPath(file, QVXMachOSliceGetExecutablePath(&current));
}

void QVXMachOFileDestroy(QVXMachOFile* file) {
    if (file == nullptr)
        return;
    if (file->mappedFile != nullptr && file->mappedSize != 0)
        ::munmap(const_cast<void*>(file->mappedFile), file->mappedSize);
    ::close(file->fd);
}

void QVXMachOFileEnumerateSlices(const QVXMachOFile* file, const QVXMachOSliceVisitor& visitor) {
    QVXMachOEnumerateSlicesAtAddress(file->mappedFile, visitor, file->mappedSize);
}

void QVXMachOEnumerateSlicesAtAddress(const void* image, const QVXMachOSliceVisitor& visitor,
                                      uint64_t readableSize) {
    QVXMachOSlice slice{.startAddress = image, .readableSize = readableSize};
    const ByteReader reader = sliceReader(slice);
    const uint32_t magic = reader.read<uint32_t>(0).value_or(0);
    // A Java class begins with the same word; what it counts as entries does not lie in the file, so it has
    // no slices.
    if (magic == FAT_MAGIC || magic == FAT_CIGAM)
        return enumerateSlicesOfFatImage(image, readableSize, visitor);
    if (isThinMagic(magic)) {
        slice.cputype = reader.read<int32_t>(4).value_or(0);
        slice.cpusubtype = reader.read<int32_t>(8).value_or(0);
    }
    visitor(&slice);
}

QVXMachOSlice QVXMachOFileSliceWithArchitectureName(const QVXMachOFile* file, const char* name) {
    QVXMachOSlice result;
    QVXMachOFileEnumerateSlices(file, [&](const QVXMachOSlice* slice) {
        // No break: the last one of a name counts.
        if (std::strcmp(QVXMachOSliceGetArchitectureName(slice), name) == 0)
            result = *slice;
    });
    return result;
}

} // namespace qvx::macho
