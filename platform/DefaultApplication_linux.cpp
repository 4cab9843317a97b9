#include <glib.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "platform/DefaultApplication_linux.h"
#include "platform/FileManager.h"
#include "platform/KeyFile_linux.h"
#include "platform/String.h"

namespace qvx::platform {

namespace {

using Strings = std::vector<std::string>;

/// Where desktop files lie, the most important folder first.
Strings applicationFolders() {
    Strings folders{stringByAppendingPathComponent(::g_get_user_data_dir(), "applications")};
    for (const char* const* folder = ::g_get_system_data_dirs(); *folder; ++folder)
        folders.push_back(stringByAppendingPathComponent(*folder, "applications"));
    return folders;
}

/// Where lists of associations lie.
Strings listFolders() {
    Strings folders{::g_get_user_config_dir()};
    for (const char* const* folder = ::g_get_system_config_dirs(); *folder; ++folder)
        folders.emplace_back(*folder);
    const Strings applications = applicationFolders();
    folders.insert(folders.end(), applications.begin(), applications.end());
    return folders;
}

/// What lists are called: those of the current desktop come before the one of all.
Strings listNames() {
    Strings names;
    const char* const desktops = std::getenv("XDG_CURRENT_DESKTOP");
    std::string_view rest = desktops ? desktops : "";
    while (!rest.empty()) {
        const size_t end = std::min(rest.find(':'), rest.size());
        names.push_back(lowercaseString(rest.substr(0, end)) + "-mimeapps.list");
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    names.emplace_back("mimeapps.list");
    return names;
}

/// The first of the files that a desktop file's id can stand for: a hyphen may be a slash of its path.
std::optional<std::string> fileOfId(const std::string& folder, std::string id) {
    for (size_t hyphen = 0; hyphen != std::string::npos;) {
        std::string path = stringByAppendingPathComponent(folder, id);
        if (FileManager::fileExistsAtPath(path))
            return path;
        hyphen = id.find('-', hyphen);
        if (hyphen != std::string::npos)
            id[hyphen] = '/';
    }
    return std::nullopt;
}

/// The first of the applications that is installed.
std::optional<DesktopEntry> firstInstalled(const Strings& ids, const Strings& folders) {
    for (const std::string& id : ids) {
        // A file hides those of the same id that are less important, also when it is of no use itself.
        for (const std::string& folder : folders) {
            const std::optional<std::string> path = fileOfId(folder, id);
            std::optional<DesktopEntry> entry = path ? DesktopEntry::load(*path) : std::nullopt;
            if (entry)
                return entry;
            if (path)
                break;
        }
    }
    return std::nullopt;
}

void append(const std::optional<KeyFile>& file, const char* group, const std::string& type, Strings& ids) {
    if (!file)
        return;
    const Strings more = file->list(group, type.c_str());
    ids.insert(ids.end(), more.begin(), more.end());
}

Strings defaults(const std::string& type) {
    Strings ids;
    for (const std::string& folder : listFolders())
        for (const std::string& name : listNames())
            append(KeyFile::load(stringByAppendingPathComponent(folder, name)), "Default Applications", type,
                   ids);
    return ids;
}

Strings associations(const std::string& type) {
    Strings ids, removed;
    const auto add = [&](const std::optional<KeyFile>& file, const char* group) {
        Strings added;
        append(file, group, type, added);
        for (const std::string& id : added)
            if (std::find(removed.begin(), removed.end(), id) == removed.end())
                ids.push_back(id);
    };
    for (const std::string& folder : listFolders()) {
        for (const std::string& name : listNames()) {
            const auto list = KeyFile::load(stringByAppendingPathComponent(folder, name));
            add(list, "Added Associations");
            append(list, "Removed Associations", type, removed);
        }
        // What the desktop files of the folder say themselves.
        add(KeyFile::load(stringByAppendingPathComponent(folder, "mimeinfo.cache")), "MIME Cache");
    }
    return ids;
}

} // namespace

std::optional<DesktopEntry> defaultApplication(const std::string& mimeType) {
    const Strings folders = applicationFolders();
    if (std::optional<DesktopEntry> entry = firstInstalled(defaults(mimeType), folders))
        return entry;
    return firstInstalled(associations(mimeType), folders);
}

} // namespace qvx::platform
