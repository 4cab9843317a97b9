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
    for (const std::string& component :
         {std::string("com.quorvex.mac"), MD5(endpoint), std::string("builds")})
        path = stringByAppendingPathComponent(path, component);
    if (const auto error = FileManager::createDirectoryWithIntermediates(path)) {
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
