// Prints what the given Mach-O files and dSYM bundles hold, as one line of JSON per path.

#include <cstdio>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "macho/QVXMachOBinary.h"
#include "macho/QVXdSYM.h"
#include "platform/files/FileManager.h"
#include "platform/text/String.h"
#include "platform/text/URL.h"

namespace qvx {

namespace {

constexpr int usageStatus = 64;

// The text as JSON, whatever its bytes; null when absent.
std::string quoted(std::optional<std::string_view> text) {
    if (!text)
        return "null";
    constexpr char digits[] = "0123456789abcdef";
    std::string result = "\"";
    for (const char character : platform::validUTF8(*text)) {
        if (character == '"' || character == '\\')
            result += '\\';
        if (static_cast<unsigned char>(character) < 0x20) {
            result += "\\u00";
            result += digits[character >> 4];
            result += digits[character & 15];
        } else {
            result += character;
        }
    }
    return result + '"';
}

std::optional<std::string> textOf(const std::optional<platform::Value>& value) {
    return value ? std::optional(value->description()) : std::nullopt;
}

template <class Items, class ToJSON>
std::string array(const Items& items, ToJSON toJSON) {
    std::string result = "[";
    for (const auto& item : items)
        result += (result.size() > 1 ? ", " : "") + toJSON(item);
    return result + ']';
}

struct Member {
    std::string_view name;
    std::string json;
};

std::string object(std::initializer_list<Member> members) {
    std::string result = "{";
    for (const Member& member : members)
        result += (result.size() > 1 ? ", \"" : "\"") + std::string(member.name) + "\": " + member.json;
    return result + '}';
}

std::string offsetInSlice(const QVXMachOSlice& slice, const void* data) {
    if (data == nullptr)
        return "null";
    return std::to_string(static_cast<const char*>(data) -
                          static_cast<const char*>(slice.slice().startAddress));
}

std::string describe(const QVXMachOSlice& slice) {
    return object({
        {"architecture", quoted(slice.architectureName())},
        {"cputype", std::to_string(slice.slice().cputype)},
        {"cpusubtype", std::to_string(slice.slice().cpusubtype)},
        {"uuid", quoted(slice.uuid())},
        {"minimumOSVersion", quoted(macho::QVXMachOFormatVersion(&slice.minimumOSVersion()))},
        {"linkedSDKVersion", quoted(macho::QVXMachOFormatVersion(&slice.linkedSDKVersion()))},
        {"linkedDylibs", array(slice.linkedDylibs(), [](const std::string& name) { return quoted(name); })},
        {"ehFrame", offsetInSlice(slice, slice.ehFrameData())},
        {"unwindInfo", offsetInSlice(slice, slice.unwindInfoData())},
    });
}

std::string describe(std::string_view path, const QVXMachOBinary& binary) {
    return object({
        {"path", quoted(path)},
        {"instanceIdentifier", quoted(binary.instanceIdentifier())},
        {"slices", array(binary.slices(), [](const auto& slice) { return describe(*slice); })},
    });
}

std::string describe(std::string_view path, const QVXdSYM& dSYM) {
    return object({
        {"path", quoted(path)},
        {"bundleIdentifier", quoted(dSYM.bundleIdentifier())},
        {"bundleVersion", quoted(textOf(dSYM.bundleVersion()))},
        {"shortBundleVersion", quoted(textOf(dSYM.shortBundleVersion()))},
        {"executablePath", quoted(dSYM.executablePath())},
        {"executable", dSYM.binary() != nullptr ? describe(dSYM.binary()->path(), *dSYM.binary()) : "null"},
    });
}

// Whether what is at `path` could be opened.
bool inspect(std::string_view path) {
    std::string line;
    bool opened = true;
    if (const auto dSYM = QVXdSYM::dSYMWithURL(platform::URL::fileURLWithPath(path))) {
        line = describe(path, *dSYM);
    } else if (const auto binary = QVXMachOBinary::MachOBinaryWithPath(path)) {
        line = describe(path, *binary);
    } else {
        opened = false;
        const std::string_view error =
            !platform::FileManager::fileExistsAtPath(path)   ? "no such file or folder"
            : platform::FileManager::isDirectoryAtPath(path) ? "no dSYM bundle with an executable"
                                                             : "no readable file of at least 16 bytes";
        line = object({{"path", quoted(path)}, {"error", quoted(error)}});
    }
    std::puts(line.c_str());
    return opened;
}

} // namespace

} // namespace qvx

int main(int count, char** arguments) {
    if (count < 2) {
        std::fputs("usage: inspect PATH...\n", stderr);
        return qvx::usageStatus;
    }
    bool opened = true;
    for (int index = 1; index < count; ++index)
        opened &= qvx::inspect(arguments[index]);
    return opened ? 0 : 1;
}
