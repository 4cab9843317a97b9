#pragma once

#include <memory>
#include <optional>
#include <string>

#include "macho/QVXMachOBinary.h"
#include "platform/text/URL.h"
#include "platform/values/Bundle.h"
#include "platform/values/Value.h"

namespace qvx {

/// A dSYM bundle: a directory with "Contents/Info.plist" and, in "Contents/Resources/DWARF", the executable
/// that holds the debug information.
class QVXdSYM {
public:
    /// As `initWithURL`.
    [[nodiscard]] static std::shared_ptr<QVXdSYM> dSYMWithURL(const platform::URL& url);

    /// Opens the bundle directory at a file URL; null when it does not exist, is no directory, or has no
    /// DWARF folder with at least one entry. The executable is the first entry of that folder's recursive
    /// listing, sorted byte by byte with a folder before what it holds; it need not be readable.
    [[nodiscard]] static std::shared_ptr<QVXdSYM> initWithURL(const platform::URL& url);

    /// The bundle's identifier, without the prefix "com.apple.xcode.dsym." when it begins with it; absent
    /// when the bundle has none.
    [[nodiscard]] std::optional<std::string> bundleIdentifier() const;

    /// "CFBundleVersion" and "CFBundleShortVersionString" of the Info.plist, whatever kind of value it holds
    /// there; absent when it has none.
    [[nodiscard]] std::optional<platform::Value> bundleVersion() const;
    [[nodiscard]] std::optional<platform::Value> shortBundleVersion() const;

    /// Where the executable is; absent when it cannot be opened.
    [[nodiscard]] std::optional<platform::URL> executableURL() const;
    [[nodiscard]] std::optional<std::string> executablePath() const;

    /// The executable; null when it cannot be opened.
    [[nodiscard]] const std::shared_ptr<QVXMachOBinary>& binary() const { return binary_; }

    /// Calls `visitor` once per slice of the executable in file order; never when it cannot be opened.
    void enumerateUUIDs(const QVXMachOBinary::UUIDVisitor& visitor) const;

private:
    QVXdSYM(std::shared_ptr<platform::Bundle> bundle, std::shared_ptr<QVXMachOBinary> binary);

    std::shared_ptr<platform::Bundle> bundle_;
    std::shared_ptr<QVXMachOBinary> binary_;
};

} // namespace qvx
