#pragma once

#include <memory>
#include <optional>
#include <string>

#include "platform/text/URL.h"
#include "platform/values/Value.h"

namespace qvx::platform {

/// A directory with a "Contents/Info.plist", or the tool's own bundle.
class Bundle {
public:
    /// The bundle of the running tool: the folder of its executable, and the Info dictionary that is
    /// embedded in it.
    static const Bundle& mainBundle();

    /// The bundle at a file URL; null when that is no directory.
    static std::shared_ptr<Bundle> bundleWithURL(const URL& url);

    /// Path without a trailing slash.
    [[nodiscard]] const std::string& bundlePath() const { return path_; }

    /// Empty when there is none that can be read.
    [[nodiscard]] const Dictionary& infoDictionary() const { return info_; }

    /// `CFBundleIdentifier` of the Info dictionary.
    [[nodiscard]] std::optional<std::string> bundleIdentifier() const;

private:
    Bundle(std::string path, Dictionary info) : path_(std::move(path)), info_(std::move(info)) {}

    std::string path_;
    Dictionary info_;
};

} // namespace qvx::platform
