#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct _GKeyFile;

namespace qvx::platform {

/// A file of groups of keys and values, with escapes as in desktop files (freedesktop.org, Desktop
/// Entry 1.5).
class KeyFile {
public:
    /// Absent when the file cannot be read, is none of the kind, or is larger than 16 MiB. Of a long file of
    /// which one `key` is of interest, the lines of others are not looked at, and may be as they like.
    static std::optional<KeyFile> load(const std::string& path, std::string_view key = {});

    /// Absent when the group has no such key, or its value is no UTF-8 or has an escape that does not exist.
    [[nodiscard]] std::optional<std::string> text(const char* group, const char* key) const;
    /// The same, in the user's language where the file has it.
    [[nodiscard]] std::optional<std::string> localText(const char* group, const char* key) const;
    /// The pieces of a list; empty where text() is absent.
    [[nodiscard]] std::vector<std::string> list(const char* group, const char* key) const;

private:
    struct Free {
        void operator()(_GKeyFile* file) const;
    };

    explicit KeyFile(_GKeyFile* file) : file_(file) {}

    std::unique_ptr<_GKeyFile, Free> file_;
};

} // namespace qvx::platform
