#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files/Data.h"

namespace qvx::platform {

/// A file of groups of keys and values, as desktop files are (freedesktop.org, Desktop Entry 1.5, sections 3
/// to 5). A line that is none of the kind, is no UTF-8 or holds a NUL is passed over; of several values of
/// one key the last one counts.
class KeyFile {
public:
    /// Absent when the file cannot be read or is larger than 16 MiB.
    static std::optional<KeyFile> load(const std::string& path);

    /// \param bytes in one segment, or none
    explicit KeyFile(Data bytes) : bytes_(std::move(bytes)) {}

    /// Absent when the group has no such key, or its value has an escape that does not exist.
    [[nodiscard]] std::optional<std::string> text(std::string_view group, std::string_view key) const;

    /// The same, in the user's language where the file has it.
    [[nodiscard]] std::optional<std::string> localText(std::string_view group, const std::string& key) const;

    /// The pieces of a list; empty where text() is absent.
    [[nodiscard]] std::vector<std::string> list(std::string_view group, std::string_view key) const;

private:
    [[nodiscard]] std::optional<std::string_view> value(std::string_view group, std::string_view key) const;

    Data bytes_;
};

} // namespace qvx::platform
