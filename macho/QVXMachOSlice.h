#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "macho/LoadCommands.h"
#include "macho/QVXMachOSliceRecord.h"

namespace qvx {

/// One architecture of a Mach-O image, its load commands decoded once at creation. Does not keep the image
/// alive: the record and the section pointers are valid as long as the binary that made the slice, the
/// texts and versions outlive it.
class QVXMachOSlice {
public:
    /// The slice of the running executable; an "unknown" one without any content where that is not Mach-O.
    [[nodiscard]] static std::shared_ptr<QVXMachOSlice> runningSlice();

    /// Copies the record and decodes its load commands; null for null.
    [[nodiscard]] static std::shared_ptr<QVXMachOSlice> initWithSlice(const macho::QVXMachOSlice* slice);

    /// The record, with the CPU fields of the slice's own header.
    [[nodiscard]] const macho::QVXMachOSlice& slice() const { return slice_; }

    /// 32 lower-case hexadecimal digits; absent when there is no LC_UUID.
    [[nodiscard]] const std::optional<std::string>& uuid() const { return uuidString_; }

    /// Such as "arm64"; "unknown" when the CPU type or subtype is.
    [[nodiscard]] std::string architectureName() const;

    /// Install names of the LC_LOAD_DYLIB commands in command order. A name that is not UTF-8 is left out,
    /// and so are all names from the one on that makes them more than a linker would ever write.
    [[nodiscard]] const std::vector<std::string>& linkedDylibs() const { return linkedDylibs_; }

    /// From the last version-minimum command for macOS or iOS; 0.0.0 when there is none.
    [[nodiscard]] const macho::QVXMachOVersion& minimumOSVersion() const { return minimumOSVersion_; }
    [[nodiscard]] const macho::QVXMachOVersion& linkedSDKVersion() const { return linkedSDKVersion_; }

    /// First byte of the section "__eh_frame" or "__unwind_info" of the segment "__TEXT"; null when there is
    /// none.
    [[nodiscard]] const void* ehFrameData() const;
    [[nodiscard]] const void* unwindInfoData() const;

private:
    explicit QVXMachOSlice(const macho::QVXMachOSlice& slice);

    void appendDylib(const void* command, uint64_t& namesSize);

    macho::QVXMachOSlice slice_;
    macho::QVXMachOVersion minimumOSVersion_;
    macho::QVXMachOVersion linkedSDKVersion_;
    std::optional<std::string> uuidString_;
    std::vector<std::string> linkedDylibs_;
};

} // namespace qvx
