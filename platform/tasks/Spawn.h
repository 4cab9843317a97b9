#pragma once

#include <sys/types.h>

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qvx::platform {

/// A program that is to be started as a child, never through a shell.
struct Spawn {
    std::string path;
    std::vector<std::string> words; ///< what it is called, then its arguments
    /// Its whole environment; absent: this process's.
    std::optional<std::map<std::string, std::string>> environment;
    std::optional<std::string> directory; ///< to start in; absent: this process's
    std::array<int, 3> standard{0, 1, 2}; ///< its standard descriptors; stay the caller's
    bool hasOwnSession = false;           ///< out of reach of this process's terminal and group

    /// Starts it with no descriptor but those three, the default signal dispositions and an empty mask. Sets
    /// `child` and returns 0, or returns the error number when the program cannot be run.
    [[nodiscard]] int start(pid_t& child) const;
};

} // namespace qvx::platform
