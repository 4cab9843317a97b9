#include "macho/QVXdSYM.h"

#include <string_view>
#include <utility>

#include "platform/files/FileManager.h"
#include "platform/text/String.h"

namespace qvx {

namespace {

std::optional<platform::Value> valueOf(const platform::Bundle& bundle, std::string_view key) {
    const platform::Value* value = bundle.infoDictionary().find(key);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

} // namespace

std::shared_ptr<QVXdSYM> QVXdSYM::dSYMWithURL(const platform::URL& url) {
    return initWithURL(url);
}

std::shared_ptr<QVXdSYM> QVXdSYM::initWithURL(const platform::URL& url) {
    const std::optional<std::string> path = url.path();
    if (!path || !platform::FileManager::fileExistsAtPath(*path))
        return nullptr;
    std::shared_ptr<platform::Bundle> bundle = platform::Bundle::bundleWithURL(url);
    if (bundle == nullptr)
        return nullptr;
    const std::string folder = platform::stringByAppendingPathComponent(*path, "Contents/Resources/DWARF");
    if (!platform::FileManager::isDirectoryAtPath(folder))
        return nullptr;
    // The first is the only one in a dSYM that a build made.
    const std::optional<std::string> entry = platform::FileManager::firstEntryBelowDirectory(folder);
    if (!entry)
        return nullptr;
    const std::string executable = platform::stringByAppendingPathComponent(folder, *entry);
    // Also without a binary: a dSYM whose file cannot be opened still has a bundle to ask.
    return std::shared_ptr<QVXdSYM>(
        new QVXdSYM(std::move(bundle), QVXMachOBinary::MachOBinaryWithPath(executable)));
}

QVXdSYM::QVXdSYM(std::shared_ptr<platform::Bundle> bundle, std::shared_ptr<QVXMachOBinary> binary)
    : bundle_(std::move(bundle)), binary_(std::move(binary)) {}

std::optional<std::string> QVXdSYM::bundleIdentifier() const {
    // What dsymutil puts before the identifier of the binary that the symbols are for.
    constexpr std::string_view prefix = "com.apple.xcode.dsym.";
    std::optional<std::string> identifier = bundle_->bundleIdentifier();
    if (identifier && identifier->starts_with(prefix))
        identifier->erase(0, prefix.size());
    return identifier;
}

std::optional<platform::Value> QVXdSYM::bundleVersion() const {
    return valueOf(*bundle_, "CFBundleVersion");
}

std::optional<platform::Value> QVXdSYM::shortBundleVersion() const {
    return valueOf(*bundle_, "CFBundleShortVersionString");
}

std::optional<platform::URL> QVXdSYM::executableURL() const {
    return binary_ != nullptr ? std::optional(binary_->URL()) : std::nullopt;
}

std::optional<std::string> QVXdSYM::executablePath() const {
    return binary_ != nullptr ? std::optional(binary_->path()) : std::nullopt;
}

void QVXdSYM::enumerateUUIDs(const QVXMachOBinary::UUIDVisitor& visitor) const {
    if (binary_ != nullptr)
        binary_->enumerateUUIDs(visitor);
}

} // namespace qvx
