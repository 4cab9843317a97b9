#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/process/ProcessInfo.h"
#include "platform/values/Value.h"

/// The files of the app that was built, where the build's settings say that they are. A setting that is
/// missing stands as "(null)" in a path.
namespace qvx {

/// The app's Info.plist: `INFOPLIST_PATH` in `BUILT_PRODUCTS_DIR`.
std::string infoPlistPath(const platform::Environment& environment);

/// The app's executable: `EXECUTABLE_PATH` in `BUILT_PRODUCTS_DIR`.
std::string executablePath(const platform::Environment& environment);

/// The dSYM bundle: `DWARF_DSYM_FILE_NAME` in `DWARF_DSYM_FOLDER_PATH`.
std::string dSYMPath(const platform::Environment& environment);

/// The dictionary of an Info.plist as it was when it was first read; null when there is none that can be
/// read. Lives as long as the process.
const platform::Dictionary* infoPlistAtPath(const std::string& path);

/// The app's Info.plist; ends the process when it cannot be read as a dictionary.
platform::Dictionary infoPlistDictionary(const platform::Environment& environment);

} // namespace qvx
