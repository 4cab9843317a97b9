#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvx::platform {

/// Goes through folders and everything below them. Each folder is visited once as long as the walk lives,
/// whatever links and however many names lead to it. Links are followed when what has names of its own was
/// visited, but not back to a folder that they are in. Needs memory for folders and links, not for files.
class FolderWalk {
public:
    enum class Kind {
        file,      ///< a regular file, or a link to one that no visited folder holds
        folder,    ///< comes before what it holds
        link,      ///< asks whether to follow it, before it is known where it leads
        deadEnd,   ///< a link to nothing, or back to a folder that it is in
        unreadable ///< a file, folder or link that the system does not let be read
    };

    struct Entry {
        Kind kind;
        std::string_view path;   ///< begins with the path that the walk was started with
        std::string_view reason; ///< in words; empty for the first three kinds
    };

    /// Returns whether to go into a folder or along a link; the answer for all others does not matter.
    using Visitor = std::function<bool(const Entry&)>;

    /// Visits what is at `path`, a link followed, and all below it, in an order that hangs on the names
    /// alone. Sockets, devices and FIFOs are passed over, except that one at `path` itself is unreadable.
    void enumerate(const std::string& path, const Visitor& visitor);

private:
    using Identity = std::pair<uint64_t, uint64_t>; // of a folder: its device, and its number there

    void enumerateFolder(const std::string& path);
    void list(const std::string& folder, std::vector<std::string>& inner);
    void followLink(const std::string& path);
    void followLinksToFiles();
    void reportFailure(const std::string& path, int number);

    const Visitor* visitor_ = nullptr;
    std::set<Identity> folders_;
    std::set<std::string> linkedFiles_; // resolved
    std::vector<std::string> links_;
    std::vector<std::pair<std::string, std::string>> linksToFiles_; // with what they resolve to
};

} // namespace qvx::platform
