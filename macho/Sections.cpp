#include "macho/Sections.h"

#include <cstring>
#include <optional>

#include "macho/LoadCommands.h"
#include "macho/MachOFormat.h"

namespace qvx::macho {

namespace {

constexpr uint64_t segmentName = 8;
constexpr char textSegment[] = "__TEXT";
constexpr char dwarfSegment[] = "__DWARF";
constexpr uint64_t nameSize = 16;

struct SegmentLayout {
    uint32_t cmd;
    bool is64Bit;
    uint64_t fileOffset;
    uint64_t fileSize;
    uint64_t sectionCount;
    uint64_t sections;
    uint64_t sectionStride;
    uint64_t sectionSize;
    uint64_t sectionOffset;
};

// Offsets in segment_command and section, and their 64-bit forms.
constexpr SegmentLayout segment32{LC_SEGMENT, false, 32, 36, 48, 56, 68, 36, 40};
constexpr SegmentLayout segment64{LC_SEGMENT_64, true, 40, 48, 64, 72, 80, 40, 48};

bool nameIs(const ByteReader& reader, uint64_t offset, const char* name) {
    const std::byte* field = reader.bytes(offset, nameSize);
    return field != nullptr && std::strncmp(reinterpret_cast<const char*>(field), name, nameSize) == 0;
}

// A number as wide as the slice's addresses; 0 when it is not wholly in the command.
uint64_t sizeAt(const ByteReader& segment, const SegmentLayout& layout, uint64_t offset) {
    return layout.is64Bit ? segment.read<uint64_t>(offset).value_or(0)
                          : segment.read<uint32_t>(offset).value_or(0);
}

// Offset of the section's record in its segment command. The segment's name in the record counts: an object
// file keeps the sections of all segments in one command without a name.
std::optional<uint64_t> findSection(const ByteReader& segment, const SegmentLayout& layout,
                                    const char* segmentOfSection, const char* name) {
    const uint32_t count = segment.read<uint32_t>(layout.sectionCount).value_or(0);
    for (uint64_t index = 0; index < count; ++index) {
        const uint64_t section = layout.sections + index * layout.sectionStride;
        if (!segment.contains(section, layout.sectionStride))
            break;
        if (nameIs(segment, section, name) && nameIs(segment, section + nameSize, segmentOfSection))
            return section;
    }
    return std::nullopt;
}

const void* sectionData(const ByteReader& image, const ByteReader& segment, uint64_t section,
                        const SegmentLayout& layout) {
    const auto offset = segment.read<uint32_t>(section + layout.sectionOffset);
    // Only where it starts: a dSYM's sections have the sizes that they have in the app, and no bytes for
    // them.
    return offset ? image.bytes(*offset, 1) : nullptr;
}

} // namespace

void QVXMachOSliceGetSectionByName(const QVXMachOSlice* slice, const char* name, const void** data) {
    if (slice == nullptr || name == nullptr || data == nullptr || slice->startAddress == nullptr)
        return;
    *data = nullptr;
    const SegmentLayout& layout = QVXMachOSliceIs64Bit(slice) ? segment64 : segment32;
    const ByteReader image = sliceReader(*slice);

    bool found = false;
    QVXMachOSlice walked = *slice;
    QVXMachOSliceEnumerateLoadCommands(&walked, [&](uint32_t cmd, uint32_t cmdsize, const void* command) {
        const ByteReader segment(command, cmdsize);
        if (found || cmd != layout.cmd)
            return;
        if (!nameIs(segment, segmentName, textSegment) && !nameIs(segment, segmentName, ""))
            return;
        if (const auto section = findSection(segment, layout, textSegment, name)) {
            found = true;
            *data = sectionData(image, segment, *section, layout);
        }
    });
}

void QVXMachOSliceGetUnwindInformation(const QVXMachOSlice* slice, const void** ehFrame,
                                       const void** unwindInfo) {
    QVXMachOSliceGetSectionByName(slice, "__eh_frame", ehFrame);
    QVXMachOSliceGetSectionByName(slice, "__unwind_info", unwindInfo);
}

bool QVXMachOSegmentHasDebugInformation(uint32_t cmd, uint32_t cmdsize, const void* command,
                                        uint64_t sliceSize) {
    const SegmentLayout& layout = cmd == LC_SEGMENT_64 ? segment64 : segment32;
    const ByteReader segment(command, cmdsize);
    if (cmd != layout.cmd || !nameIs(segment, segmentName, dwarfSegment))
        return false;
    const uint64_t offset = sizeAt(segment, layout, layout.fileOffset);
    const uint64_t size = sizeAt(segment, layout, layout.fileSize);
    if (size == 0 || size > sliceSize || offset > sliceSize - size)
        return false;
    if (segment.read<uint32_t>(layout.sectionCount).value_or(0) == 0)
        return true;
    const auto section = findSection(segment, layout, dwarfSegment, "__debug_info");
    return section && sizeAt(segment, layout, *section + layout.sectionSize) != 0;
}

} // namespace qvx::macho
