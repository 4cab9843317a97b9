#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "macho/QVXMachOSliceRecord.h"

/// The load commands of a slice (<mach-o/loader.h>). The decoders are for commands that the walk delivers:
/// they read no further than the command's own size, and give nothing when that is too short for the field.
namespace qvx::macho {

struct QVXMachOVersion {
    uint32_t major = 0;
    uint32_t minor = 0;
    uint32_t patch = 0;

    friend bool operator==(const QVXMachOVersion&, const QVXMachOVersion&) = default;
};

/// Is given the command's type, its size in bytes and its first byte, which is valid as long as the image.
using QVXMachOLoadCommandVisitor = std::function<void(uint32_t cmd, uint32_t cmdsize, const void* command)>;

/// Limits of one walk, far above what linkers write (some hundred commands in a few pages), so that no file
/// can hold a caller for long, however its counts and sizes were made. The bytes are counted from the end of
/// the header.
inline constexpr uint32_t maximumCommands = 1U << 16;
inline constexpr uint64_t maximumCommandBytes = 4U << 20;

/// How many bytes stand before the first command under a header with this magic, read in host order; 0 when
/// it is no Mach-O header's.
[[nodiscard]] uint64_t QVXMachOHeaderSize(uint32_t magic);

/// Walks the load commands in file order, and first replaces the record's CPU fields with the header's. The
/// words are taken in host order, also under a header of the other order. A command of size 0 is delivered
/// again and again; a command that does not lie in the readable bytes and within the limits ends the walk.
/// Does nothing when an argument or the slice's header is null or the magic is unknown.
void QVXMachOSliceEnumerateLoadCommands(QVXMachOSlice* slice, const QVXMachOLoadCommandVisitor& visitor);

/// The 16 bytes of an LC_UUID command, inside it; null when it is too short.
[[nodiscard]] const uint8_t* QVXMachOGetUUID(const void* command);

/// The path of a dylib command, inside it, up to its NUL or else the command's end; any bytes. Absent when
/// it does not begin inside the command.
[[nodiscard]] std::optional<std::string_view> QVXMachOGetDylibPath(const void* command);

/// Whether an encryption-info command says that the slice is encrypted; false when it is too short.
[[nodiscard]] bool QVXMachOGetEncrypted(const void* command);

/// The oldest system version of a version-minimum command.
[[nodiscard]] std::optional<QVXMachOVersion> QVXMachOGetMinimumOSVersion(const void* command);

/// The SDK version of a version-minimum command.
[[nodiscard]] std::optional<QVXMachOVersion> QVXMachOGetLinkedSDKVersion(const void* command);

/// 32 lower-case hexadecimal digits, byte 0 first. \param uuid 16 bytes
[[nodiscard]] std::string QVXMachONormalizeUUID(const uint8_t* uuid);

/// "MAJOR.MINOR.PATCH", each as a signed decimal; absent for null.
[[nodiscard]] std::optional<std::string> QVXMachOFormatVersion(const QVXMachOVersion* version);

} // namespace qvx::macho
