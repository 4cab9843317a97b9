#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "platform/desktop/DefaultApplication_linux.h"
#include "platform/desktop/KeyFile_linux.h"
#include "platform/files/FileManager.h"
#include "platform/process/XDGFolders_linux.h"
#include "platform/text/String.h"

namespace qvx::platform {

namespace {

using Strings = std::vector<std::string>;

/// Where desktop files lie, the most important folder first.
Strings applicationFolders() {
    Strings folders = systemFolders("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    folders.insert(folders.begin(), userFolder("XDG_DATA_HOME", ".local/share"));
    for (std::string& folder : folders)
        folder = stringByAppendingPathComponent(folder, "applications");
    return folders;
}

/// Where else there are lists of associations; these are more important.
Strings configurationFolders() {
    Strings folders = systemFolders("XDG_CONFIG_DIRS", "/etc/xdg");
    folders.insert(folders.begin(), userFolder("XDG_CONFIG_HOME", ".config"));
    return folders;
}

/// What lists are called: those of the current desktop come before the one of all.
Strings listNames() {
    Strings names;
    const char* const desktops = std::getenv("XDG_CURRENT_DESKTOP");
    for (const std::string& desktop : componentsSeparatedBy(desktops ? desktops : "", ':')) {
        if (!desktop.empty())
            names.push_back(lowercaseASCII(desktop) + "-mimeapps.list");
    }
    names.emplace_back("mimeapps.list");
    return names;
}

/// The file that a desktop file's id stands for: each of its hyphens may be a slash of the path.
std::optional<std::string> fileOfId(const std::string& folder, const std::string& id) {
    std::string path = stringByAppendingPathComponent(folder, id);
    if (FileManager::fileExistsAtPath(path))
        return path;
    // Ids come from paths: kde/org.app.desktop has the id kde-org.app.desktop, and so has a file of just
    // that name.
    for (size_t hyphen = id.find('-'); hyphen != std::string::npos; hyphen = id.find('-', hyphen + 1)) {
        const std::string name = id.substr(0, hyphen);
        const std::string inner = stringByAppendingPathComponent(folder, name);
        if (name.empty() || name == "." || name == ".." || !FileManager::isDirectoryAtPath(inner))
            continue;
        if (std::optional<std::string> found = fileOfId(inner, id.substr(hyphen + 1)))
            return found;
    }
    return std::nullopt;
}

/// The file in the most important folder that has one: it hides the others, even when it is of no use itself.
std::optional<std::string> fileOfId(const Strings& folders, const std::string& id) {
    if (!id.ends_with(".desktop") || id.find('/') != std::string::npos)
        return std::nullopt;
    for (const std::string& folder : folders)
        if (std::optional<std::string> path = fileOfId(folder, id))
            return path;
    return std::nullopt;
}

/// The first of the applications that is installed.
std::optional<DesktopEntry> firstInstalled(const Strings& ids, const Strings& folders) {
    for (const std::string& id : ids) {
        const std::optional<std::string> path = fileOfId(folders, id);
        if (std::optional<DesktopEntry> entry = path ? DesktopEntry::load(*path) : std::nullopt)
            return entry;
    }
    return std::nullopt;
}

Strings listed(const std::optional<KeyFile>& file, const char* group, const std::string& type) {
    return file ? file->list(group, type) : Strings();
}

std::optional<DesktopEntry> firstDefault(const std::string& type, const Strings& lists,
                                         const Strings& folders) {
    for (const std::string& folder : lists) {
        for (const std::string& name : listNames()) {
            const auto list = KeyFile::load(stringByAppendingPathComponent(folder, name));
            if (auto entry = firstInstalled(listed(list, "Default Applications", type), folders))
                return entry;
        }
    }
    return std::nullopt;
}

// Without a default: the order of the standard is by folder, the user's first, and what one folder removes
// is gone from those behind it.
std::optional<DesktopEntry> firstAssociated(const std::string& type, const Strings& lists,
                                            const Strings& folders) {
    Strings removed;
    for (const std::string& folder : lists) {
        const auto list = KeyFile::load(stringByAppendingPathComponent(folder, "mimeapps.list"));
        // What the desktop files of the folder say themselves.
        const auto cache = KeyFile::load(stringByAppendingPathComponent(folder, "mimeinfo.cache"));
        const auto isRemoved = [&](const std::string& id) {
            return std::find(removed.begin(), removed.end(), id) != removed.end();
        };
        const auto isHidden = [&](const std::string& id) {
            // A desktop file of a more important folder hides the one of that name which the cache is about.
            return isRemoved(id) || !fileOfId(folders, id).value_or("").starts_with(folder + "/");
        };
        Strings added = listed(list, "Added Associations", type);
        std::erase_if(added, isRemoved);
        if (auto entry = firstInstalled(added, folders))
            return entry;
        const Strings more = listed(list, "Removed Associations", type);
        removed.insert(removed.end(), more.begin(), more.end());
        Strings own = listed(cache, "MIME Cache", type);
        std::erase_if(own, isHidden);
        if (auto entry = firstInstalled(own, folders))
            return entry;
    }
    return std::nullopt;
}

} // namespace

std::optional<DesktopEntry> defaultApplication(const std::string& mimeType) {
    const Strings folders = applicationFolders();
    Strings lists = configurationFolders();
    lists.insert(lists.end(), folders.begin(), folders.end());
    if (std::optional<DesktopEntry> entry = firstDefault(mimeType, lists, folders))
        return entry;
    return firstAssociated(mimeType, lists, folders);
}

} // namespace qvx::platform
