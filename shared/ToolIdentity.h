#pragma once

#include <string>

/// Which tool this is, by the Info dictionary that it carries; empty where that says nothing.
namespace qvx {

/// `CFBundleIdentifier`.
std::string toolIdentifier();

/// `CFBundleShortVersionString`, the version that people are shown.
std::string toolDisplayVersion();

/// `CFBundleVersion`, the number of the build.
std::string toolBuildVersion();

} // namespace qvx
