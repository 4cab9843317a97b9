#include "macho/MachOHeaders.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "macho/FatHeader.h"
#include "macho/LoadCommands.h"
#include "macho/MachOFormat.h"
#include "macho/Sections.h"
#include "platform/files/FileReader.h"

namespace qvx::macho {

namespace {

// Java's class files have the magic of fat ones; where the count stands they have a version of 45 or more.
constexpr uint32_t leastJavaVersion = 45;

constexpr uint64_t commandsSizeOffset = 20;
// Room for nearly all headers with their commands.
constexpr size_t usualSize = 4096;

constexpr std::string_view cutOff = "it is cut off";
constexpr std::string_view otherByteOrder = "it has a slice of the other byte order";

SliceHeader decode(std::span<const std::byte> bytes, uint64_t sliceSize) {
    QVXMachOSlice record{.startAddress = bytes.data(), .readableSize = bytes.size()};
    SliceHeader header;
    header.filetype = sliceReader(record).read<uint32_t>(12).value_or(0);
    QVXMachOSliceEnumerateLoadCommands(&record, [&](uint32_t cmd, uint32_t cmdsize, const void* command) {
        if (const uint8_t* uuid = cmd == LC_UUID ? QVXMachOGetUUID(command) : nullptr)
            header.uuid = QVXMachONormalizeUUID(uuid);
        header.hasDebugInformation |= QVXMachOSegmentHasDebugInformation(cmd, cmdsize, command, sliceSize);
    });
    header.architecture = QVXMachOSliceGetArchitectureName(&record);
    return header;
}

class Reading {
public:
    explicit Reading(const platform::FileReader& file) : file_(file) {}

    [[nodiscard]] platform::Result<MachOHeaders> result() {
        std::array<std::byte, fatHeaderSize + leastJavaVersion * fatEntrySize64> start;
        const std::span<const std::byte> bytes = read(0, start);
        const ByteReader reader(bytes.data(), bytes.size());
        const uint32_t magic = reader.read<uint32_t>(0).value_or(0);
        if (magic == FAT_MAGIC || magic == FAT_CIGAM)
            addFatSlices(reader, fatEntrySize);
        else if (magic == FAT_MAGIC_64 || magic == FAT_CIGAM_64)
            addFatSlices(reader, fatEntrySize64);
        else if (QVXMachOHeaderSize(magic) != 0)
            addSlice(0, file_.size());
        if (error_)
            return *error_;
        return std::move(headers_);
    }

private:
    // What there is of the wanted bytes.
    std::span<const std::byte> read(uint64_t offset, std::span<std::byte> bytes) {
        const platform::Result<size_t> count = file_.read(offset, bytes);
        if (!count)
            error_ = count.error();
        return bytes.first(count ? *count : 0);
    }

    void addFatSlices(const ByteReader& file, uint64_t entrySize) {
        const uint32_t count = fatEntryCount(file);
        if (count >= leastJavaVersion)
            return;
        if (!file.contains(fatHeaderSize, count * entrySize))
            headers_.damage = cutOff;
        enumerateFatEntries(file, entrySize, count, [&](const FatEntry& entry) {
            const uint64_t rest = file_.size() - std::min(entry.offset, file_.size());
            if (entry.size > rest)
                headers_.damage = cutOff;
            addSlice(entry.offset, std::min(entry.size, rest));
        });
    }

    void addSlice(uint64_t offset, uint64_t size) {
        std::array<std::byte, usualSize> start;
        std::span<const std::byte> bytes =
            read(offset, std::span(start).first(std::min<uint64_t>(size, usualSize)));
        const ByteReader reader(bytes.data(), bytes.size());
        const uint32_t magic = reader.read<uint32_t>(0).value_or(0);
        const uint64_t headerSize = QVXMachOHeaderSize(magic);
        if (headerSize == 0)
            return;
        if (magic == MH_CIGAM || magic == MH_CIGAM_64) {
            headers_.damage = otherByteOrder;
            return;
        }
        const uint64_t needed = headerSize + reader.read<uint32_t>(commandsSizeOffset).value_or(0);
        if (needed > usualSize) {
            larger_.resize(std::min({needed, size, headerSize + maximumCommandBytes}));
            bytes = read(offset, larger_);
        }
        if (needed > size || bytes.size() < std::min(needed, headerSize + maximumCommandBytes))
            headers_.damage = cutOff;
        if (bytes.size() >= headerSize)
            headers_.slices.push_back(decode(bytes.first(std::min<uint64_t>(needed, bytes.size())), size));
    }

    const platform::FileReader& file_;
    MachOHeaders headers_;
    std::optional<platform::Error> error_;
    std::vector<std::byte> larger_;
};

} // namespace

platform::Result<MachOHeaders> readMachOHeaders(std::string_view path) {
    const platform::Result<platform::FileReader> file = platform::FileReader::open(path);
    if (!file)
        return file.error();
    return Reading(*file).result();
}

} // namespace qvx::macho
