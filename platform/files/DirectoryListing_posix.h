#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/files/FileDescriptor.h"
#include "platform/text/Error.h"

namespace qvx::platform::FileManager {

/// The names in the open directory, sorted byte by byte, without "." and ".."; `path` names it in an error.
Result<std::vector<std::string>> namesInDirectory(FileDescriptor descriptor, std::string_view path);

} // namespace qvx::platform::FileManager
