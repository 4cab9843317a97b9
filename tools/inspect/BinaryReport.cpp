#include "tools/inspect/BinaryReport.h"

#include <optional>

#include "macho/QVXMachOBinary.h"
#include "macho/QVXdSYM.h"
#include "platform/files/FileManager.h"
#include "platform/text/URL.h"
#include "tools/inspect/JSONText.h"

namespace qvx::inspector {

namespace {

std::optional<std::string> textOf(const std::optional<platform::Value>& value) {
    return value ? std::optional(value->description()) : std::nullopt;
}

std::string offsetInSlice(const QVXMachOSlice& slice, const void* data) {
    if (data == nullptr)
        return "null";
    return std::to_string(static_cast<const char*>(data) -
                          static_cast<const char*>(slice.slice().startAddress));
}

std::string describe(const QVXMachOSlice& slice) {
    return object({
        {"architecture", jsonString(slice.architectureName())},
        {"cputype", std::to_string(slice.slice().cputype)},
        {"cpusubtype", std::to_string(slice.slice().cpusubtype)},
        {"uuid", jsonString(slice.uuid())},
        {"minimumOSVersion", jsonString(macho::QVXMachOFormatVersion(&slice.minimumOSVersion()))},
        {"linkedSDKVersion", jsonString(macho::QVXMachOFormatVersion(&slice.linkedSDKVersion()))},
        {"linkedDylibs",
         array(slice.linkedDylibs(), [](const std::string& name) { return jsonString(name); })},
        {"ehFrame", offsetInSlice(slice, slice.ehFrameData())},
        {"unwindInfo", offsetInSlice(slice, slice.unwindInfoData())},
    });
}

std::string describe(std::string_view path, const QVXMachOBinary& binary) {
    return object({
        {"path", jsonString(path)},
        {"instanceIdentifier", jsonString(binary.instanceIdentifier())},
        {"slices", array(binary.slices(), [](const auto& slice) { return describe(*slice); })},
    });
}

std::string describe(std::string_view path, const QVXdSYM& dSYM) {
    return object({
        {"path", jsonString(path)},
        {"bundleIdentifier", jsonString(dSYM.bundleIdentifier())},
        {"bundleVersion", jsonString(textOf(dSYM.bundleVersion()))},
        {"shortBundleVersion", jsonString(textOf(dSYM.shortBundleVersion()))},
        {"executablePath", jsonString(dSYM.executablePath())},
        {"executable", dSYM.binary() != nullptr ? describe(dSYM.binary()->path(), *dSYM.binary()) : "null"},
    });
}

} // namespace

BinaryReport describeBinary(std::string_view path) {
    if (const auto dSYM = QVXdSYM::dSYMWithURL(platform::URL::fileURLWithPath(path)))
        return {describe(path, *dSYM)};
    if (const auto binary = QVXMachOBinary::MachOBinaryWithPath(path))
        return {describe(path, *binary)};
    const std::string_view error = !platform::FileManager::fileExistsAtPath(path) ? "no such file or folder"
                                   : platform::FileManager::isDirectoryAtPath(path)
                                       ? "no dSYM bundle with an executable"
                                       : "no readable file of at least 16 bytes";
    return {object({{"path", jsonString(path)}, {"error", jsonString(error)}}), false};
}

} // namespace qvx::inspector
