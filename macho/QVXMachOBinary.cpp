#include "macho/QVXMachOBinary.h"

#include <algorithm>
#include <utility>

#include "macho/QVXHashNSString.h"

namespace qvx {

std::shared_ptr<QVXMachOBinary> QVXMachOBinary::MachOBinaryWithPath(std::string_view path) {
    return initWithURL(platform::URL::fileURLWithPath(path));
}

std::shared_ptr<QVXMachOBinary> QVXMachOBinary::initWithURL(const platform::URL& url) {
    const std::optional<std::string> path = url.path();
    macho::QVXMachOFile file;
    // A record whose Init failed is dropped, not destroyed: its descriptor number is already free to be
    // somebody else's.
    if (!path || !macho::QVXMachOFileInitWithPath(&file, path->c_str()))
        return nullptr;
    return std::shared_ptr<QVXMachOBinary>(new QVXMachOBinary(url, file));
}

std::string QVXMachOBinary::hashNSString(std::string_view text) {
    return QVXHashNSString(text);
}

QVXMachOBinary::QVXMachOBinary(platform::URL url, const macho::QVXMachOFile& file)
    : url_(std::move(url)), file_(file) {
    // Once, when it is opened: the file may be replaced while the object lives, and the mapping stays the
    // old one.
    macho::QVXMachOFileEnumerateSlices(&file_, [this](const macho::QVXMachOSlice* slice) {
        slices_.push_back(QVXMachOSlice::initWithSlice(slice));
    });
}

QVXMachOBinary::~QVXMachOBinary() {
    macho::QVXMachOFileDestroy(&file_);
}

std::string QVXMachOBinary::path() const {
    return url_.path().value_or(std::string());
}

const std::string& QVXMachOBinary::instanceIdentifier() const {
    if (!instanceIdentifier_) {
        auto sorted = slices_;
        // Sorted, so that the same slices give the same identifier in whatever order they were joined.
        std::ranges::stable_sort(sorted, {}, [](const auto& slice) { return slice->architectureName(); });
        std::string text;
        for (const auto& slice : sorted)
            text += slice->uuid().value_or(std::string());
        instanceIdentifier_ = QVXHashNSString(text);
    }
    return *instanceIdentifier_;
}

void QVXMachOBinary::enumerateUUIDs(const UUIDVisitor& visitor) const {
    for (const auto& slice : slices_)
        visitor(slice->uuid(), slice->architectureName());
}

std::shared_ptr<QVXMachOSlice> QVXMachOBinary::sliceForArchitecture(std::string_view architectureName) const {
    const auto found = std::ranges::find_if(
        slices_, [&](const auto& slice) { return slice->architectureName() == architectureName; });
    return found != slices_.end() ? *found : nullptr;
}

} // namespace qvx
