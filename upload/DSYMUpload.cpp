#include "upload/DSYMUpload.h"

#include <cstdlib>

#include "QVXWebClient/QVXWebClient/QVXWebClient.h"
#include "platform/files/FileManager.h"
#include "platform/process/Termination.h"
#include "platform/text/Format.h"
#include "platform/values/Bundle.h"
#include "shared/AppFiles.h"
#include "shared/Diagnostics.h"
#include "shared/ServiceAddresses.h"
#include "shared/ToolIdentity.h"
#include "upload/DSYMZip.h"
#include "upload/Progress.h"
#include "upload/Service.h"

namespace qvx {

using platform::Environment;

namespace {

std::shared_ptr<QVXWebRequest> makeUpload(const Environment& environment, std::string_view apiKey) {
    const platform::Dictionary info = infoPlistDictionary(environment);
    const std::shared_ptr<QVXWebRequest> request = QVXWebRequest::requestWithMethod(
        "POST", platform::format("/api/v3/platforms/%@/code_mappings", getAppPlatform(environment)));
    addClientHeaders(*request, apiKey);
    request->addValueForFormField(info.string("CFBundleIdentifier"), "project[identifier]");
    // Crossed on purpose: the service takes the two versions this way round.
    request->addValueForFormField(info.string("CFBundleVersion"), "project[display_version]");
    request->addValueForFormField(info.string("CFBundleShortVersionString"), "project[build_version]");
    request->addValueForFormField(environment.value("CONFIGURATION"), "code_mapping[build_configuration]");
    request->addValueForFormField("dsym", "code_mapping[type]");
    request->addValueForFormField(toolBuildVersion(), "com_quorvex_run_version");
    return request;
}

/// Adds one pair of fields per slice; the result has a line for each.
std::string addExecutables(QVXWebRequest& request, const std::shared_ptr<QVXMachOBinary>& appBinary) {
    std::string uuidLog;
    if (!appBinary)
        return uuidLog;
    appBinary->enumerateUUIDs([&](const std::optional<std::string>& uuid, const std::string& architecture) {
        // A binary without one was linked in an odd way; its other slices are still worth sending.
        if (!uuid) {
            QVXLog("Unable to extract uuid-architecture pairs from binary %@", appBinary->path());
            return;
        }
        uuidLog += platform::format("UUID:%@ Slice:%@\n", uuid, architecture);
        request.addValueForFormField(uuid, "code_mapping[executables][][identifier]");
        request.addValueForFormField(architecture, "code_mapping[executables][][arch]");
    });
    return uuidLog;
}

/// What the message about the system's archiver leaves out.
void logArchiverBesideTheTool() {
    const std::string& folder = platform::Bundle::mainBundle().bundlePath();
    if (folder.empty())
        QVXLog("The system does not tell where the tool itself lies, so nor where its own ditto does; on "
               "Linux that "
               "takes /proc.\n");
    else
        QVXLog("There is no ditto beside the tool in %@ either.\n", folder);
}

void zipDSYM(const Environment& environment, std::string_view dSYMPath, std::string_view zipPath) {
    const std::optional<std::string> archiver = archiverPath();
    if (!archiver) {
        QVXLog("ditto tool unavailable at path %@\n\n", "/usr/bin/ditto");
        if (debugMode)
            logArchiverBesideTheTool();
        std::exit(1);
    }
    const auto zip = [&] {
        const auto progress =
            archivingProgress(environment.value("DWARF_DSYM_FILE_NAME").value_or(""), std::string(zipPath));
        return makeZip(*archiver, dSYMPath, zipPath);
    };
    if (!zip()) {
        QVXLog("Compression of %@ failed, unable to upload.\n\n", environment.value("DWARF_DSYM_FILE_NAME"));
        std::exit(1);
    }
}

/// Adds the zip to the form and returns its size.
uint64_t attachZip(QVXWebRequest& request, std::string_view dSYMPath, std::string_view zipPath,
                   std::string_view zipName) {
    const platform::Result<platform::Data> zip = platform::Data::withContentsOfFile(zipPath);
    if (!zip)
        failWithTitleAndReason("Failed to Load File",
                               platform::format("%@ data could not be loaded", dSYMPath));
    request.addData(*zip, "application/zip", std::string(zipName), "code_mapping[file]");
    if (debugMode)
        QVXLog("Uploading dSYM at path %@", dSYMPath);
    return zip->size();
}

void removeZip(std::string_view zipPath) {
    if (const auto error = platform::FileManager::removeFileAtPath(zipPath))
        QVXLog("Could not delete zipped dSYM at path %@ %@", zipPath, error);
}

/// Logs what the service answered; true when it took the upload.
bool judge(const QVXWebResponse& response, const std::optional<std::string>& fileName,
           std::string_view uuidLog, bool lastAttempt) {
    const uint64_t status = response.statusCode();
    // Below 301 on purpose: what does not name another place counts as taken.
    if (status >= 200 && status < 301) {
        QVXLog("%@ uploaded statusCode %i\n%@", fileName, status, uuidLog);
        return true;
    }
    // The second attempt tells; two messages would read as two faults.
    if (!lastAttempt)
        return false;
    if (response.error())
        QVXLog("%@ could not be uploaded statusCode %i %@\n%@", fileName, status, response.error(), uuidLog);
    else
        QVXLog("%@ could not be uploaded statusCode %i\n%@", fileName, status, uuidLog);
    return false;
}

} // namespace

bool uploadDSYM(const Environment& environment, const std::shared_ptr<QVXMachOBinary>& appBinary,
                std::string_view apiKey, std::string_view /*buildSecret*/, bool lastAttempt) {
    const std::shared_ptr<QVXWebRequest> request = makeUpload(environment, apiKey);
    const std::string uuidLog = addExecutables(*request, appBinary);

    const std::string bundlePath = dSYMPath(environment);
    // Beside the dSYM, where there is room for it and the build may write; unique, since two builds may
    // share the folder.
    const std::string zipName = platform::globallyUniqueString() + ".zip";
    const std::string zipPath =
        platform::format("%@/%@", environment.value("DWARF_DSYM_FOLDER_PATH"), zipName);
    const platform::Termination::RemovedFile guard(zipPath);
    zipDSYM(environment, bundlePath, zipPath);
    const uint64_t size = attachZip(*request, bundlePath, zipPath, zipName);

    const auto client = QVXWebClient::initWithURL(*platform::URL::initWithString(codeMappingUploadBaseURL));
    const auto sent = std::make_shared<std::atomic<uint64_t>>(0);
    request->setSentBytes(sent);
    auto progress = uploadingProgress(sent, size);
    bool uploaded = false;
    client->syncStartRequest(request, [&](const std::shared_ptr<QVXWebResponse>& response) {
        // In the completion: nothing reads it any more, and the answer may be followed by another attempt
        // with a zip of its own.
        progress.end();
        removeZip(zipPath);
        uploaded = judge(*response, environment.value("DWARF_DSYM_FILE_NAME"), uuidLog, lastAttempt);
    });
    return uploaded;
}

} // namespace qvx
