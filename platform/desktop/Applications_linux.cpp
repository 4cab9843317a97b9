#include <fcntl.h>

#include <map>

#include "platform/desktop/Applications.h"
#include "platform/desktop/DefaultApplication_linux.h"
#include "platform/files/FileDescriptor.h"
#include "platform/files/FileManager.h"
#include "platform/tasks/Spawn.h"

namespace qvx::platform::Applications {

namespace {

/// The default application for the scheme of `url`. Looked up once in the life of the process.
const std::optional<DesktopEntry>& applicationFor(const URL& url) {
    static std::map<std::string, std::optional<DesktopEntry>> applications;
    // The Shared MIME-info standard's name for a scheme; desktop files register for it as for a type of
    // files.
    const std::string type = "x-scheme-handler/" + url.scheme().value_or("");
    const auto [found, isNew] = applications.try_emplace(type);
    if (isNew)
        found->second = defaultApplication(type);
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

} // namespace

std::optional<Handler> applicationForURL(const URL& url) {
    const std::optional<DesktopEntry>& application = applicationFor(url);
    if (!application)
        return std::nullopt;
    // Links resolved first: commands are linked from folders of commands into the folder of the application.
    return Handler{enclosingBundle(FileManager::stringByResolvingSymlinksInPath(application->program()))};
}

bool openURL(const URL& url) {
    const std::optional<DesktopEntry>& application = applicationFor(url);
    // Nothing of the build's: an app that holds a pipe open would keep Xcode waiting for the end of the
    // phase.
    const FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!application || !null)
        return false;
    pid_t child = -1; // outlives this process, which does not wait for it
    return Spawn{.path = application->program(),
                 .words = application->commandFor(url.absoluteString()),
                 .environment = {},
                 .directory = application->directory(),
                 .standard = {null.get(), null.get(), null.get()},
                 .hasOwnSession = true}
               .start(child) == 0;
}

bool openWebPage(const URL& url) {
    return openURL(url); // which window comes to the front is the window manager's affair
}

} // namespace qvx::platform::Applications
