#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/desktop/KeyFile_linux.h"

namespace qvx::platform {

/// An application, as a desktop file describes it (freedesktop.org, Desktop Entry 1.5).
class DesktopEntry {
public:
    /// Absent when the file cannot be read, or is hidden, or describes no program that is there and can be
    /// started without a terminal.
    static std::optional<DesktopEntry> load(const std::string& path);

    /// The same of a file that was read; `path` is where it stands.
    static std::optional<DesktopEntry> describedBy(const KeyFile& file, const std::string& path);

    /// The path of the program.
    [[nodiscard]] const std::string& program() const { return program_; }
    /// The folder that the program wants to be started in; absent when it does not mind.
    [[nodiscard]] const std::optional<std::string>& directory() const { return directory_; }

    /// What the program is called, then its arguments, of which `url` is one if the program takes a URL.
    [[nodiscard]] std::vector<std::string> commandFor(const std::string& url) const;

private:
    [[nodiscard]] std::string expanded(const std::string& word, const std::string& url) const;

    std::string path_;
    std::string program_;
    std::vector<std::string> words_; // with field codes
    std::optional<std::string> directory_;
    std::string name_; // in the user's language
    std::string icon_;
};

} // namespace qvx::platform
