#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "macho/QVXMachOFile.h"
#include "macho/QVXMachOSlice.h"
#include "platform/text/URL.h"

namespace qvx {

/// One Mach-O file, fat or thin, mapped as long as the object lives, with its slices. For one thread.
class QVXMachOBinary {
public:
    /// Is given a slice's UUID, absent when it has none, and its architecture name.
    using UUIDVisitor =
        std::function<void(const std::optional<std::string>& uuid, const std::string& architectureName)>;

    /// The binary at a path of the file system; null as below.
    [[nodiscard]] static std::shared_ptr<QVXMachOBinary> MachOBinaryWithPath(std::string_view path);

    /// The binary at the URL's path; null when that cannot be opened and mapped or is shorter than 16 bytes.
    /// A file that is no Mach-O still gives a binary, with one "unknown" slice.
    [[nodiscard]] static std::shared_ptr<QVXMachOBinary> initWithURL(const platform::URL& url);

    /// SHA-1 of the text, see `QVXHashNSString`.
    [[nodiscard]] static std::string hashNSString(std::string_view text);

    QVXMachOBinary(const QVXMachOBinary&) = delete;
    QVXMachOBinary& operator=(const QVXMachOBinary&) = delete;
    ~QVXMachOBinary();

    [[nodiscard]] const platform::URL& URL() const { return url_; }

    /// The decoded path of the URL, in the file system's bytes.
    [[nodiscard]] std::string path() const;

    /// In file order; a fat file without an entry has none.
    [[nodiscard]] const std::vector<std::shared_ptr<QVXMachOSlice>>& slices() const { return slices_; }

    /// SHA-1, as 40 lower-case hexadecimal digits, of the slices' UUIDs one behind the other, sorted by
    /// architecture name. A slice without a UUID adds nothing.
    [[nodiscard]] const std::string& instanceIdentifier() const;

    /// Calls `visitor` once per slice in file order.
    void enumerateUUIDs(const UUIDVisitor& visitor) const;

    /// The first slice of that architecture name; null when there is none.
    [[nodiscard]] std::shared_ptr<QVXMachOSlice>
    sliceForArchitecture(std::string_view architectureName) const;

private:
    QVXMachOBinary(platform::URL url, const macho::QVXMachOFile& file);

    platform::URL url_;
    macho::QVXMachOFile file_;
    std::vector<std::shared_ptr<QVXMachOSlice>> slices_;
    mutable std::optional<std::string> instanceIdentifier_;
};

} // namespace qvx
