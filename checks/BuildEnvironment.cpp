#include "checks/BuildEnvironment.h"

#include "platform/files/FileManager.h"
#include "platform/text/Format.h"
#include "shared/AppFiles.h"
#include "shared/Diagnostics.h"

namespace qvx {

using platform::Environment;
namespace FileManager = platform::FileManager;

namespace {

void verifyRequiredSettings(const Environment& environment) {
    for (const char* name :
         {"BUILT_PRODUCTS_DIR", "INFOPLIST_PATH", "DWARF_DSYM_FILE_NAME", "DWARF_DSYM_FOLDER_PATH"}) {
        if (environment.value(name).value_or("").empty())
            failWithTitleAndReason("Failed to Detect Build Environment",
                                   platform::format("%@ value not found in environment", name));
    }
}

void warnAboutMissingDSYM(const Environment& environment, const ArgumentSet& arguments) {
    // A warning only: builds for a simulator have no dSYM, and fail later where one is needed.
    const std::string path = dSYMPath(environment);
    if (FileManager::fileExistsAtPath(path) || arguments.contains("no-warn-missing-dsym"))
        return;
    const std::string reason = platform::format(
        "DEBUG_INFORMATION_FORMAT should be set to dwarf-with-dsym for all configurations. This could also "
        "be "
        "a timing issue, make sure the Vendra run script build phase is the last build phase and no other "
        "scripts have moved the dSYM from the location Xcode generated it. Unable to process %@ at path %@\n"
        "Make sure your project build settings are generating a dSYM file.\n\n",
        environment.value("DWARF_DSYM_FILE_NAME"), path);
    QVXLogXcodeWarning("%@", reason);
}

} // namespace

void verifyEnvironmentIsValid(const Environment& environment, const ArgumentSet& arguments) {
    verifyRequiredSettings(environment);
    // After the settings, from which the path is made: a missing one would read as "(null)" in it.
    const std::string path = infoPlistPath(environment);
    if (!FileManager::fileExistsAtPath(path))
        failWithTitleAndReason(
            "Info.plist Error",
            platform::format(
                "Unable to process Info.plist at path %@\nThis could be a timing issue, make sure the Vendra "
                "run script build phase is the last build phase and no other scripts have moved %@ from the "
                "location Xcode generated it.",
                path, environment.value("WRAPPER_NAME")));
    verifyInfoPlistValuesAtPath(path);
    warnAboutMissingDSYM(environment, arguments);
}

void verifyInfoPlistValuesAtPath(std::string_view path) {
    // One message for a list that cannot be read and one without an identifier: what to do about it is the
    // same.
    const platform::Dictionary* info = infoPlistAtPath(std::string(path));
    if (!info || info->string("CFBundleIdentifier").value_or("").empty())
        failWithTitleAndReason(
            "Required Info.plist Value Not Found",
            platform::format("A CFBundleIdentifier value in your Info.plist is required. Please confirm "
                             "this value is present in %@ \n\n",
                             path));
}

void computePathToFramework(const Environment& environment) {
    // Xcode runs build phases in the folder of the project and a scheme's actions elsewhere, without most
    // settings. Either may be named through links.
    const auto isSame = [](const std::optional<std::string>& root, const std::string& folder) {
        return root == folder && !folder.empty(); // which it is when the current folder was removed
    };
    const std::optional<std::string> sourceRoot = environment.value("SRCROOT");
    const std::string current = FileManager::currentDirectoryPath();
    if (debugMode) {
        QVXLog("Src root %@", sourceRoot);
        QVXLog("Current directory path %@", current);
    }
    if (isSame(sourceRoot, current))
        return;
    const std::string currentResolved = FileManager::stringByResolvingSymlinksInPath(current);
    if (debugMode)
        QVXLog("Current directory path resolved %@", currentResolved);
    if (isSame(sourceRoot, currentResolved))
        return;
    std::optional<std::string> sourceRootResolved;
    if (sourceRoot)
        sourceRootResolved = FileManager::stringByResolvingSymlinksInPath(*sourceRoot);
    if (debugMode)
        QVXLog("Src root resolved %@", sourceRootResolved);
    if (isSame(sourceRootResolved, currentResolved))
        return;
    failWithTitleAndReason("Use a Target Run Script Build Phase",
                           "Make sure the Vendra command is added to your project Target and not the scheme "
                           "'Post-actions'.\n\nThen, Build your project to continue.\n\n(Quorvex error 602)");
}

} // namespace qvx
