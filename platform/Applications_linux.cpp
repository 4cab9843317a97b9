#include <fcntl.h>
#include <gio/gdesktopappinfo.h>

#include <map>
#include <memory>

#include "platform/Applications.h"
#include "platform/DynamicLibrary_linux.h"
#include "platform/FileDescriptor.h"
#include "platform/FileManager.h"

namespace qvx::platform::Applications {

namespace {

/// The functions of GIO and its libraries that are used here.
struct GIO {
    DynamicLibrary library{"libgio-2.0.so.0"};
    decltype(::g_app_info_get_default_for_uri_scheme)* defaultForScheme = nullptr;
    decltype(::g_app_info_get_executable)* executable = nullptr;
    decltype(::g_desktop_app_info_launch_uris_as_manager_with_fds)* launch = nullptr;
    decltype(::g_find_program_in_path)* findProgram = nullptr;
    decltype(::g_free)* free = nullptr;
    bool complete = library.find("g_app_info_get_default_for_uri_scheme", defaultForScheme) &&
                    library.find("g_app_info_get_executable", executable) &&
                    library.find("g_desktop_app_info_launch_uris_as_manager_with_fds", launch) &&
                    library.find("g_find_program_in_path", findProgram) && library.find("g_free", free);
};

const GIO& gio() {
    static const GIO instance;
    return instance;
}

/// The default application for the scheme of `url`, null when there is none. Looked up once in the life of
/// the process, which is also as long as it is kept: GIO reads the folders of all applications for it.
GAppInfo* defaultApplication(const URL& url) {
    static std::map<std::string, GAppInfo*> applications;
    const std::optional<std::string> scheme = url.scheme();
    if (!scheme || !gio().complete)
        return nullptr;
    const auto [found, isNew] = applications.try_emplace(*scheme);
    if (isNew)
        found->second = gio().defaultForScheme(scheme->c_str());
    return found->second;
}

/// The nearest folder above the program whose name ends in ".app".
std::optional<URL> enclosingBundle(std::string path) {
    while (true) {
        const size_t slash = path.rfind('/');
        if (slash == std::string::npos || slash == 0)
            return std::nullopt;
        path.resize(slash);
        if (path.ends_with(".app") && !path.ends_with("/.app"))
            return URL::fileURLWithPath(path + "/");
    }
}

std::optional<URL> bundleOfProgram(const char* program) {
    if (!program)
        return std::nullopt;
    const std::unique_ptr<char, decltype(gio().free)> found(gio().findProgram(program), gio().free);
    if (!found)
        return std::nullopt;
    return enclosingBundle(FileManager::stringByResolvingSymlinksInPath(found.get()));
}

} // namespace

std::optional<Handler> applicationForURL(const URL& url) {
    GAppInfo* const application = defaultApplication(url);
    if (!application)
        return std::nullopt;
    return Handler{bundleOfProgram(gio().executable(application))};
}

bool openURL(const URL& url) {
    GAppInfo* const application = defaultApplication(url);
    const FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!application || !null)
        return false;
    std::string text = url.absoluteString();
    GList urls{text.data(), nullptr, nullptr};
    // GSpawn closes every other descriptor in the child by itself.
    return gio().launch(reinterpret_cast<GDesktopAppInfo*>(application), &urls, nullptr, G_SPAWN_SEARCH_PATH,
                        nullptr, nullptr, nullptr, nullptr, null.get(), null.get(), null.get(),
                        nullptr) != FALSE;
}

} // namespace qvx::platform::Applications
