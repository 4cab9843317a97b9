#include "macho/Sections.h"

#include <cstring>
#include <optional>

#include "macho/LoadCommands.h"
#include "macho/MachOFormat.h"

namespace qvx::macho {

namespace {

constexpr uint64_t segmentName = 8;
constexpr char textSegment[] = "__TEXT";
constexpr uint64_t nameSize = 16;

struct SegmentLayout {
    uint32_t cmd;
    uint64_t sectionCount;
    uint64_t sections;
    uint64_t sectionStride;
    uint64_t sectionOffset;
};

// Offsets in segment_command and section, and their 64-bit forms.
constexpr SegmentLayout segment32{LC_SEGMENT, 48, 56, 68, 40};
constexpr SegmentLayout segment64{LC_SEGMENT_64, 64, 72, 80, 48};

bool nameIs(const ByteReader& reader, uint64_t offset, const char* name) {
    const std::byte* field = reader.bytes(offset, nameSize);
    return field != nullptr && std::strncmp(reinterpret_cast<const char*>(field), name, nameSize) == 0;
}

// Offset of the section's record in its segment command. The segment's name in the record counts: an object
// file keeps the sections of all segments in one command without a name.
std::optional<uint64_t> findSection(const ByteReader& segment, const SegmentLayout& layout,
                                    const char* name) {
    const uint32_t count = segment.read<uint32_t>(layout.sectionCount).value_or(0);
    for (uint64_t index = 0; index < count; ++index) {
        const uint64_t section = layout.sections + index * layout.sectionStride;
        if (!segment.contains(section, layout.sectionStride))
            break;
        if (nameIs(segment, section, name) && nameIs(segment, section + nameSize, textSegment))
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
        if (const auto section = findSection(segment, layout, name)) {
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

} // namespace qvx::macho
