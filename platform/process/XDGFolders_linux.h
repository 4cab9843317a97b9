#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The folders of the user and of the system (freedesktop.org, XDG Base Directory 0.8). A path that is not
/// absolute would depend on where the tool is started, and is ignored.
namespace qvx::platform {

/// The folder that the environment variable names, else `fallback` in the home directory.
std::string userFolder(const char* variable, std::string_view fallback);

/// The folders that the environment variable lists, the most important first; those of `fallback`, separated
/// by colons, when it is not set or empty.
std::vector<std::string> systemFolders(const char* variable, std::string_view fallback);

} // namespace qvx::platform
