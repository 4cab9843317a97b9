#include "upload/DSYMCache.h"

#include <cstdlib>

#include "platform/files/FileManager.h"
#include "platform/process/Log.h"
#include "platform/process/UserFolders.h"
#include "platform/text/String.h"
#include "shared/Categories/MD5.h"

namespace qvx {

using platform::NSLog;
using platform::stringByAppendingPathComponent;
namespace FileManager = platform::FileManager;

std::string cacheDirectory(std::string_view endpoint) {
    std::string path = platform::cachesDirectory();
    // The app's folder, not the tool's: it is the app that removes what it has read. The service's address
    // keeps builds for a service of one's own apart, hashed because it holds slashes.
    for (const std::string& component :
         {std::string("com.quorvex.mac"), MD5(endpoint), std::string("builds")})
        path = stringByAppendingPathComponent(path, component);
    if (const auto error = FileManager::createDirectoryWithIntermediates(path)) {
        // Goes on: what is to be written there fails with a message that says which file.
        NSLog("ERROR: unable to write directory for object store.");
        NSLog("%@", error);
    }
    return path;
}

std::vector<std::string> cacheDSYMsAtPath(std::string_view sourceDirectory,
                                          std::string_view destinationDirectory) {
    const auto names = FileManager::contentsOfDirectoryAtPath(sourceDirectory);
    if (!names) {
        NSLog("Unable to get contents of path %@ \n%@", sourceDirectory, names.error());
        std::exit(1);
    }
    std::vector<std::string> copies;
    for (const std::string& name : *names) {
        if (platform::pathExtension(name) != "dSYM")
            continue;
        const std::string destination = stringByAppendingPathComponent(destinationDirectory, name);
        // Listed before it is copied; a copy that fails ends the run, so that no list is ever sent without
        // one.
        copies.push_back(destination);
        if (const auto error = FileManager::copyItemAtPath(
                stringByAppendingPathComponent(sourceDirectory, name), destination)) {
            NSLog("Unable to copy dSYM at path %@ to path %@ %@", sourceDirectory, destination, error);
            std::exit(1);
        }
    }
    return copies;
}

} // namespace qvx
