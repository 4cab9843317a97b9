#include "macho/LoadCommands.h"

#include <algorithm>
#include <cstring>

#include "macho/MachOFormat.h"
#include "platform/text/Format.h"
#include "platform/text/String.h"

namespace qvx::macho {

namespace {

// Two words: the type and the size of the whole command.
constexpr uint64_t commandHeaderSize = 8;

// The walk delivers no command whose own bytes cannot be read.
ByteReader commandReader(const void* command) {
    return {command, ByteReader(command, commandHeaderSize).read<uint32_t>(4).value_or(0)};
}

// Packed as xxxx.yy.zz, a hexadecimal digit a letter.
std::optional<QVXMachOVersion> versionAt(const void* command, uint64_t offset) {
    const std::optional<uint32_t> packed = commandReader(command).read<uint32_t>(offset);
    if (!packed)
        return std::nullopt;
    return QVXMachOVersion{*packed >> 16, (*packed >> 8) & 0xff, *packed & 0xff};
}

} // namespace

uint64_t QVXMachOHeaderSize(uint32_t magic) {
    if (magic == MH_MAGIC || magic == MH_CIGAM)
        return 28;
    if (magic == MH_MAGIC_64 || magic == MH_CIGAM_64)
        return 32;
    return 0;
}

void QVXMachOSliceEnumerateLoadCommands(QVXMachOSlice* slice, const QVXMachOLoadCommandVisitor& visitor) {
    if (slice == nullptr || !visitor || slice->startAddress == nullptr)
        return;
    const ByteReader image = sliceReader(*slice);
    const uint64_t firstCommand = QVXMachOHeaderSize(image.read<uint32_t>(0).value_or(0));
    if (firstCommand == 0)
        return;
    // Those of a fat header may differ from the image's own, which is what runs.
    slice->cputype = image.read<int32_t>(4).value_or(slice->cputype);
    slice->cpusubtype = image.read<int32_t>(8).value_or(slice->cpusubtype);
    const uint32_t count = std::min(image.read<uint32_t>(16).value_or(0), maximumCommands);

    // Bounded by what linkers write and not by the header's own sizeofcmds: hostile files lie in both, and
    // sound ones need neither.
    const ByteReader commands = image.first(firstCommand + maximumCommandBytes);
    uint64_t offset = firstCommand;
    for (uint32_t number = 0; number < count; ++number) {
        const std::byte* command = commands.bytes(offset, commandHeaderSize);
        if (command == nullptr)
            return;
        const uint32_t cmd = commands.read<uint32_t>(offset).value_or(0);
        const uint32_t cmdsize = commands.read<uint32_t>(offset + 4).value_or(0);
        // A size of 0 passes, and the command is seen as often as the header counts commands; the limit
        // above ends it.
        if (!commands.contains(offset, cmdsize))
            return;
        visitor(cmd, cmdsize, command);
        offset += cmdsize;
    }
}

const uint8_t* QVXMachOGetUUID(const void* command) {
    return reinterpret_cast<const uint8_t*>(commandReader(command).bytes(8, 16));
}

std::optional<std::string_view> QVXMachOGetDylibPath(const void* command) {
    const ByteReader reader = commandReader(command);
    // Counted from the command's first byte, so an offset below 24 points into the command's own fields;
    // tolerated, it is bytes all the same.
    const std::optional<uint32_t> offset = reader.read<uint32_t>(8);
    if (!offset || !reader.contains(*offset, 1))
        return std::nullopt;
    const auto* name = reinterpret_cast<const char*>(reader.bytes(*offset, 1));
    return std::string_view(name, ::strnlen(name, reader.size() - *offset));
}

bool QVXMachOGetEncrypted(const void* command) {
    return commandReader(command).read<uint32_t>(16).value_or(0) != 0;
}

std::optional<QVXMachOVersion> QVXMachOGetMinimumOSVersion(const void* command) {
    return versionAt(command, 8);
}

std::optional<QVXMachOVersion> QVXMachOGetLinkedSDKVersion(const void* command) {
    return versionAt(command, 12);
}

std::string QVXMachONormalizeUUID(const uint8_t* uuid) {
    return platform::hexadecimalString({uuid, 16});
}

std::optional<std::string> QVXMachOFormatVersion(const QVXMachOVersion* version) {
    if (version == nullptr)
        return std::nullopt;
    return platform::format("%d.%d.%d", version->major, version->minor, version->patch);
}

} // namespace qvx::macho
