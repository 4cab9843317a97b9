#include "macho/QVXMachOSlice.h"

#include <utility>

#include "macho/MachOFormat.h"
#include "macho/Sections.h"
#include "platform/text/String.h"

namespace qvx {

namespace {

// Memory for the names of one slice, room for thousands of real ones. Without a limit a file of a few
// megabytes whose fat entries all name the same bytes would take a hundred times its size.
constexpr uint64_t maximumNamesSize = 256U << 10;

} // namespace

std::shared_ptr<QVXMachOSlice> QVXMachOSlice::runningSlice() {
    const macho::QVXMachOSlice current = macho::QVXMachOSliceGetCurrent();
    return initWithSlice(&current);
}

std::shared_ptr<QVXMachOSlice> QVXMachOSlice::initWithSlice(const macho::QVXMachOSlice* slice) {
    return slice != nullptr ? std::shared_ptr<QVXMachOSlice>(new QVXMachOSlice(*slice)) : nullptr;
}

QVXMachOSlice::QVXMachOSlice(const macho::QVXMachOSlice& slice) : slice_(slice) {
    const uint8_t* uuid = nullptr;
    uint64_t namesSize = 0;
    const auto decode = [&](uint32_t cmd, uint32_t /*cmdsize*/, const void* command) {
        switch (cmd) {
        case macho::LC_VERSION_MIN_MACOSX:
        case macho::LC_VERSION_MIN_IPHONEOS:
            // The last command counts, and one that is too short changes nothing. LC_BUILD_VERSION, which
            // linkers write for newer targets, is not read: what the checks make of such apps is settled.
            if (const auto version = macho::QVXMachOGetMinimumOSVersion(command))
                minimumOSVersion_ = *version;
            if (const auto version = macho::QVXMachOGetLinkedSDKVersion(command))
                linkedSDKVersion_ = *version;
            break;
        case macho::LC_LOAD_DYLIB:
            appendDylib(command, namesSize);
            break;
        case macho::LC_UUID:
            // Kept as bytes until the walk is over: only the last one is worth making a text of.
            if (const uint8_t* bytes = macho::QVXMachOGetUUID(command))
                uuid = bytes;
            break;
        default:
            break;
        }
    };
    macho::QVXMachOSliceEnumerateLoadCommands(&slice_, decode);
    if (uuid != nullptr)
        uuidString_ = macho::QVXMachONormalizeUUID(uuid);
}

void QVXMachOSlice::appendDylib(const void* command, uint64_t& namesSize) {
    const std::optional<std::string_view> path = macho::QVXMachOGetDylibPath(command);
    if (!path)
        return;
    namesSize += sizeof(std::string) + path->size();
    if (namesSize > maximumNamesSize)
        return;
    if (std::optional<std::string> name = platform::stringWithUTF8String(*path))
        linkedDylibs_.push_back(std::move(*name));
}

std::string QVXMachOSlice::architectureName() const {
    return macho::QVXMachOSliceGetArchitectureName(&slice_);
}

const void* QVXMachOSlice::ehFrameData() const {
    const void* data = nullptr;
    macho::QVXMachOSliceGetUnwindInformation(&slice_, &data, nullptr);
    return data;
}

const void* QVXMachOSlice::unwindInfoData() const {
    const void* data = nullptr;
    macho::QVXMachOSliceGetUnwindInformation(&slice_, nullptr, &data);
    return data;
}

} // namespace qvx
